// sysctl's process table against /proc: order, contents of a record, the
// size estimate and the ENOMEM answer to a short buffer.
#include <sys/sysctl.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <dirent.h>
#include <fstream>
#include <set>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

int allProcesses[] = {CTL_KERN, KERN_PROC, KERN_PROC_ALL};

std::set<pid_t> procIds() {
    std::set<pid_t> pids;
    DIR *dir = opendir("/proc");
    while (dir != nullptr) {
        const dirent *entry = readdir(dir);
        if (entry == nullptr) break;
        if (const pid_t pid = atoi(entry->d_name); pid > 0) pids.insert(pid);
    }
    if (dir != nullptr) closedir(dir);
    return pids;
}

std::vector<kinfo_proc> fetchAll() {
    for (;;) {
        size_t length = 0;
        if (sysctl(allProcesses, 3, nullptr, &length, nullptr, 0) != 0) return {};
        std::vector<kinfo_proc> records(length / sizeof(kinfo_proc));
        length = records.size() * sizeof(kinfo_proc);
        if (sysctl(allProcesses, 3, records.data(), &length, nullptr, 0) == 0) {
            records.resize(length / sizeof(kinfo_proc));
            return records;
        }
        if (errno != ENOMEM) return {};
    }
}

std::string firstLine(const std::string &path) {
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);
    return line;
}

TEST(Sysctl, ProcessTableMatchesProc) {
    const std::set<pid_t> before = procIds();
    const std::vector<kinfo_proc> records = fetchAll();
    const std::set<pid_t> after = procIds();
    ASSERT_FALSE(records.empty());

    std::set<pid_t> listed;
    for (size_t i = 0; i < records.size(); ++i) {
        listed.insert(records[i].kp_proc.p_pid);
        if (i > 0) EXPECT_LT(records[i - 1].kp_proc.p_pid, records[i].kp_proc.p_pid) << "ascending order";
    }
    for (pid_t pid : before) {
        if (after.count(pid) != 0) EXPECT_EQ(listed.count(pid), 1u) << "process " << pid << " lived throughout";
    }

    const auto self = std::find_if(records.begin(), records.end(),
                                   [](const kinfo_proc &r) { return r.kp_proc.p_pid == getpid(); });
    ASSERT_NE(self, records.end());
    EXPECT_EQ(std::string(self->kp_proc.p_comm), firstLine("/proc/self/comm"));
    EXPECT_EQ(self->kp_eproc.e_ppid, getppid());
    EXPECT_EQ(self->kp_eproc.e_pgid, getpgrp());
    EXPECT_EQ(self->kp_eproc.e_pcred.p_ruid, getuid());
    EXPECT_EQ(self->kp_eproc.e_ucred.cr_uid, geteuid());
    EXPECT_EQ(self->kp_eproc.e_pcred.p_rgid, getgid());
    EXPECT_GE(self->kp_eproc.e_ucred.cr_ngroups, 1);
    EXPECT_EQ(self->kp_eproc.e_ucred.cr_groups[0], getegid());
    EXPECT_EQ(self->kp_proc.p_stat, SRUN);
    // Started within the last day and not in the future (the clock may have
    // been set meanwhile, so no tighter bound).
    const time_t now = time(nullptr);
    EXPECT_LE(self->kp_proc.p_starttime.tv_sec, now + 1);
    EXPECT_GT(self->kp_proc.p_starttime.tv_sec, now - 86400);
}

TEST(Sysctl, SizeEstimateLeavesRoomAndShortBuffersGetEnomem) {
    size_t estimate = 0;
    ASSERT_EQ(sysctl(allProcesses, 3, nullptr, &estimate, nullptr, 0), 0);
    EXPECT_EQ(estimate % sizeof(kinfo_proc), 0u);
    EXPECT_GE(estimate / sizeof(kinfo_proc), procIds().size());

    kinfo_proc two[2];
    memset(two, 0xAB, sizeof(two));
    size_t length = sizeof(kinfo_proc) + sizeof(kinfo_proc) / 2;
    errno = 0;
    EXPECT_EQ(sysctl(allProcesses, 3, two, &length, nullptr, 0), -1);
    EXPECT_EQ(errno, ENOMEM);
    EXPECT_EQ(length, sizeof(kinfo_proc)) << "whole records only";
    EXPECT_EQ(two[0].kp_proc.p_pid, *procIds().begin());
    EXPECT_EQ(reinterpret_cast<unsigned char *>(&two[1])[0], 0xAB) << "nothing past the whole records";

    length = 0;
    errno = 0;
    EXPECT_EQ(sysctl(allProcesses, 3, two, &length, nullptr, 0), -1);
    EXPECT_EQ(errno, ENOMEM);
    EXPECT_EQ(length, 0u);
}

TEST(Sysctl, OneProcessById) {
    int self[] = {CTL_KERN, KERN_PROC, KERN_PROC_PID, getpid()};
    kinfo_proc record{};
    size_t length = sizeof(record);
    ASSERT_EQ(sysctl(self, 4, &record, &length, nullptr, 0), 0);
    EXPECT_EQ(length, sizeof(record));
    EXPECT_EQ(record.kp_proc.p_pid, getpid());

    // A process id that is not in use gives an empty answer, not an error.
    int gone[] = {CTL_KERN, KERN_PROC, KERN_PROC_PID, 0x3FFFFFFF};
    length = sizeof(record);
    ASSERT_EQ(sysctl(gone, 4, &record, &length, nullptr, 0), 0);
    EXPECT_EQ(length, 0u);
}

TEST(Sysctl, OtherNamesAndWritesAreRefused) {
    struct Case {
        std::vector<int> name;
        bool write;
        int error;
    } cases[] = {
        {{CTL_KERN, KERN_PROC}, false, ENOENT},
        {{6 /* hardware */, 24, 0}, false, ENOENT},
        {{CTL_KERN, KERN_PROC, 99}, false, EINVAL},
        {{CTL_KERN, KERN_PROC, KERN_PROC_ALL}, true, EPERM},
    };
    for (Case &c : cases) {
        size_t length = 0;
        int value = 1;
        errno = 0;
        EXPECT_EQ(sysctl(c.name.data(), static_cast<unsigned>(c.name.size()), nullptr, &length,
                         c.write ? &value : nullptr, c.write ? sizeof(value) : 0),
                  -1);
        EXPECT_EQ(errno, c.error);
    }
    EXPECT_EQ(sysctl(nullptr, 3, nullptr, nullptr, nullptr, 0), -1);
    EXPECT_EQ(sysctl(allProcesses, 3, nullptr, nullptr, nullptr, 0), -1);
    EXPECT_EQ(errno, EINVAL);
}

}  // namespace
