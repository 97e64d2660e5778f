// CViewManager: view files. The ".qjv" view text file (8-bit and UTF-16) and
// the ".reg" registry export file, saving and loading.
//
// Names are UTF-8 in the store: the UTF-16 file converts UTF-8 <-> UTF-16
// directly (surrogate pairs included); the 8-bit file carries a name's bytes
// as they are. Line ends: one carriage return before a line feed is dropped by
// the 8-bit and .reg readers, so files from the other platform read as there.
// Numbers are read and written independently of the process's locale.

#include <utf8cpp/utf8.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <istream>
#include <ostream>

#include "Trace.h"
#include "ViewInfo.h"
#include "ViewManager.h"
#include "resources/StringTable.h"
#include "zul/registry/RegHelper.h"
#include "zul/registry/Transaction.h"

namespace {

constexpr const char* kHeader = "KRAdvancedViews Persistence File";
constexpr size_t kTextLineLimit = 1024; // the text file's line buffer, terminator included
constexpr size_t kRegLineLimit = 256;   // the .reg reader's line buffer
constexpr size_t kFieldLimit = 256;     // _getVecFromLine's field buffer

// Reads one 8-bit line into `line` without its line feed (and without one
// carriage return before it). A line that does not fit a buffer of `limit`
// characters sets the stream's fail state, so this and every later read
// yields false, as at end of file.
bool s_readLine(std::istream& in, std::string& line, size_t limit) {
    line.clear();
    if (!in.good()) return false;
    std::getline(in, line);
    if (in.bad() || (in.fail() && line.empty())) {
        line.clear();
        return false;
    }
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (line.size() > limit - 1) {
        in.setstate(std::ios::failbit);
        line.clear();
        return false;
    }
    return true;
}

std::string s_trim(const std::string& s) {
    const char* ws = " \t\r\n\v\f";
    const size_t b = s.find_first_not_of(ws);
    if (b == std::string::npos) return {};
    return s.substr(b, s.find_last_not_of(ws) - b + 1);
}

bool s_iequals(const std::string& a, const char* b) {
    if (a.size() != std::strlen(b)) return false;
    for (size_t i = 0; i < a.size(); ++i)
        if (std::tolower(static_cast<unsigned char>(a[i])) !=
            std::tolower(static_cast<unsigned char>(b[i])))
            return false;
    return true;
}

// Scans up to `n` blank-separated floats as "%f %f %f" does: stops at the
// first that does not parse, leaving the rest of `out` as it was. Returns how
// many were read.
int s_scanFloats(const std::string& text, float* out, int n) {
    const char* p = text.c_str();
    const char* end = p + text.size();
    int got = 0;
    while (got < n) {
        while (p < end && std::isspace(static_cast<unsigned char>(*p)))
            ++p;
        if (p < end && *p == '+') ++p;
        float v = 0;
        const auto r = std::from_chars(p, end, v);
        if (r.ec != std::errc()) break;
        out[got++] = v;
        p = r.ptr;
    }
    return got;
}

bool s_scanInt(const std::string& text, int& out) {
    const char* p = text.c_str();
    const char* end = p + text.size();
    while (p < end && std::isspace(static_cast<unsigned char>(*p)))
        ++p;
    if (p < end && *p == '+') ++p;
    int v = 0;
    const auto r = std::from_chars(p, end, v);
    if (r.ec != std::errc()) return false;
    out = v;
    return true;
}

// atof/atoi: the leading number, 0 when there is none.
float s_atof(const std::string& text) {
    float v = 0;
    s_scanFloats(text, &v, 1);
    return v;
}
int s_atoi(const std::string& text) {
    int v = 0;
    s_scanInt(text, v);
    return v;
}

// "%g" in the C locale.
std::string s_g(double v) {
    char buf[64];
    const auto r = std::to_chars(buf, buf + sizeof buf, v, std::chars_format::general, 6);
    std::string s(buf, r.ptr);
    // to_chars writes "1e-05" where printf writes "1e-05" too, but printf
    // pads the exponent to two digits: keep that form.
    const size_t e = s.find('e');
    if (e != std::string::npos) {
        size_t digits = e + 2;
        if (s.size() - digits < 2) s.insert(digits, 2 - (s.size() - digits), '0');
    }
    return s;
}

std::string s_vec(const float v[3]) {
    return s_g(v[0]) + " " + s_g(v[1]) + " " + s_g(v[2]);
}

// The ten lines of a version 2 record, each ending with a line feed.
std::string s_recordLines(const std::string& name, const FullViewInfo& r) {
    std::string out;
    out += "Name:" + name + "\n";
    out += "Up:" + s_vec(r.pUpVector) + "\n";
    out += "View:" + s_vec(r.pViewVector) + "\n";
    out += "Type:" + std::to_string(static_cast<int>(r.cameraType)) + "\n";
    out += "Num:" + std::to_string(r.iViewIndex) + "\n";
    out += "From:" + s_vec(r.pFromVector) + "\n";
    out += "At:" + s_vec(r.pAtVector) + "\n";
    out += "Fov:" + s_g(r.viewAngle) + "\n";
    out += "HasAtAndFrom:" + std::to_string(r.bHasFromAndAt) + "\n";
    out += "Change:" + std::to_string(r.iChangeBits) + "\n";
    return out;
}

void s_clearFlagWithoutPoints(FullViewInfo& r) {
    for (int i = 0; i < 3; ++i)
        if (r.pFromVector[i] != 0.0f || r.pAtVector[i] != 0.0f) return;
    r.bHasFromAndAt = 0;
}

// ---------------------------------------------------------------------------
// UTF-16 lines

// Writes `text` (UTF-8) as UTF-16LE code units. False, with nothing written,
// when the text is not valid UTF-8.
bool s_writeUnicode(std::ostream* out, const std::string& text) {
    std::u16string wide;
    try {
        utf8::utf8to16(text.begin(), text.end(), std::back_inserter(wide));
    } catch (const utf8::exception&) {
        return false;
    }
    std::string bytes;
    bytes.reserve(wide.size() * 2);
    for (const char16_t u : wide) {
        bytes += static_cast<char>(u & 0xFF);
        bytes += static_cast<char>(u >> 8);
    }
    out->write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return out->good();
}

// The UTF-16 reader's read-ahead block: 2048 bytes, refilled as it is used up.
// Reset at the start of every load so one file's unread rest never reaches
// the next load.
struct ReadAhead {
    char block[2048];
    size_t fill = 0;
    size_t pos = 0;
    void reset() { fill = pos = 0; }
};
ReadAhead s_readAhead;

// Reads one UTF-16 line (at most 1023 code units before its line feed) and
// converts it to UTF-8 (at most 1024 bytes). False, with `line` empty, at end
// of file (a last line without a line feed is not returned), for a longer
// line, and when the conversion fails.
bool s_readUnicodeLine(std::istream* in, std::string& line, bool swapBytes, bool keepLineFeed) {
    line.clear();
    std::u16string units;
    for (;;) {
        if (s_readAhead.pos + 1 >= s_readAhead.fill) {
            // A dangling odd byte of the last block is the file's end.
            if (!in->good()) return false;
            in->read(s_readAhead.block, sizeof s_readAhead.block);
            s_readAhead.fill = static_cast<size_t>(in->gcount());
            s_readAhead.pos = 0;
            if (s_readAhead.fill < 2) return false;
            if (swapBytes)
                for (size_t i = 0; i + 1 < s_readAhead.fill; i += 2)
                    std::swap(s_readAhead.block[i], s_readAhead.block[i + 1]);
        }
        const auto lo = static_cast<unsigned char>(s_readAhead.block[s_readAhead.pos]);
        const auto hi = static_cast<unsigned char>(s_readAhead.block[s_readAhead.pos + 1]);
        s_readAhead.pos += 2;
        const auto unit = static_cast<char16_t>(lo | (hi << 8));
        if (unit == u'\n') {
            if (keepLineFeed) units += unit;
            break;
        }
        units += unit;
        if (units.size() > 1023) return false;
    }
    std::string text;
    try {
        utf8::utf16to8(units.begin(), units.end(), std::back_inserter(text));
    } catch (const utf8::exception&) {
        return false; // an unpaired surrogate: as a failed conversion
    }
    if (text.size() > 1024) return false;
    line = std::move(text);
    return true;
}

// ---------------------------------------------------------------------------
// .reg reading helpers

struct RegValueLine {
    std::string name; // between the first pair of quotes
    std::string type; // up to ":" ("" for a quoted string value)
    std::string value;
    bool empty = true; // the part before "=" is empty
};

RegValueLine s_splitRegLine(const std::string& line) {
    RegValueLine r;
    const size_t eq = line.find('=');
    const std::string before = eq == std::string::npos ? line : line.substr(0, eq);
    r.empty = s_trim(before).empty();
    if (r.empty || eq == std::string::npos) return r;
    const size_t q1 = before.find('"');
    const size_t q2 = q1 == std::string::npos ? std::string::npos : before.find('"', q1 + 1);
    r.name = q2 == std::string::npos ? s_trim(before) : before.substr(q1 + 1, q2 - q1 - 1);
    const std::string rest = line.substr(eq + 1);
    if (!rest.empty() && rest.front() == '"') {
        const size_t last = rest.rfind('"');
        r.value = last > 0 ? rest.substr(1, last - 1) : rest.substr(1);
    } else {
        const size_t colon = rest.find(':');
        r.type = colon == std::string::npos ? std::string() : rest.substr(0, colon);
        r.value = colon == std::string::npos ? rest : rest.substr(colon + 1);
    }
    return r;
}

} // namespace

