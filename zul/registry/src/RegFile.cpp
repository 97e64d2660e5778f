#include "zul/registry/RegFile.h"

#include <utf8cpp/utf8.h>

#include <cctype>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

#include "Hive.h"
#include "zul/registry/Text.h"
#include "zul/registry/Transaction.h"

namespace zul::registry {

namespace {

// ---------------------------------------------------------------------------
// Export

struct KeyCloser {
    void operator()(HKEY k) const {
        if (k) RegCloseKey(k);
    }
};
using KeyHandle = std::unique_ptr<std::remove_pointer_t<HKEY>, KeyCloser>;

std::string quote(std::string_view s) {
    std::string out = "\"";
    for (const char c : s) {
        if (c == '\\' || c == '"') out += '\\';
        out += c;
    }
    out += '"';
    return out;
}

void appendHex(std::string& out, size_t column, std::string_view data) {
    // Continuation as the registry editor writes it: a line ends with ",\"
    // once it reaches 77 columns (so it holds at most 80), and the next
    // starts with two blanks.
    constexpr size_t kMaxColumn = 77;
    char buf[4];
    for (size_t i = 0; i < data.size(); ++i) {
        std::snprintf(buf, sizeof buf, "%02x", static_cast<unsigned char>(data[i]));
        out += buf;
        if (i + 1 == data.size()) break;
        out += ',';
        column += 3;
        if (column >= kMaxColumn) {
            out += "\\\n  ";
            column = 2;
        }
    }
}

// How an export writes the text of string values: this platform's own form
// (REGEDIT4 text in UTF-8, the strings' bytes as stored), the registry
// editor's version 5 (string payloads of hex(1), hex(2) and hex(7) in
// UTF-16LE, line breaks in strings escaped as the editor escapes them), or
// its REGEDIT4 in Windows-1252 (payloads in that code page).
struct ExportForm {
    enum Kind { Own, Version5, Ansi } kind = Own;
    std::string error; // the first value that cannot be written in this form
};

bool isStringType(DWORD type) {
    return type == REG_SZ || type == REG_EXPAND_SZ || type == REG_MULTI_SZ;
}

// A string value's bytes as the form carries them in hex(N) payloads.
bool payloadOf(const std::string& stored, ExportForm& form, std::string& out) {
    if (form.kind == ExportForm::Own) {
        out = stored;
        return true;
    }
    // Text a hive from before the registry's text rule may hold is read as
    // that rule reads it.
    const std::string data = utf8Text(stored);
    if (form.kind == ExportForm::Ansi) {
        uint32_t bad = 0;
        if (utf8ToWindows1252(data, out, bad)) return true;
        char cp[16];
        std::snprintf(cp, sizeof cp, "U+%04X", bad);
        form.error = std::string("it holds ") + cp + ", which Windows-1252 cannot write";
        return false;
    }
    std::u16string wide;
    utf8::utf8to16(data.begin(), data.end(), std::back_inserter(wide));
    out.clear();
    for (const char16_t u : wide) {
        out += static_cast<char>(u & 0xFF);
        out += static_cast<char>(u >> 8);
    }
    return true;
}

void appendValue(std::string& out, const std::string& name, DWORD type, const std::string& data,
                 ExportForm& form) {
    std::string line = name.empty() ? std::string("@") : quote(name);
    line += '=';
    if (type == REG_SZ && !data.empty() && data.back() == '\0') {
        // Quoted when the text is whole: one terminator, no other NUL; line
        // breaks only in the version 5 form, escaped as the editor does.
        const std::string_view text(data.data(), data.size() - 1);
        const bool breaks = text.find_first_of("\r\n") != std::string_view::npos;
        if (text.find('\0') == std::string_view::npos &&
            (!breaks || form.kind == ExportForm::Version5)) {
            std::string quoted = quote(text);
            if (breaks) {
                std::string escaped;
                for (const char c : quoted)
                    escaped += c == '\n'   ? std::string("\\n")
                               : c == '\r' ? std::string("\\r")
                                           : std::string(1, c);
                quoted = std::move(escaped);
            }
            out += line + quoted + "\n";
            return;
        }
    } else if (type == REG_DWORD && data.size() == 4) {
        DWORD v = 0;
        std::memcpy(&v, data.data(), 4);
        char buf[16];
        std::snprintf(buf, sizeof buf, "dword:%08x", v);
        out += line + buf + "\n";
        return;
    }
    std::string payload = data;
    if (isStringType(type) && !payloadOf(data, form, payload)) return;
    if (type == REG_BINARY) {
        line += "hex:";
    } else {
        char buf[24];
        std::snprintf(buf, sizeof buf, "hex(%x):", type);
        line += buf;
    }
    const size_t column = line.size();
    out += line;
    appendHex(out, column, payload);
    out += '\n';
}

// Writes one key's section and gives the names of its subkeys.
LSTATUS exportSection(HKEY key, const std::string& path, std::string& out,
                      std::vector<std::string>& children, ExportForm& form) {
    DWORD subkeys = 0, maxSub = 0, values = 0, maxName = 0, maxData = 0;
    LSTATUS st = RegQueryInfoKeyA(key, nullptr, nullptr, nullptr, &subkeys, &maxSub, nullptr,
                                  &values, &maxName, &maxData, nullptr, nullptr);
    if (st != ERROR_SUCCESS) return st;
    out += "[" + path + "]\n";
    std::string name(maxName + 1, '\0'), data(maxData, '\0');
    for (DWORD i = 0;; ++i) {
        DWORD cchName = maxName + 1, cbData = maxData, type = 0;
        st = RegEnumValueA(key, i, name.data(), &cchName, nullptr, &type,
                           reinterpret_cast<BYTE*>(data.data()), &cbData);
        if (st == ERROR_NO_MORE_ITEMS) break;
        if (st != ERROR_SUCCESS) return st;
        const std::string valueName(name.data(), cchName);
        appendValue(out, valueName, type, data.substr(0, cbData), form);
        if (!form.error.empty()) {
            form.error =
                "the value '" + valueName + "' of '" + path + "' cannot be written: " + form.error;
            return ERROR_INVALID_DATA;
        }
    }
    out += '\n';
    children.clear();
    std::string child(maxSub + 1, '\0');
    for (DWORD i = 0;; ++i) {
        DWORD cch = maxSub + 1;
        st = RegEnumKeyExA(key, i, child.data(), &cch, nullptr, nullptr, nullptr, nullptr);
        if (st == ERROR_NO_MORE_ITEMS) break;
        if (st != ERROR_SUCCESS) return st;
        children.emplace_back(child.data(), cch);
    }
    return ERROR_SUCCESS;
}

// Writes `key` and everything below it, parents before children and
// siblings in enumeration order. The walk keeps its own stack, so a tree as
// deep as the registry allows costs no call stack.
LSTATUS exportTree(HKEY key, const std::string& path, std::string& out, ExportForm& form) {
    struct Pending {
        std::shared_ptr<KeyHandle> parent;
        std::string name;
        std::string path;
    };
    std::vector<std::string> children;
    LSTATUS st = exportSection(key, path, out, children, form);
    if (st != ERROR_SUCCESS) return st;
    std::vector<Pending> stack;
    auto pushChildren = [&](const std::shared_ptr<KeyHandle>& parent, const std::string& at) {
        for (auto it = children.rbegin(); it != children.rend(); ++it)
            stack.push_back({parent, *it, at + "\\" + *it});
    };
    pushChildren(nullptr, path); // no parent: `key`, which the caller owns
    while (!stack.empty()) {
        Pending next = std::move(stack.back());
        stack.pop_back();
        HKEY raw = nullptr;
        st = RegOpenKeyExA(next.parent ? next.parent->get() : key, next.name.c_str(), 0, KEY_READ,
                           &raw);
        if (st == ERROR_FILE_NOT_FOUND) continue; // deleted meanwhile by another process
        if (st != ERROR_SUCCESS) return st;
        auto sub = std::make_shared<KeyHandle>(raw);
        if ((st = exportSection(raw, next.path, out, children, form)) != ERROR_SUCCESS) return st;
        pushChildren(sub, next.path);
    }
    return ERROR_SUCCESS;
}

// The path with each name in the case it was created with.
LSTATUS canonicalPath(HKEY root, const std::string& sub, std::string& out) {
    out = rootName(root);
    if (sub.empty()) return ERROR_SUCCESS;
    HKEY cur = root;
    KeyHandle holder;
    size_t start = 0;
    while (start <= sub.size()) {
        size_t end = sub.find('\\', start);
        if (end == std::string::npos) end = sub.size();
        const std::string part = sub.substr(start, end - start);
        start = end + 1;
        if (part.empty()) {
            if (end == sub.size()) break;
            return ERROR_BAD_PATHNAME;
        }
        const std::string fold = foldName(part);
        std::string found;
        char buf[kMaxKeyNameLength * 4 + 1];
        for (DWORD i = 0;; ++i) {
            DWORD cch = sizeof buf;
            const LSTATUS st = RegEnumKeyExA(cur, i, buf, &cch, nullptr, nullptr, nullptr, nullptr);
            if (st == ERROR_NO_MORE_ITEMS) return ERROR_FILE_NOT_FOUND;
            if (st != ERROR_SUCCESS) return st;
            if (foldName(std::string_view(buf, cch)) == fold) {
                found.assign(buf, cch);
                break;
            }
        }
        HKEY next = nullptr;
        const LSTATUS st = RegOpenKeyExA(cur, found.c_str(), 0, KEY_READ, &next);
        if (st != ERROR_SUCCESS) return st;
        holder.reset(next);
        cur = next;
        out += "\\" + found;
        if (end == sub.size()) break;
    }
    return ERROR_SUCCESS;
}

// ---------------------------------------------------------------------------
// Import

std::string trimLeft(std::string_view s) {
    size_t i = 0;
    while (i < s.size() && (s[i] == ' ' || s[i] == '\t'))
        ++i;
    return std::string(s.substr(i));
}

std::string trimRight(std::string s) {
    while (!s.empty() && (s.back() == ' ' || s.back() == '\t' || s.back() == '\r'))
        s.pop_back();
    return s;
}

// Reads a quoted string starting at s[pos] == '"'; pos ends after the closing quote.
bool readQuoted(const std::string& s, size_t& pos, std::string& out) {
    out.clear();
    for (size_t i = pos + 1; i < s.size(); ++i) {
        const char c = s[i];
        if (c == '\\' && i + 1 < s.size() && (s[i + 1] == '\\' || s[i + 1] == '"')) {
            out += s[++i];
        } else if (c == '\\' && i + 1 < s.size() && (s[i + 1] == 'n' || s[i + 1] == 'r')) {
            // The editor writes a string's line breaks as \n and \r.
            out += s[++i] == 'n' ? '\n' : '\r';
        } else if (c == '"') {
            pos = i + 1;
            return true;
        } else {
            out += c;
        }
    }
    return false;
}

int hexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

bool parseHexBytes(std::string_view text, std::string& out) {
    out.clear();
    size_t i = 0;
    auto skipBlank = [&] {
        while (i < text.size() && (text[i] == ' ' || text[i] == '\t'))
            ++i;
    };
    skipBlank();
    if (i == text.size()) return true;
    for (;;) {
        skipBlank();
        int digits = 0;
        unsigned v = 0;
        while (i < text.size() && std::isxdigit(static_cast<unsigned char>(text[i])) &&
               digits < 3) {
            v = v * 16 + static_cast<unsigned>(hexValue(text[i]));
            ++i;
            ++digits;
        }
        if (digits == 0 || digits > 2) return false;
        out += static_cast<char>(v);
        skipBlank();
        if (i == text.size()) return true;
        if (text[i] != ',') return false;
        ++i;
    }
}

} // namespace

namespace {

LSTATUS exportWith(const std::string& fullPath, ExportForm& form, std::string& out) {
    HKEY root = nullptr;
    std::string sub;
    if (!splitRootPath(fullPath, root, sub)) {
        setErrorDetail("'" + fullPath +
                       "' does not start with HKEY_CURRENT_USER, "
                       "HKEY_LOCAL_MACHINE or HKEY_CLASSES_ROOT");
        return ERROR_BAD_PATHNAME;
    }
    // One consistent picture even while another process writes.
    Transaction tx;
    std::string path;
    LSTATUS st = canonicalPath(root, sub, path);
    if (st != ERROR_SUCCESS) return st;
    HKEY raw = nullptr;
    st = RegOpenKeyExA(root, sub.c_str(), 0, KEY_READ, &raw);
    if (st != ERROR_SUCCESS) return st;
    KeyHandle key(raw);
    std::string text = form.kind == ExportForm::Version5
                           ? "Windows Registry Editor Version 5.00\n\n"
                           : "REGEDIT4\n\n";
    st = exportTree(key.get(), path, text, form);
    if (st != ERROR_SUCCESS) {
        if (!form.error.empty()) setErrorDetail(form.error);
        return st;
    }
    out = std::move(text);
    return ERROR_SUCCESS;
}

} // namespace

LSTATUS exportKey(const std::string& fullPath, std::string& out) {
    ExportForm form;
    return exportWith(fullPath, form, out);
}

namespace {

// What an export line is, for a message: the key of its section, its
// default value, or a named value of it.
std::string s_whatLine(const std::string& line, const std::string& section) {
    if (!line.empty() && line[0] == '@') return "the default value of '" + section + "'";
    if (!line.empty() && line[0] == '"') {
        size_t pos = 0;
        std::string name;
        readQuoted(line, pos, name);
        return "the value '" + name + "' of '" + section + "'";
    }
    return "the key '" + section + "'";
}

} // namespace

LSTATUS exportRegFile(const std::string& fullPath, RegFileForm form, std::string& bytes) {
    ExportForm how;
    how.kind = form == RegFileForm::Regedit4 ? ExportForm::Ansi : ExportForm::Version5;
    std::string text;
    const LSTATUS st = exportWith(fullPath, how, text);
    if (st != ERROR_SUCCESS) return st;
    // Line by line, so that a name the form cannot carry is named: in
    // Windows-1252, a character that code page lacks. A name that is not
    // UTF-8 (from a hive older than the registry's text rule) is read as
    // that rule reads it.
    bytes.clear();
    if (form == RegFileForm::Version5) bytes = "\xFF\xFE";
    std::string section;
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find('\n', start);
        if (end == std::string::npos) end = text.size();
        const std::string line = utf8Text(std::string_view(text).substr(start, end - start));
        if (!line.empty() && line[0] == '[') section = line.substr(1, line.size() - 2);
        if (form == RegFileForm::Version5Text) {
            bytes += line + "\n";
        } else if (form == RegFileForm::Version5) {
            std::u16string wide;
            const std::string crlf = line + "\r\n";
            utf8::utf8to16(crlf.begin(), crlf.end(), std::back_inserter(wide));
            for (const char16_t u : wide) {
                bytes += static_cast<char>(u & 0xFF);
                bytes += static_cast<char>(u >> 8);
            }
        } else {
            std::string ansi;
            uint32_t bad = 0;
            if (!utf8ToWindows1252(line, ansi, bad)) {
                char cp[16];
                std::snprintf(cp, sizeof cp, "U+%04X", bad);
                setErrorDetail(s_whatLine(line, section) +
                               " cannot be written in Windows-1252: it holds " + cp);
                return ERROR_INVALID_DATA;
            }
            bytes += ansi + "\r\n";
        }
        start = end + 1;
    }
    return ERROR_SUCCESS;
}

