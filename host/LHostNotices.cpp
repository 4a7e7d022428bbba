#include "host/LHostNotices.h"

#include <algorithm>

namespace harlune::host {

void LHostNotices::Record(AudioObjectID dwObjectID, UInt32 nAddresses, const AudioObjectPropertyAddress* pAddresses) {
    LHostNotice notice{dwObjectID, {}};
    if (pAddresses != nullptr) {
        notice.arAddresses.assign(pAddresses, pAddresses + nAddresses);
    }
    {
        std::lock_guard<std::mutex> lock(m_mtx);
        m_arNotices.push_back(std::move(notice));
    }
    m_cv.notify_all();
}

std::vector<LHostNotice> LHostNotices::Snapshot() {
    std::lock_guard<std::mutex> lock(m_mtx);
    return m_arNotices;
}

void LHostNotices::Clear() {
    std::lock_guard<std::mutex> lock(m_mtx);
    m_arNotices.clear();
}

bool LHostNotices::WaitFor(const std::function<bool(const LHostNotice&)>& match, std::chrono::milliseconds timeout) {
    std::unique_lock<std::mutex> lock(m_mtx);
    return m_cv.wait_for(lock, timeout,
                         [&] { return std::any_of(m_arNotices.begin(), m_arNotices.end(), match); });
}

bool LHostNotices::WaitFor(AudioObjectID dwObjectID, AudioObjectPropertySelector dwSelector,
                           std::chrono::milliseconds timeout) {
    return WaitFor(
        [&](const LHostNotice& notice) {
            return notice.dwObjectID == dwObjectID &&
                   std::any_of(notice.arAddresses.begin(), notice.arAddresses.end(),
                               [&](const AudioObjectPropertyAddress& a) { return a.mSelector == dwSelector; });
        },
        timeout);
}

} // namespace harlune::host
