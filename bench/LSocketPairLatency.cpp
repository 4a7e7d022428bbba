#include "bench/LSocketPairLatency.h"

#include "bench/LLatencySamples.h"

#include <mach/mach_time.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <vector>

namespace harlune::bench {

void LSocketPairLatency(std::uint64_t nMessages, std::size_t nBytes, std::uint32_t dwFrames, double fRate,
                        double* pfMedianNs, double* pfP99Ns) {
    int fds[2], results[2];
    if (nBytes < 8 || socketpair(AF_UNIX, SOCK_STREAM, 0, fds) != 0) {
        return;
    }
    if (pipe(results) != 0) {
        close(fds[0]);
        close(fds[1]);
        return;
    }
    const pid_t pid = fork();
    if (pid == 0) {
        close(fds[0]);
        close(results[0]);
        LLatencySamples samples(nMessages);
        std::vector<unsigned char> buffer(nBytes);
        for (std::uint64_t i = 0; i < nMessages; ++i) {
            std::size_t nGot = 0;
            while (nGot < nBytes) {
                const ssize_t n = read(fds[1], buffer.data() + nGot, nBytes - nGot);
                if (n <= 0) {
                    _exit(1);
                }
                nGot += static_cast<std::size_t>(n);
            }
            std::uint64_t qwSent = 0;
            std::memcpy(&qwSent, buffer.data(), 8);
            samples.Add(mach_absolute_time() - qwSent);
        }
        const double ar[2] = {samples.Quantile(0.5), samples.Quantile(0.99)};
        if (write(results[1], ar, sizeof ar) != sizeof ar) {
            _exit(1);
        }
        _exit(0);
    }
    close(fds[1]);
    close(results[1]);
    if (pid > 0) {
        std::vector<unsigned char> buffer(nBytes, 0x5A);
        const std::uint64_t qwPeriod = static_cast<std::uint64_t>(dwFrames * 1e9 / fRate);
        std::uint64_t qwNext = mach_absolute_time();
        for (std::uint64_t i = 0; i < nMessages; ++i) {
            qwNext += qwPeriod;
            while (mach_absolute_time() < qwNext) {
                timespec ts = {0, static_cast<long>(std::min<std::uint64_t>(qwNext - mach_absolute_time(), 1000000))};
                nanosleep(&ts, nullptr);
            }
            const std::uint64_t qwNow = mach_absolute_time();
            std::memcpy(buffer.data(), &qwNow, 8);
            if (write(fds[0], buffer.data(), nBytes) != static_cast<ssize_t>(nBytes)) {
                break;
            }
        }
        double ar[2] = {0, 0};
        if (read(results[0], ar, sizeof ar) == sizeof ar) {
            *pfMedianNs = ar[0];
            *pfP99Ns = ar[1];
        }
    }
    close(fds[0]);
    close(results[0]);
    if (pid > 0) {
        waitpid(pid, nullptr, 0);
    }
}

} // namespace harlune::bench
