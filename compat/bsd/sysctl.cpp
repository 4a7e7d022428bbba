/* sysctl: the process table, read from /proc. */
#include <sys/sysctl.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <string>
#include <unistd.h>
#include <vector>

static_assert(sizeof(struct kinfo_proc) == 648, "the platform's process record is 648 bytes");

namespace {

/* Room the size estimate leaves for processes started before the fetch. */
constexpr size_t kSpareRecords = 8;

std::string readFile(const std::string &path) {
    std::string text;
    FILE *file = fopen(path.c_str(), "re");
    if (file == nullptr) return text;
    char buffer[4096];
    size_t n;
    while ((n = fread(buffer, 1, sizeof(buffer), file)) > 0) text.append(buffer, n);
    fclose(file);
    return text;
}

/* Process ids of /proc in ascending order. */
std::vector<pid_t> listProcessIds() {
    std::vector<pid_t> pids;
    DIR *dir = opendir("/proc");
    if (dir == nullptr) return pids;
    while (const dirent *entry = readdir(dir)) {
        char *end = nullptr;
        const long pid = strtol(entry->d_name, &end, 10);
        if (entry->d_name[0] >= '1' && entry->d_name[0] <= '9' && *end == '\0' && pid > 0) {
            pids.push_back(static_cast<pid_t>(pid));
        }
    }
    closedir(dir);
    std::sort(pids.begin(), pids.end());
    return pids;
}

/* Seconds since the epoch at which the system started ("btime"). */
long bootTime() {
    const std::string stat = readFile("/proc/stat");
    const size_t at = stat.find("\nbtime ");
    return at == std::string::npos ? 0 : strtol(stat.c_str() + at + 7, nullptr, 10);
}

char stateOf(char linuxState) {
    switch (linuxState) {
    case 'R': return SRUN;
    case 'T': case 't': return SSTOP;
    case 'Z': case 'X': return SZOMB;
    default: return SSLEEP;
    }
}

/* The numbers after "Key:" in /proc/PID/status. */
std::vector<unsigned long> statusNumbers(const std::string &status, const char *key) {
    std::vector<unsigned long> numbers;
    const std::string prefix = std::string("\n") + key + ":";
    const size_t at = status.find(prefix);
    if (at == std::string::npos) return numbers;
    const char *p = status.c_str() + at + prefix.size();
    for (;;) {
        while (*p == ' ' || *p == '\t') ++p;
        if (*p < '0' || *p > '9') break;
        char *end = nullptr;
        numbers.push_back(strtoul(p, &end, 10));
        p = end;
    }
    return numbers;
}

/* Fills one record; false when the process is gone. */
bool fillRecord(pid_t pid, long boot, long ticksPerSecond, kinfo_proc &record) {
    const std::string base = "/proc/" + std::to_string(pid);
    const std::string stat = readFile(base + "/stat");
    /* "pid (comm) state ppid pgrp session tty_nr tpgid flags ...": the name
     * may hold blanks and parentheses, so it ends at the last ")". */
    const size_t open = stat.find('(');
    const size_t close = stat.rfind(')');
    if (open == std::string::npos || close == std::string::npos || close < open || close + 2 >= stat.size()) return false;
    memset(&record, 0, sizeof(record));
    extern_proc &proc = record.kp_proc;
    eproc &ep = record.kp_eproc;
    proc.p_pid = pid;
    const std::string comm = stat.substr(open + 1, close - open - 1);
    snprintf(proc.p_comm, sizeof(proc.p_comm), "%s", comm.c_str());

    /* Fields after the name, numbered as proc(5) numbers them: 3 is the
     * state, 4 the parent, ... 22 the start time. */
    std::vector<long long> fields(4, 0);
    const char *p = stat.c_str() + close + 2;
    proc.p_stat = stateOf(*p);
    p = strchr(p, ' ');
    while (p != nullptr && fields.size() < 23) {
        ++p;
        fields.push_back(strtoll(p, nullptr, 10));
        p = strchr(p, ' ');
    }
    if (fields.size() < 23) return false;
    ep.e_ppid = static_cast<pid_t>(fields[4]);
    proc.p_oppid = ep.e_ppid;
    ep.e_pgid = static_cast<pid_t>(fields[5]);
    ep.e_tdev = static_cast<int32_t>(fields[7]);
    ep.e_tpgid = static_cast<pid_t>(fields[8]);
    proc.p_nice = static_cast<char>(fields[19]);
    if (ticksPerSecond > 0) {
        const long long ticks = fields[22];
        proc.p_starttime.tv_sec = boot + ticks / ticksPerSecond;
        proc.p_starttime.tv_usec = static_cast<suseconds_t>((ticks % ticksPerSecond) * 1000000 / ticksPerSecond);
    }

    const std::string status = readFile(base + "/status");
    const std::vector<unsigned long> uids = statusNumbers(status, "Uid");
    const std::vector<unsigned long> gids = statusNumbers(status, "Gid");
    if (uids.size() >= 3) {
        ep.e_pcred.p_ruid = static_cast<uid_t>(uids[0]);
        ep.e_ucred.cr_uid = static_cast<uid_t>(uids[1]);
        ep.e_pcred.p_svuid = static_cast<uid_t>(uids[2]);
    }
    if (gids.size() >= 3) {
        ep.e_pcred.p_rgid = static_cast<gid_t>(gids[0]);
        ep.e_pcred.p_svgid = static_cast<gid_t>(gids[2]);
        /* As on the platform, the first group is the effective group. */
        ep.e_ucred.cr_groups[0] = static_cast<gid_t>(gids[1]);
        ep.e_ucred.cr_ngroups = 1;
    }
    for (unsigned long group : statusNumbers(status, "Groups")) {
        if (ep.e_ucred.cr_ngroups >= NGROUPS) break;
        ep.e_ucred.cr_groups[ep.e_ucred.cr_ngroups++] = static_cast<gid_t>(group);
    }
    ep.e_ucred.cr_ref = 1;
    return true;
}

std::vector<kinfo_proc> readTable(const std::vector<pid_t> &pids) {
    const long boot = bootTime();
    const long ticksPerSecond = sysconf(_SC_CLK_TCK);
    std::vector<kinfo_proc> records;
    records.reserve(pids.size());
    for (pid_t pid : pids) {
        kinfo_proc record;
        if (fillRecord(pid, boot, ticksPerSecond, record)) records.push_back(record);
    }
    return records;
}

int fail(int error) {
    errno = error;
    return -1;
}

}  // namespace

