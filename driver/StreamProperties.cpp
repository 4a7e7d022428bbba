// The output stream (ID 8): its direction and its format, which is the
// contract between the audio server and the IO engine.
#include "driver/DriverObjects.h"
#include "driver/PropertyChanges.h"
#include "driver/PropertyRows.h"
#include "driver/StreamFormat.h"

#include <iterator>

namespace harlune::driver {
namespace {

OSStatus Name(const LPropertyCall&, LPropertyWriter& writer) { return writer.PutCFType(CFSTR("OutputStreamName")); }

OSStatus IsActive(const LPropertyCall&, LPropertyWriter& writer) {
    if (!writer.Fits(sizeof(UInt32))) {
        return kAudioHardwareBadPropertySizeError;
    }
    return writer.PutUInt32(LReadLocked(DriverState.StreamActive) ? 1 : 0);
}

// The virtual and the physical format are the same format.
OSStatus CurrentFormat(const LPropertyCall&, LPropertyWriter& writer) {
    if (!writer.Fits(sizeof(AudioStreamBasicDescription))) {
        return kAudioHardwareBadPropertySizeError;
    }
    LMutexLocker lock(DriverState.StateMutex);
    return writer.Put(LStreamFormat(DriverState.SampleRate));
}

// One entry, although the size answer leaves room for two.
OSStatus AvailableFormats(const LPropertyCall&, LPropertyWriter& writer) {
    const AudioStreamRangedDescription arFormats[] = {LAvailableStreamFormat()};
    return writer.PutList(arFormats, 1);
}

const LPropertyRow kRows[] = {
    LRow(kAudioObjectPropertyBaseClass, 4, LAnswerUInt32<kAudioObjectClassID>),
    LRow(kAudioObjectPropertyClass, 4, LAnswerUInt32<kAudioStreamClassID>),
    LRow(kAudioObjectPropertyOwner, 4, LAnswerUInt32<DeviceObject>),
    LRow(kAudioObjectPropertyName, 8, Name),
    LRow(kAudioObjectPropertyOwnedObjects, 0u, LAnswerEmptyList),
    LSettableRow(kAudioStreamPropertyIsActive, 4, IsActive, LSetStreamActive),
    LRow(kAudioStreamPropertyDirection, 4, LAnswerUInt32<0>), // 0 is output
    LRow(kAudioStreamPropertyTerminalType, 4, LAnswerUInt32<kAudioStreamTerminalTypeSpeaker>),
    LRow(kAudioStreamPropertyStartingChannel, 4, LAnswerUInt32<1>),
    LRow(kAudioStreamPropertyLatency, 4, LAnswerUInt32<0>),
    LSettableRow(kAudioStreamPropertyVirtualFormat, 40, CurrentFormat, LSetStreamFormat),
    LRow(kAudioStreamPropertyAvailableVirtualFormats, 112, AvailableFormats),
    LSettableRow(kAudioStreamPropertyPhysicalFormat, 40, CurrentFormat, LSetStreamFormat),
    LRow(kAudioStreamPropertyAvailablePhysicalFormats, 112, AvailableFormats),
};

} // namespace

const LPropertyTable& LStreamPropertyTable() {
    static const LPropertyTable table = {kRows, std::size(kRows)};
    return table;
}

} // namespace harlune::driver
