// The messaging framework on the audio path: LXPCClientManager::SendMessage
// of one 4 KiB "AUDIO_DATA" value to a connected peer, next to a raw
// compat/xpc send of the same dictionary, in one run and one process.
// Figures: time on the calling thread per message (median, 99th
// percentile) and sustained messages per second received by the peer.
// Messages go in bursts that fit the connection's send queue, and each
// burst is waited for, so nothing is dropped and the rate is sustained.
#include "bench/LLatencySamples.h"
#include "helperlink/VADHelperProtocol.h"
#include "xpc/LXPCClientManager.h"

#include <xpc/xpc.h>

#include <sys/stat.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <thread>
#include <vector>

using harlune::bench::LLatencySamples;

namespace {

constexpr std::size_t kBytes = 4096;
constexpr int kBursts = 20;
constexpr int kBurst = 1000;

std::atomic<long> gnReceived{0};

class CountingNotify : public LXPCClientEventNotify {
public:
    CountingNotify() : LXPCClientEventNotify(true, true) {}
    void EvConnectionError(long, LXPCErrorType) override {}
    void EvMessageSent(long) override {}
    void EvMessageReceived(long, long, const LXPCData*, unsigned long) override { ++gnReceived; }
};

bool WaitForCount(long nTarget) {
    for (int i = 0; i < 20000 && gnReceived.load() < nTarget; ++i) {
        std::this_thread::sleep_for(std::chrono::microseconds(500));
    }
    return gnReceived.load() >= nTarget;
}

// Sends kBursts × kBurst messages with send(), timing each call; returns
// the peer's sustained receive rate.
template <typename F>
double Run(LLatencySamples& samples, F send) {
    const long nStart = gnReceived.load();
    const auto start = std::chrono::steady_clock::now();
    for (int b = 0; b < kBursts; ++b) {
        for (int i = 0; i < kBurst; ++i) {
            samples.Time(send);
        }
        if (!WaitForCount(nStart + static_cast<long>(b + 1) * kBurst)) {
            std::fprintf(stderr, "bench_messaging: the peer did not receive every message\n");
            return 0;
        }
    }
    const double fSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    return kBursts * kBurst / fSeconds;
}

} // namespace

int main() {
    char szTemplate[] = "/tmp/harlune-bench-messaging.XXXXXX";
    if (mkdtemp(szTemplate) == nullptr) {
        return 1;
    }
    const std::string szServices = std::string(szTemplate) + "/services";
    mkdir(szServices.c_str(), 0700);
    setenv("HARLUNE_XPC_SERVICE_DIR", szServices.c_str(), 1);
    LFillVADHelperKeyTables();
    int nExit = 1;
    {
        CountingNotify receiverNotify, senderNotify;
        const int nReceiver = LXPCClientManager::Create(&receiverNotify);
        const int nSender = LXPCClientManager::Create(&senderNotify);
        LXPCClientManager::AddKeys(nReceiver, arVADHelperRxKeys, true);
        LXPCClientManager::AddKeys(nSender, arVADHelperTxKeys, false);
        xpc_object_t endpoint = LXPCClientManager::CreateEndPoint(nReceiver, "PlugIn", 1);
        if (endpoint != nullptr && LXPCClientManager::ConnectEndPoint(nSender, "EndPointConnection", 1, endpoint)) {
            std::vector<char> buffer(kBytes, 0x11);
            LLatencySamples framework(kBursts * kBurst), raw(kBursts * kBurst);
            const double fFramework = Run(framework, [&] {
                LList<LXPCDataListable> values;
                values.Add(new LXPCDataListable(LXPCData(
                    "AUDIO_DATA", kLXPCDataTypeNone, static_cast<long>(reinterpret_cast<std::intptr_t>(buffer.data())),
                    kBytes)));
                LXPCClientManager::SendMessage(nSender, "EndPointConnection", 1, values, false);
            });
            auto hConnection = reinterpret_cast<xpc_connection_t>(
                LXPCClientManager::AcquireClient(nSender)->ConnectionHandle("EndPointConnection", 1));
            const double fRaw = Run(raw, [&] {
                xpc_object_t message = xpc_dictionary_create(nullptr, nullptr, 0);
                xpc_dictionary_set_data(message, "AUDIO_DATA", buffer.data(), kBytes);
                xpc_connection_send_message(hConnection, message);
                xpc_release(message);
            });
            std::printf("manager_send_median_us: %.2f\n", framework.Quantile(0.5) / 1000.0);
            std::printf("manager_send_p99_us: %.2f\n", framework.Quantile(0.99) / 1000.0);
            std::printf("manager_messages_per_second: %.0f\n", fFramework);
            std::printf("raw_xpc_send_median_us: %.2f\n", raw.Quantile(0.5) / 1000.0);
            std::printf("raw_xpc_send_p99_us: %.2f\n", raw.Quantile(0.99) / 1000.0);
            std::printf("raw_xpc_messages_per_second: %.0f\n", fRaw);
            std::printf("manager_vs_raw_xpc_throughput_ratio: %.2f\n", fRaw > 0 ? fFramework / fRaw : 0.0);
            nExit = fFramework > 0 && fRaw > 0 ? 0 : 1;
        }
        LXPCClientManager::DestroyAll();
        if (endpoint != nullptr) {
            xpc_release(endpoint);
        }
    }
    std::error_code ec;
    std::filesystem::remove_all(szTemplate, ec);
    return nExit;
}
