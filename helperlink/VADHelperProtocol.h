// VADHelperProtocol.h: the vocabulary of the conversation between the
// plug-in, the helper service and the recording application.
//
// Every message is one XPC dictionary defined only by the keys it holds.
// The two key tables say which keys travel and with which type: the
// plug-in sends with arVADHelperTxKeys and reads with arVADHelperRxKeys
// (the recording application does the same; the helper service uses them
// the other way round). Both hold eight keys and end with an empty name;
// they are filled by the static initializer of every program or bundle
// that links them, before anything else of this library can run, and are
// read-only afterwards.
#ifndef HARLUNE_HELPERLINK_VADHELPERPROTOCOL_H
#define HARLUNE_HELPERLINK_VADHELPERPROTOCOL_H

#include "xpc/LXPCData.h"

// The helper service's name; also the plug-in's name for its connection to
// it, index 0.
inline constexpr const char* HelperServiceName = "com.zentalworks.Harlune.VadHelper";
// The plug-in's name for its connection to the recording application's endpoint, index 1.
inline constexpr const char* EndPointConnection = "EndPointConnection";

extern LXPCDictionaryKey arVADHelperTxKeys[9];
extern LXPCDictionaryKey arVADHelperRxKeys[9];

// Fills both tables if the static initializer has not run yet (calling it
// again does nothing).
void LFillVADHelperKeyTables();

#endif