// A field or line longer than 255 characters sets the stream's fail state.
HRESULT _getVecFromLine(float out[3], bool threeValues, std::istream* stream) {
    KRAV_TRACE_STATIC("_getVecFromLine");
    if (!stream) return E_FAIL;
    if (!threeValues) {
        std::string line;
        s_readLine(*stream, line, kFieldLimit);
        out[0] = s_atof(line);
        return S_OK;
    }
    for (int i = 0; i < 3; ++i) {
        std::string field;
        std::getline(*stream, field, ',');
        if (field.size() > kFieldLimit - 1) stream->setstate(std::ios::failbit);
        out[i] = s_atof(field);
    }
    std::string rest;
    std::getline(*stream, rest);
    return S_OK;
}

// ---------------------------------------------------------------------------
// Site and messages

HRESULT CViewManager::SetSite(IUnknown* pUnkSite) {
    KRAV_TRACE("CViewManager::SetSite");
    m_site.set(pUnkSite);
    return S_OK;
}

HRESULT CViewManager::GetSite(REFIID riid, void** ppvSite) {
    KRAV_TRACE("CViewManager::GetSite");
    return m_site.get(riid, ppvSite);
}

void CViewManager::_showMessage(unsigned id, UINT type) {
    KRAV_TRACE("CViewManager::_showMessage");
    m_site.showMessage(id, type);
}

