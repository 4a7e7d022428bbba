// LMixerMemory.h: the device's volume and mute as the ALSA control last set
// them, kept across processes.
//
// Every application process hosts its own copy of the driver, which starts
// from the driver's initial volume. So that `amixer -D harlune` in one
// process and the PCM in another agree, the control writes the values to a
// small text file in the plug-in's storage folder after every change, and
// every process that loads the driver through the ALSA plug-in applies them
// first. The file holds two lines, "volume SCALAR" (0.0 to 1.0) and
// "mute 0|1"; a file that does not parse is ignored (the driver's own
// values stand) and replaced at the next change.
//
// Thread safety: the functions are reentrant; concurrent writers replace
// the file atomically (temporary file and rename), the last one wins.
#ifndef HARLUNE_ALSA_LMIXERMEMORY_H
#define HARLUNE_ALSA_LMIXERMEMORY_H

#include <string>

namespace harlune::alsa {

struct LMixerState {
    float fVolume = 1.0f; // output volume scalar, 0.0 to 1.0
    bool bMute = false;
};

// Parses the file's text; false (and *pState untouched) unless both lines
// are present and in range.
bool LParseMixerState(const std::string& szText, LMixerState* pState);
std::string LFormatMixerState(const LMixerState& state);

// The file in szFolder (empty: the host's default storage folder).
std::string LMixerStatePath(const std::string& szFolder);
bool LLoadMixerState(const std::string& szPath, LMixerState* pState);
bool LSaveMixerState(const std::string& szPath, const LMixerState& state);

} // namespace harlune::alsa

#endif
