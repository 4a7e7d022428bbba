// LBenchServices.h: the private world the end-to-end benchmarks run in: a
// temporary folder whose "services" folder holds the XPC service sockets
// (set for this process and its children), a "storage" folder for the
// plug-in, and the helper service as a real process. Everything is stopped
// and removed when the object goes. Declare it before the player and the
// recorders so that they go first.
#ifndef HARLUNE_BENCH_LBENCHSERVICES_H
#define HARLUNE_BENCH_LBENCHSERVICES_H

#include "tools/harlune/ChildProcess.h"

#include <signal.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace harlune::bench {

class LBenchServices {
public:
    explicit LBenchServices(const char* szName) {
        std::string szTemplate = std::string("/tmp/") + szName + ".XXXXXX";
        if (mkdtemp(szTemplate.data()) != nullptr) {
            m_szFolder = szTemplate;
            mkdir((m_szFolder + "/services").c_str(), 0700);
            setenv("HARLUNE_XPC_SERVICE_DIR", (m_szFolder + "/services").c_str(), 1);
        }
    }
    ~LBenchServices() {
        m_helper.Signal(SIGTERM);
        m_helper.Wait(std::chrono::seconds(10));
        if (!m_szFolder.empty()) {
            std::error_code ec;
            std::filesystem::remove_all(m_szFolder, ec);
        }
    }
    LBenchServices(const LBenchServices&) = delete;
    LBenchServices& operator=(const LBenchServices&) = delete;

    // Starts `harlune helper` and waits until it serves; false on failure.
    bool StartHelper() {
        return !m_szFolder.empty() && m_helper.Start(std::string(HARLUNE_BUILD_DIR) + "/bin/harlune", {"helper"}) &&
               m_helper.WaitForLine("ready", std::chrono::seconds(10));
    }
    std::string StorageFolder() const { return m_szFolder + "/storage"; }
    // The private folder itself (removed with everything in it); empty when
    // it could not be made.
    const std::string& Folder() const { return m_szFolder; }
    tools::LChildProcess& Helper() { return m_helper; }

private:
    std::string m_szFolder;         // the private folder; empty when it could not be made
    tools::LChildProcess m_helper;  // the helper service
};

} // namespace harlune::bench

#endif
