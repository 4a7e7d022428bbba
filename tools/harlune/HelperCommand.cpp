// harlune helper: runs the helper service in the foreground.
#include "tools/harlune/Commands.h"

#include "tools/harlune/CommandSupport.h"
#include "tools/harlune/HelperProbe.h"
#include "tools/harlune/HelperService.h"
#include "host/LServiceFolder.h"

#include <cstdio>

namespace harlune::tools {
namespace {

const char kUsage[] =
    "usage: harlune helper [--version]\n"
    "\n"
    "Runs the helper service (com.zentalworks.Harlune.VadHelper) in the foreground:\n"
    "recorders register their endpoints with it and plug-ins ask it for one.\n"
    "Logs go to standard error; SIGINT or SIGTERM stops it.\n"
    "\n"
    "The service's socket lives in $HARLUNE_XPC_SERVICE_DIR, else in\n"
    "$XDG_RUNTIME_DIR (a folder only its user may enter).\n";

} // namespace

int LRunHelperCommand(const std::vector<std::string>& arArgs) {
    for (const std::string& szArg : arArgs) {
        if (szArg == "--help" || szArg == "-h") {
            std::fputs(kUsage, stdout);
            return 0;
        }
        if (szArg == "--version") {
            std::printf("%s\n", LVersionText());
            return 0;
        }
        std::fprintf(stderr, "harlune helper: unexpected argument '%s'\n\n%s", szArg.c_str(), kUsage);
        return 2;
    }
    LBlockStopSignals();
    std::string szProblem;
    if (!host::LCheckServiceFolder(&szProblem)) {
        LLogLine("helper", "cannot run: " + szProblem);
        return 1;
    }
    // One helper per service folder: a second one says which is running
    // instead of taking over its name.
    if (const LHelperProbe probe = LProbeHelper(std::chrono::milliseconds(500));
        probe.eState != LHelperState::NotRunning) {
        LLogLine("helper", "another helper service is already running (pid " + std::to_string(probe.nPid) + ", in " +
                               host::LServiceFolderPath() + ")");
        return 1;
    }
    LHelperService service([](const std::string& szLine) { LLogLine("helper", szLine); });
    if (!service.Start() || !service.WaitUntilReachable(std::chrono::seconds(10))) {
        LLogLine("helper", "the service did not come up (is another helper running?)");
        service.Stop();
        return 1;
    }
    // Readiness for scripts: one line on standard output once listening.
    std::printf("ready\n");
    std::fflush(stdout);
    while (!LWaitForStopSignal(std::chrono::milliseconds(200))) {
        if (service.Failed()) {
            LLogLine("helper", "stopping: the service cannot run (is another helper running?)");
            service.Stop();
            return 1;
        }
    }
    LLogLine("helper", "stopping");
    service.Stop();
    return 0;
}

} // namespace harlune::tools
