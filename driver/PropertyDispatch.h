// PropertyDispatch.h: the five property entries of the driver interface.
//
// Each entry checks, in order: the driver reference ('!obj', HasProperty
// false), the pointers it needs ('nope', HasProperty false), the object ID
// (only 1, 2, 3, 8, 9, 10, 11 and 12 name objects; '!obj'), then routes to
// the object kind's property table; a selector outside the table gives
// 'who?' (HasProperty false), and so does a set of a read-only property.
// IsPropertySettable never looks at scope or element. A failing call writes
// nothing to the caller's buffers. Any thread may call these entries.
#ifndef HARLUNE_DRIVER_PROPERTYDISPATCH_H
#define HARLUNE_DRIVER_PROPERTYDISPATCH_H

#include <CoreAudio/AudioServerPlugIn.h>

namespace harlune::driver {

Boolean LDriverHasProperty(AudioServerPlugInDriverRef pDriver, AudioObjectID dwObjectID, pid_t nClientPID,
                           const AudioObjectPropertyAddress* pAddress);
OSStatus LDriverIsPropertySettable(AudioServerPlugInDriverRef pDriver, AudioObjectID dwObjectID, pid_t nClientPID,
                                   const AudioObjectPropertyAddress* pAddress, Boolean* pbSettable);
OSStatus LDriverGetPropertyDataSize(AudioServerPlugInDriverRef pDriver, AudioObjectID dwObjectID, pid_t nClientPID,
                                    const AudioObjectPropertyAddress* pAddress, UInt32 dwQualifierSize,
                                    const void* pQualifier, UInt32* pdwDataSize);
OSStatus LDriverGetPropertyData(AudioServerPlugInDriverRef pDriver, AudioObjectID dwObjectID, pid_t nClientPID,
                                const AudioObjectPropertyAddress* pAddress, UInt32 dwQualifierSize,
                                const void* pQualifier, UInt32 dwDataSize, UInt32* pdwOutDataSize, void* pData);
// The data pointer is not checked here: each settable property decides what
// a null pointer means (see PropertyChanges.h).
OSStatus LDriverSetPropertyData(AudioServerPlugInDriverRef pDriver, AudioObjectID dwObjectID, pid_t nClientPID,
                                const AudioObjectPropertyAddress* pAddress, UInt32 dwQualifierSize,
                                const void* pQualifier, UInt32 dwDataSize, const void* pData);

} // namespace harlune::driver

#endif
