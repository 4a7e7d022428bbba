#include "tools/harlune/HelperService.h"

#include "helperlink/VADHelperProtocol.h"
#include "tools/harlune/RecorderNotices.h"
#include "xpc/LXPCDictionary.h"

#include <dispatch/dispatch.h>

#include <algorithm>
#include <atomic>
#include <thread>
#include <set>
#include <vector>

namespace harlune::tools {

struct LHelperService::State {
    LLog log;
    dispatch_queue_t queue = nullptr;        // owns everything below
    xpc_connection_t listener = nullptr;
    std::set<xpc_connection_t> plugins;      // peers that asked for the endpoint, retained
    std::set<xpc_connection_t> peers;        // every live peer, retained
    xpc_object_t endpoint = nullptr;         // the registered recorder's endpoint, retained
    xpc_connection_t recorder = nullptr;     // the peer that registered it (in peers)
    bool bRecorderWaits = false;             // it asked to wait when replaced
    // Replaced recorders that asked to wait, oldest first; endpoints retained.
    struct LWaiting {
        xpc_connection_t peer;
        xpc_object_t endpoint;
    };
    std::vector<LWaiting> waiting;
    std::atomic<bool> bFailed{false};
    // The service decodes what plug-ins and recorders send, and answers
    // with what they receive: the protocol's tables the other way round.
    LList<LXPCDictionaryKeyListable> receiveKeys;
    LList<LXPCDictionaryKeyListable> sendKeys;

    void Log(const std::string& sz) {
        if (log) {
            log(sz);
        }
    }
    static std::string Peer(xpc_connection_t c) { return "pid " + std::to_string(xpc_connection_get_pid(c)); }

    void DropEndpoint() {
        if (endpoint != nullptr) {
            xpc_release(endpoint);
        }
        endpoint = nullptr;
        recorder = nullptr;
        bRecorderWaits = false;
    }

    void ForgetWaiting(xpc_connection_t peer) {
        auto it = std::find_if(waiting.begin(), waiting.end(), [peer](const LWaiting& w) { return w.peer == peer; });
        if (it != waiting.end()) {
            xpc_release(it->endpoint);
            waiting.erase(it);
        }
    }

    // One message holding only the boolean notice szKey, to a recorder.
    void Notify(xpc_connection_t peer, const char* szKey) {
        xpc_object_t message = xpc_dictionary_create(nullptr, nullptr, 0);
        xpc_dictionary_set_bool(message, szKey, true);
        xpc_connection_send_message(peer, message);
        xpc_release(message);
    }

    void PushEndpointToPlugins() {
        for (xpc_connection_t plugin : plugins) {
            xpc_object_t push = xpc_dictionary_create(nullptr, nullptr, 0);
            Send(plugin, push, "SEND_ENDPOINT", endpoint);
            xpc_release(push);
        }
    }

    // The registered recorder left: the newest one waiting takes its place.
    void ChooseWaiting() {
        if (recorder != nullptr || waiting.empty()) {
            return;
        }
        const LWaiting next = waiting.back();
        waiting.pop_back();
        endpoint = next.endpoint; // the reference moves
        recorder = next.peer;
        bRecorderWaits = true;
        Log("recorder " + Peer(recorder) + " is chosen again; telling " + std::to_string(plugins.size()) +
            " plug-in(s)");
        Notify(recorder, kEndpointChosenKey);
        PushEndpointToPlugins();
    }

    void Register(xpc_connection_t peer, xpc_object_t value, bool bWaits) {
        ForgetWaiting(peer);
        if (recorder != nullptr && recorder != peer) {
            // The displaced recorder hears of it, so it does not wait for
            // audio that no longer comes.
            Log("recorder " + Peer(recorder) + " is replaced" + (bRecorderWaits ? " and waits" : ""));
            Notify(recorder, kEndpointReplacedKey);
            if (bRecorderWaits) {
                waiting.push_back({recorder, endpoint});
                endpoint = nullptr;
            }
        }
        DropEndpoint();
        endpoint = xpc_retain(value);
        recorder = peer;
        bRecorderWaits = bWaits;
    }

    void Send(xpc_connection_t peer, xpc_object_t message, const char* szKey, xpc_object_t value) {
        LList<LXPCDataListable> values;
        values.Add(new LXPCDataListable(LXPCData(szKey, kLXPCDataTypeNone,
                                                 value == nullptr ? 1 : static_cast<long>(reinterpret_cast<std::intptr_t>(value)))));
        SetXPCDictionary(message, sendKeys, values);
        xpc_connection_send_message(peer, message);
    }