// ---------------------------------------------------------------------------
// Saving

HRESULT CViewManager::SaveViewsExt(const char* pFileName, FileTypeEnum fileType) {
    KRAV_TRACE("CViewManager::SaveViewsExt");
    if (!pFileName) return E_FAIL;
    if (fileType != RegistryFile && fileType != TextFile) return E_INVALIDARG;
    return zul::com::firewall([&]() -> HRESULT {
        // Written beside the target and renamed over it: a failed save never
        // leaves half a file where a good one stood.
        const std::string tmp = std::string(pFileName) + ".saving";
        HRESULT hr = E_FAIL;
        {
            std::ofstream out(tmp, std::ios::out | std::ios::binary | std::ios::trunc);
            if (!out.good()) return E_FAIL;
            hr = _saveToFile(&out, fileType);
            out.flush();
            if (!out.good() && SUCCEEDED(hr)) hr = E_FAIL;
        }
        std::error_code ec;
        if (FAILED(hr) || (std::filesystem::rename(tmp, pFileName, ec), ec)) {
            std::filesystem::remove(tmp, ec);
            return FAILED(hr) ? hr : E_FAIL;
        }
        return hr;
    });
}

HRESULT CViewManager::_saveToFile(std::ostream* stream, FileTypeEnum type) {
    KRAV_TRACE("CViewManager::_saveToFile");
    zul::registry::Transaction tx; // one consistent picture of the store
    HKEY base = nullptr;
    if (RegOpenKeyExA(HKEY_CURRENT_USER, m_currentPath.c_str(), 0, KEY_READ, &base) !=
        ERROR_SUCCESS)
        return E_FAIL;
    DWORD count = 0, longest = 0;
    LSTATUS st = RegQueryInfoKeyA(base, nullptr, nullptr, nullptr, &count, &longest, nullptr,
                                  nullptr, nullptr, nullptr, nullptr, nullptr);
    std::vector<std::string> subkeys, names;
    if (st == ERROR_SUCCESS) st = krav::SubkeyNames(base, subkeys);
    for (const std::string& subkey : subkeys)
        if (std::string name = krav::StoredViewName(base, subkey); !name.empty())
            names.push_back(std::move(name));
    RegCloseKey(base);
    if (st != ERROR_SUCCESS) return E_FAIL;
    if (count == 0) return S_FALSE;
    const int n = static_cast<int>(names.size());
    return type == RegistryFile ? _saveToRegFile(stream, n, names)
                                : _saveToUnicodeFile(stream, n, names, longest + 1);
}

