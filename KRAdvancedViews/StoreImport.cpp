// A registry file imported into the user's registry keeps the view store's
// rules where it reaches the store key: what `zulreg import` applies there
// is what the store itself would take from the same file.

#include <algorithm>
#include <cctype>
#include <cstring>
#include <set>

#include "KRAdvancedViews/StoreLayout.h"
#include "zul/registry/RegFile.h"

namespace krav {

namespace {

using zul::registry::RegFileOp;

constexpr const char* kMergeTag = "Merged";
constexpr const char* kChangeBitsValue = "Change Bits";
constexpr const char* kMergedViewsValue = "Merged Views";

std::string s_upper(std::string s) {
    for (char& c : s)
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return s;
}

std::string s_text(const std::string& data) {
    return data.substr(0, data.find('\0'));
}

DWORD s_dword(const std::string& data) {
    DWORD v = 0;
    std::memcpy(&v, data.data(), std::min(data.size(), sizeof v));
    return v;
}

std::string s_dwordData(DWORD v) {
    return std::string(reinterpret_cast<const char*>(&v), sizeof v);
}

// One view key's section of the file: its key op and the value ops after it.
struct Section {
    size_t begin = 0, end = 0; // ops [begin, end)
    std::string subkey, name;
    int tag = -1;  // the op of its default value, if any
    int bits = -1; // the op of its "Change Bits", if a DWORD
};

// The stored views' keys: subkey -> name, and which carry the default mark.
struct Stored {
    std::vector<std::pair<std::string, std::string>> keys;
    std::vector<std::string> defaultKeys;
    std::string defaultName;
};

Stored s_readStore(HKEY base) {
    Stored s;
    std::vector<std::string> subkeys;
    if (!base || SubkeyNames(base, subkeys) != ERROR_SUCCESS) return s;
    for (const std::string& subkey : subkeys) {
        const std::string name = StoredViewName(base, subkey);
        s.keys.emplace_back(subkey, name);
        HKEY k = nullptr;
        if (name.empty() || RegOpenKeyExA(base, subkey.c_str(), 0, KEY_READ, &k) != ERROR_SUCCESS)
            continue;
        DWORD bits = 0, size = sizeof bits, type = 0;
        if (RegQueryValueExA(k, kChangeBitsValue, nullptr, &type, reinterpret_cast<BYTE*>(&bits),
                             &size) == ERROR_SUCCESS &&
            type == REG_DWORD && (bits & ViewChangeDefaultView)) {
            s.defaultKeys.push_back(subkey);
            if (s.defaultName.empty()) s.defaultName = name;
        }
        RegCloseKey(k);
    }
    return s;
}

} // namespace

std::vector<std::string> KeepStoreRules(zul::registry::RegFileParse& parsed) {
    std::vector<std::string> told;
    const std::string storeKey = "HKEY_CURRENT_USER\\" + StoreKeyPath();
    const std::string store = s_upper(storeKey), prefix = store + "\\";
    auto& ops = parsed.ops;

    std::vector<Section> sections;
    bool wholeStore = false;
    for (size_t i = 0; i < ops.size(); ++i) {
        if (ops[i].kind != RegFileOp::CreateKey) continue;
        const std::string key = s_upper(ops[i].key);
        // The store key itself: a copy of a whole store, unless it counts
        // "Merged Views" as the view files the store saves do.
        if (key == store) {
            wholeStore = true;
            for (size_t j = i + 1; j < ops.size() && ops[j].kind == RegFileOp::SetValue; ++j)
                if (s_upper(ops[j].name) == s_upper(kMergedViewsValue)) wholeStore = false;
        }
        if (key.rfind(prefix, 0) != 0) continue;
        Section s;
        s.begin = i;
        s.subkey = ops[i].key.substr(prefix.size());
        for (s.end = i + 1; s.end < ops.size() && ops[s.end].kind != RegFileOp::CreateKey &&
                            ops[s.end].kind != RegFileOp::DeleteKey;
             ++s.end) {
            const RegFileOp& v = ops[s.end];
            if (v.kind != RegFileOp::SetValue) continue;
            if (v.name.empty()) s.tag = int(s.end);
            if (v.type == REG_SZ && v.name == kViewNameValue) s.name = s_text(v.data);
            if (v.type == REG_DWORD && v.name == kChangeBitsValue) s.bits = int(s.end);
        }
        // Keys below a view key are not views: left as the editor applies them.
        if (s.subkey.find('\\') == std::string::npos) sections.push_back(s);
        i = s.end - 1;
    }
    if (sections.empty()) return told;

    HKEY base = nullptr;
    if (RegOpenKeyExA(HKEY_CURRENT_USER, StoreKeyPath().c_str(), 0, KEY_READ, &base) !=
        ERROR_SUCCESS)
        base = nullptr;
    const Stored stored = s_readStore(base);
    if (base) RegCloseKey(base);

    std::set<std::string> taken; // key names in use, in the store or by the file
    for (const auto& [subkey, name] : stored.keys)
        taken.insert(s_upper(subkey));
    for (const Section& s : sections)
        taken.insert(s_upper(s.subkey));

    std::vector<RegFileOp> added; // value ops to apply after the file's own
    std::string importedDefault;
    size_t untagged = 0;
    for (Section& s : sections) {
        const int line = ops[s.begin].line;
        const std::string where = "the view '" + s.name + "' (line " + std::to_string(line) + ")";
        // Every view comes in as a merged view, which the store takes in at
        // its next start as its own load would; a damaged tag is not a way
        // around that.
        if (s.tag < 0) {
            ++untagged;
            added.push_back({RegFileOp::SetValue, ops[s.begin].key, "", REG_SZ,
                             std::string(kMergeTag) + '\0', line});
        } else if (ops[size_t(s.tag)].type != REG_SZ ||
                   s_text(ops[size_t(s.tag)].data) != kMergeTag) {
            told.push_back(where + " carries the tag '" + s_text(ops[size_t(s.tag)].data) +
                           "' where a view export has '" + kMergeTag +
                           "': it is taken in as a merged view");
            ops[size_t(s.tag)].type = REG_SZ;
            ops[size_t(s.tag)].data = std::string(kMergeTag) + '\0';
        }
        // Never over another view's key: a stored view of the same name is
        // replaced in its own key; a key holding another view is left alone.
        std::string to;
        for (const auto& [subkey, name] : stored.keys) {
            if (s.name.empty() || name != s.name) continue;
            to = subkey;
            break;
        }
        if (to.empty()) {
            const auto holder =
                std::find_if(stored.keys.begin(), stored.keys.end(),
                             [&](const auto& k) { return s_upper(k.first) == s_upper(s.subkey); });
            if (holder != stored.keys.end() && !holder->second.empty()) {
                int n = 1;
                while (taken.count(s_upper(ViewKeyName(n))))
                    ++n;
                to = ViewKeyName(n);
                taken.insert(s_upper(to));
                told.push_back(where + " was imported to " + to + ": " + s.subkey +
                               " holds the view '" + holder->second + "'");
            }
        }
        if (!to.empty() && s_upper(to) != s_upper(s.subkey)) {
            const std::string moved = ops[s.begin].key.substr(0, prefix.size()) + to;
            for (size_t j = s.begin; j < s.end; ++j)
                ops[j].key = moved;
            for (RegFileOp& a : added)
                if (a.line == line) a.key = moved;
            s.subkey = to;
        }
        // At most one default view: the store's own, unless the file is a
        // whole store; within the file, its first.
        if (s.bits < 0) continue;
        const bool replacesStoredDefault =
            !stored.defaultName.empty() && s.name == stored.defaultName;
        if (replacesStoredDefault && !wholeStore) {
            // The view replaced in place stays the default view.
            ops[size_t(s.bits)].data =
                s_dwordData(s_dword(ops[size_t(s.bits)].data) | DWORD(ViewChangeDefaultView));
            continue;
        }
        if (!(s_dword(ops[size_t(s.bits)].data) & ViewChangeDefaultView)) continue;
        std::string keeps;
        if (!importedDefault.empty())
            keeps = importedDefault;
        else if (!wholeStore && !stored.defaultName.empty() && !replacesStoredDefault)
            keeps = stored.defaultName;
        if (keeps.empty()) {
            importedDefault = s.name;
            continue;
        }
        ops[size_t(s.bits)].data =
            s_dwordData(s_dword(ops[size_t(s.bits)].data) & ~DWORD(ViewChangeDefaultView));
        told.push_back(where + " came in without its default mark: '" + keeps +
                       "' is the default view");
    }
    // A whole store's default takes the mark from the stored views that are
    // not replaced by the file.
    if (wholeStore && !importedDefault.empty()) {
        for (const std::string& subkey : stored.defaultKeys) {
            const bool replaced =
                std::any_of(sections.begin(), sections.end(),
                            [&](const Section& s) { return s_upper(s.subkey) == s_upper(subkey); });
            if (replaced) continue;
            HKEY k = nullptr;
            DWORD bits = 0, size = sizeof bits, type = 0;
            if (RegOpenKeyExA(HKEY_CURRENT_USER, (StoreKeyPath() + "\\" + subkey).c_str(), 0,
                              KEY_READ, &k) != ERROR_SUCCESS)
                continue;
            RegQueryValueExA(k, kChangeBitsValue, nullptr, &type, reinterpret_cast<BYTE*>(&bits),
                             &size);
            RegCloseKey(k);
            added.push_back({RegFileOp::SetValue, storeKey + "\\" + subkey, kChangeBitsValue,
                             REG_DWORD, s_dwordData(bits & ~DWORD(ViewChangeDefaultView)), 0});
            told.push_back("the view in " + subkey + " is no longer the default view: the " +
                           "imported store's default '" + importedDefault + "' is");
        }
    }
    if (untagged > 0)
        told.push_back(std::to_string(untagged) +
                       " view(s) without the merge tag were taken in as merged views; the view "
                       "store adds them at its next start");
    ops.insert(ops.end(), added.begin(), added.end());
    return told;
}

} // namespace krav