namespace {

// The text of a registry file's bytes, as UTF-8: UTF-16LE after a byte-order
// mark (version 5 as the editor writes it), else 8-bit text, UTF-8 when it
// is valid UTF-8 throughout (this platform and the view module write it),
// else Windows-1252 (`ansi`), as the editor writes REGEDIT4 files. False
// with `why` when UTF-16 text is broken.
bool s_decodeFile(const std::string& bytes, std::string& text, bool& wide, bool& ansi,
                  std::string& why) {
    wide = ansi = false;
    if (bytes.size() >= 2 && static_cast<unsigned char>(bytes[0]) == 0xFF &&
        static_cast<unsigned char>(bytes[1]) == 0xFE) {
        if (bytes.size() % 2 != 0) {
            why = "UTF-16 text of odd length";
            return false;
        }
        std::u16string u16((bytes.size() - 2) / 2, u'\0');
        std::memcpy(u16.data(), bytes.data() + 2, u16.size() * 2);
        try {
            utf8::utf16to8(u16.begin(), u16.end(), std::back_inserter(text));
        } catch (const utf8::exception&) {
            why = "the UTF-16 text is not valid (unpaired surrogate)";
            return false;
        }
        wide = true;
        return true;
    }
    text = bytes.compare(0, 3, "\xEF\xBB\xBF") == 0 ? bytes.substr(3) : bytes;
    ansi = !isUtf8(text);
    if (ansi) text = windows1252ToUtf8(text);
    return true;
}

// The logical lines of a file's text with the numbers of their first
// physical lines: a line ending in a backslash goes on in the next (key
// lines excepted).
std::vector<std::pair<int, std::string>> s_logicalLines(const std::string& text) {
    std::vector<std::pair<int, std::string>> lines;
    size_t start = 0;
    int number = 0;
    std::string pending;
    int pendingLine = 0;
    bool continuing = false;
    while (start <= text.size()) {
        size_t end = text.find('\n', start);
        if (end == std::string::npos) end = text.size();
        std::string line = trimRight(text.substr(start, end - start));
        ++number;
        if (continuing) {
            pending += trimLeft(line);
        } else {
            pending = line;
            pendingLine = number;
        }
        continuing = !pending.empty() && pending.back() == '\\' && pending.front() != '[';
        if (continuing) {
            pending.pop_back();
        } else {
            lines.emplace_back(pendingLine, std::move(pending));
            pending.clear();
        }
        if (end == text.size()) break;
        start = end + 1;
    }
    if (continuing) lines.emplace_back(pendingLine, std::move(pending));
    return lines;
}

// A "[KEY]" or "[-KEY]" line as its operation; false with `why`.
bool s_keyLine(const std::string& line, int number, RegFileOp& op, std::string& why) {
    const size_t close = line.rfind(']');
    if (close == std::string::npos) {
        why = "key line without a closing ']'";
        return false;
    }
    const bool remove = line.size() > 1 && line[1] == '-';
    const std::string path = line.substr(remove ? 2 : 1, close - (remove ? 2 : 1));
    HKEY root = nullptr;
    std::string sub;
    if (!splitRootPath(path, root, sub)) {
        why = "unknown root key in '" + path + "'";
        return false;
    }
    if (sub.empty() || sub.front() == '\\' || sub.find("\\\\") != std::string::npos) {
        why = "key path '" + path + "' is not valid";
        return false;
    }
    op = {remove ? RegFileOp::DeleteKey : RegFileOp::CreateKey, path, "", REG_NONE, "", number};
    return true;
}

// A value line's name and what follows its '=', or false with `why`.
bool s_valueLine(const std::string& line, std::string& name, std::string& rest, std::string& why) {
    size_t pos = 0;
    if (line[0] == '@') {
        pos = 1;
    } else if (line[0] == '"') {
        if (!readQuoted(line, pos, name)) {
            why = "unterminated value name";
            return false;
        }
    } else {
        why = "cannot parse the line";
        return false;
    }
    while (pos < line.size() && (line[pos] == ' ' || line[pos] == '\t'))
        ++pos;
    if (pos >= line.size() || line[pos] != '=') {
        why = "'=' expected after the value name";
        return false;
    }
    ++pos;
    while (pos < line.size() && (line[pos] == ' ' || line[pos] == '\t'))
        ++pos;
    rest = line.substr(pos);
    return true;
}

// hex(N): data, strings decoded from the file's form (UTF-16LE in version 5,
// Windows-1252 in an 8-bit file that is not UTF-8).
bool s_hexData(const std::string& rest, bool version5, bool ansi, RegFileOp& op, std::string& why) {
    const size_t colon = rest.find(':');
    DWORD type = REG_BINARY;
    if (rest[3] == '(') {
        const size_t close = rest.find(')');
        if (close == std::string::npos || close + 1 != colon || close == 4) {
            why = "hex(N): type number not valid";
            return false;
        }
        type = 0;
        for (size_t i = 4; i < close; ++i) {
            const int h = hexValue(rest[i]);
            if (h < 0 || i - 4 >= 8) {
                why = "hex(N): type number not valid";
                return false;
            }
            type = type * 16 + static_cast<DWORD>(h);
        }
    }
    if (!parseHexBytes(std::string_view(rest).substr(colon + 1), op.data)) {
        why = "hex data is not a list of hexadecimal bytes";
        return false;
    }
    const bool string = type == REG_SZ || type == REG_EXPAND_SZ || type == REG_MULTI_SZ;
    if (version5 && string) {
        // Strings in version 5 files are UTF-16LE; the registry here keeps UTF-8.
        if (op.data.size() % 2 != 0) {
            why = "UTF-16 string data of odd length";
            return false;
        }
        std::u16string u16(op.data.size() / 2, u'\0');
        std::memcpy(u16.data(), op.data.data(), op.data.size());
        std::string u8;
        try {
            utf8::utf16to8(u16.begin(), u16.end(), std::back_inserter(u8));
        } catch (const utf8::exception&) {
            why = "UTF-16 string data is not valid";
            return false;
        }
        op.data = std::move(u8);
    } else if (ansi && string) {
        op.data = windows1252ToUtf8(op.data);
    }
    op.type = type;
    return true;
}

// This platform's extension for the view module's exports: a float as the
// REG_SZ text CRegHelper::SetFloat writes, an int (decimal) as a REG_DWORD.
bool s_numberData(const std::string& rest, RegFileOp& op, std::string& why) {
    const bool isFloat = rest[0] == 'f';
    const std::string digits = trimLeft(rest.substr(isFloat ? 6 : 4));
    const char* first = digits.c_str();
    const char* last = first + digits.size();
    while (last > first && std::isspace(static_cast<unsigned char>(last[-1])))
        --last;
    if (first < last && *first == '+') ++first;
    if (isFloat) {
        float v = 0;
        const auto p = std::from_chars(first, last, v);
        if (p.ec != std::errc() || p.ptr != last) {
            why = "float: value '" + digits + "' is not a number";
            return false;
        }
        char text[32];
        const auto w = std::to_chars(text, text + sizeof text, v, std::chars_format::general, 9);
        op.type = REG_SZ;
        op.data = std::string(text, w.ptr) + '\0';
        return true;
    }
    int32_t v = 0;
    const auto p = std::from_chars(first, last, v);
    if (p.ec != std::errc() || p.ptr != last) {
        why = "int: value '" + digits + "' is not a 32-bit integer";
        return false;
    }
    const auto bits = static_cast<uint32_t>(v);
    op.type = REG_DWORD;
    op.data.assign(reinterpret_cast<const char*>(&bits), 4);
    return true;
}

enum class ValueRead { Read, Skipped, Failed };

// What follows a value line's '=' into `op`: "-" (delete), a quoted string,
// dword:, hex: and hex(N):, and (unless `strict`) float: and int:. A type
// word the registry editor does not know is skipped, as the editor does.
ValueRead s_valueData(const std::string& rest, bool version5, bool ansi, bool strict, RegFileOp& op,
                      std::string& why) {
    auto read = [](bool ok) { return ok ? ValueRead::Read : ValueRead::Failed; };
    if (rest == "-") {
        op.kind = RegFileOp::DeleteValue;
        return ValueRead::Read;
    }
    if (!rest.empty() && rest[0] == '"') {
        size_t p = 0;
        std::string value;
        if (!readQuoted(rest, p, value)) {
            why = "unterminated string";
            return ValueRead::Failed;
        }
        if (!trimLeft(rest.substr(p)).empty() && trimLeft(rest.substr(p))[0] != ';') {
            why = "text after the closing quote";
            return ValueRead::Failed;
        }
        op.type = REG_SZ;
        op.data = value + '\0';
        return ValueRead::Read;
    }
    if (rest.compare(0, 6, "dword:") == 0) {
        const std::string digits = rest.substr(6);
        if (digits.empty() || digits.size() > 8) {
            why = "dword: needs 1 to 8 hexadecimal digits";
            return ValueRead::Failed;
        }
        DWORD v = 0;
        for (const char c : digits) {
            const int h = hexValue(c);
            if (h < 0) {
                why = "dword: value '" + digits + "' is not hexadecimal";
                return ValueRead::Failed;
            }
            v = v * 16 + static_cast<DWORD>(h);
        }
        op.type = REG_DWORD;
        op.data.assign(reinterpret_cast<const char*>(&v), 4);
        return ValueRead::Read;
    }
    if (rest.compare(0, 4, "hex:") == 0 || rest.compare(0, 4, "hex(") == 0)
        return read(s_hexData(rest, version5, ansi, op, why));
    if (!strict && (rest.compare(0, 6, "float:") == 0 || rest.compare(0, 4, "int:") == 0))
        return read(s_numberData(rest, op, why));
    const size_t colon = rest.find(':');
    bool word = colon != std::string::npos && colon > 0;
    for (size_t i = 0; word && i < colon; ++i)
        word =
            std::isalnum(static_cast<unsigned char>(rest[i])) || rest[i] == '(' || rest[i] == ')';
    if (!word) {
        why = "cannot parse the value";
        return ValueRead::Failed;
    }
    return ValueRead::Skipped;
}

} // namespace

