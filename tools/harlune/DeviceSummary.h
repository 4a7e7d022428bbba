// DeviceSummary.h: what a person wants to know first about the device, for
// `harlune devices`: its name and UID, whether it plays (in this process or
// in another host that publishes it), its rate and format, its volume, and
// whether a recorder is there to receive it.
//
// Read once through the host and from the service folder; not thread-safe.
#ifndef HARLUNE_TOOLS_DEVICESUMMARY_H
#define HARLUNE_TOOLS_DEVICESUMMARY_H

#include "host/LHost.h"
#include "tools/harlune/HelperProbe.h"

#include <sys/types.h>

#include <string>
#include <vector>

namespace harlune::tools {

// Another host process running the device, from its publication.
struct LRunningHost {
    pid_t nPid = 0;
    double fSampleRate = 0; // Hz
    bool bRunning = false;  // its IO runs
};

struct LDeviceSummary {
    std::string szName;
    std::string szUID;
    std::string szManufacturer;
    double fSampleRate = 0;            // nominal, Hz
    std::vector<double> arRates;       // the rates it can run at
    std::string szFormat;              // the stream's format, for people
    float fVolume = 0;                 // scalar 0..1
    float fVolumeDb = 0;               // dB
    bool bMuted = false;
    std::vector<LRunningHost> arHosts; // other processes that publish the device
    LHelperProbe helper;               // the helper service and its recorder
    bool bPlugInConnected = false;     // this process's plug-in reached the recorder
};

// Reads the summary; asks the helper service (waiting up to a second) and,
// when it knows a recorder, gives the plug-in as long to reach it.
LDeviceSummary LReadDeviceSummary(host::LHost& host);
void LPrintDeviceSummary(const LDeviceSummary& summary);
// The summary as a JSON object keyed by the same names as the text, with
// the four-character codes of the properties beside their values.
std::string LDeviceSummaryJson(const LDeviceSummary& summary);

} // namespace harlune::tools

#endif
