// BundleLocation.h: where the harlune command finds the driver bundle: the
// --bundle option, else $HARLUNE_BUNDLE, else HarluneVirtualAudioDevice.driver
// beside the folder of the running executable (the build's layout:
// build/bin/harlune and build/HarluneVirtualAudioDevice.driver).
#ifndef HARLUNE_TOOLS_BUNDLELOCATION_H
#define HARLUNE_TOOLS_BUNDLELOCATION_H

#include <string>

namespace harlune::tools {

std::string LDefaultBundlePath();

} // namespace harlune::tools

#endif
