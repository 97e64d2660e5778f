// The host's file chooser, for the module's dialogs.
#pragma once

#include "zul/com/com.h"

// Offered by a host's UI service object (through QueryInterface) to choose a
// file; a dialog without it uses the toolkit's own file dialog.
struct IHostFileDialog : IUnknown {
    // `filter` is "Text (*.ext)|*.ext|...||", `defaultExts` ".a|.b". On S_OK
    // `path` (UTF-8, `size` bytes) holds the chosen file; S_FALSE: cancelled.
    virtual HRESULT STDMETHODCALLTYPE ChooseFile(BOOL save, const char* filter,
                                                 const char* defaultExts, char* path,
                                                 ULONG size) = 0;
};
ZUL_DECLARE_IID(IHostFileDialog, "8E1C7A40-3B52-4C0D-9A61-2F4B5D7E0302");
