// The output mute control (ID 10). It only holds the value.
#include "driver/DriverObjects.h"
#include "driver/PropertyChanges.h"
#include "driver/PropertyRows.h"

#include <iterator>

namespace harlune::driver {
namespace {

OSStatus Value(const LPropertyCall&, LPropertyWriter& writer) {
    if (!writer.Fits(sizeof(UInt32))) {
        return kAudioHardwareBadPropertySizeError;
    }
    return writer.PutUInt32(LReadLocked(DriverState.OutputMute) ? 1 : 0);
}

const LPropertyRow kRows[] = {
    LRow(kAudioObjectPropertyBaseClass, 4, LAnswerUInt32<kAudioBooleanControlClassID>),
    LRow(kAudioObjectPropertyClass, 4, LAnswerUInt32<kAudioMuteControlClassID>),
    LRow(kAudioObjectPropertyOwner, 4, LAnswerUInt32<DeviceObject>),
    LRow(kAudioObjectPropertyOwnedObjects, 0u, LAnswerEmptyList),
    LRow(kAudioControlPropertyScope, 4, LAnswerUInt32<kAudioObjectPropertyScopeOutput>),
    LRow(kAudioControlPropertyElement, 4, LAnswerUInt32<kAudioObjectPropertyElementMain>),
    LSettableRow(kAudioBooleanControlPropertyValue, 4, Value, LSetMute),
};

} // namespace

const LPropertyTable& LMuteControlPropertyTable() {
    static const LPropertyTable table = {kRows, std::size(kRows)};
    return table;
}

} // namespace harlune::driver
