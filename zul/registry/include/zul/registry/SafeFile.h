// Replacing a file as one step, safely in a folder other users can write.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "zul/com/com.h"

namespace zul::registry {

// Writes `bytes` to `path` as one step: into a new file created exclusively
// beside it (a name no one can have planted a link at), with the mode the
// target has (a new target: 0666 less the umask), flushed to disk and
// renamed over the target; a failure leaves the target as it was and no
// scratch file behind. A target that is one of this registry's hive files,
// or a file that is write-protected (no write bit, or not writable by this
// user), is refused. False with `why` (the system's reason) on failure.
ZUL_PLATFORM_API bool writeFileReplacing(const std::string& path, std::string_view bytes,
                                         std::string& why);

// The same step without the checks of the target: `path` gets `bytes` with
// `mode`, whatever it was (used to put a hive's backup in its place).
ZUL_PLATFORM_API bool replaceFileContents(const std::string& path, std::string_view bytes,
                                          unsigned mode, std::string& why);

// Reads the whole of `path` when it is a regular file of at most `limit`
// bytes (opened without blocking, so a FIFO or a device is refused at once
// rather than waited on). False with `why` ("not a regular file", "larger
// than ...", the system's reason) otherwise.
ZUL_PLATFORM_API bool readInputFile(const std::string& path, uint64_t limit, std::string& bytes,
                                    std::string& why);

} // namespace zul::registry
