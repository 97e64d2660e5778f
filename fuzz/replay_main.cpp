// Without libFuzzer (gcc builds): runs every input of the corpus folders
// given on the command line through the fuzz target once.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv) {
    size_t runs = 0;
    for (int i = 1; i < argc; ++i) {
        for (const auto& entry : std::filesystem::recursive_directory_iterator(argv[i])) {
            if (!entry.is_regular_file()) continue;
            std::ifstream in(entry.path(), std::ios::binary);
            const std::string bytes(std::istreambuf_iterator<char>(in), {});
            LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
            ++runs;
        }
    }
    std::printf("replayed %zu inputs\n", runs);
    return runs > 0 ? 0 : 1;
}
