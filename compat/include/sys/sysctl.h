/*
 * sys/sysctl.h: the kernel's process table through sysctl, as the platform
 * gives it.
 *
 * Only the process table is offered: the names {CTL_KERN, KERN_PROC,
 * KERN_PROC_ALL} (every process) and {CTL_KERN, KERN_PROC, KERN_PROC_PID,
 * pid} (one process). Other names fail with ENOENT; setting a value (newp)
 * fails with EPERM.
 *
 * The records are the platform's struct kinfo_proc of 648 bytes, in
 * ascending process-id order. On Linux they are filled from /proc at the
 * time of the call: the command name (the kernel's short name, at most 15
 * characters on Linux), process id, parent, process group, state, nice
 * value, start time, user and group ids and supplementary groups; every
 * other byte is zero. A process that ends while the table is read is left
 * out.
 *
 * Sizes behave as on the platform: with oldp NULL, *oldlenp receives an
 * estimate that leaves room for 8 more processes; with a buffer, *oldlenp
 * receives the bytes written. A buffer too small for the whole table gets as
 * many whole records as fit, and the call fails with ENOMEM, so callers
 * grow their buffer and ask again.
 *
 * Thread safety: any thread; every call reads /proc afresh.
 */
#ifndef HARLUNE_COMPAT_SYS_SYSCTL_H
#define HARLUNE_COMPAT_SYS_SYSCTL_H

#include <stddef.h>
#include <stdint.h>
#include <sys/time.h>
#include <sys/types.h>

#ifdef __cplusplus
extern "C" {
#endif

#define CTL_KERN 1
#define KERN_PROC 14
#define KERN_PROC_ALL 0
#define KERN_PROC_PID 1

#define MAXCOMLEN 16
#define NGROUPS 16
#define WMESGLEN 7
#define COMAPT_MAXLOGNAME 12

/* Process states of kp_proc.p_stat. */
#define SIDL 1
#define SRUN 2
#define SSLEEP 3
#define SSTOP 4
#define SZOMB 5

/* The platform's process record, with its field names and offsets. Pointer
 * fields of the platform's kernel are never filled and are kept as opaque
 * 64-bit values. */
struct extern_proc {
    union {
        struct {
            uint64_t __p_forw;
            uint64_t __p_back;
        } p_st1;
        struct timeval __p_starttime;
    } p_un;
#define p_starttime p_un.__p_starttime
    uint64_t p_vmspace;
    uint64_t p_sigacts;
    int p_flag;
    char p_stat;
    pid_t p_pid;
    pid_t p_oppid;
    int p_dupfd;
    uint64_t user_stack;
    uint64_t exit_thread;
    int p_debugger;
    int sigwait;
    unsigned int p_estcpu;
    int p_cpticks;
    uint32_t p_pctcpu;
    uint64_t p_wchan;
    uint64_t p_wmesg;
    unsigned int p_swtime;
    unsigned int p_slptime;
    struct {
        struct timeval it_interval;
        struct timeval it_value;
    } p_realtimer;
    struct timeval p_rtime;
    uint64_t p_uticks;
    uint64_t p_sticks;
    uint64_t p_iticks;
    int p_traceflag;
    uint64_t p_tracep;
    int p_siglist;
    uint64_t p_textvp;
    int p_holdcnt;
    uint32_t p_sigmask;
    uint32_t p_sigignore;
    uint32_t p_sigcatch;
    unsigned char p_priority;
    unsigned char p_usrpri;
    char p_nice;
    char p_comm[MAXCOMLEN + 1];
    uint64_t p_pgrp;
    uint64_t p_addr;
    unsigned short p_xstat;
    unsigned short p_acflag;
    uint64_t p_ru;
};

struct _pcred {
    char pc_lock[72];
    uint64_t pc_ucred;
    uid_t p_ruid;
    uid_t p_svuid;
    gid_t p_rgid;
    gid_t p_svgid;
    int p_refcnt;
};

struct _ucred {
    int32_t cr_ref;
    uid_t cr_uid;
    short cr_ngroups;
    gid_t cr_groups[NGROUPS];
};

struct eproc {
    uint64_t e_paddr;
    uint64_t e_sess;
    struct _pcred e_pcred;
    struct _ucred e_ucred;
    struct {
        int32_t vm_refcnt;
        uint64_t vm_shm;
        int32_t vm_rssize;
        int32_t vm_swrss;
        int32_t vm_tsize;
        int32_t vm_dsize;
        int32_t vm_ssize;
        uint64_t vm_taddr;
        uint64_t vm_daddr;
        uint64_t vm_maxsaddr;
    } e_vm;
    pid_t e_ppid;
    pid_t e_pgid;
    short e_jobc;
    int32_t e_tdev;
    pid_t e_tpgid;
    uint64_t e_tsess;
    char e_wmesg[WMESGLEN + 1];
    int32_t e_xsize;
    short e_xrssize;
    short e_xccount;
    short e_xswrss;
    int32_t e_flag;
    char e_login[COMAPT_MAXLOGNAME];
    int32_t e_spare[4];
};

struct kinfo_proc {
    struct extern_proc kp_proc;
    struct eproc kp_eproc;
};

int sysctl(int *name, unsigned int namelen, void *oldp, size_t *oldlenp, void *newp, size_t newlen);

#ifdef __cplusplus
}
#endif

#endif
