// PropertyChanges.h: SetPropertyData for every settable property.
//
// Each handler checks the data size first ('!siz' for any size but the
// exact one), then the data pointer ('nope' when null: there is nothing to
// read), then the value; a refused set stores nothing and notifies nothing.
// An accepted value that equals the stored one returns 0 with no notice,
// except where a property is announced on every set (the box's name and
// identify). Stores happen under StateMutex; notices go out after it is
// released, except that the box's acquired state is written to host storage
// and a volume change is forwarded to the helper client while it is held
// (neither calls back into the driver).
//
// Sample-rate sets (through the device or the stream format) store nothing:
// they ask the host for a configuration change, and the rate changes when
// the host performs it.
#ifndef HARLUNE_DRIVER_PROPERTYCHANGES_H
#define HARLUNE_DRIVER_PROPERTYCHANGES_H

#include "driver/PropertyTable.h"

namespace harlune::driver {

OSStatus LSetPlugInCustomProperty(const LPropertyCall& call, UInt32 dwDataSize, const void* pData);
OSStatus LSetBoxName(const LPropertyCall& call, UInt32 dwDataSize, const void* pData);
OSStatus LSetBoxIdentify(const LPropertyCall& call, UInt32 dwDataSize, const void* pData);
OSStatus LSetBoxAcquired(const LPropertyCall& call, UInt32 dwDataSize, const void* pData);
OSStatus LSetNominalSampleRate(const LPropertyCall& call, UInt32 dwDataSize, const void* pData);
OSStatus LSetStreamFormat(const LPropertyCall& call, UInt32 dwDataSize, const void* pData);
OSStatus LSetStreamActive(const LPropertyCall& call, UInt32 dwDataSize, const void* pData);
OSStatus LSetVolumeScalar(const LPropertyCall& call, UInt32 dwDataSize, const void* pData);
OSStatus LSetVolumeDecibels(const LPropertyCall& call, UInt32 dwDataSize, const void* pData);
OSStatus LSetMute(const LPropertyCall& call, UInt32 dwDataSize, const void* pData);
OSStatus LSetSelectorItem(const LPropertyCall& call, UInt32 dwDataSize, const void* pData);

} // namespace harlune::driver

#endif