HRESULT CViewManager::_saveToTextFile(std::ostream* stream, int count,
                                      const std::vector<std::string>& names) {
    KRAV_TRACE("CViewManager::_saveToTextFile");
    if (!stream) return E_POINTER;
    *stream << kHeader << "\n" << s_g(2.0) << "\n";
    if (count == 0) return S_FALSE;
    for (int i = 0; i < count && i < static_cast<int>(names.size()); ++i) {
        FullViewInfo r;
        if (GetViewInfo(names[i].c_str(), &r) != S_OK) continue;
        *stream << s_recordLines(names[i], r);
    }
    return stream->good() ? S_OK : E_FAIL;
}

HRESULT CViewManager::_saveToUnicodeFile(std::ostream* stream, int count,
                                         const std::vector<std::string>& names,
                                         unsigned long longestName) {
    KRAV_TRACE("CViewManager::_saveToUnicodeFile");
    if (!stream) return E_POINTER;
    // The line buffer (longestName + 1, at least 80 units) only bounds a
    // fixed buffer elsewhere; here a line of any length is written whole.
    (void)longestName;
    stream->write("\xFF\xFE", 2);
    if (!s_writeUnicode(stream, std::string(kHeader) + "\n" + s_g(2.0) + "\n")) return E_FAIL;
    if (count == 0) return S_FALSE;
    for (int i = 0; i < count && i < static_cast<int>(names.size()); ++i) {
        FullViewInfo r;
        if (GetViewInfo(names[i].c_str(), &r) != S_OK) continue;
        // A name that is not valid UTF-8 cannot be written as UTF-16: skipped.
        s_writeUnicode(stream, s_recordLines(names[i], r));
    }
    return stream->good() ? S_OK : E_FAIL;
}

