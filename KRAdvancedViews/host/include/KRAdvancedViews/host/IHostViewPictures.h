// Small pictures of the current model as a view shows it, for the module's
// dialogs and menus. Optional: a host's UI service object may offer it
// (through QueryInterface); a dialog that does not find it shows names only.
#pragma once

#include "zul/com/com.h"

struct IHostViewPictures : IUnknown {
    // Draws the whole current model, fitted, seen along `direction` (from
    // the eye towards the model) with `up` as the picture's up, in
    // perspective with a field of `viewAngle` degrees or orthographic, into
    // `rgb`: `width` x `height` pixels, three bytes each, rows top to
    // bottom. S_OK when drawn; S_FALSE when there is no model to draw (rgb
    // is left as it was); E_POINTER for a null pointer; E_INVALIDARG for a
    // size outside 16..512 or a direction without a length. The host keeps
    // what it drew for the same view and model, so asking again is cheap;
    // a changed view or another model is drawn anew.
    virtual HRESULT STDMETHODCALLTYPE DrawViewPicture(const float direction[3], const float up[3],
                                                      BOOL perspective, float viewAngle, UINT width,
                                                      UINT height, BYTE* rgb) = 0;
};
ZUL_DECLARE_IID(IHostViewPictures, "8E1C7A40-3B52-4C0D-9A61-2F4B5D7E0303");
