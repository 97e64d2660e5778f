// Messages for the user, shown by the host: a desktop host shows a message
// box, a headless host prints to standard error, a test host records them.
#pragma once

#include "zul/com/com.h"

// Message box styles, with the Windows values.
enum : UINT {
    MB_OK = 0x0,
    MB_OKCANCEL = 0x1,
    MB_YESNO = 0x4,
    MB_ICONSTOP = 0x10,
    MB_ICONQUESTION = 0x20,
    MB_ICONEXCLAMATION = 0x30,
    MB_ICONINFORMATION = 0x40,
};

struct IHostUIService : IUnknown {
    // Shows `text` (UTF-8) with `caption` (may be null) in the style `type`
    // (MB_*). *pResult receives the button chosen (IDOK 1 when there was only
    // OK); may be null. Never blocks a host that has no window.
    virtual HRESULT STDMETHODCALLTYPE ShowMessage(const char* text, const char* caption, UINT type,
                                                  int* pResult) = 0;
};

ZUL_DECLARE_IID(IHostUIService, "8E1C7A40-3B52-4C0D-9A61-2F4B5D7E0301");
inline constexpr IID IID_IHostUIService = zul::com::iidOf<IHostUIService>();
