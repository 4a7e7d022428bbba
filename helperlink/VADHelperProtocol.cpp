#include "helperlink/VADHelperProtocol.h"

LXPCDictionaryKey arVADHelperTxKeys[9];
LXPCDictionaryKey arVADHelperRxKeys[9];

namespace {

void Fill(LXPCDictionaryKey& key, const char* szName, LXPCDataType eType) {
    LCopyXPCKey(key.szKey, szName);
    key.eType = eType;
}

bool gbFilled = false;

} // namespace

void LFillVADHelperKeyTables() {
    if (gbFilled) {
        return;
    }
    gbFilled = true;
    Fill(arVADHelperTxKeys[0], "NEW_ENDPOINT", kLXPCDataTypeValue);
    Fill(arVADHelperTxKeys[1], "CLOSE_ENDPOINT", kLXPCDataTypeBool);
    Fill(arVADHelperTxKeys[2], "REQUEST_ENDPOINT", kLXPCDataTypeBool);
    Fill(arVADHelperTxKeys[3], "AUDIO_DATA", kLXPCDataTypeData);
    Fill(arVADHelperTxKeys[4], "LOAD_DRIVER", kLXPCDataTypeString);
    Fill(arVADHelperTxKeys[5], "START_RECORDING", kLXPCDataTypeBool);
    Fill(arVADHelperTxKeys[6], "STOP_RECORDING", kLXPCDataTypeBool);
    Fill(arVADHelperTxKeys[7], "VOLUME_CHANGED", kLXPCDataTypeDouble);
    Fill(arVADHelperTxKeys[8], "", kLXPCDataTypeNone);

    Fill(arVADHelperRxKeys[0], "NEW_ENDPOINT_REPLY", kLXPCDataTypeBool);
    Fill(arVADHelperRxKeys[1], "CLOSE_ENDPOINT_REPLY", kLXPCDataTypeBool);
    Fill(arVADHelperRxKeys[2], "SEND_ENDPOINT", kLXPCDataTypeValue);
    Fill(arVADHelperRxKeys[3], "AUDIO_DATA", kLXPCDataTypeData);
    Fill(arVADHelperRxKeys[4], "LOAD_DRIVER_REPLY", kLXPCDataTypeBool);
    Fill(arVADHelperRxKeys[5], "START_RECORDING", kLXPCDataTypeBool);
    Fill(arVADHelperRxKeys[6], "STOP_RECORDING", kLXPCDataTypeBool);
    Fill(arVADHelperRxKeys[7], "VOLUME_CHANGED", kLXPCDataTypeDouble);
    Fill(arVADHelperRxKeys[8], "", kLXPCDataTypeNone);
}

// First of all static set-up: the client manager (priority 102) and
// everything after it may rely on the tables.
__attribute__((constructor(101))) static void LVADHelperKeyTablesStaticSetUp() { LFillVADHelperKeyTables(); }
