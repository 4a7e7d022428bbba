#include "driver/DriverState.h"

#include "driver/DriverInterface.h"

namespace harlune::driver {

// Constant-initialised, so the record is complete before any static
// constructor of the bundle runs and before the factory can be called.
LDriverState DriverState = {
    .DriverRef = &gpDriverInterface,
    .RefCount = 0,
    .Host = nullptr,
    .BoxAcquired = true,
    .BoxName = nullptr,
    .SampleRate = 44100.0,
    .StreamActive = true,
    .OutputVolume = 0.0f,
    .OutputMute = false,
    .DataSourceItem = 0,
    .DataDestinationItem = 0,
    .IORunningCount = 0,
    .HostTicksPerFrame = 0.0,
    .TimeStampCount = 0,
    .AnchorHostTime = 0,
    .StateMutex = PTHREAD_MUTEX_INITIALIZER,
    .IOMutex = PTHREAD_MUTEX_INITIALIZER,
};

} // namespace harlune::driver
