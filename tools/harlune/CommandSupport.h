// CommandSupport.h: small pieces shared by the harlune subcommands:
// stopping on SIGINT/SIGTERM/SIGHUP, log lines with a time and the live
// status line they must not overwrite, option parsing, the version.
#ifndef HARLUNE_TOOLS_COMMANDSUPPORT_H
#define HARLUNE_TOOLS_COMMANDSUPPORT_H

#include <chrono>
#include <cstdio>
#include <string>

namespace harlune::tools {

// Blocks SIGINT, SIGTERM and SIGHUP (a closed terminal) in the calling
// thread and every thread it starts afterwards, so that WaitForStopSignal()
// alone receives them. Call it first thing in a command, before any thread
// exists.
void LBlockStopSignals();
// Waits up to timeout for SIGINT, SIGTERM or SIGHUP; true when one arrived.
bool LWaitForStopSignal(std::chrono::milliseconds timeout);
// Runs the main thread's run loop (so main-queue work and queued
// notifications are delivered) for timeout, then looks for SIGINT, SIGTERM
// or SIGHUP without waiting; true when one arrived.
bool LRunMainUntilStopSignal(std::chrono::milliseconds timeout);

// Writes "[name hh:mm:ss.mmm] text" to standard error (thread-safe). A live
// line on standard error is cleared first and drawn again below the log.
void LLogLine(const char* szName, const std::string& szText);
// Draws szText as the live line on standard error, in place of the last
// one (thread-safe). Call only when standard error is a terminal.
void LShowLiveLine(const std::string& szText);
// Ends the live line: the next output starts on a line of its own.
void LEndLiveLine();
// Writes szText and a newline to pStream (standard output, for scripts)
// without breaking into the live line: it is cleared first and drawn again
// after (thread-safe).
void LPrintLine(std::FILE* pStream, const std::string& szText);

// Parses a whole decimal number; false on anything else.
bool LParseNumber(const std::string& szText, double* pfValue);
// Parses the value of szOption as a number from fMin to fMax; false with
// *pszError saying so, e.g. "--rate takes a number from 1000 to 768000,
// not '5'".
bool LParseOptionNumber(const std::string& szOption, const std::string& szText, double fMin, double fMax,
                        double* pfValue, std::string* pszError);

// The version line every command prints for --version.
const char* LVersionText();
// For -h/--help prints szUsage, for --version the version line, both on
// standard output; true when szArg was one of them (the command then ends
// with status 0).
bool LIsHelpOrVersion(const std::string& szArg, const char* szUsage);

} // namespace harlune::tools

#endif