HRESULT CViewManager::_saveToRegFile(std::ostream* stream, int count,
                                     const std::vector<std::string>& names) {
    KRAV_TRACE("CViewManager::_saveToRegFile");
    if (!stream) return E_POINTER;
    std::vector<std::pair<std::string, FullViewInfo>> views;
    for (int i = 0; i < count && i < static_cast<int>(names.size()); ++i) {
        FullViewInfo r;
        if (GetViewInfo(names[i].c_str(), &r) == S_OK) views.emplace_back(names[i], r);
    }
    const std::string storePath = "HKEY_CURRENT_USER\\" + m_currentPath;
    std::string out = "REGEDIT4\n\n";
    // The parents of the store key first, one header line each.
    for (size_t cut = storePath.find('\\'); cut != std::string::npos;
         cut = storePath.find('\\', cut + 1)) {
        const size_t next = storePath.find('\\', cut + 1);
        out +=
            "[" + storePath.substr(0, next == std::string::npos ? storePath.size() : next) + "]\n";
    }
    char buf[64];
    std::snprintf(buf, sizeof buf, "\"Merged Views\"=dword:%.8i\n\n",
                  static_cast<int>(views.size()));
    out += buf;
    auto f = [&out](const char* name, float v) {
        out += std::string("\"") + name + "\"=float:" + s_g(v) + "\n";
    };
    auto i = [&out](const char* name, int v) {
        out += std::string("\"") + name + "\"=int:" + std::to_string(v) + "\n";
    };
    const char* axes[3] = {"X", "Y", "Z"};
    for (const auto& [name, r] : views) {
        out += "[" + storePath + "\\" + krav::ViewKeyName(r.iViewIndex) + "]\n@=\"Merged\"\n";
        for (int k = 0; k < 3; ++k)
            f(("UpVector " + std::string(axes[k])).c_str(), r.pUpVector[k]);
        for (int k = 0; k < 3; ++k)
            f(("ViewVector " + std::string(axes[k])).c_str(), r.pViewVector[k]);
        std::snprintf(buf, sizeof buf, "\"Camera Type\"=dword:%.8i\n",
                      static_cast<int>(r.cameraType));
        out += buf;
        i("Index", r.iViewIndex);
        for (int k = 0; k < 3; ++k)
            f(("FromPoint " + std::string(axes[k])).c_str(), r.pFromVector[k]);
        for (int k = 0; k < 3; ++k)
            f(("AtPoint " + std::string(axes[k])).c_str(), r.pAtVector[k]);
        f("FOV", r.viewAngle);
        i("Change Bits", r.iChangeBits);
        out += "\"View Name\"=\"" + name + "\"\n\n";
    }
    stream->write(out.data(), static_cast<std::streamsize>(out.size()));
    return stream->good() ? S_OK : E_FAIL;
}

// ---------------------------------------------------------------------------
// Loading

HRESULT CViewManager::LoadViewsExt(const char* pFileName, FileTypeEnum fileType) {
    KRAV_TRACE("CViewManager::LoadViewsExt");
    if (!pFileName) return E_FAIL;
    return zul::com::firewall([&]() -> HRESULT {
        HRESULT hr = E_FAIL;
        BeginBatchViewEdit();
        {
            // The whole load is one step: a crash or a failure in the middle
            // leaves the store as it was.
            OpScope tx(*this, true);
            s_readAhead.reset();
            if (fileType == TextFile) {
                std::ifstream in(pFileName, std::ios::in | std::ios::binary);
                unsigned char bom[2] = {0, 0};
                in.read(reinterpret_cast<char*>(bom), 2);
                const unsigned mark = in.gcount() == 2 ? (bom[0] | (bom[1] << 8)) : 0;
                if (in.is_open() && (mark == 0xFEFF || mark == 0xFFFE)) {
                    bool allLoaded = true;
                    hr = _loadFromUnicodeFile(&in, mark == 0xFFFE, &allLoaded);
                    if (!allLoaded) _showMessage(krav::IDS_MAX_VIEWS_LOADED, MB_ICONEXCLAMATION);
                } else if (in.is_open()) {
                    in.close();
                    std::ifstream text(pFileName, std::ios::in);
                    hr = _loadFromTextFile(&text);
                }
            } else if (fileType == RegistryFile) {
                if (_regFileMatchesPlatform(pFileName)) {
                    std::ifstream in(pFileName, std::ios::in);
                    if (in.good()) hr = _loadFromRegFile(&in);
                }
            } else {
                hr = E_INVALIDARG;
            }
            if (SUCCEEDED(hr) && tx.commit() != ERROR_SUCCESS) hr = E_FAIL;
            if (FAILED(hr)) {
                tx.rollback();
                _reloadSlots();
            }
        }
        EndBatchViewEdit();
        return hr;
    });
}

