// CommandSupport.h: small pieces shared by the harlune subcommands:
// stopping on SIGINT/SIGTERM, log lines with a time, number parsing.
#ifndef HARLUNE_TOOLS_COMMANDSUPPORT_H
#define HARLUNE_TOOLS_COMMANDSUPPORT_H

#include <chrono>
#include <string>

namespace harlune::tools {

// Blocks SIGINT and SIGTERM in the calling thread and every thread it
// starts afterwards, so that WaitForStopSignal() alone receives them. Call
// it first thing in a command, before any thread exists.
void LBlockStopSignals();
// Waits up to timeout for SIGINT or SIGTERM; true when one arrived.
bool LWaitForStopSignal(std::chrono::milliseconds timeout);

// Writes "[name hh:mm:ss.mmm] text" to standard error (thread-safe).
void LLogLine(const char* szName, const std::string& szText);

// Parses a whole decimal number; false on anything else.
bool LParseNumber(const std::string& szText, double* pfValue);

} // namespace harlune::tools

#endif
