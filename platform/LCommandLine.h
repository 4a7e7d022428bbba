// LCommandLine.h: the process-wide copy of the command-line arguments as the
// application sees them.
//
// gargv is an array owned by the library, ending with a null entry; its
// strings are the caller's (those handed to LUnixAppInitCommon or
// LUnixAppCopyCommandLineArguments), which must stay alive for the life of
// the process. gargc counts the entries before the null one.
//
// Thread safety: none. Copy and change the arguments at start-up, on the
// main thread, before other threads read them.
#ifndef HARLUNE_PLATFORM_LCOMMANDLINE_H
#define HARLUNE_PLATFORM_LCOMMANDLINE_H

extern int gargc;
extern char** gargv;

// Copies argv (argc entries) into a new gargv, leaving out an argument at
// position 1 that begins with "-psn" (the process serial number the
// platform adds when an application is opened from the desktop). An earlier
// copy is freed. Without arguments (argc 0 or less, or argv null) gargv is
// an array holding only the null entry. When memory runs out gargc is 0 and
// gargv null.
void LUnixAppCopyCommandLineArguments(int argc, char** argv);

// Removes the argument at nIndex (0 to gargc - 1) and returns the new count;
// an index outside that range changes nothing and returns gargc.
int LRemoveCommandLineArgument(int nIndex);

// szValue (260 bytes) receives the argument that follows the first argument
// equal to szName, looked for from position 1 to the one before the last;
// empty when there is none. The value is cut to 259 characters.
void LGetCommandLineArgumentValue(const char* szName, char* szValue);

#endif
