// DriverInterface.h: the binding of the driver to the platform's interface
// table.
//
// The table holds the entries in the platform's order; each entry forwards
// to the platform-neutral core (DriverLifecycle.h, PropertyDispatch.h,
// IOEngine.h). The driver reference handed to the audio server is the address
// of gpDriverInterface, whose value is the address of the table.
#ifndef HARLUNE_DRIVER_DRIVERINTERFACE_H
#define HARLUNE_DRIVER_DRIVERINTERFACE_H

#include <CoreAudio/AudioServerPlugIn.h>

namespace harlune::driver {

// Points at the static interface table; its address is DriverRef.
extern AudioServerPlugInDriverInterface* gpDriverInterface;

} // namespace harlune::driver

// The bundle's factory, named in its Info.plist for the audio server plug-in
// type. Returns DriverRef for kAudioServerPlugInTypeUUID and NULL for any
// other type; the allocator is ignored and the reference count is unchanged.
extern "C" __attribute__((visibility("default"))) void* LVirtualAudioDevice_Create(CFAllocatorRef allocator,
                                                                                   CFUUIDRef requestedTypeUUID);

#endif
