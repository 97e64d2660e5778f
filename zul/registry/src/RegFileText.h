// What the registry file's writer and reader share.
#pragma once

#include <cstddef>
#include <string>

namespace zul::registry {

// Reads a quoted string starting at s[pos] == '"' (backslash escapes \\,
// \", and the editor's \n and \r for line breaks); pos ends after the
// closing quote. False when the quote is not closed.
bool readQuoted(const std::string& s, size_t& pos, std::string& out);

} // namespace zul::registry
