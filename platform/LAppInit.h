// LAppInit.h: the common start-up of an application that hosts the
// library: file-creation mask, arguments, locale and open-file limit.
//
// Thread safety: call LUnixAppInitCommon once, first thing in main(), on the
// main thread, before other threads start. LUnixAppSetLocale may be called
// from any thread; the first call decides and later calls return the kept
// name.
#ifndef HARLUNE_PLATFORM_LAPPINIT_H
#define HARLUNE_PLATFORM_LAPPINIT_H

// The soft limit of open files set at start-up.
inline constexpr unsigned long kLMaximumNumberOfOpenFiles = 1024;

// In this order: registers the calling thread as "MAIN" in the debug thread
// registry, sets the file-creation mask to 0, copies the arguments
// (LUnixAppCopyCommandLineArguments), sets the process locale
// (LUnixAppSetLocale) and the open-file limit (LSetMaximumNumberOfOpenFiles).
// argv's strings must live as long as the process. Returns true.
bool LUnixAppInitCommon(int argc, char** argv);

// Sets every locale category of the process, once per process, and returns
// the name setlocale reports (never null; the text is the library's and
// lives as long as the process).
//
// The name is the current locale's identifier (CFLocaleCopyCurrent, cut to
// 5 characters, such as en_US); when that is empty (the environment names
// "C", "POSIX" or nothing), the "AppleLocale" of the application's
// preferences, else the user's "AppleLocale" for any application and any
// host (without options such as "@currency=EUR"). setlocale is tried with
// that name, then with the name and ".UTF-8" (Linux installs most locales
// only with their codeset), then with the environment's default (""); when
// even that fails, the process keeps the locale it had, whose name is
// returned. A process with no locale anywhere (root, typically, whose
// preferences hold none) thus gets the environment's default.
const char* LUnixAppSetLocale();

// Sets the soft limit of open files (RLIMIT_NOFILE) to 1024, or to the hard
// limit when that is lower; the hard limit is kept. False when the limits
// cannot be read or set.
bool LSetMaximumNumberOfOpenFiles();

#endif
