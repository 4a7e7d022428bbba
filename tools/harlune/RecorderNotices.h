// RecorderNotices.h: what the helper service and recorders say to each
// other beyond the plug-in's key tables (VADHelperProtocol.h): a recorder
// learns that a newer one took its place, or that it was chosen again, and
// may register as one that waits when replaced. Plug-ins never see these
// keys; both ends add them to the tables they already use.
#ifndef HARLUNE_TOOLS_RECORDERNOTICES_H
#define HARLUNE_TOOLS_RECORDERNOTICES_H

#include "xpc/LXPCData.h"

namespace harlune::tools {

// Helper service to recorder, a message: a newer recorder registered; this
// one no longer receives audio. Boolean, always true.
inline constexpr const char* kEndpointReplacedKey = "ENDPOINT_REPLACED";
// Helper service to a waiting recorder, a message: the recorder that
// replaced it went away and it receives audio again. Boolean, always true.
inline constexpr const char* kEndpointChosenKey = "ENDPOINT_CHOSEN";
// Recorder to helper service, beside "NEW_ENDPOINT": keep this recorder
// waiting when a newer one replaces it, and choose it again when that one
// goes. Boolean.
inline constexpr const char* kWaitWhenReplacedKey = "WAIT_WHEN_REPLACED";

// The keys above as one table ending with an empty name, for AddKeys.
inline const LXPCDictionaryKey arRecorderNoticeKeys[] = {
    {"ENDPOINT_REPLACED", kLXPCDataTypeBool},
    {"ENDPOINT_CHOSEN", kLXPCDataTypeBool},
    {"WAIT_WHEN_REPLACED", kLXPCDataTypeBool},
    {"", kLXPCDataTypeNone},
};

} // namespace harlune::tools

#endif
