// IOEngine.h: the IO entries of the driver interface: counting the clients
// that run IO, the virtual clock read as zero time stamps, and the output
// path that hands each write-mix buffer to the helper client.
//
// Every entry first checks the driver reference and that the device is the
// device object (3); otherwise '!obj' and nothing else happens. Client IDs
// are never looked at: all clients share one clock and one output path.
//
// Threads: StartIO and StopIO come on the audio server's control threads,
// the rest on the device's IO thread. The IO-thread entries take no driver
// lock except IOMutex in GetZeroTimeStamp, never wait for another process,
// and allocate nothing of their own; DoIOOperation's only outward call is
// the helper client's non-blocking send.
#ifndef HARLUNE_DRIVER_IOENGINE_H
#define HARLUNE_DRIVER_IOENGINE_H

#include <CoreAudio/AudioServerPlugIn.h>

namespace harlune::driver {

// Counts one more IO client; the first start from zero clients restarts the
// time line at the current host time. 'nope' when the count is saturated.
// Before any lock, asks the helper client to (re)connect to the recording
// application if it is not connected.
OSStatus LDriverStartIO(AudioServerPlugInDriverRef pDriver, AudioObjectID dwDeviceObjectID, UInt32 dwClientID);
// Counts one client less; 'nope' when no IO is running. The clock and the
// connection to the recording application are kept.
OSStatus LDriverStopIO(AudioServerPlugInDriverRef pDriver, AudioObjectID dwDeviceObjectID, UInt32 dwClientID);
// Answers the current zero time stamp; the seed is always 1. Null out
// pointers give 'nope' and nothing is advanced.
OSStatus LDriverGetZeroTimeStamp(AudioServerPlugInDriverRef pDriver, AudioObjectID dwDeviceObjectID,
                                 UInt32 dwClientID, Float64* pfSampleTime, UInt64* pqwHostTime, UInt64* pqwSeed);
// Will-do is true for the write mix and the read input, in place always.
// Either out pointer may be null.
OSStatus LDriverWillDoIOOperation(AudioServerPlugInDriverRef pDriver, AudioObjectID dwDeviceObjectID,
                                  UInt32 dwClientID, UInt32 dwOperationID, Boolean* pbWillDo,
                                  Boolean* pbWillDoInPlace);
OSStatus LDriverBeginIOOperation(AudioServerPlugInDriverRef pDriver, AudioObjectID dwDeviceObjectID,
                                 UInt32 dwClientID, UInt32 dwOperationID, UInt32 dwIOBufferFrameSize,
                                 const AudioServerPlugInIOCycleInfo* pCycleInfo);
// For the write mix of the output stream: when the recording application is
// connected, sends frames × 8 bytes of the main buffer; the buffer is never
// modified. Any other stream gives '!obj'; any other operation does nothing.
OSStatus LDriverDoIOOperation(AudioServerPlugInDriverRef pDriver, AudioObjectID dwDeviceObjectID,
                              AudioObjectID dwStreamObjectID, UInt32 dwClientID, UInt32 dwOperationID,
                              UInt32 dwIOBufferFrameSize, const AudioServerPlugInIOCycleInfo* pCycleInfo,
                              void* pMainBuffer, void* pSecondaryBuffer);
OSStatus LDriverEndIOOperation(AudioServerPlugInDriverRef pDriver, AudioObjectID dwDeviceObjectID, UInt32 dwClientID,
                               UInt32 dwOperationID, UInt32 dwIOBufferFrameSize,
                               const AudioServerPlugInIOCycleInfo* pCycleInfo);

} // namespace harlune::driver

#endif
