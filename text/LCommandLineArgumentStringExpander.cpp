#include <text/LCommandLineArgumentStringExpander.h>

bool LCommandLineArgumentStringExpander::NextArgument() {
    sArgument.Empty();
    // Spaces and control characters separate arguments.
    while (*pCursor && static_cast<unsigned char>(*pCursor) < 33) {
        ++pCursor;
    }
    bool bInQuotes = false;
    while (*pCursor) {
        const char c = *pCursor++;
        if (c == ' ' && !bInQuotes) {
            break;
        }
        if (c == '\\' && *pCursor == ' ') {
            sArgument.Append(' ');
            ++pCursor;
            continue;
        }
        if (c == '"') {
            if (bInQuotes) {
                break;  // the closing quote ends the argument
            }
            bInQuotes = true;
            continue;
        }
        sArgument.Append(c);
    }
    return !sArgument.IsEmpty();
}

unsigned long LCommandLineArgumentStringExpander::GetArgumentCount(const char *commandLine) const {
    LCommandLineArgumentStringExpander expander(commandLine);
    expander.NextArgument();  // the program
    unsigned long n = 0;
    while (expander.NextArgument()) {
        ++n;
    }
    return n;
}
