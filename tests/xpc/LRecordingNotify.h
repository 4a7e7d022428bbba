// LRecordingNotify.h: a notify for tests that records every callback with
// its values copied out, and lets the test wait for what it expects.
#ifndef HARLUNE_TESTS_XPC_LRECORDINGNOTIFY_H
#define HARLUNE_TESTS_XPC_LRECORDINGNOTIFY_H

#include "xpc/LXPCEventNotify.h"

#include <chrono>
#include <condition_variable>
#include <cstring>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace harlune::test {

// One received value with its payload copied (bytes, strings) while the
// callback ran.
struct LSeenValue {
    std::string szKey;
    LXPCDataType eType;
    long nValue;
    unsigned long nLength;
    double dValue;
    std::string szBytes; // data and string payloads
};

struct LSeenEvent {
    enum Kind { Message, Reply, Error, Sent } eKind;
    long connection;
    long message;
    LXPCErrorType eError;
    std::vector<LSeenValue> arValues;
};

class LRecordingNotify : public LXPCClientEventNotify {
public:
    explicit LRecordingNotify(bool bArray = true) : LXPCClientEventNotify(bArray, true) {}

    void EvConnectionError(long connection, LXPCErrorType error) override {
        Push({LSeenEvent::Error, connection, 0, error, {}});
    }
    void EvMessageSent(long connection) override { Push({LSeenEvent::Sent, connection, 0, kLXPCErrorUnknown, {}}); }
    void EvMessageReceived(long connection, long message, LList<LXPCDataListable>& values) override {
        Push({LSeenEvent::Message, connection, message, kLXPCErrorUnknown, FromList(values)});
        if (onMessage) {
            onMessage(connection, message);
        }
    }
    void EvReplyReceived(long connection, LList<LXPCDataListable>& values) override {
        Push({LSeenEvent::Reply, connection, 0, kLXPCErrorUnknown, FromList(values)});
    }
    void EvMessageReceived(long connection, long message, const LXPCData* values, unsigned long count) override {
        Push({LSeenEvent::Message, connection, message, kLXPCErrorUnknown, FromArray(values, count)});
        if (onMessage) {
            onMessage(connection, message);
        }
    }
    void EvReplyReceived(long connection, const LXPCData* values, unsigned long count) override {
        Push({LSeenEvent::Reply, connection, 0, kLXPCErrorUnknown, FromArray(values, count)});
    }

    // Waits until at least n events of kind have been seen.
    bool WaitFor(LSeenEvent::Kind eKind, std::size_t n, std::chrono::milliseconds timeout = std::chrono::seconds(10)) {
        std::unique_lock<std::mutex> lock(m_mtx);
        return m_cv.wait_for(lock, timeout, [&] { return CountLocked(eKind) >= n; });
    }
    std::size_t Count(LSeenEvent::Kind eKind) {
        std::lock_guard<std::mutex> lock(m_mtx);
        return CountLocked(eKind);
    }
    std::vector<LSeenEvent> Events() {
        std::lock_guard<std::mutex> lock(m_mtx);
        return m_arEvents;
    }
    std::vector<LSeenEvent> Events(LSeenEvent::Kind eKind) {
        std::vector<LSeenEvent> ar;
        for (const LSeenEvent& e : Events()) {
            if (e.eKind == eKind) {
                ar.push_back(e);
            }
        }
        return ar;
    }

    // Runs on the XPC queue inside a message callback, e.g. to reply.
    std::function<void(long connection, long message)> onMessage;

private:
    static LSeenValue Copy(const LXPCData& v) {
        LSeenValue seen{v.szKey, v.eType, v.nValue, v.nLength, v.dValue, {}};
        if (v.eType == kLXPCDataTypeData && v.nValue != 0 && v.nValue != -1) {
            seen.szBytes.assign(reinterpret_cast<const char*>(v.nValue), v.nLength);
        } else if (v.eType == kLXPCDataTypeString && v.nValue != 0 && v.nValue != -1) {
            seen.szBytes = reinterpret_cast<const char*>(v.nValue);
        }
        return seen;
    }
    static std::vector<LSeenValue> FromList(LList<LXPCDataListable>& values) {
        std::vector<LSeenValue> ar;
        for (const LXPCDataListable* p = values.Head(); p != nullptr; p = p->pNext) {
            ar.push_back(Copy(*p));
        }
        return ar;
    }
    static std::vector<LSeenValue> FromArray(const LXPCData* values, unsigned long count) {
        std::vector<LSeenValue> ar;
        for (unsigned long i = 0; i < count; ++i) {
            ar.push_back(Copy(values[i]));
        }
        return ar;
    }
    void Push(LSeenEvent event) {
        {
            std::lock_guard<std::mutex> lock(m_mtx);
            m_arEvents.push_back(std::move(event));
        }
        m_cv.notify_all();
    }
    std::size_t CountLocked(LSeenEvent::Kind eKind) const {
        std::size_t n = 0;
        for (const LSeenEvent& e : m_arEvents) {
            n += e.eKind == eKind ? 1 : 0;
        }
        return n;
    }

    std::mutex m_mtx;
    std::condition_variable m_cv;
    std::vector<LSeenEvent> m_arEvents;
};

} // namespace harlune::test

#endif
