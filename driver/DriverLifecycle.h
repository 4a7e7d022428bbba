// DriverLifecycle.h: the lifecycle entries of the driver interface:
// COM-style reference counting, Initialize, device creation, device clients
// and device configuration changes (how a new sample rate takes effect).
//
// Contracts common to every entry: the driver argument is compared with
// DriverRef before anything else; a wrong reference gives
// kAudioHardwareBadObjectError ('!obj') (AddRef and Release give 0) and
// changes nothing. No entry throws. Any thread may call any entry; the
// audio server calls Initialize once, before every other entry but the
// three IUnknown ones.
#ifndef HARLUNE_DRIVER_DRIVERLIFECYCLE_H
#define HARLUNE_DRIVER_DRIVERLIFECYCLE_H

#include <CoreAudio/AudioServerPlugIn.h>

namespace harlune::driver {

// Hands out DriverRef for IUnknown and the driver interface, adding one
// reference; E_NOINTERFACE for any other interface (*ppInterface untouched);
// 'nope' for a null ppInterface.
HRESULT LDriverQueryInterface(void* pDriver, REFIID uuid, LPVOID* ppInterface);
// Saturating reference counting: AddRef stops at 0xFFFFFFFF, Release at 0.
// Reaching 0 frees nothing: all state is static.
ULONG LDriverAddRef(void* pDriver);
ULONG LDriverRelease(void* pDriver);

// Keeps the host, reads the box's acquired state from host storage, computes
// the clock ratio and asks the helper client to connect. Always 0 for the
// right driver reference, whatever storage holds or the helper answers.
OSStatus LDriverInitialize(AudioServerPlugInDriverRef pDriver, AudioServerPlugInHostRef pHost);

// The device set is fixed: 'unop'.
OSStatus LDriverCreateDevice(AudioServerPlugInDriverRef pDriver, CFDictionaryRef description,
                             const AudioServerPlugInClientInfo* pClientInfo, AudioObjectID* pdwDeviceObjectID);
OSStatus LDriverDestroyDevice(AudioServerPlugInDriverRef pDriver, AudioObjectID dwDeviceObjectID);

// No client list is kept: 0 for the device, '!obj' for anything else.
OSStatus LDriverAddDeviceClient(AudioServerPlugInDriverRef pDriver, AudioObjectID dwDeviceObjectID,
                                const AudioServerPlugInClientInfo* pClientInfo);
OSStatus LDriverRemoveDeviceClient(AudioServerPlugInDriverRef pDriver, AudioObjectID dwDeviceObjectID,
                                   const AudioServerPlugInClientInfo* pClientInfo);

// Performs a requested sample-rate change: the change action is the new rate
// in frames per second, 44100 or 48000. Any other rate, like any other
// object, gives '!obj' and changes nothing. The zero-time-stamp state is not
// touched and no property-change notice is sent from here.
OSStatus LDriverPerformDeviceConfigurationChange(AudioServerPlugInDriverRef pDriver, AudioObjectID dwDeviceObjectID,
                                                 UInt64 qwChangeAction, void* pChangeInfo);
OSStatus LDriverAbortDeviceConfigurationChange(AudioServerPlugInDriverRef pDriver, AudioObjectID dwDeviceObjectID,
                                               UInt64 qwChangeAction, void* pChangeInfo);

// Host clock ticks per sample frame at fSampleRate, from the host clock's
// time base.
Float64 LComputeHostTicksPerFrame(Float64 fSampleRate);

} // namespace harlune::driver

#endif
