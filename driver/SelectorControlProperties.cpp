// The two selector controls: the output data source (ID 11) and the
// play-through data destination (ID 12). One table; the rows tell the two
// apart by object ID where they differ (class, scope, stored item).
#include "driver/DriverObjects.h"
#include "driver/PropertyChanges.h"
#include "driver/PropertyRows.h"

#include <cstring>
#include <iterator>

namespace harlune::driver {
namespace {

bool IsDataSource(const LPropertyCall& call) { return call.dwObjectID == OutputDataSourceControl; }

OSStatus Class(const LPropertyCall& call, LPropertyWriter& writer) {
    return writer.PutUInt32(IsDataSource(call) ? kAudioDataSourceControlClassID : kAudioDataDestinationControlClassID);
}

OSStatus Scope(const LPropertyCall& call, LPropertyWriter& writer) {
    return writer.PutUInt32(IsDataSource(call) ? kAudioObjectPropertyScopeOutput
                                               : kAudioObjectPropertyScopePlayThrough);
}

OSStatus AvailableItems(const LPropertyCall&, LPropertyWriter& writer) {
    static constexpr UInt32 arItems[] = {0, 1, 2, 3};
    return writer.PutList(arItems, 4);
}

OSStatus CurrentItem(const LPropertyCall& call, LPropertyWriter& writer) {
    if (!writer.Fits(sizeof(UInt32))) {
        return kAudioHardwareBadPropertySizeError;
    }
    LMutexLocker lock(DriverState.StateMutex);
    return writer.PutUInt32(IsDataSource(call) ? DriverState.DataSourceItem : DriverState.DataDestinationItem);
}

OSStatus ItemName(const LPropertyCall& call, LPropertyWriter& writer) {
    if (call.dwQualifierSize != sizeof(UInt32) || call.pQualifier == nullptr || !writer.Fits(sizeof(CFStringRef))) {
        return kAudioHardwareBadPropertySizeError;
    }
    UInt32 dwItem = 0;
    std::memcpy(&dwItem, call.pQualifier, sizeof dwItem);
    if (dwItem > 3) {
        return kAudioHardwareIllegalOperationError;
    }
    // Both selectors name their items alike; the caller releases the name.
    CFStringRef name = CFStringCreateWithFormat(nullptr, nullptr, CFSTR("Data Source Item %d"), static_cast<int>(dwItem));
    if (name == nullptr) {
        return kAudioHardwareUnspecifiedError;
    }
    return writer.PutCFType(name);
}

const LPropertyRow kRows[] = {
    LRow(kAudioObjectPropertyBaseClass, 4, LAnswerUInt32<kAudioSelectorControlClassID>),
    LRow(kAudioObjectPropertyClass, 4, Class),
    LRow(kAudioObjectPropertyOwner, 4, LAnswerUInt32<DeviceObject>),
    LRow(kAudioObjectPropertyOwnedObjects, 0u, LAnswerEmptyList),
    LRow(kAudioControlPropertyScope, 4, Scope),
    LRow(kAudioControlPropertyElement, 4, LAnswerUInt32<kAudioObjectPropertyElementMain>),
    LRow(kAudioSelectorControlPropertyAvailableItems, 16, AvailableItems),
    LSettableRow(kAudioSelectorControlPropertyCurrentItem, 4, CurrentItem, LSetSelectorItem),
    LRow(kAudioSelectorControlPropertyItemName, 8, ItemName),
};

} // namespace

const LPropertyTable& LSelectorControlPropertyTable() {
    static const LPropertyTable table = {kRows, std::size(kRows)};
    return table;
}

} // namespace harlune::driver