RegFileParse parseRegFile(const std::string& bytes, const std::string& source, bool strict) {
    RegFileParse r;
    auto fail = [&](int line, const std::string& what) {
        r.ok = false;
        r.ops.clear();
        r.error = source + ":" + std::to_string(line) + ": " + what;
        return r;
    };
    std::string text, why;
    bool wide = false, ansi = false;
    if (!s_decodeFile(bytes, text, wide, ansi, why)) return fail(1, why);
    const std::vector<std::pair<int, std::string>> lines = s_logicalLines(text);
    if (lines.empty() || (lines.front().second != "REGEDIT4" &&
                          lines.front().second != "Windows Registry Editor Version 5.00"))
        return fail(1, "not a registry file: the first line must be \"REGEDIT4\" or "
                       "\"Windows Registry Editor Version 5.00\"");
    const bool version5 = lines.front().second != "REGEDIT4";

    std::string currentKey;
    bool keyDeleted = false;
    for (size_t li = 1; li < lines.size(); ++li) {
        const int number = lines[li].first;
        const std::string line = trimLeft(lines[li].second);
        if (line.empty() || line[0] == ';') continue;
        if (line[0] == '[') {
            RegFileOp op;
            if (!s_keyLine(line, number, op, why)) return fail(number, why);
            currentKey = op.key;
            keyDeleted = op.kind == RegFileOp::DeleteKey;
            r.ops.push_back(std::move(op));
            continue;
        }
        std::string name, rest;
        if (!s_valueLine(line, name, rest, why)) return fail(number, why);
        if (currentKey.empty()) return fail(number, "value line before any [key] line");
        RegFileOp op{RegFileOp::SetValue, currentKey, name, REG_NONE, "", number};
        // The values of a deleted key are ignored, as the registry editor
        // does, and so are type words it does not know; both are counted.
        const ValueRead read =
            keyDeleted ? ValueRead::Skipped : s_valueData(rest, version5, ansi, strict, op, why);
        if (read == ValueRead::Failed) return fail(number, why);
        if (read == ValueRead::Skipped) {
            ++r.skipped;
            r.skippedLines.push_back(number);
            continue;
        }
        r.ops.push_back(std::move(op));
    }
    r.ok = true;
    return r;
}

