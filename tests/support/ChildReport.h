// What a child process killed in the middle of its work said on a pipe:
// a line "begin OP" as each operation starts and "done OP" once it has
// finished, so that the parent knows which operations must have landed and
// which one may or may not have.
#pragma once

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <sstream>
#include <string>
#include <vector>

#include "TempHive.h"

namespace zul::test {

struct ChildReport {
    std::vector<std::string> done; // finished, in order
    std::string pending;           // begun and not finished; empty if none
};

// Starts a child that runs `body(writeEnd)` (which ends with _exit) and
// reports on a pipe; gives the child's pid (-1 on failure) and the pipe's
// read end in `readEnd`. The fork waits for the hive backups of this
// process (see forkAlone).
template <class Body> pid_t startReportingChild(int& readEnd, Body body) {
    int fds[2];
    if (::pipe(fds) != 0) return -1;
    const pid_t child = forkAlone();
    if (child == 0) {
        ::close(fds[0]);
        body(fds[1]);
        ::_exit(127);
    }
    ::close(fds[1]);
    readEnd = fds[0];
    return child;
}

// Kills the child and reaps it; true when the kill is what ended it.
inline bool killChild(pid_t child, int& status) {
    ::kill(child, SIGKILL);
    return ::waitpid(child, &status, 0) == child && WIFSIGNALED(status);
}

// Reads `fd` to its end (the writer is gone) onto `text`, and closes it.
inline void drainPipe(int fd, std::string& text) {
    char buf[4096];
    for (ssize_t n; (n = ::read(fd, buf, sizeof buf)) > 0;)
        text.append(buf, static_cast<size_t>(n));
    ::close(fd);
}

inline ChildReport parseChildReport(const std::string& text) {
    ChildReport report;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        if (line.rfind("begin ", 0) == 0) {
            report.pending = line.substr(6);
        } else if (line.rfind("done ", 0) == 0) {
            report.done.push_back(line.substr(5));
            report.pending.clear();
        }
    }
    return report;
}

} // namespace zul::test
