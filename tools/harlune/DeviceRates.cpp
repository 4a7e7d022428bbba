#include "tools/harlune/DeviceRates.h"

namespace harlune::tools {

double LDeviceRates::RateOf(pid_t nPid) {
    if (auto it = m_devices.find(nPid); it != m_devices.end()) {
        return it->second->SampleRate();
    }
    const auto now = std::chrono::steady_clock::now();
    if (auto it = m_misses.find(nPid); it != m_misses.end() && now - it->second < std::chrono::seconds(1)) {
        return 0.0;
    }
    auto pDevice = std::make_unique<host::LPublishedDevice>();
    if (!pDevice->Open(nPid)) {
        m_misses[nPid] = now;
        return 0.0;
    }
    m_misses.erase(nPid);
    const double fRate = pDevice->SampleRate();
    m_devices.emplace(nPid, std::move(pDevice));
    return fRate;
}

} // namespace harlune::tools
