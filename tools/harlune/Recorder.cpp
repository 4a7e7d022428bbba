#include "tools/harlune/Recorder.h"

#include "helperlink/VADHelperProtocol.h"
#include "tools/harlune/RecorderNotices.h"
#include "xpc/LXPCClientManager.h"

#include <cstring>
#include <thread>

namespace harlune::tools {
namespace {

// The name under which plug-ins that connect to our endpoint are kept.
constexpr const char* kPlugInConnection = "PlugIn";
// How often a lost registration is retried.
constexpr auto kRetryInterval = std::chrono::milliseconds(500);

} // namespace

LRecorder::LRecorder(LRecorderSink sink, bool bWaitWhenReplaced)
    : LXPCClientEventNotify(true, true), m_sink(std::move(sink)), m_bWaitWhenReplaced(bWaitWhenReplaced) {
    LFillVADHelperKeyTables();
}

LRecorder::~LRecorder() {
    LXPCClientManager::Destroy(m_nClientId);
    if (m_endpoint != nullptr) {
        xpc_release(m_endpoint);
    }
}

bool LRecorder::Start() {
    m_nClientId = LXPCClientManager::Create(this);
    // The recorder sends and receives what the plug-in does: it registers
    // with the service's keys and is sent audio and volume.
    LXPCClientManager::AddKeys(m_nClientId, arVADHelperTxKeys, false);
    LXPCClientManager::AddKeys(m_nClientId, arVADHelperRxKeys, true);
    LXPCClientManager::AddKeys(m_nClientId, arRecorderNoticeKeys, false);
    LXPCClientManager::AddKeys(m_nClientId, arRecorderNoticeKeys, true);
    m_endpoint = LXPCClientManager::CreateEndPoint(m_nClientId, kPlugInConnection, 1);
    if (m_endpoint == nullptr) {
        return false;
    }
    LXPCClientManager::Connect(m_nClientId, HelperServiceName, 0, true);
    Register();
    return true;
}

void LRecorder::Register() {
    m_lastAttempt = std::chrono::steady_clock::now();
    LList<LXPCDataListable> values;
    values.Add(new LXPCDataListable(
        LXPCData("NEW_ENDPOINT", kLXPCDataTypeNone, static_cast<long>(reinterpret_cast<std::intptr_t>(m_endpoint)))));
    if (m_bWaitWhenReplaced) {
        values.Add(new LXPCDataListable(LXPCData(kWaitWhenReplacedKey, kLXPCDataTypeNone, 1)));
    }
    LXPCClientManager::SendMessage(m_nClientId, HelperServiceName, 0, values, true);
}

void LRecorder::Tick() {
    if (m_bRegistered.load() || m_bClosed.load() || m_bReplaced.load() ||
        std::chrono::steady_clock::now() - m_lastAttempt < kRetryInterval) {
        return;
    }
    if (m_bHelperLost.exchange(false)) {
        LXPCClientManager::Disconnect(m_nClientId, HelperServiceName, 0);
        LXPCClientManager::Connect(m_nClientId, HelperServiceName, 0, true);
    }
    Register();
}

void LRecorder::Close(std::chrono::milliseconds timeout) {
    m_bClosed = true;
    if (m_bRegistered.load()) {
        LList<LXPCDataListable> values;
        values.Add(new LXPCDataListable(LXPCData("CLOSE_ENDPOINT", kLXPCDataTypeNone, 1)));
        LXPCClientManager::SendMessage(m_nClientId, HelperServiceName, 0, values, true);
        const auto deadline = std::chrono::steady_clock::now() + timeout;
        while (m_bRegistered.load() && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }
    LXPCClientManager::Destroy(m_nClientId);
    m_nClientId = 0;
}

void LRecorder::EvConnectionError(long connection, LXPCErrorType error) {
    const long helper = [&] {
        LXPCClientManager::LClientRef client = LXPCClientManager::AcquireClient(m_nClientId);
        return client ? client->ConnectionHandle(HelperServiceName, 0) : 0;
    }();
    if (connection != helper || helper == 0) {
        return; // a plug-in went away; it reconnects when it is given our endpoint again
    }
    if (m_bRegistered.exchange(false) && m_sink.log) {
        m_sink.log("lost the helper service; registering again when it is back");
    }
    if (error == kLXPCErrorConnectionInvalid) {
        m_bHelperLost = true;
    }
}

void LRecorder::EvMessageReceived(long connection, long, const LXPCData* values, unsigned long count) {
    // The connection is alive while its event is handled.
    const pid_t nSender = xpc_connection_get_pid(reinterpret_cast<xpc_connection_t>(static_cast<std::intptr_t>(connection)));
    for (unsigned long i = 0; i < count; ++i) {
        const LXPCData& v = values[i];
        if (std::strcmp(v.szKey, "AUDIO_DATA") == 0 && m_sink.audio) {
            m_sink.audio(nSender, reinterpret_cast<const void*>(static_cast<std::intptr_t>(v.nValue)), v.nLength);
        } else if (std::strcmp(v.szKey, "VOLUME_CHANGED") == 0 && m_sink.volume) {
            m_sink.volume(v.dValue);
        } else if (std::strcmp(v.szKey, kEndpointReplacedKey) == 0) {
            m_bReplaced = true;
            m_bRegistered = false;
            if (m_sink.log) {
                m_sink.log(m_bWaitWhenReplaced ? "a newer recorder took over; waiting to be chosen again"
                                               : "a newer recorder took over");
            }
        } else if (std::strcmp(v.szKey, kEndpointChosenKey) == 0) {
            m_bReplaced = false;
            m_bRegistered = true;
            if (m_sink.log) {
                m_sink.log("chosen again by the helper service");
            }
        }
    }
}

void LRecorder::EvReplyReceived(long, const LXPCData* values, unsigned long count) {
    for (unsigned long i = 0; i < count; ++i) {
        if (std::strcmp(values[i].szKey, "NEW_ENDPOINT_REPLY") == 0) {
            if (!m_bRegistered.exchange(true) && m_sink.log) {
                m_sink.log("registered with the helper service");
            }
        } else if (std::strcmp(values[i].szKey, "CLOSE_ENDPOINT_REPLY") == 0) {
            m_bRegistered = false;
        }
    }
}

} // namespace harlune::tools