void CViewManager::_reloadSlots() {
    KRAV_TRACE("CViewManager::_reloadSlots");
    std::vector<std::string> slots;
    if (SUCCEEDED(_loadViewsFromRegistry(m_currentKey, false, slots))) m_slots = std::move(slots);
    m_keyMapValid = false;
    m_defaultName.clear();
}

int CViewManager::_highestStoredIndex() {
    KRAV_TRACE("CViewManager::_highestStoredIndex");
    for (const std::string* path : {&m_currentPath, &m_olderPath}) {
        HKEY base = nullptr;
        if (RegOpenKeyExA(HKEY_CURRENT_USER, path->c_str(), 0, KEY_READ, &base) != ERROR_SUCCESS)
            continue;
        int highest = 0;
        std::vector<std::string> subkeys;
        krav::SubkeyNames(base, subkeys);
        for (const std::string& subkey : subkeys) {
            HKEY view = nullptr;
            if (RegOpenKeyExA(base, subkey.c_str(), 0, KEY_READ, &view) != ERROR_SUCCESS) continue;
            DWORD index = 0, size = sizeof index, type = 0;
            if (RegQueryValueExA(view, krav::kViewIndexValue, nullptr, &type,
                                 reinterpret_cast<BYTE*>(&index), &size) == ERROR_SUCCESS &&
                type == REG_DWORD)
                highest = std::max(highest, static_cast<int>(index));
            RegCloseKey(view);
        }
        RegCloseKey(base);
        if (highest > 0) return highest;
    }
    return 0;
}

HRESULT CViewManager::_loadFromTextFile(std::istream* stream) {
    KRAV_TRACE("CViewManager::_loadFromTextFile");
    if (!stream) return E_POINTER;
    std::string line;
    if (!s_readLine(*stream, line, kTextLineLimit) || line != kHeader) return E_FAIL;
    // A missing or unreadable version counts as 2.
    double version = 2.0;
    if (s_readLine(*stream, line, kTextLineLimit)) {
        const std::string v = s_trim(line);
        double parsed = 0;
        const auto r = std::from_chars(v.data(), v.data() + v.size(), parsed);
        if (r.ec == std::errc()) version = parsed;
    }
    if (version == 1.0) return _parseTextFileVer1(stream);
    if (version == 2.0) return _parseTextFileVer2(stream);
    return E_FAIL;
}

HRESULT CViewManager::_parseTextFileVer1(std::istream* stream) {
    KRAV_TRACE("CViewManager::_parseTextFileVer1");
    return _parseVersion1(
        [stream](std::string& line) { return s_readLine(*stream, line, kTextLineLimit); });
}

HRESULT CViewManager::_parseTextFileVer2(std::istream* stream) {
    KRAV_TRACE("CViewManager::_parseTextFileVer2");
    return _parseVersion2(
        [stream](std::string& line) { return s_readLine(*stream, line, kTextLineLimit); }, 0,
        nullptr);
}

HRESULT CViewManager::_loadFromUnicodeFile(std::istream* stream, bool swapBytes, bool* allLoaded) {
    KRAV_TRACE("CViewManager::_loadFromUnicodeFile");
    if (!stream) return E_POINTER;
    std::string line;
    if (!s_readUnicodeLine(stream, line, swapBytes, true) || line.compare(0, 32, kHeader) != 0)
        return E_FAIL;
    double version = 2.0;
    if (s_readUnicodeLine(stream, line, swapBytes, false)) {
        float v = 0;
        if (s_scanFloats(line, &v, 1) == 1) version = v;
    }
    if (version == 1.0) return _parseUnicodeFileVer1(stream, swapBytes);
    if (version != 2.0) return E_FAIL;
    const HRESULT parsed = _parseUnicodeFileVer2(stream, swapBytes);
    if (allLoaded) *allLoaded = parsed != S_FALSE;
    return _compressViews();
}

