/*
 * LRandomPassword.h: random passwords from the C library's generator, for
 * throw-away secrets (temporary file names, first-run keys), not for
 * cryptography: rand() is predictable.
 *
 * The generator is seeded once per process, on first use, by randomize().
 * Thread safety: callable from any thread; glibc's rand() takes its own
 * lock, and the seeded flag is atomic (two threads may both seed at start,
 * which is harmless).
 */
#ifndef HARLUNE_TEXT_LRANDOMPASSWORD_H
#define HARLUNE_TEXT_LRANDOMPASSWORD_H

#include <atomic>

/* True once randomize() has seeded the generator. */
extern std::atomic<bool> gbLRandomizeCalled;

/* Seeds srand() with the time in milliseconds XOR the process id XOR the
 * time in seconds (all as 32-bit values) and sets gbLRandomizeCalled. */
void randomize();

/* Each writes `length` random characters and a terminator (out holds
 * length + 1 bytes): lower-case letters; digits and lower-case letters;
 * digits, lower- and upper-case letters. */
void LStringGenerateRandomPassword(char *out, unsigned long length);
void LStringGenerateRandomPasswordAlphaNumCI(char *out, unsigned long length);
void LStringGenerateRandomPasswordAlphaNumCS(char *out, unsigned long length);

#endif
