// The output volume control (ID 9). It only holds the value: the IO path
// does not apply it to the audio; the recording application is told of it.
#include "driver/DriverObjects.h"
#include "driver/PropertyChanges.h"
#include "driver/PropertyRows.h"
#include "driver/VolumeCurve.h"

#include <cstring>
#include <iterator>

namespace harlune::driver {
namespace {

OSStatus ScalarValue(const LPropertyCall&, LPropertyWriter& writer) {
    if (!writer.Fits(sizeof(Float32))) {
        return kAudioHardwareBadPropertySizeError;
    }
    return writer.PutFloat32(LReadLocked(DriverState.OutputVolume));
}

OSStatus DecibelValue(const LPropertyCall&, LPropertyWriter& writer) {
    if (!writer.Fits(sizeof(Float32))) {
        return kAudioHardwareBadPropertySizeError;
    }
    return writer.PutFloat32(ScalarToDecibels(LReadLocked(DriverState.OutputVolume)));
}

OSStatus DecibelRange(const LPropertyCall&, LPropertyWriter& writer) {
    return writer.Put(AudioValueRange{kVolumeMinimumDecibels, kVolumeMaximumDecibels});
}

// Converts the Float32 in the caller's buffer in place; the stored volume
// is not touched.
template <Float32 (*pfnConvert)(Float32)>
OSStatus ConvertInPlace(const LPropertyCall&, LPropertyWriter& writer) {
    if (!writer.Fits(sizeof(Float32))) {
        return kAudioHardwareBadPropertySizeError;
    }
    Float32 fValue = 0.0f;
    std::memcpy(&fValue, writer.Data(), sizeof fValue);
    return writer.PutFloat32(pfnConvert(fValue));
}

const LPropertyRow kRows[] = {
    LRow(kAudioObjectPropertyBaseClass, 4, LAnswerUInt32<kAudioLevelControlClassID>),
    LRow(kAudioObjectPropertyClass, 4, LAnswerUInt32<kAudioVolumeControlClassID>),
    LRow(kAudioObjectPropertyOwner, 4, LAnswerUInt32<DeviceObject>),
    LRow(kAudioObjectPropertyOwnedObjects, 0u, LAnswerEmptyList),
    LRow(kAudioControlPropertyScope, 4, LAnswerUInt32<kAudioObjectPropertyScopeOutput>),
    LRow(kAudioControlPropertyElement, 4, LAnswerUInt32<kAudioObjectPropertyElementMain>),
    LSettableRow(kAudioLevelControlPropertyScalarValue, 4, ScalarValue, LSetVolumeScalar),
    LSettableRow(kAudioLevelControlPropertyDecibelValue, 4, DecibelValue, LSetVolumeDecibels),
    LRow(kAudioLevelControlPropertyDecibelRange, 16, DecibelRange),
    LRow(kAudioLevelControlPropertyConvertScalarToDecibels, 4, ConvertInPlace<ScalarToDecibels>),
    LRow(kAudioLevelControlPropertyConvertDecibelsToScalar, 4, ConvertInPlace<DecibelsToScalar>),
};

} // namespace

const LPropertyTable& LVolumeControlPropertyTable() {
    static const LPropertyTable table = {kRows, std::size(kRows)};
    return table;
}

} // namespace harlune::driver