HRESULT CViewManager::_parseUnicodeFileVer1(std::istream* stream, bool swapBytes) {
    KRAV_TRACE("CViewManager::_parseUnicodeFileVer1");
    return _parseVersion1([stream, swapBytes](std::string& line) {
        return s_readUnicodeLine(stream, line, swapBytes, false);
    });
}

HRESULT CViewManager::_parseUnicodeFileVer2(std::istream* stream, bool swapBytes) {
    KRAV_TRACE("CViewManager::_parseUnicodeFileVer2");
    bool leftOut = false;
    _parseVersion2(
        [stream, swapBytes](std::string& line) {
            return s_readUnicodeLine(stream, line, swapBytes, false);
        },
        kMaxViews, &leftOut);
    return leftOut ? S_FALSE : S_OK;
}

// Version 1: name, up, view, camera type, index; until an empty name line.
HRESULT CViewManager::_parseVersion1(const LineReader& readLine) {
    KRAV_TRACE("CViewManager::_parseVersion1");
    int next = _highestStoredIndex();
    std::string name, line;
    while (readLine(name) && !name.empty()) {
        FullViewInfo r;
        bool ok = readLine(line) && s_scanFloats(line, r.pUpVector, 3) == 3;
        ok = ok && readLine(line) && s_scanFloats(line, r.pViewVector, 3) == 3;
        int type = r.cameraType;
        ok = ok && readLine(line) && s_scanInt(line, type);
        ok = ok && readLine(line) && s_scanInt(line, r.iViewIndex);
        if (!ok) break; // a number that does not read ends the file, as a failed extraction does
        r.cameraType = static_cast<CameraTypeEnum>(type);
        r.iViewIndex = ++next;
        _addLoadedView(name.c_str(), r);
    }
    return _compressViews();
}

// Version 2: "Key:value" lines, a record from "Name" to "Change". With `cap`,
// once `cap` records were refused the rest are skipped and *leftOut is set;
// without it the store is renumbered at the end.
HRESULT CViewManager::_parseVersion2(const LineReader& readLine, int cap, bool* leftOut) {
    KRAV_TRACE("CViewManager::_parseVersion2");
    int next = _highestStoredIndex();
    int refused = 0;
    auto split = [](const std::string& line, std::string& key, std::string& value) {
        const size_t colon = line.find(':');
        key = s_trim(colon == std::string::npos ? line : line.substr(0, colon));
        value = colon == std::string::npos ? std::string() : s_trim(line.substr(colon + 1));
    };
    std::string line, key, value;
    bool more = readLine(line) && !line.empty();
    while (more) {
        split(line, key, value);
        while (!s_iequals(key, "Name")) {
            if (!readLine(line)) {
                more = false;
                break;
            }
            split(line, key, value);
        }
        if (!more) break;
        std::string name = value;
        FullViewInfo r;
        bool complete = false;
        while (!complete) {
            if (!readLine(line)) break;
            split(line, key, value);
            int type = r.cameraType;
            if (s_iequals(key, "Name"))
                name = value;
            else if (s_iequals(key, "Up"))
                s_scanFloats(value, r.pUpVector, 3);
            else if (s_iequals(key, "View"))
                s_scanFloats(value, r.pViewVector, 3);
            else if (s_iequals(key, "Type") && s_scanInt(value, type))
                r.cameraType = static_cast<CameraTypeEnum>(type);
            else if (s_iequals(key, "Num"))
                s_scanInt(value, r.iViewIndex);
            else if (s_iequals(key, "From"))
                s_scanFloats(value, r.pFromVector, 3);
            else if (s_iequals(key, "At"))
                s_scanFloats(value, r.pAtVector, 3);
            else if (s_iequals(key, "Fov"))
                s_scanFloats(value, &r.viewAngle, 1);
            else if (s_iequals(key, "HasAtAndFrom"))
                s_scanInt(value, r.bHasFromAndAt);
            else if (s_iequals(key, "Change")) {
                s_scanInt(value, r.iChangeBits);
                complete = true;
            }
        }
        if (!complete) break; // cut off by the end of the file: dropped
        s_clearFlagWithoutPoints(r);
        r.iViewIndex = ++next;
        if (cap > 0 && refused >= cap) {
            if (leftOut) *leftOut = true;
        } else {
            const HRESULT hr = _addLoadedView(name.c_str(), r);
            // A view refused because the store is full was left out too.
            if (hr == S_FALSE) ++refused;
            if (hr == E_UNEXPECTED && leftOut) *leftOut = true;
        }
        more = readLine(line) && !line.empty();
    }
    return cap > 0 ? S_OK : _compressViews();
}

