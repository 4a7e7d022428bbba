/*
 * CFBundle.h: bundles, folders that hold an executable with its
 * information property list and resources.
 *
 * On Linux a bundle is laid out as
 *     NAME.driver/Contents/Info.plist
 *     NAME.driver/Contents/Linux/<CFBundleExecutable>   (a shared object)
 *     NAME.driver/Contents/Resources/...
 * where Apple's layout has Contents/MacOS for the executable.
 *
 * Ownership and lifetime: CFBundleCreate returns the one bundle object for
 * its folder, retained for the caller. Every bundle is also kept in a
 * process-wide registry for the life of the process, because
 * CFBundleGetBundleWithIdentifier returns a reference the caller does not
 * own, as on Apple's platforms; releasing a bundle therefore never frees it.
 *
 * Thread safety: all functions may be called from any thread. Loading and
 * unloading one bundle are serialised.
 *
 * Differences from Apple's behaviour on Linux:
 *  - CFBundleCreate returns NULL when the folder, its Contents/Info.plist,
 *    or a dictionary in that file is missing or unreadable. It does so
 *    silently; CFBundleLoadExecutableAndReturnError reports load failures
 *    with the executable's path and the dynamic loader's message.
 *  - Once a folder has been opened as a bundle, later CFBundleCreate calls
 *    for it return the same object even if the folder changed or vanished.
 *  - Executables are loaded with dlopen(RTLD_NOW | RTLD_LOCAL) and unloaded
 *    with dlclose; the code stays mapped if something else still holds it.
 *    Callers must release every object and drop every pointer that came from
 *    the executable before unloading it, as on Apple's platforms.
 *  - CFBundleCopyExecutableURL and CFBundleCopyResourceURL return NULL when
 *    the file does not exist. Resources are not looked up in localisation
 *    (.lproj) folders.
 *  - The info dictionary is the file's contents; no keys are added to it.
 */
#ifndef HARLUNE_COMPAT_CFBUNDLE_H
#define HARLUNE_COMPAT_CFBUNDLE_H

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFDictionary.h>
#include <CoreFoundation/CFError.h>
#include <CoreFoundation/CFURL.h>

CF_EXTERN_C_BEGIN

typedef struct __CFBundle *CFBundleRef;

CF_EXPORT const CFStringRef kCFBundleInfoDictionaryVersionKey;
CF_EXPORT const CFStringRef kCFBundleExecutableKey;
CF_EXPORT const CFStringRef kCFBundleIdentifierKey;
CF_EXPORT const CFStringRef kCFBundleVersionKey;
CF_EXPORT const CFStringRef kCFBundleNameKey;

CF_EXPORT CFTypeID CFBundleGetTypeID(void);

/* See above for when this returns NULL and for the object's lifetime. */
CF_EXPORT CFBundleRef CFBundleCreate(CFAllocatorRef allocator, CFURLRef bundleURL);
/*
 * A bundle made by CFBundleCreate whose CFBundleIdentifier equals bundleID,
 * preferring one whose executable is loaded; not retained. NULL if none.
 */
CF_EXPORT CFBundleRef CFBundleGetBundleWithIdentifier(CFStringRef bundleID);

/*
 * The running program's bundle, not retained, never released: when the
 * executable (/proc/self/exe) sits in NAME/Contents/Linux/, the bundle
 * NAME; otherwise the executable's folder, whose executable is the program
 * itself and whose info dictionary holds only CFBundleExecutable. NULL when
 * the executable cannot be found.
 */
CF_EXPORT CFBundleRef CFBundleGetMainBundle(void);

/* Get rule: owned by the bundle. */
CF_EXPORT CFStringRef CFBundleGetIdentifier(CFBundleRef bundle);
CF_EXPORT CFDictionaryRef CFBundleGetInfoDictionary(CFBundleRef bundle);
CF_EXPORT CFTypeRef CFBundleGetValueForInfoDictionaryKey(CFBundleRef bundle, CFStringRef key);

/* Copy rule: the caller releases. */
CF_EXPORT CFURLRef CFBundleCopyBundleURL(CFBundleRef bundle);
CF_EXPORT CFURLRef CFBundleCopyExecutableURL(CFBundleRef bundle);
CF_EXPORT CFURLRef CFBundleCopyResourcesDirectoryURL(CFBundleRef bundle);
/*
 * Contents/Resources/[subDirName/]resourceName[.resourceType], if that file
 * exists. resourceType may be NULL (then resourceName may carry the
 * extension) and may be given with or without its leading ".".
 */
CF_EXPORT CFURLRef CFBundleCopyResourceURL(CFBundleRef bundle, CFStringRef resourceName, CFStringRef resourceType,
                                           CFStringRef subDirName);

/* True if the executable is loaded (or already was). */
CF_EXPORT Boolean CFBundleLoadExecutable(CFBundleRef bundle);
/*
 * As CFBundleLoadExecutable; on failure, if error is not NULL, stores a
 * CFError (the caller releases it) whose description names the executable's
 * path and the reason, including the dynamic loader's message.
 */
CF_EXPORT Boolean CFBundleLoadExecutableAndReturnError(CFBundleRef bundle, CFErrorRef *error);
CF_EXPORT Boolean CFBundleIsExecutableLoaded(CFBundleRef bundle);
CF_EXPORT void CFBundleUnloadExecutable(CFBundleRef bundle);
/* Loads the executable first if needed; NULL if it cannot or the symbol is missing. */
CF_EXPORT void *CFBundleGetFunctionPointerForName(CFBundleRef bundle, CFStringRef functionName);
CF_EXPORT void *CFBundleGetDataPointerForName(CFBundleRef bundle, CFStringRef symbolName);

CF_EXTERN_C_END

#endif
