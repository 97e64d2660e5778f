// Registry editor text files: export of a key tree and import of a file.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "zul/registry/registry.h"

namespace zul::registry {

// Writes the key `fullPath` ("HKEY_CURRENT_USER\Software\ZUL") and everything
// below it as REGEDIT4 text: a section per key, parents before children,
// subkeys in enumeration order, values in enumeration order, the names with
// the case they were created with. Line ends are "\n".
//   REG_SZ "name"="text" (\ and " escaped), REG_DWORD dword:%08x,
//   REG_BINARY hex:.., other types hex(N):.., long hex data continued with
//   a trailing backslash. A string that the quoted form cannot carry (line
//   breaks, inner NULs) is written as hex(1) so that import restores it.
ZUL_PLATFORM_API LSTATUS exportKey(const std::string& fullPath, std::string& out);

// The registry editor's file forms.
enum class RegFileForm {
    Version5,     // "Windows Registry Editor Version 5.00", UTF-16LE with a
                  // byte-order mark, CRLF: what the editor writes
    Version5Text, // the same text in UTF-8 with "\n" line ends, for people and pipes
    Regedit4,     // "REGEDIT4" in Windows-1252, CRLF
};
// `fullPath` and everything below it as a file of `form`, as bytes. String
// payloads (hex(1), hex(2), hex(7)) are UTF-16LE in version 5 and
// Windows-1252 in REGEDIT4. ERROR_INVALID_DATA, naming the key and value in
// lastErrorDetail(), when something cannot be written in Windows-1252 (or a
// string value is not UTF-8): nothing is written silently wrong.
ZUL_PLATFORM_API LSTATUS exportRegFile(const std::string& fullPath, RegFileForm form,
                                       std::string& bytes);

// One change an import makes, in file order.
struct RegFileOp {
    enum Kind { CreateKey, DeleteKey, SetValue, DeleteValue } kind;
    std::string key;  // full path with its root name
    std::string name; // value name ("" = default value)
    DWORD type = REG_NONE;
    std::string data;
    int line = 0;
};

struct RegFileParse {
    bool ok = false;
    std::vector<RegFileOp> ops;
    size_t skipped = 0; // lines with a type word the editor does not know
    std::vector<int> skippedLines;
    std::string error; // "FILE:LINE: what" when !ok
};

// Parses a REGEDIT4 (8-bit) or "Windows Registry Editor Version 5.00"
// (UTF-16LE with BOM, or 8-bit) file. `source` names the file in messages.
// Beyond the editor's types it takes this platform's two type words, which
// the view module's exports carry: "float:" (a number, stored as the REG_SZ
// text CRegHelper::SetFloat writes) and "int:" (a decimal 32-bit integer,
// stored as REG_DWORD); with `strict` they are skipped and counted, as the
// registry editor skips every type word it does not know.
ZUL_PLATFORM_API RegFileParse parseRegFile(const std::string& bytes, const std::string& source,
                                           bool strict = false);

// Applies parsed changes in one transaction: all of them, or none. On
// failure `error` says which line could not be applied and why.
ZUL_PLATFORM_API LSTATUS applyRegFile(const RegFileParse& parsed, const std::string& source,
                                      std::string& error);

} // namespace zul::registry