int CViewManager::_regFileMatchesPlatform(const char* path) {
    KRAV_TRACE_STATIC("CViewManager::_regFileMatchesPlatform");
    if (!path) return 0;
    std::ifstream in(path, std::ios::in | std::ios::binary);
    if (!in.is_open()) return 0;
    char first[80] = {};
    in.getline(first, sizeof first);
    return std::strncmp(first, "REGEDIT", 7) == 0 ? 1 : 0;
}

HRESULT CViewManager::_loadFromRegFile(std::istream* stream) {
    KRAV_TRACE("CViewManager::_loadFromRegFile");
    if (!stream) return E_POINTER;
    std::string line, lastKey;
    while (s_readLine(*stream, line, kRegLineLimit)) {
        if (!line.empty() && line[0] == '[') {
            lastKey = line;
            continue;
        }
        if (line.compare(0, 10, "@=\"Merged\"") != 0) continue;
        // The key header just before names the view's key.
        std::string key =
            lastKey.size() >= 2 ? lastKey.substr(1, lastKey.rfind(']') - 1) : std::string();
        const bool current = key.find(krav::kStoreKeyName) != std::string::npos;
        std::string name;
        if (!current) krav::s_decode(key.substr(key.rfind('\\') + 1), name);
        FullViewInfo r;
        for (;;) {
            const bool got = s_readLine(*stream, line, kRegLineLimit);
            const RegValueLine v = got ? s_splitRegLine(line) : RegValueLine();
            if (!got || v.empty) break;
            static const char* axes[3] = {"X", "Y", "Z"};
            for (int k = 0; k < 3; ++k) {
                if (v.name == std::string("UpVector ") + axes[k]) r.pUpVector[k] = s_atof(v.value);
                if (v.name == std::string("ViewVector ") + axes[k])
                    r.pViewVector[k] = s_atof(v.value);
                if (v.name == std::string("FromPoint ") + axes[k])
                    r.pFromVector[k] = s_atof(v.value);
                if (v.name == std::string("AtPoint ") + axes[k]) r.pAtVector[k] = s_atof(v.value);
            }
            if (v.name == "FOV")
                r.viewAngle = s_atof(v.value);
            else if (v.name == "Camera Type")
                r.cameraType = static_cast<CameraTypeEnum>(s_atoi(v.value));
            else if (v.name == krav::kViewIndexValue)
                r.iViewIndex = s_atoi(v.value);
            else if (v.name == "Change Bits")
                r.iChangeBits = s_atoi(v.value);
            else if (v.name == krav::kViewNameValue && current)
                name = v.value;
        }
        s_clearFlagWithoutPoints(r);
        _addLoadedView(name.c_str(), r);
    }
    return _compressViews();
}

HRESULT CViewManager::_stripMergeTag(const char* storeKey, const char* viewKey, int index) {
    KRAV_TRACE("CViewManager::_stripMergeTag");
    (void)index;
    if (!storeKey || !viewKey) return E_POINTER;
    CRegHelper reg((std::string(storeKey) + "\\" + viewKey).c_str(), RegPathUserSettings);
    return reg.SetString("", "") == ERROR_SUCCESS ? S_OK : E_FAIL;
}
