// Reading registry editor files (RegFile.h): the text decoded, logical
// lines, key lines, value lines and their data, step by step.
#include <utf8cpp/utf8.h>

#include <cctype>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <vector>

#include "RegFileText.h"
#include "zul/registry/RegFile.h"
#include "zul/registry/Text.h"

namespace zul::registry {

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

namespace {

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

} // namespace zul::registry
