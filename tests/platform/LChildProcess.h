// LChildProcess.h: runs a piece of a test in a forked child, for changes
// that must not touch the test process (user ids, umask, limits, the
// process locale). The child's body returns the text of its failures, empty
// when none; the parent gets it back, or a note of how the child died.
#ifndef HARLUNE_TESTS_PLATFORM_LCHILDPROCESS_H
#define HARLUNE_TESTS_PLATFORM_LCHILDPROCESS_H

#include <functional>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace harlune::test {

inline std::string RunInChild(const std::function<std::string()>& fnBody) {
    int arPipe[2];
    if (pipe(arPipe) != 0) {
        return "pipe failed";
    }
    const pid_t pid = fork();
    if (pid < 0) {
        close(arPipe[0]);
        close(arPipe[1]);
        return "fork failed";
    }
    if (pid == 0) {
        close(arPipe[0]);
        const std::string szFailures = fnBody();
        size_t nWritten = 0;
        while (nWritten < szFailures.size()) {
            const ssize_t n = write(arPipe[1], szFailures.data() + nWritten, szFailures.size() - nWritten);
            if (n <= 0) {
                break;
            }
            nWritten += static_cast<size_t>(n);
        }
        _exit(0);
    }
    close(arPipe[1]);
    std::string szFailures;
    char arBuffer[512];
    ssize_t n;
    while ((n = read(arPipe[0], arBuffer, sizeof(arBuffer))) > 0) {
        szFailures.append(arBuffer, static_cast<size_t>(n));
    }
    close(arPipe[0]);
    int nStatus = 0;
    waitpid(pid, &nStatus, 0);
    if (!WIFEXITED(nStatus) || WEXITSTATUS(nStatus) != 0) {
        szFailures += "child did not exit cleanly";
    }
    return szFailures;
}

// Collects "what: got X, expected Y" lines in a child.
template <class T, class U>
void Check(std::string& szFailures, const char* szWhat, const T& got, const U& expected) {
    if (!(got == expected)) {
        using std::to_string;
        szFailures += std::string(szWhat) + ": unexpected value\n";
    }
}

} // namespace harlune::test

#endif
