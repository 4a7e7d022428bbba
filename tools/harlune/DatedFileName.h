// DatedFileName.h: the file name of a recording started without one: its
// start's local date and time, "2026-11-23_16-05-09.wav", so recordings sort
// by when they were made and never need a name typed.
#ifndef HARLUNE_TOOLS_DATEDFILENAME_H
#define HARLUNE_TOOLS_DATEDFILENAME_H

#include <string>

namespace harlune::tools {

// "YYYY-MM-DD_HH-MM-SS" of nStart (seconds since 1970, local time) and
// szExtension, in szFolder ("" for the current folder). When a file of that
// name exists (two recordings in one second), "_2", "_3", ... is added
// before the extension, so an earlier recording is never overwritten.
std::string LDatedRecordingPath(long nStart, const std::string& szFolder, const char* szExtension);

} // namespace harlune::tools

#endif
