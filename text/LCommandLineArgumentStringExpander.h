/*
 * LCommandLineArgumentStringExpander.h: splits a command line held as one
 * string into its arguments, as a shell would for simple cases: arguments
 * are separated by spaces; double quotes group words ("two words"); a
 * backslash before a space keeps the space in the argument (x\ y).
 *
 * Lifetime: the expander reads the caller's command line in place, which must
 * outlive it and not change meanwhile. Thread safety: one thread at a time.
 */
#ifndef HARLUNE_TEXT_LCOMMANDLINEARGUMENTSTRINGEXPANDER_H
#define HARLUNE_TEXT_LCOMMANDLINEARGUMENTSTRINGEXPANDER_H

#include <text/LStringLongTemplate.h>

class LCommandLineArgumentStringExpander {
public:
    explicit LCommandLineArgumentStringExpander(const char *commandLine = nullptr)
        : pCursor(commandLine ? commandLine : "") {}

    /* Moves to the next argument; false when there is none (the current
     * argument is then empty). */
    bool NextArgument();

    /* The current argument, "" before the first NextArgument(). */
    const char *GetArgument() const { return sArgument.Get(); }

    /* The number of arguments of `commandLine` after the first (the
     * program). */
    unsigned long GetArgumentCount(const char *commandLine) const;

private:
    const char *pCursor;                   // next byte of the command line to read
    LStringLongTemplate<char> sArgument;   // the current argument
};

#endif
