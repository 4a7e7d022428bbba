// harlune: the command-line face of the Harlune virtual device.
#include "tools/harlune/Commands.h"

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace {

const char kUsage[] =
    "usage: harlune COMMAND [ARGS]\n"
    "\n"
    "commands:\n"
    "  devices   print the driver's objects and properties, or set one (--set)\n"
    "  helper    run the helper service in the foreground\n"
    "  record    record what the device plays into a WAV file\n"
    "  play      play a WAV file or a test signal into the device\n"
    "  demo      play a signal through the device into a recorder and check it bit for bit\n"
    "  report    print what a bug report would carry (--url: the bug-report address)\n"
    "  help      this text\n"
    "\n"
    "Run `harlune COMMAND --help` for a command's options.\n";

struct Command {
    const char* szName;
    int (*pfnRun)(const std::vector<std::string>&);
};

const Command kCommands[] = {
    {"devices", harlune::tools::LRunDevicesCommand}, {"helper", harlune::tools::LRunHelperCommand},
    {"record", harlune::tools::LRunRecordCommand},   {"play", harlune::tools::LRunPlayCommand},
    {"demo", harlune::tools::LRunDemoCommand},       {"report", harlune::tools::LRunReportCommand},
};

} // namespace

int main(int argc, char** argv) {
    if (argc < 2 || std::strcmp(argv[1], "help") == 0 || std::strcmp(argv[1], "--help") == 0 ||
        std::strcmp(argv[1], "-h") == 0) {
        std::fputs(kUsage, argc < 2 ? stderr : stdout);
        return argc < 2 ? 2 : 0;
    }
    const std::vector<std::string> arArgs(argv + 2, argv + argc);
    for (const Command& command : kCommands) {
        if (std::strcmp(argv[1], command.szName) == 0) {
            return command.pfnRun(arArgs);
        }
    }
    std::fprintf(stderr, "harlune: unknown command '%s'\n\n%s", argv[1], kUsage);
    return 2;
}
