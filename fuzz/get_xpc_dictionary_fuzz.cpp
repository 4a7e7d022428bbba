// Fuzzes the decoding of received messages: an XPC dictionary of arbitrary
// names and value types, decoded with the helper protocol's receive keys
// and with a key list that holds every type, the way every incoming message
// and reply is. Nothing may crash or leak; descriptors the decoder
// duplicates are closed as a receiver must.
#include "helperlink/VADHelperProtocol.h"
#include "xpc/LXPCDictionary.h"

#include <unistd.h>

#include <cstdint>
#include <string>

namespace {

const char* const kNames[] = {"SEND_ENDPOINT", "AUDIO_DATA", "VOLUME_CHANGED", "NEW_ENDPOINT_REPLY",
                              "B", "I", "U", "D", "T", "DATA", "ID", "S", "FD", "V", "", "send_endpoint"};

LList<LXPCDictionaryKeyListable>& EveryTypeKeys() {
    static LList<LXPCDictionaryKeyListable>* pKeys = [] {
        auto* p = new LList<LXPCDictionaryKeyListable>();
        const char* arNames[] = {"B", "I", "U", "D", "T", "DATA", "ID", "S", "FD", "V", "NONE", "ODD"};
        for (int i = 0; i < 12; ++i) {
            p->Add(new LXPCDictionaryKeyListable(arNames[i], static_cast<LXPCDataType>(i == 11 ? 99 : (i + 1) % 11)));
        }
        return p;
    }();
    return *pKeys;
}

LList<LXPCDictionaryKeyListable>& ProtocolKeys() {
    static LList<LXPCDictionaryKeyListable>* pKeys = [] {
        LFillVADHelperKeyTables();
        auto* p = new LList<LXPCDictionaryKeyListable>();
        for (const LXPCDictionaryKey* k = arVADHelperRxKeys; k->szKey[0] != '\0'; ++k) {
            p->Add(new LXPCDictionaryKeyListable(k->szKey, k->eType));
        }
        return p;
    }();
    return *pKeys;
}

void Decode(xpc_object_t dictionary, LList<LXPCDictionaryKeyListable>& keys) {
    LList<LXPCDataListable> values;
    GetXPCDictionary(dictionary, keys, values);
    for (const LXPCDataListable* v = values.Head(); v != nullptr; v = v->pNext) {
        if (v->eType == kLXPCDataTypeFd && v->nValue >= 0) {
            close(static_cast<int>(v->nValue));
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
    xpc_object_t dictionary = xpc_dictionary_create(nullptr, nullptr, 0);
    std::size_t i = 0;
    while (i + 2 <= nSize) {
        const char* szName = kNames[pData[i] % 16];
        const std::uint8_t nType = pData[i + 1] % 10;
        i += 2;
        const std::size_t nPayload = i < nSize ? std::min<std::size_t>(pData[i], nSize - i - 1) : 0;
        const std::uint8_t* pPayload = i + 1 <= nSize ? pData + i + 1 : pData;
        std::int64_t nValue = 0;
        for (std::size_t k = 0; k < 8 && k < nPayload; ++k) {
            nValue |= static_cast<std::int64_t>(pPayload[k]) << (8 * k);
        }
        switch (nType) {
        case 0: xpc_dictionary_set_bool(dictionary, szName, nValue & 1); break;
        case 1: xpc_dictionary_set_int64(dictionary, szName, nValue); break;
        case 2: xpc_dictionary_set_uint64(dictionary, szName, static_cast<std::uint64_t>(nValue)); break;
        case 3: xpc_dictionary_set_double(dictionary, szName, static_cast<double>(nValue) / 7.0); break;
        case 4: xpc_dictionary_set_date(dictionary, szName, nValue); break;
        case 5: xpc_dictionary_set_data(dictionary, szName, pPayload, nPayload); break;
        case 6: xpc_dictionary_set_string(dictionary, szName, std::string(reinterpret_cast<const char*>(pPayload), nPayload).c_str()); break;
        case 7: if (nPayload >= 16) xpc_dictionary_set_uuid(dictionary, szName, pPayload); break;
        case 8: xpc_dictionary_set_fd(dictionary, szName, STDIN_FILENO); break;
        default: {
            xpc_object_t inner = xpc_dictionary_create(nullptr, nullptr, 0);
            xpc_dictionary_set_value(dictionary, szName, inner);
            xpc_release(inner);
            break;
        }
        }
        i += 1 + nPayload;
    }
    Decode(dictionary, ProtocolKeys());
    Decode(dictionary, EveryTypeKeys());
    xpc_release(dictionary);
    return 0;
}