LSTATUS applyRegFile(const RegFileParse& parsed, const std::string& source, std::string& error) {
    if (!parsed.ok) {
        error = parsed.error;
        return ERROR_INVALID_DATA;
    }
    Transaction tx;
    KeyHandle current;
    std::string currentPath;
    auto failed = [&](const RegFileOp& op, const char* what, LSTATUS st) {
        // A key path can be thousands of names long: the message keeps its
        // two ends.
        const std::string key = op.key.size() <= 200 ? op.key
                                                     : op.key.substr(0, 120) + "..." +
                                                           op.key.substr(op.key.size() - 60);
        error = source + ":" + std::to_string(op.line) + ": cannot " + what + " '" + key +
                "': " + describeStatus(st);
        const std::string detail = lastErrorDetail();
        if (!detail.empty()) error += " (" + detail + ")";
        return st;
    };
    for (const RegFileOp& op : parsed.ops) {
        HKEY root = nullptr;
        std::string sub;
        splitRootPath(op.key, root, sub);
        LSTATUS st = ERROR_SUCCESS;
        switch (op.kind) {
        case RegFileOp::CreateKey: {
            HKEY raw = nullptr;
            st = RegCreateKeyExA(root, sub.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &raw,
                                 nullptr);
            if (st != ERROR_SUCCESS) return failed(op, "create key", st);
            current.reset(raw);
            currentPath = op.key;
            break;
        }
        case RegFileOp::DeleteKey:
            current.reset();
            currentPath.clear();
            st = RegDeleteTreeA(root, sub.c_str());
            if (st != ERROR_SUCCESS && st != ERROR_FILE_NOT_FOUND)
                return failed(op, "delete key", st);
            break;
        case RegFileOp::SetValue:
            st = RegSetValueExA(current.get(), op.name.c_str(), 0, op.type,
                                reinterpret_cast<const BYTE*>(op.data.data()),
                                static_cast<DWORD>(op.data.size()));
            if (st != ERROR_SUCCESS) return failed(op, "set a value of", st);
            break;
        case RegFileOp::DeleteValue:
            st = RegDeleteValueA(current.get(), op.name.c_str());
            if (st != ERROR_SUCCESS && st != ERROR_FILE_NOT_FOUND)
                return failed(op, "delete a value of", st);
            break;
        }
    }
    current.reset();
    const LSTATUS st = tx.commit();
    if (st != ERROR_SUCCESS) {
        error = source + ": cannot commit the import: " + describeStatus(st) + " (" +
                lastErrorDetail() + ")";
        return st;
    }
    return ERROR_SUCCESS;
}

} // namespace zul::registry
