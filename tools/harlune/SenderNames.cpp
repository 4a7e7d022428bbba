#include "tools/harlune/SenderNames.h"

#include <cctype>
#include <fstream>

namespace harlune::tools {

std::string LSenderName(pid_t nPid) {
    std::ifstream in("/proc/" + std::to_string(nPid) + "/comm");
    std::string szComm;
    std::getline(in, szComm);
    std::string szName;
    for (char c : szComm) {
        const bool bSafe = std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '-' || c == '_' || c == '.';
        szName += bSafe ? c : '_';
    }
    // A name of dots only would make a path that means something else.
    if (szName.find_first_not_of('.') == std::string::npos) {
        return "pid";
    }
    return szName;
}

std::string LPathForSender(const std::string& szPath, const std::string& szName, pid_t nPid) {
    const std::string szSuffix = "-" + szName + "-" + std::to_string(nPid);
    const std::size_t nSlash = szPath.rfind('/');
    const std::size_t nDot = szPath.rfind('.');
    const bool bExtension = nDot != std::string::npos && (nSlash == std::string::npos || nDot > nSlash + 1);
    if (!bExtension) {
        return szPath + szSuffix;
    }
    return szPath.substr(0, nDot) + szSuffix + szPath.substr(nDot);
}

} // namespace harlune::tools
