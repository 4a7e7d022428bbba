#include "host/LDevicePublication.h"

#include "host/LServiceFolder.h"

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace harlune::host {
namespace {

constexpr char kMagic[8] = {'H', 'R', 'L', 'N', 'D', 'E', 'V', '1'};
constexpr char kPrefix[] = "device-";
constexpr char kSuffix[] = ".state";

std::uint64_t Bits(double f) {
    std::uint64_t qw = 0;
    std::memcpy(&qw, &f, sizeof qw);
    return qw;
}

double FromBits(std::uint64_t qw) {
    double f = 0;
    std::memcpy(&f, &qw, sizeof f);
    return f;
}

// The pids of the publications in szFolder.
std::vector<pid_t> ListPublications(const std::string& szFolder) {
    std::vector<pid_t> arPids;
    DIR* pDir = opendir(szFolder.c_str());
    if (pDir == nullptr) {
        return arPids;
    }
    while (const dirent* pEntry = readdir(pDir)) {
        const std::string szName = pEntry->d_name;
        if (szName.rfind(kPrefix, 0) != 0) {
            continue;
        }
        char* pEnd = nullptr;
        const long nPid = std::strtol(szName.c_str() + sizeof kPrefix - 1, &pEnd, 10);
        if (nPid > 0 && std::strcmp(pEnd, kSuffix) == 0) {
            arPids.push_back(static_cast<pid_t>(nPid));
        }
    }
    closedir(pDir);
    std::sort(arPids.begin(), arPids.end());
    return arPids;
}

// Removes publications whose process is gone (killed hosts leave theirs).
void RemoveStale(const std::string& szFolder) {
    for (pid_t nPid : ListPublications(szFolder)) {
        if (kill(nPid, 0) != 0 && errno == ESRCH) {
            unlink((szFolder + "/" + kPrefix + std::to_string(nPid) + kSuffix).c_str());
        }
    }
}

} // namespace

std::string LDevicePublicationPath(pid_t nPid) {
    return LServiceFolderPath() + "/" + kPrefix + std::to_string(nPid) + kSuffix;
}

std::vector<pid_t> LListDevicePublications() { return ListPublications(LServiceFolderPath()); }

LDevicePublisher::~LDevicePublisher() { Unpublish(); }

bool LDevicePublisher::Publish(double fSampleRate, std::string* pszError) {
    auto fail = [&](const std::string& szWhy) {
        if (pszError != nullptr) {
            *pszError = szWhy;
        }
        return false;
    };
    if (m_pState != nullptr) {
        SetSampleRate(fSampleRate);
        return true;
    }
    std::string szProblem;
    if (!LCheckServiceFolder(&szProblem)) {
        return fail(szProblem);
    }
    RemoveStale(LServiceFolderPath());
    const std::string szPath = LDevicePublicationPath(getpid());
    const std::string szTemporary = szPath + ".new";
    const int fd = open(szTemporary.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (fd < 0) {
        return fail("cannot make " + szTemporary + ": " + std::strerror(errno));
    }
    void* pMap = MAP_FAILED;
    if (ftruncate(fd, sizeof(LPublishedDeviceState)) == 0) {
        pMap = mmap(nullptr, sizeof(LPublishedDeviceState), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    }
    const int nError = errno;
    close(fd);
    if (pMap == MAP_FAILED) {
        unlink(szTemporary.c_str());
        return fail("cannot map " + szTemporary + ": " + std::strerror(nError));
    }
    auto* pState = new (pMap) LPublishedDeviceState{};
    pState->qwRateBits.store(Bits(fSampleRate));
    pState->qwRateChanges.store(0);
    pState->qwRunning.store(0);
    pState->qwPreviousRateBits.store(0);
    pState->qwChangedAtNs.store(0);
    pState->qwPreviousPlayed.store(0);
    m_bPlayedAtRate = false;
    std::memcpy(pState->szMagic, kMagic, sizeof kMagic);
    if (rename(szTemporary.c_str(), szPath.c_str()) != 0) {
        const int nRenameError = errno;
        munmap(pMap, sizeof(LPublishedDeviceState));
        unlink(szTemporary.c_str());
        return fail("cannot publish " + szPath + ": " + std::strerror(nRenameError));
    }
    m_pState = pState;
    m_szPath = szPath;
    return true;
}

void LDevicePublisher::SetSampleRate(double fSampleRate) {
    if (m_pState == nullptr) {
        return;
    }
    const std::uint64_t qwBits = Bits(fSampleRate);
    const std::uint64_t qwOld = m_pState->qwRateBits.load();
    if (qwOld == qwBits) {
        return;
    }
    // The previous rate and the time first, so a reader that sees the new
    // count finds them already in place.
    m_pState->qwPreviousRateBits.store(qwOld);
    m_pState->qwPreviousPlayed.store(m_bPlayedAtRate.exchange(m_pState->qwRunning.load() != 0) ? 1 : 0);
    m_pState->qwChangedAtNs.store(static_cast<std::uint64_t>(
        std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
            .count()));
    m_pState->qwRateBits.store(qwBits);
    m_pState->qwRateChanges.fetch_add(1);
}

double LDevicePublisher::SampleRate() const {
    return m_pState == nullptr ? 0.0 : FromBits(m_pState->qwRateBits.load());
}

void LDevicePublisher::SetRunning(bool bRunning) {
    if (m_pState != nullptr) {
        m_pState->qwRunning.store(bRunning ? 1 : 0);
        if (bRunning) {
            m_bPlayedAtRate = true;
        }
    }
}

void LDevicePublisher::Unpublish() {
    if (m_pState == nullptr) {
        return;
    }
    unlink(m_szPath.c_str());
    munmap(m_pState, sizeof(LPublishedDeviceState));
    m_pState = nullptr;
}

LPublishedDevice::~LPublishedDevice() {
    if (m_pState != nullptr) {
        munmap(const_cast<LPublishedDeviceState*>(m_pState), sizeof(LPublishedDeviceState));
    }
}

bool LPublishedDevice::Open(pid_t nPid) {
    if (m_pState != nullptr || nPid <= 0) {
        return false;
    }
    const int fd = open(LDevicePublicationPath(nPid).c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
    if (fd < 0) {
        return false;
    }
    struct stat st {};
    void* pMap = MAP_FAILED;
    // Only the user's own regular files of the full size are read.
    if (fstat(fd, &st) == 0 && S_ISREG(st.st_mode) && st.st_uid == geteuid() &&
        st.st_size >= static_cast<off_t>(sizeof(LPublishedDeviceState))) {
        pMap = mmap(nullptr, sizeof(LPublishedDeviceState), PROT_READ, MAP_SHARED, fd, 0);
    }
    close(fd);
    if (pMap == MAP_FAILED) {
        return false;
    }
    const auto* pState = static_cast<const LPublishedDeviceState*>(pMap);
    if (std::memcmp(pState->szMagic, kMagic, sizeof kMagic) != 0) {
        munmap(pMap, sizeof(LPublishedDeviceState));
        return false;
    }
    m_pState = pState;
    return true;
}

double LPublishedDevice::SampleRate() const {
    return m_pState == nullptr ? 0.0 : FromBits(m_pState->qwRateBits.load());
}

std::uint64_t LPublishedDevice::RateChanges() const {
    return m_pState == nullptr ? 0 : m_pState->qwRateChanges.load();
}

double LPublishedDevice::PreviousSampleRate() const {
    return m_pState == nullptr ? 0.0 : FromBits(m_pState->qwPreviousRateBits.load());
}

bool LPublishedDevice::PreviousRatePlayed() const {
    return m_pState != nullptr && m_pState->qwPreviousPlayed.load() != 0;
}

std::chrono::steady_clock::time_point LPublishedDevice::ChangedAt() const {
    return std::chrono::steady_clock::time_point(std::chrono::duration_cast<std::chrono::steady_clock::duration>(
        std::chrono::nanoseconds(m_pState == nullptr ? 0 : m_pState->qwChangedAtNs.load())));
}

bool LPublishedDevice::IsRunning() const { return m_pState != nullptr && m_pState->qwRunning.load() != 0; }

} // namespace harlune::host
