/*
 * CFPreferences.h: per-application preferences.
 *
 * On Linux each domain is one XML property list:
 *  - current user, any host:     ${XDG_CONFIG_HOME:-$HOME/.config}/harlune/Preferences/<application id>.plist
 *  - current user, current host: the same folder's ByHost/<application id>.<machine id>.plist, where the
 *    machine id is the first line of /etc/machine-id (else the host name).
 * kCFPreferencesAnyUser (the system-wide domains) is not offered: reads give
 * NULL, writes are dropped and synchronizing fails. kCFPreferencesCurrentApplication
 * is the name of the running program. An application id that is empty,
 * holds "/" or begins with "." names no domain, and is treated the same way.
 *
 * As on Apple's platform, CFPreferencesSetValue changes only this process's
 * view until CFPreferencesSynchronize writes it out. Reads always see the file
 * as it is now, with this process's unsynchronized changes on top.
 * Synchronize takes an exclusive lock beside the file, reads the file
 * afresh, applies this process's changes (and only those), writes a new file
 * and renames it into place, so two processes that synchronize at the same
 * time never lose each other's values and no reader sees a half-written file.
 * The folders are made with mode 0700 when missing. An unreadable or corrupt
 * file reads as empty (and is replaced on the next synchronize).
 *
 * Thread safety: every call may be made from any thread.
 */
#ifndef HARLUNE_COMPAT_CFPREFERENCES_H
#define HARLUNE_COMPAT_CFPREFERENCES_H

#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFPropertyList.h>
#include <CoreFoundation/CFString.h>

CF_EXTERN_C_BEGIN

CF_EXPORT const CFStringRef kCFPreferencesAnyApplication;
CF_EXPORT const CFStringRef kCFPreferencesCurrentApplication;
CF_EXPORT const CFStringRef kCFPreferencesAnyHost;
CF_EXPORT const CFStringRef kCFPreferencesCurrentHost;
CF_EXPORT const CFStringRef kCFPreferencesAnyUser;
CF_EXPORT const CFStringRef kCFPreferencesCurrentUser;

/* The value of key in the domain, retained for the caller; NULL when there
 * is none or an argument is NULL or not a string. */
CF_EXPORT CFPropertyListRef CFPreferencesCopyValue(CFStringRef key, CFStringRef applicationID, CFStringRef userName,
                                                   CFStringRef hostName);
/* Sets (value not NULL; it must be a valid property list, else nothing
 * happens) or removes (value NULL) key in this process's view of the domain. */
CF_EXPORT void CFPreferencesSetValue(CFStringRef key, CFPropertyListRef value, CFStringRef applicationID,
                                     CFStringRef userName, CFStringRef hostName);
/* Writes this process's changes of the domain out; true on success (and
 * when there was nothing to write). */
CF_EXPORT Boolean CFPreferencesSynchronize(CFStringRef applicationID, CFStringRef userName, CFStringRef hostName);
/* The keys of the domain (file and unsynchronized changes), or NULL when
 * there are none. The caller releases the array. */
CF_EXPORT CFArrayRef CFPreferencesCopyKeyList(CFStringRef applicationID, CFStringRef userName, CFStringRef hostName);

/* The current user's any-host domain of the application. */
CF_EXPORT CFPropertyListRef CFPreferencesCopyAppValue(CFStringRef key, CFStringRef applicationID);
CF_EXPORT void CFPreferencesSetAppValue(CFStringRef key, CFPropertyListRef value, CFStringRef applicationID);
CF_EXPORT Boolean CFPreferencesAppSynchronize(CFStringRef applicationID);

CF_EXTERN_C_END

#endif
