#include "driver/PropertyDispatch.h"

#include "driver/DriverObjects.h"
#include "driver/DriverState.h"
#include "driver/PropertyTable.h"

namespace harlune::driver {
namespace {

const LPropertyTable* TableOf(AudioObjectID dwObjectID) {
    switch (LObjectKindOf(dwObjectID)) {
    case LObjectKind::PlugIn: return &LPlugInPropertyTable();
    case LObjectKind::Box: return &LBoxPropertyTable();
    case LObjectKind::Device: return &LDevicePropertyTable();
    case LObjectKind::Stream: return &LStreamPropertyTable();
    case LObjectKind::Volume: return &LVolumeControlPropertyTable();
    case LObjectKind::Mute: return &LMuteControlPropertyTable();
    case LObjectKind::Selector: return &LSelectorControlPropertyTable();
    case LObjectKind::None: break;
    }
    return nullptr;
}

// Finds the row for a call whose driver and pointers have been checked.
// Sets *pStatus to '!obj' or 'who?' when there is none.
const LPropertyRow* FindRow(AudioObjectID dwObjectID, const AudioObjectPropertyAddress& address,
                            OSStatus* pStatus) {
    const LPropertyTable* pTable = TableOf(dwObjectID);
    if (pTable == nullptr) {
        *pStatus = kAudioHardwareBadObjectError;
        return nullptr;
    }
    const LPropertyRow* pRow = pTable->Find(address.mSelector);
    *pStatus = pRow == nullptr ? kAudioHardwareUnknownPropertyError : kAudioHardwareNoError;
    return pRow;
}

LPropertyCall MakeCall(AudioObjectID dwObjectID, const AudioObjectPropertyAddress& address, UInt32 dwQualifierSize,
                       const void* pQualifier) {
    return LPropertyCall{dwObjectID, address, dwQualifierSize, pQualifier};
}

} // namespace

bool LScopeRuleAdmits(LScopeRule eRule, const AudioObjectPropertyAddress& address) {
    switch (eRule) {
    case LScopeRule::Any: return true;
    case LScopeRule::OutputOrGlobal:
        return address.mScope == kAudioObjectPropertyScopeOutput || address.mScope == kAudioObjectPropertyScopeGlobal;
    case LScopeRule::InputOrOutput:
        return address.mScope == kAudioObjectPropertyScopeInput || address.mScope == kAudioObjectPropertyScopeOutput;
    case LScopeRule::ChannelElement: return address.mElement <= 2;
    }
    return false;
}

Boolean LDriverHasProperty(AudioServerPlugInDriverRef pDriver, AudioObjectID dwObjectID, pid_t,
                           const AudioObjectPropertyAddress* pAddress) {
    if (!LIsDriverRef(pDriver) || pAddress == nullptr) {
        return false;
    }
    OSStatus status = kAudioHardwareNoError;
    const LPropertyRow* pRow = FindRow(dwObjectID, *pAddress, &status);
    return pRow != nullptr && LScopeRuleAdmits(pRow->eScopeRule, *pAddress);
}

OSStatus LDriverIsPropertySettable(AudioServerPlugInDriverRef pDriver, AudioObjectID dwObjectID, pid_t,
                                   const AudioObjectPropertyAddress* pAddress, Boolean* pbSettable) {
    if (!LIsDriverRef(pDriver)) {
        return kAudioHardwareBadObjectError;
    }
    if (pAddress == nullptr || pbSettable == nullptr) {
        return kAudioHardwareIllegalOperationError;
    }
    OSStatus status = kAudioHardwareNoError;
    const LPropertyRow* pRow = FindRow(dwObjectID, *pAddress, &status);
    if (pRow == nullptr) {
        return status;
    }
    *pbSettable = pRow->bSettable;
    return kAudioHardwareNoError;
}

OSStatus LDriverGetPropertyDataSize(AudioServerPlugInDriverRef pDriver, AudioObjectID dwObjectID, pid_t,
                                    const AudioObjectPropertyAddress* pAddress, UInt32 dwQualifierSize,
                                    const void* pQualifier, UInt32* pdwDataSize) {
    if (!LIsDriverRef(pDriver)) {
        return kAudioHardwareBadObjectError;
    }
    if (pAddress == nullptr || pdwDataSize == nullptr) {
        return kAudioHardwareIllegalOperationError;
    }
    OSStatus status = kAudioHardwareNoError;
    const LPropertyRow* pRow = FindRow(dwObjectID, *pAddress, &status);
    if (pRow == nullptr) {
        return status;
    }
    if (pRow->pfnSize == nullptr) {
        *pdwDataSize = pRow->dwSize;
        return kAudioHardwareNoError;
    }
    UInt32 dwSize = 0;
    status = pRow->pfnSize(MakeCall(dwObjectID, *pAddress, dwQualifierSize, pQualifier), &dwSize);
    if (status == kAudioHardwareNoError) {
        *pdwDataSize = dwSize;
    }
    return status;
}

OSStatus LDriverGetPropertyData(AudioServerPlugInDriverRef pDriver, AudioObjectID dwObjectID, pid_t,
                                const AudioObjectPropertyAddress* pAddress, UInt32 dwQualifierSize,
                                const void* pQualifier, UInt32 dwDataSize, UInt32* pdwOutDataSize, void* pData) {
    if (!LIsDriverRef(pDriver)) {
        return kAudioHardwareBadObjectError;
    }
    if (pAddress == nullptr || pdwOutDataSize == nullptr || pData == nullptr) {
        return kAudioHardwareIllegalOperationError;
    }
    OSStatus status = kAudioHardwareNoError;
    const LPropertyRow* pRow = FindRow(dwObjectID, *pAddress, &status);
    if (pRow == nullptr) {
        return status;
    }
    LPropertyWriter writer(pData, dwDataSize);
    status = pRow->pfnData(MakeCall(dwObjectID, *pAddress, dwQualifierSize, pQualifier), writer);
    if (status == kAudioHardwareNoError) {
        *pdwOutDataSize = writer.Written();
    }
    return status;
}

OSStatus LDriverSetPropertyData(AudioServerPlugInDriverRef pDriver, AudioObjectID dwObjectID, pid_t,
                                const AudioObjectPropertyAddress* pAddress, UInt32 dwQualifierSize,
                                const void* pQualifier, UInt32 dwDataSize, const void* pData) {
    if (!LIsDriverRef(pDriver)) {
        return kAudioHardwareBadObjectError;
    }
    if (pAddress == nullptr) {
        return kAudioHardwareIllegalOperationError;
    }
    OSStatus status = kAudioHardwareNoError;
    const LPropertyRow* pRow = FindRow(dwObjectID, *pAddress, &status);
    if (pRow == nullptr) {
        return status;
    }
    if (!pRow->bSettable || pRow->pfnSet == nullptr) {
        return kAudioHardwareUnknownPropertyError;
    }
    return pRow->pfnSet(MakeCall(dwObjectID, *pAddress, dwQualifierSize, pQualifier), dwDataSize, pData);
}

} // namespace harlune::driver