    void Reply(xpc_connection_t peer, xpc_object_t request, const char* szKey, xpc_object_t value) {
        xpc_object_t reply = xpc_dictionary_create_reply(request);
        if (reply == nullptr) {
            return; // the peer asked for no reply
        }
        if (szKey != nullptr) {
            Send(peer, reply, szKey, value);
        } else {
            xpc_connection_send_message(peer, reply);
        }
        xpc_release(reply);
    }

    void Forget(xpc_connection_t peer) {
        ForgetWaiting(peer);
        if (peer == recorder) {
            Log("recorder " + Peer(peer) + " went away; its endpoint is withdrawn");
            DropEndpoint();
            ChooseWaiting();
        }
        if (plugins.erase(peer) != 0) {
            Log("plug-in " + Peer(peer) + " went away");
            xpc_release(peer);
        }
        if (peers.erase(peer) != 0) {
            xpc_release(peer);
        }
    }

    void Handle(xpc_connection_t peer, xpc_object_t event) {
        if (xpc_get_type(event) == XPC_TYPE_ERROR) {
            Forget(peer);
            return;
        }
        if (xpc_get_type(event) != XPC_TYPE_DICTIONARY) {
            return;
        }
        LList<LXPCDataListable> values;
        GetXPCDictionary(event, receiveKeys, values);
        for (const LXPCDataListable* p = values.Head(); p != nullptr; p = p->pNext) {
            const std::string szKey = p->szKey;
            if (szKey == "REQUEST_ENDPOINT") {
                if (plugins.insert(peer).second) {
                    xpc_retain(peer);
                }
                Log("plug-in " + Peer(peer) + " asks for the recorder's endpoint: " +
                    (endpoint != nullptr ? "sent" : "none registered yet"));
                Reply(peer, event, endpoint != nullptr ? "SEND_ENDPOINT" : nullptr, endpoint);
            } else if (szKey == "NEW_ENDPOINT") {
                auto value = reinterpret_cast<xpc_object_t>(static_cast<std::intptr_t>(p->nValue));
                if (value == nullptr || xpc_get_type(value) != XPC_TYPE_ENDPOINT) {
                    Log("refused a registration from " + Peer(peer) + " that holds no endpoint");
                    continue;
                }
                Register(peer, value, xpc_dictionary_get_bool(event, kWaitWhenReplacedKey));
                Log("recorder " + Peer(peer) + " registered; telling " + std::to_string(plugins.size()) +
                    " plug-in(s)");
                Reply(peer, event, "NEW_ENDPOINT_REPLY", nullptr);
                PushEndpointToPlugins();
            } else if (szKey == "CLOSE_ENDPOINT") {
                ForgetWaiting(peer);
                if (peer == recorder) {
                    Log("recorder " + Peer(peer) + " withdrew its endpoint");
                    DropEndpoint();
                    ChooseWaiting();
                }
                Reply(peer, event, "CLOSE_ENDPOINT_REPLY", nullptr);
            }
        }
        // Every request gets an answer, an empty one when it asked for
        // nothing the service knows (a message can be answered only once,
        // so this does nothing after one of the replies above).
        Reply(peer, event, nullptr, nullptr);
    }
};

LHelperService::LHelperService(LLog log) : m_pState(std::make_shared<State>()) {
    LFillVADHelperKeyTables();
    m_pState->log = std::move(log);
    for (const LXPCDictionaryKey* p = arVADHelperTxKeys; p->szKey[0] != '\0'; ++p) {
        m_pState->receiveKeys.Add(new LXPCDictionaryKeyListable(p->szKey, p->eType));
    }
    for (const LXPCDictionaryKey* p = arVADHelperRxKeys; p->szKey[0] != '\0'; ++p) {
        m_pState->sendKeys.Add(new LXPCDictionaryKeyListable(p->szKey, p->eType));
    }
    m_pState->queue = dispatch_queue_create("com.zentalworks.Harlune.VadHelper.service", DISPATCH_QUEUE_SERIAL);
}

LHelperService::~LHelperService() {
    Stop();
    dispatch_release(m_pState->queue);
}

bool LHelperService::Start() {
    std::shared_ptr<State> pState = m_pState;
    xpc_connection_t listener = xpc_connection_create_mach_service(HelperServiceName, pState->queue,
                                                                   XPC_CONNECTION_MACH_SERVICE_LISTENER);
    if (listener == nullptr) {
        pState->Log("cannot create the service listener for " + std::string(HelperServiceName));
        pState->bFailed = true;
        return false;
    }
    xpc_connection_set_event_handler(listener, ^(xpc_object_t event) {
      if (xpc_get_type(event) == XPC_TYPE_ERROR) {
          if (event != XPC_ERROR_CONNECTION_INVALID || !pState->bFailed.load()) {
              const char* szWhy = xpc_dictionary_get_string(event, XPC_ERROR_KEY_DESCRIPTION);
              pState->Log(std::string("listener stopped: ") + (szWhy != nullptr ? szWhy : "unknown error"));
          }
          pState->bFailed = true;
          return;
      }
      if (xpc_get_type(event) != XPC_TYPE_CONNECTION) {
          return;
      }
      auto peer = static_cast<xpc_connection_t>(event);
      pState->peers.insert(peer);
      xpc_retain(peer);
      xpc_connection_set_target_queue(peer, pState->queue);
      xpc_connection_set_event_handler(peer, ^(xpc_object_t peerEvent) {
        pState->Handle(peer, peerEvent);
      });
      xpc_connection_resume(peer);
    });
    pState->listener = listener;
    xpc_connection_resume(listener);
    pState->Log("listening as " + std::string(HelperServiceName));
    return true;
}

void LHelperService::Stop() {
    std::shared_ptr<State> pState = m_pState;
    dispatch_sync(pState->queue, ^{
      if (pState->listener != nullptr) {
          xpc_connection_set_event_handler(pState->listener, ^(xpc_object_t) {
          });
          xpc_connection_cancel(pState->listener);
          xpc_release(pState->listener);
          pState->listener = nullptr;
      }
      for (xpc_connection_t peer : pState->peers) {
          xpc_connection_set_event_handler(peer, ^(xpc_object_t) {
          });
          xpc_connection_cancel(peer);
          xpc_release(peer);
      }
      pState->peers.clear();
      for (xpc_connection_t plugin : pState->plugins) {
          xpc_release(plugin);
      }
      pState->plugins.clear();
      pState->DropEndpoint();
      for (const State::LWaiting& w : pState->waiting) {
          xpc_release(w.endpoint);
      }
      pState->waiting.clear();
    });
}

bool LHelperService::Failed() const { return m_pState->bFailed.load(); }

bool LHelperService::WaitUntilReachable(std::chrono::milliseconds timeout) {
    // The listener publishes its name on the transport's own thread, so the
    // service is only known to be up once a client has been answered.
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (std::chrono::steady_clock::now() < deadline && !Failed()) {
        xpc_connection_t probe = xpc_connection_create_mach_service(HelperServiceName, nullptr, 0);
        if (probe == nullptr) {
            return false;
        }
        xpc_connection_set_event_handler(probe, ^(xpc_object_t) {
        });
        xpc_connection_resume(probe);
        // The reply handler runs exactly once, possibly after this wait has
        // given up: it owns what it touches (the semaphore and the flag,
        // shared with this frame by reference counts).
        dispatch_semaphore_t answered = dispatch_semaphore_create(0);
        auto pReached = std::make_shared<std::atomic<bool>>(false);
        dispatch_retain(answered);
        xpc_object_t request = xpc_dictionary_create(nullptr, nullptr, 0);
        xpc_connection_send_message_with_reply(probe, request, nullptr, ^(xpc_object_t reply) {
          *pReached = xpc_get_type(reply) == XPC_TYPE_DICTIONARY;
          dispatch_semaphore_signal(answered);
          dispatch_release(answered);
        });
        xpc_release(request);
        const auto left = std::chrono::duration_cast<std::chrono::nanoseconds>(deadline - std::chrono::steady_clock::now());
        const std::int64_t nWaitNs = std::max<std::int64_t>(0, std::min<std::int64_t>(left.count(), 2 * NSEC_PER_SEC));
        dispatch_semaphore_wait(answered, dispatch_time(DISPATCH_TIME_NOW, nWaitNs));
        xpc_connection_cancel(probe);
        xpc_release(probe);
        dispatch_release(answered);
        if (pReached->load()) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
}

} // namespace harlune::tools
