// LEnvironment.h: reading and setting the process's environment variables.
//
// Thread safety: as the C library's environment: setting a variable while
// another thread reads the environment is not safe; set variables at
// start-up.
#ifndef HARLUNE_PLATFORM_LENVIRONMENT_H
#define HARLUNE_PLATFORM_LENVIRONMENT_H

// With a value, sets the variable (replacing an earlier value); with a null
// value, removes it. False for a null or empty name, a name holding "=", or
// when the system refuses.
bool LSetEnvironmentVariable(const char* szName, const char* szValue);

// Copies the variable's value (the empty text when it is not set) into
// szValue, cut to fit nSize bytes with its terminating zero, and returns the
// value's full length: a result of nSize or more means it was cut. A null
// buffer or a size of 0 writes nothing.
unsigned int LGetEnvironmentVariable(const char* szName, char* szValue, unsigned int nSize);

#endif
