// The reliability suite's main: GoogleTest's own flags, and the length of the
// long runs: --runs N (kills of the crash test, default 200) and --ops N
// (operations per host of the concurrency test, default 2000).
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        const char* var = arg == "--runs"  ? "KRAV_CRASH_RUNS"
                          : arg == "--ops" ? "KRAV_CONCURRENT_OPS"
                                           : nullptr;
        if (!var || i + 1 >= argc || std::atoi(argv[i + 1]) <= 0) {
            std::fprintf(stderr, "usage: %s [gtest flags] [--runs N] [--ops N]\n", argv[0]);
            return 2;
        }
        ::setenv(var, argv[++i], 1);
    }
    return RUN_ALL_TESTS();
}
