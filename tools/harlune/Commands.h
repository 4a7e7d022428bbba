// Commands.h: the subcommands of the harlune command. Each takes the
// arguments after its name and returns the exit code.
#ifndef HARLUNE_TOOLS_COMMANDS_H
#define HARLUNE_TOOLS_COMMANDS_H

#include <string>
#include <vector>

namespace harlune::tools {

int LRunDevicesCommand(const std::vector<std::string>& arArgs);
int LRunHelperCommand(const std::vector<std::string>& arArgs);
int LRunRecordCommand(const std::vector<std::string>& arArgs);
int LRunPlayCommand(const std::vector<std::string>& arArgs);
int LRunDemoCommand(const std::vector<std::string>& arArgs);
int LRunReportCommand(const std::vector<std::string>& arArgs);

} // namespace harlune::tools

#endif
