// CViewManager: saving and loading view files. The formats themselves (the
// ".qjv" text form in 8-bit and UTF-16, the ".reg" export) are read and
// written by the units in formats/; here the store decides what is saved and
// how loaded records are numbered, merged and compressed.
//
// Names are UTF-8 in the store: the UTF-16 file converts UTF-8 <-> UTF-16
// directly (surrogate pairs included); the 8-bit file carries a name's bytes
// as they are. Line ends: one carriage return before a line feed is dropped by
// the 8-bit and .reg readers, so files from the other platform read as there.

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <istream>
#include <iterator>
#include <ostream>
#include <sstream>

#include "KRAdvancedViews/formats/QjvFile.h"
#include "KRAdvancedViews/formats/QjvText.h"
#include "KRAdvancedViews/formats/QjvUnicode.h"
#include "KRAdvancedViews/formats/RegExport.h"
#include "Trace.h"
#include "ViewInfo.h"
#include "ViewManager.h"
#include "resources/StringTable.h"
#include "zul/registry/RegHelper.h"
#include "zul/registry/SafeFile.h"
#include "zul/registry/Text.h"
#include "zul/registry/Transaction.h"

namespace {

using namespace krav::format;

constexpr size_t kFieldLimit = 256; // _getVecFromLine's field buffer

} // namespace

