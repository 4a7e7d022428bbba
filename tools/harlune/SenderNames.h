// SenderNames.h: names for the applications a recorder hears, for one
// recording file per application.
//
// An application is known by the process id of the plug-in copy that sends
// its audio. Its name is the process's command name (/proc/PID/comm),
// reduced to letters, digits, '-', '_' and '.', or "pid" when the process
// has gone or has no usable name. Pure apart from reading /proc; thread-safe.
#ifndef HARLUNE_TOOLS_SENDERNAMES_H
#define HARLUNE_TOOLS_SENDERNAMES_H

#include <sys/types.h>

#include <string>

namespace harlune::tools {

// The command name of process nPid, made safe for a file name.
std::string LSenderName(pid_t nPid);

// szPath with "-NAME-PID" put before its extension: take.wav and aplay,
// 1234 give take-aplay-1234.wav; a path without an extension gets it at the
// end. The pid keeps two copies of one program apart.
std::string LPathForSender(const std::string& szPath, const std::string& szName, pid_t nPid);

} // namespace harlune::tools

#endif
