#include "KRAdvancedViews/StoreLayout.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "zul/registry/RegHelper.h"

namespace krav {

namespace {
struct KeyCloser {
    HKEY h = nullptr;
    ~KeyCloser() {
        if (h) RegCloseKey(h);
    }
};
} // namespace

std::string StoreKeyPath() {
    return CRegHelper(kStoreKeyName, RegPathUserSettings).GetRegPath();
}

std::string OlderStoreKeyPath() {
    return CRegHelper(kOlderStoreKeyName, RegPathUserSettings).GetRegPath();
}

std::string ViewKeyName(int index) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "VIEW_%04d", index);
    return buf;
}

LSTATUS SubkeyNames(HKEY base, std::vector<std::string>& out) {
    out.clear();
    DWORD count = 0, longest = 0;
    LSTATUS st = RegQueryInfoKeyA(base, nullptr, nullptr, nullptr, &count, &longest, nullptr,
                                  nullptr, nullptr, nullptr, nullptr, nullptr);
    if (st != ERROR_SUCCESS) return st;
    std::string buf(longest + 1, '\0');
    for (DWORD i = 0; i < count; ++i) {
        DWORD cch = DWORD(buf.size());
        st = RegEnumKeyExA(base, i, buf.data(), &cch, nullptr, nullptr, nullptr, nullptr);
        if (st == ERROR_MORE_DATA) { // a longer key came in since the count
            buf.assign(buf.size() * 2 + 256, '\0');
            --i;
            continue;
        }
        if (st == ERROR_NO_MORE_ITEMS) break; // keys went since the count
        if (st != ERROR_SUCCESS) return st;
        out.emplace_back(buf.data(), cch);
    }
    return ERROR_SUCCESS;
}

std::string StoredViewName(HKEY base, const std::string& subkey) {
    KeyCloser k;
    if (RegOpenKeyExA(base, subkey.c_str(), 0, KEY_READ, &k.h) != ERROR_SUCCESS) return {};
    DWORD size = 0, type = 0;
    if (RegQueryValueExA(k.h, kViewNameValue, nullptr, &type, nullptr, &size) != ERROR_SUCCESS ||
        type != REG_SZ)
        return {};
    std::string buf(size, '\0');
    if (RegQueryValueExA(k.h, kViewNameValue, nullptr, &type, reinterpret_cast<BYTE*>(buf.data()),
                         &size) != ERROR_SUCCESS ||
        type != REG_SZ)
        return {};
    buf.resize(strnlen(buf.data(), std::min<size_t>(size, buf.size())));
    return buf;
}

std::vector<StoredView> ListStoredViews(IViewManager2* store, LSTATUS* status) {
    std::vector<StoredView> views;
    std::vector<StoredViewKey> keys;
    const LSTATUS st = store ? ListStoredViewKeys(keys) : ERROR_INVALID_PARAMETER;
    if (status) *status = st;
    for (StoredViewKey& key : keys) {
        StoredView view;
        view.name = std::move(key.name);
        if (store->GetViewInfo(view.name.c_str(), &view.info) == S_OK)
            views.push_back(std::move(view));
    }
    std::stable_sort(views.begin(), views.end(), [](const StoredView& a, const StoredView& b) {
        return a.info.iViewIndex < b.info.iViewIndex;
    });
    return views;
}

LSTATUS ListStoredViewKeys(std::vector<StoredViewKey>& out) {
    out.clear();
    KeyCloser base;
    LSTATUS st = RegOpenKeyExA(HKEY_CURRENT_USER, StoreKeyPath().c_str(), 0, KEY_READ, &base.h);
    if (st != ERROR_SUCCESS) return st;
    std::vector<std::string> subkeys;
    if ((st = SubkeyNames(base.h, subkeys)) != ERROR_SUCCESS) return st;
    for (std::string& subkey : subkeys) {
        std::string name = StoredViewName(base.h, subkey);
        if (!name.empty()) out.push_back({std::move(subkey), std::move(name)});
    }
    return ERROR_SUCCESS;
}

namespace {
char encodeSix(unsigned v) {
    v &= 63;
    if (v == 0) return '`';
    if (v == 60) return '|';
    return static_cast<char>(v + 32);
}
int decodeSix(char c) {
    if (c == '`' || c == ' ') return 0;
    if (c == '|') return 60;
    if (c > ' ' && c < '`' && c != '\\') return c - 32;
    return -1;
}
} // namespace

int s_encode(const std::string& in, std::string& out) {
    out.clear();
    const size_t n = in.size();
    out.reserve((n + 44) / 45 + (n + 2) / 3 * 4);
    for (size_t line = 0; line < n; line += 45) {
        const size_t len = std::min<size_t>(45, n - line);
        out += static_cast<char>(len + 32);
        for (size_t g = 0; g < len; g += 3) {
            unsigned char b[3] = {0, 0, 0};
            for (size_t k = 0; k < 3 && g + k < len; ++k)
                b[k] = static_cast<unsigned char>(in[line + g + k]);
            out += encodeSix(b[0] >> 2);
            out += encodeSix(((b[0] & 3u) << 4) | (b[1] >> 4));
            out += encodeSix(((b[1] & 15u) << 2) | (b[2] >> 6));
            out += encodeSix(b[2] & 63u);
        }
    }
    return static_cast<int>(out.size());
}

int s_decode(const std::string& in, std::string& out) {
    out.clear();
    size_t pos = 0;
    while (pos < in.size()) {
        const int len = decodeSix(in[pos++]);
        if (len <= 0 || len > 45) return -1;
        const size_t groups = (static_cast<size_t>(len) + 2) / 3;
        if (pos + groups * 4 > in.size()) return -1;
        size_t produced = 0;
        for (size_t g = 0; g < groups; ++g) {
            int v[4];
            for (int k = 0; k < 4; ++k)
                if ((v[k] = decodeSix(in[pos++])) < 0) return -1;
            const unsigned char bytes[3] = {
                static_cast<unsigned char>((v[0] << 2) | (v[1] >> 4)),
                static_cast<unsigned char>(((v[1] & 15) << 4) | (v[2] >> 2)),
                static_cast<unsigned char>(((v[2] & 3) << 6) | v[3])};
            for (int k = 0; k < 3 && produced < static_cast<size_t>(len); ++k, ++produced)
                out += static_cast<char>(bytes[k]);
        }
    }
    return static_cast<int>(out.size());
}

} // namespace krav
