// The interface table and the factory. Every entry is a thin forwarder to the
// core; none of them throws (the core is written without exceptions and the
// forwarders catch nothing because nothing can escape).
#include "driver/DriverInterface.h"

#include "driver/DriverLifecycle.h"
#include "driver/DriverState.h"
#include "driver/IOEngine.h"
#include "driver/PropertyDispatch.h"

namespace harlune::driver {
namespace {

HRESULT QueryInterfaceEntry(void* pDriver, REFIID uuid, LPVOID* ppInterface) {
    return LDriverQueryInterface(pDriver, uuid, ppInterface);
}
ULONG AddRefEntry(void* pDriver) { return LDriverAddRef(pDriver); }
ULONG ReleaseEntry(void* pDriver) { return LDriverRelease(pDriver); }

AudioServerPlugInDriverInterface gDriverInterface = {
    nullptr,
    QueryInterfaceEntry,
    AddRefEntry,
    ReleaseEntry,
    LDriverInitialize,
    LDriverCreateDevice,
    LDriverDestroyDevice,
    LDriverAddDeviceClient,
    LDriverRemoveDeviceClient,
    LDriverPerformDeviceConfigurationChange,
    LDriverAbortDeviceConfigurationChange,
    LDriverHasProperty,
    LDriverIsPropertySettable,
    LDriverGetPropertyDataSize,
    LDriverGetPropertyData,
    LDriverSetPropertyData,
    LDriverStartIO,
    LDriverStopIO,
    LDriverGetZeroTimeStamp,
    LDriverWillDoIOOperation,
    LDriverBeginIOOperation,
    LDriverDoIOOperation,
    LDriverEndIOOperation,
};

} // namespace

AudioServerPlugInDriverInterface* gpDriverInterface = &gDriverInterface;

} // namespace harlune::driver

extern "C" void* LVirtualAudioDevice_Create(CFAllocatorRef allocator, CFUUIDRef requestedTypeUUID) {
    (void)allocator;
    if (requestedTypeUUID == nullptr || !CFEqual(requestedTypeUUID, kAudioServerPlugInTypeUUID)) {
        return nullptr;
    }
    return harlune::driver::DriverState.DriverRef;
}
