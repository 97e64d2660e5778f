// Fuzzes the registry editor file parser: any bytes must give either a list
// of changes or an error naming a line, never a crash or a hang.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "zul/registry/RegFile.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    const auto parsed = zul::registry::parseRegFile(bytes, "fuzz.reg");
    if (parsed.ok == !parsed.error.empty()) std::abort(); // exactly one of the two
    for (const auto& op : parsed.ops) {
        HKEY root = nullptr;
        std::string sub;
        // Every key the parser accepts must be one the registry can address.
        if (!zul::registry::splitRootPath(op.key, root, sub) || sub.empty()) std::abort();
        // Key lines carry no value; hex(4): may carry any number of bytes.
        const bool keyOp = op.kind == zul::registry::RegFileOp::CreateKey ||
                           op.kind == zul::registry::RegFileOp::DeleteKey;
        if (keyOp && (!op.name.empty() || !op.data.empty())) std::abort();
    }
    return 0;
}
