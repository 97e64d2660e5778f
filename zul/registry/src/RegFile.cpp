// Registry editor files: a key written as one (the forms of exportRegFile),
// and a parsed file applied as one transaction. Reading them: RegFileParse.cpp.
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
#include "RegFileText.h"
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
