// LUser.h: who the process runs as: root and administrator checks, and
// switching the effective user.
//
// An administrator on Linux is a member of one of the groups "admin",
// "sudo" or "wheel" (the platform's own group is "admin"; Debian and Ubuntu
// give administrators "sudo", other systems "wheel"). Membership counts the
// supplementary groups and the effective group.
//
// Thread safety: the checks may be called from any thread. Switching the
// effective user changes the whole process; do it at start-up.
#ifndef HARLUNE_PLATFORM_LUSER_H
#define HARLUNE_PLATFORM_LUSER_H

// True when the real user id is 0 or the environment's "USER" is "root".
bool LIsUserRoot();

// True for root, or when one of the process's groups is an administrator
// group (see above).
bool LIsUserAdministrator();
bool LIsUserRunningAsAdministrator();

// Sets the effective user id to the user named by "LOGNAME" (or "USER" when
// LOGNAME is missing or empty). False when there is no name, no such user,
// or the system refuses.
bool LSwitchToUser();

// Sets the effective user id to 0; false when the system refuses (the
// process never was root).
bool LSwitchToRoot();

#endif
