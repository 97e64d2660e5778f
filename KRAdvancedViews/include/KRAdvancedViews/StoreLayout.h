// How the view store keeps its views in the user's registry: the one place
// that knows the layout, for the store itself and for every tool that reads
// or writes a store (krviews, zulreg).
//
// The views live under HKEY_CURRENT_USER\Software\ZUL\KRAdvancedViews2, one
// subkey a view named after its index ("VIEW_0001"; "VIEW_0001_2" when that
// key holds another view already), the view's name in its "View Name" value.
// Views of the older layout live under ...\KRAdvancedViews, one subkey a
// view named by the view's encoded name (s_encode), floats as raw bytes.
// Names have no length limit here: nothing below uses a fixed-size buffer.
#pragma once

#include <string>
#include <vector>

#include "KRAdvancedViews/IViewManager.h"
#include "zul/registry/registry.h"

namespace zul::registry {
struct RegFileParse;
}

namespace krav {

// The store key and the older one, relative to the per-user settings root
// (CRegHelper's RegPathUserSettings).
inline constexpr const char* kStoreKeyName = "KRAdvancedViews2";
inline constexpr const char* kOlderStoreKeyName = "KRAdvancedViews";
// Value names of a view key.
inline constexpr const char* kViewNameValue = "View Name";
inline constexpr const char* kViewIndexValue = "Index";

// The two keys relative to HKEY_CURRENT_USER ("Software\ZUL\KRAdvancedViews2").
std::string StoreKeyPath();
std::string OlderStoreKeyPath();

// The key name of the view of index `index`: "VIEW_%04d".
std::string ViewKeyName(int index);

// The names of the subkeys of the open key `base`, in registry order, of any
// length. ERROR_SUCCESS, or the failing call's status (out is then partial).
LSTATUS SubkeyNames(HKEY base, std::vector<std::string>& out);

// Brings the sections of a registry file that reach the store key under the
// store's rules, before the file is applied (inside the caller's
// transaction, so nothing changes between the look and the import):
// - every view key comes in as a merged view (default value "Merged"),
//   which the store takes in at its next start, whatever tag it carried;
// - a view whose name is stored already replaces that view in its own key;
//   a section landing on a key that holds another view goes to a free key;
// - at most one view is the default afterwards: the store's own default
//   keeps the mark, unless the file holds a whole store (a section for the
//   store key itself without the "Merged Views" count of a saved view
//   file), whose default then takes it; within the file, its first.
// Returns a sentence for each thing it changed, for the user.
std::vector<std::string> KeepStoreRules(zul::registry::RegFileParse& parsed);

// The "View Name" of `base`\`subkey`: "" when the key or the value is not
// there or the value is not a string. A NUL in the value ends the name.
std::string StoredViewName(HKEY base, const std::string& subkey);

struct StoredViewKey {
    std::string subkey; // "VIEW_0001"
    std::string name;   // its "View Name"
};
// Every key of the store that names a view, in registry order.
// ERROR_FILE_NOT_FOUND when there is no store key (no views), else
// ERROR_SUCCESS or the status of the read that failed.
LSTATUS ListStoredViewKeys(std::vector<StoredViewKey>& out);

struct StoredView {
    std::string name;
    FullViewInfo info;
};
// Whether two records hold the same values, field by field (exactly).
inline bool SameRecord(const FullViewInfo& a, const FullViewInfo& b) {
    auto same = [](const float* x, const float* y) {
        return x[0] == y[0] && x[1] == y[1] && x[2] == y[2];
    };
    return same(a.pUpVector, b.pUpVector) && same(a.pViewVector, b.pViewVector) &&
           same(a.pFromVector, b.pFromVector) && same(a.pAtVector, b.pAtVector) &&
           a.cameraType == b.cameraType && a.viewAngle == b.viewAngle &&
           a.iViewIndex == b.iViewIndex && a.iChangeBits == b.iChangeBits &&
           a.bHasFromAndAt == b.bHasFromAndAt;
}
// Every view of the user's store whose record `store` can read, ordered by
// view index (what menus, dialogs and tools list). Empty when the store key
// does not exist; `status`, when given, receives ListStoredViewKeys' status.
std::vector<StoredView> ListStoredViews(IViewManager2* store, LSTATUS* status = nullptr);

// The older layout's key-name encoding: uuencoding without line breaks, with
// the grave accent for 0 and the vertical bar for 60, so no backslash ever
// appears. Both return the output length, or -1 for input s_decode cannot
// read.
int s_encode(const std::string& in, std::string& out);
int s_decode(const std::string& in, std::string& out);

} // namespace krav
