// Runs a command line through the shell and collects what it printed.
#pragma once

#include <sys/wait.h>

#include <cstdio>
#include <string>

namespace zul::test {

struct ProgramResult {
    int status = -1; // exit status, -1 when it did not exit normally
    std::string out; // standard output (and whatever the command redirects there)
};

inline ProgramResult runProgram(const std::string& command) {
    ProgramResult r;
    FILE* p = ::popen(command.c_str(), "r");
    if (!p) return r;
    char buf[4096];
    size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, p)) > 0)
        r.out.append(buf, n);
    const int status = ::pclose(p);
    r.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return r;
}

} // namespace zul::test