// A field or line longer than 255 characters sets the stream's fail state.
HRESULT _getVecFromLine(float out[3], bool threeValues, std::istream* stream) {
    KRAV_TRACE_STATIC("_getVecFromLine");
    if (!stream) return E_FAIL;
    if (!threeValues) {
        std::string line;
        ReadTextLine(*stream, line, kFieldLimit);
        out[0] = LeadingFloat(line);
        return S_OK;
    }
    for (int i = 0; i < 3; ++i) {
        std::string field;
        std::getline(*stream, field, ',');
        if (field.size() > kFieldLimit - 1) stream->setstate(std::ios::failbit);
        out[i] = LeadingFloat(field);
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
        m_toldLastFailure = false;
        // Written beside the target under a name made exclusively and
        // renamed over it: a failed save never leaves half a file where a
        // good one stood, and no link planted in a shared folder is followed.
        std::ostringstream out(std::ios::out | std::ios::binary);
        const HRESULT hr = _saveToFile(&out, fileType);
        std::string why;
        if (FAILED(hr)) {
            why = zul::registry::lastErrorDetail();
            if (why.empty()) why = "the stored views could not be read";
        } else if (zul::registry::writeFileReplacing(pFileName, out.view(), why)) {
            return hr;
        }
        _tell(krav::FormatModuleString(krav::IDS_SAVE_FAILED, {pFileName, why}),
              MB_ICONEXCLAMATION);
        return FAILED(hr) ? hr : E_FAIL;
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
    *stream << QjvHeaderLines();
    if (count == 0) return S_FALSE;
    for (int i = 0; i < count && i < static_cast<int>(names.size()); ++i) {
        FullViewInfo r;
        if (GetViewInfo(names[i].c_str(), &r) != S_OK) continue;
        *stream << QjvRecordLines(names[i], r);
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
    stream->write(kUtf16LeMark, 2);
    std::string bytes;
    if (!EncodeUtf16(QjvHeaderLines(), bytes)) return E_FAIL;
    stream->write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (!stream->good()) return E_FAIL;
    if (count == 0) return S_FALSE;
    for (int i = 0; i < count && i < static_cast<int>(names.size()); ++i) {
        FullViewInfo r;
        if (GetViewInfo(names[i].c_str(), &r) != S_OK) continue;
        // A name from a hive older than the registry's text rule is read as
        // that rule reads it: every view is written.
        if (!EncodeUtf16(QjvRecordLines(zul::registry::utf8Text(names[i]), r), bytes))
            return E_FAIL;
        stream->write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    }
    return stream->good() ? S_OK : E_FAIL;
}

HRESULT CViewManager::_saveToRegFile(std::ostream* stream, int count,
                                     const std::vector<std::string>& names) {
    KRAV_TRACE("CViewManager::_saveToRegFile");
    if (!stream) return E_POINTER;
    std::vector<NamedRecord> views;
    for (int i = 0; i < count && i < static_cast<int>(names.size()); ++i) {
        FullViewInfo r;
        if (GetViewInfo(names[i].c_str(), &r) == S_OK) views.push_back({names[i], r});
    }
    const std::string out =
        WriteRegExport("HKEY_CURRENT_USER\\" + m_currentPath, views, &krav::ViewKeyName);
    stream->write(out.data(), static_cast<std::streamsize>(out.size()));
    return stream->good() ? S_OK : E_FAIL;
}

// ---------------------------------------------------------------------------
// Loading

namespace {

// A reader's note in the module's words.
std::string s_noteText(const ReadNote& n) {
    const std::string line = std::to_string(n.line);
    switch (n.kind) {
    case ReadNote::LineTooLong:
        return krav::FormatModuleString(krav::IDS_NOTE_LINE_TOO_LONG, {line, n.field});
    case ReadNote::NotUtf16:
        return krav::FormatModuleString(krav::IDS_NOTE_NOT_UTF16, {line});
    case ReadNote::CutOff:
        return krav::FormatModuleString(krav::IDS_NOTE_INCOMPLETE, {n.view, line});
    case ReadNote::Unreadable:
        return krav::FormatModuleString(krav::IDS_NOTE_UNREADABLE, {n.view, line});
    case ReadNote::BadVector:
        return krav::FormatModuleString(krav::IDS_NOTE_BAD_VECTOR, {n.view, line, n.field});
    case ReadNote::BadNumber:
        return krav::FormatModuleString(krav::IDS_NOTE_BAD_NUMBER, {n.view, line, n.field});
    case ReadNote::NoName:
        return krav::FormatModuleString(krav::IDS_NOTE_NO_NAME, {line});
    case ReadNote::FewerViews:
        return krav::FormatModuleString(krav::IDS_NOTE_FEWER_VIEWS, {n.field, n.view});
    }
    return {};
}

} // namespace

// The readers: each turns one form of view file into records, through its
// format unit, and notes what it left out. Nothing is stored here: the
// records go into the store (`_storeParsed`) once the load's transaction is
// open, so a file that blocks or fails to parse never holds the store.

HRESULT CViewManager::_loadFromTextFile(std::istream* stream, ParsedViewFile& file) {
    KRAV_TRACE("CViewManager::_loadFromTextFile");
    if (!stream) return E_POINTER;
    double version = 2.0;
    if (!ReadQjvTextHeader(*stream, version)) return E_FAIL;
    if (version == 1.0) return _parseTextFileVer1(stream, file);
    if (version == 2.0) return _parseTextFileVer2(stream, file);
    return E_FAIL;
}

HRESULT CViewManager::_parseTextFileVer1(std::istream* stream, ParsedViewFile& file) {
    KRAV_TRACE("CViewManager::_parseTextFileVer1");
    file.form = ParsedViewFile::Form::Version1;
    file.records = ParseQjvVersion1(CountedTextLines(*stream, file.notes), &file.notes);
    return S_OK;
}

HRESULT CViewManager::_parseTextFileVer2(std::istream* stream, ParsedViewFile& file) {
    KRAV_TRACE("CViewManager::_parseTextFileVer2");
    file.form = ParsedViewFile::Form::Version2;
    file.records = ParseQjvVersion2(CountedTextLines(*stream, file.notes), &file.notes);
    return S_OK;
}

HRESULT CViewManager::_loadFromUnicodeFile(std::istream* stream, bool swapBytes,
                                           ParsedViewFile& file) {
    KRAV_TRACE("CViewManager::_loadFromUnicodeFile");
    if (!stream) return E_POINTER;
    QjvUnicodeReader reader(*stream, swapBytes);
    double version = 2.0;
    if (!ReadQjvUnicodeHeader(reader, version)) return E_FAIL;
    if (version == 1.0) return _parseUnicodeFileVer1(reader, file);
    if (version == 2.0) return _parseUnicodeFileVer2(reader, file);
    return E_FAIL;
}

HRESULT CViewManager::_parseUnicodeFileVer1(QjvUnicodeReader& reader, ParsedViewFile& file) {
    KRAV_TRACE("CViewManager::_parseUnicodeFileVer1");
    file.form = ParsedViewFile::Form::Version1;
    file.records = ParseQjvVersion1(CountedUnicodeLines(reader, file.notes), &file.notes);
    return S_OK;
}

// The UTF-16 form of version 2 stops storing after 128 refused views.
HRESULT CViewManager::_parseUnicodeFileVer2(QjvUnicodeReader& reader, ParsedViewFile& file) {
    KRAV_TRACE("CViewManager::_parseUnicodeFileVer2");
    file.form = ParsedViewFile::Form::Version2Capped;
    file.records = ParseQjvVersion2(CountedUnicodeLines(reader, file.notes), &file.notes);
    return S_OK;
}

HRESULT CViewManager::_loadFromRegFile(std::istream* stream, ParsedViewFile& file) {
    KRAV_TRACE("CViewManager::_loadFromRegFile");
    if (!stream) return E_POINTER;
    file.form = ParsedViewFile::Form::Registry;
    for (MergedSection& section : ReadRegExport(*stream, &file.notes)) {
        // A view of the older layout is named by its key.
        const bool current = section.key.find(krav::kStoreKeyName) != std::string::npos;
        std::string name = current ? section.viewName : std::string();
        if (!current) krav::s_decode(section.key.substr(section.key.rfind('\\') + 1), name);
        if (name.empty()) {
            // A section the file ends inside of is noted as such already.
            const bool cutOff = std::any_of(
                file.notes.notes.begin(), file.notes.notes.end(), [&](const ReadNote& n) {
                    return n.kind == ReadNote::CutOff && n.line == section.line;
                });
            if (!cutOff) file.notes.add(ReadNote::NoName, {}, {}, section.line);
            continue;
        }
        file.records.push_back({std::move(name), section.info});
    }
    return S_OK;
}

// Which reader a file goes to: the registry export by its header; a .qjv
// file by its byte-order mark (UTF-16 in either order) or its absence (8-bit).
CViewManager::ParsedViewFile CViewManager::_readViewFile(const std::string& bytes,
                                                         FileTypeEnum type) {
    KRAV_TRACE("CViewManager::_readViewFile");
    ParsedViewFile file;
    HRESULT hr = E_FAIL;
    if (type == RegistryFile) {
        std::istringstream probe(bytes);
        if (!LooksLikeRegExport(probe)) return file;
        std::istringstream in(bytes);
        hr = _loadFromRegFile(&in, file);
    } else {
        const unsigned mark =
            bytes.size() >= 2
                ? (static_cast<unsigned char>(bytes[0]) | static_cast<unsigned char>(bytes[1]) << 8)
                : 0;
        if (mark == 0xFEFF || mark == 0xFFFE) {
            std::istringstream in(bytes.substr(2), std::ios::in | std::ios::binary);
            hr = _loadFromUnicodeFile(&in, mark == 0xFFFE, file);
        } else {
            std::istringstream in(bytes);
            hr = _loadFromTextFile(&in, file);
        }
    }
    if (FAILED(hr)) file = ParsedViewFile();
    return file;
}

HRESULT CViewManager::_storeParsed(ParsedViewFile& f, bool* allLoaded) {
    KRAV_TRACE("CViewManager::_storeParsed");
    switch (f.form) {
    case ParsedViewFile::Form::NotViewFile:
        return E_FAIL;
    case ParsedViewFile::Form::Version1:
        return _storeVersion1(f.records);
    case ParsedViewFile::Form::Version2:
        return _storeVersion2(f.records, 0, nullptr);
    case ParsedViewFile::Form::Version2Capped: {
        bool leftOut = false;
        _storeVersion2(f.records, kMaxViews, &leftOut);
        if (allLoaded) *allLoaded = !leftOut;
        return _compressViews();
    }
    case ParsedViewFile::Form::Registry:
        for (NamedRecord& view : f.records)
            _noteLoaded(view.name, _addLoadedView(view.name.c_str(), view.info));
        return _compressViews();
    }
    return E_FAIL;
}

void CViewManager::_noteLoaded(const std::string& name, HRESULT hr) {
    if (!m_loadNotes || SUCCEEDED(hr)) return;
    std::string why;
    if (hr == E_UNEXPECTED) {
        if (!m_loadNotesCapTold)
            m_loadNotes->push_back(krav::FormatModuleString(krav::IDS_NOTE_STORE_FULL,
                                                            {name, std::to_string(kMaxViews)}));
        return;
    }
    if (hr == E_INVALIDARG)
        why = name.empty() ? "it has no name" : "its camera type is neither 0 nor 1";
    else if (why = zul::registry::lastErrorDetail(); why.empty())
        why = "the registry could not be written";
    m_loadNotes->push_back(krav::FormatModuleString(krav::IDS_NOTE_NOT_STORED, {name, why}));
}

HRESULT CViewManager::LoadViewsExt(const char* pFileName, FileTypeEnum fileType) {
    KRAV_TRACE("CViewManager::LoadViewsExt");
    if (!pFileName) return E_FAIL;
    return zul::com::firewall([&]() -> HRESULT {
        m_toldLastFailure = false;
        // The file is read and parsed whole before the registry is touched:
        // an input that is not a regular file (a FIFO would block the load
        // while it holds the store's lock) or is larger than any view file
        // is refused at once, and the transaction below lasts only as long as
        // storing the records does.
        std::string bytes, why;
        const bool known = fileType == TextFile || fileType == RegistryFile;
        const bool read =
            known && zul::registry::readInputFile(pFileName, kMaxViewFileBytes, bytes, why);
        ParsedViewFile parsed;
        if (read) parsed = _readViewFile(bytes, fileType);
        bytes.clear();
        bytes.shrink_to_fit();

        std::vector<std::string> storeNotes;
        m_loadNotes = &storeNotes;
        m_loadNotesCapTold = parsed.form == ParsedViewFile::Form::Version2Capped;
        struct Reset {
            CViewManager& self;
            ~Reset() { self.m_loadNotes = nullptr; }
        } reset{*this};

        HRESULT hr = E_FAIL;
        bool allLoaded = true;
        std::string storeFailure;
        BeginBatchViewEdit();
        {
            // The whole load is one step: a crash or a failure in the middle
            // leaves the store as it was.
            OpScope tx(*this, true);
            if (!known)
                hr = E_INVALIDARG;
            else if (read)
                hr = _storeParsed(parsed, &allLoaded);
            if (SUCCEEDED(hr) && tx.commit() != ERROR_SUCCESS) {
                hr = E_FAIL;
                storeFailure = zul::registry::lastErrorDetail();
                if (storeFailure.empty()) storeFailure = "the registry could not be written";
            }
            if (FAILED(hr)) {
                tx.rollback();
                _reloadSlots();
            }
        }
        EndBatchViewEdit();
        m_loadNotes = nullptr;

        // Told once the store's lock is released: a host's message box waits
        // for the user.
        if (known && !read) {
            _tell(krav::FormatModuleString(krav::IDS_LOAD_FAILED, {pFileName, why}),
                  MB_ICONEXCLAMATION);
        } else if (!storeFailure.empty()) {
            _tell(krav::FormatModuleString(krav::IDS_STORE_FAILED, {pFileName, storeFailure}),
                  MB_ICONEXCLAMATION);
        } else if (read && parsed.form != ParsedViewFile::Form::NotViewFile) {
            std::vector<std::string> lines;
            for (const ReadNote& n : parsed.notes.notes)
                lines.push_back(s_noteText(n));
            lines.insert(lines.end(), storeNotes.begin(), storeNotes.end());
            if (!lines.empty()) {
                constexpr size_t kShown = 12;
                std::string text = krav::FormatModuleString(krav::IDS_LOAD_NOTES, {pFileName});
                for (size_t i = 0; i < lines.size() && i < kShown; ++i)
                    text += "\n" + lines[i];
                if (lines.size() > kShown)
                    text +=
                        "\n" + krav::FormatModuleString(krav::IDS_MORE_NOTES,
                                                        {std::to_string(lines.size() - kShown)});
                _tell(text, MB_ICONEXCLAMATION);
            }
        }
        if (!allLoaded) _showMessage(krav::IDS_MAX_VIEWS_LOADED, MB_ICONEXCLAMATION);
        return hr;
    });
}

void CViewManager::_tell(const std::string& text, UINT type) {
    KRAV_TRACE("CViewManager::_tell");
    if (m_site.showText(text, type)) m_toldLastFailure = true;
}

bool CViewManager::ToldUserOfLastFailure() {
    return m_toldLastFailure;
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

// Version 1: the records are numbered after the highest stored index.
HRESULT CViewManager::_storeVersion1(std::vector<NamedRecord>& records) {
    KRAV_TRACE("CViewManager::_storeVersion1");
    int next = _highestStoredIndex();
    for (NamedRecord& view : records) {
        view.info.iViewIndex = ++next;
        _noteLoaded(view.name, _addLoadedView(view.name.c_str(), view.info));
    }
    return _compressViews();
}

// Version 2: numbered after the highest stored index. With `cap`, once `cap`
// records were refused the rest are skipped and *leftOut is set; without it
// the store is renumbered at the end.
HRESULT CViewManager::_storeVersion2(std::vector<NamedRecord>& records, int cap, bool* leftOut) {
    KRAV_TRACE("CViewManager::_storeVersion2");
    int next = _highestStoredIndex();
    int refused = 0;
    for (NamedRecord& view : records) {
        view.info.iViewIndex = ++next;
        if (cap > 0 && refused >= cap) {
            if (leftOut) *leftOut = true;
            continue;
        }
        const HRESULT hr = _addLoadedView(view.name.c_str(), view.info);
        _noteLoaded(view.name, hr);
        // A view refused because the store is full was left out too.
        if (hr == S_FALSE) ++refused;
        if (hr == E_UNEXPECTED && leftOut) *leftOut = true;
    }
    return cap > 0 ? S_OK : _compressViews();
}

int CViewManager::_regFileMatchesPlatform(const char* path) {
    KRAV_TRACE_STATIC("CViewManager::_regFileMatchesPlatform");
    if (!path) return 0;
    std::ifstream in(path, std::ios::in | std::ios::binary);
    if (!in.is_open()) return 0;
    return LooksLikeRegExport(in) ? 1 : 0;
}

HRESULT CViewManager::_stripMergeTag(const char* storeKey, const char* viewKey, int index) {
    KRAV_TRACE("CViewManager::_stripMergeTag");
    (void)index;
    if (!storeKey || !viewKey) return E_POINTER;
    CRegHelper reg((std::string(storeKey) + "\\" + viewKey).c_str(), RegPathUserSettings);
    return reg.SetString("", "") == ERROR_SUCCESS ? S_OK : E_FAIL;
}