extern "C" int sysctl(int *name, unsigned int namelen, void *oldp, size_t *oldlenp, void *newp, size_t newlen) {
    if (name == nullptr || namelen < 3 || name[0] != CTL_KERN || name[1] != KERN_PROC) return fail(ENOENT);
    if (newp != nullptr || newlen != 0) return fail(EPERM);
    if (oldlenp == nullptr) return fail(EINVAL);

    std::vector<pid_t> pids;
    if (name[2] == KERN_PROC_ALL) {
        pids = listProcessIds();
    } else if (name[2] == KERN_PROC_PID && namelen >= 4) {
        if (name[3] > 0) pids.push_back(name[3]);
    } else {
        return fail(EINVAL);
    }

    if (oldp == nullptr) {
        const size_t spare = name[2] == KERN_PROC_ALL ? kSpareRecords : 0;
        *oldlenp = (pids.size() + spare) * sizeof(kinfo_proc);
        return 0;
    }
    std::vector<kinfo_proc> records;
    try {
        records = readTable(pids);
    } catch (...) {
        return fail(ENOMEM);
    }
    const size_t fit = *oldlenp / sizeof(kinfo_proc);
    const size_t count = records.size() < fit ? records.size() : fit;
    if (count > 0) memcpy(oldp, records.data(), count * sizeof(kinfo_proc));
    *oldlenp = count * sizeof(kinfo_proc);
    return count < records.size() ? fail(ENOMEM) : 0;
}
