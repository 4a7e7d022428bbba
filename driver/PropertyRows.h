// PropertyRows.h: building blocks for the rows of the property tables.
//
// Rows of constants are written with these so that a table reads like the
// list of the object's properties: selector, scope rule, settable, size
// answer, data answer. Handlers that read DriverState take StateMutex
// themselves. Header-only.
#ifndef HARLUNE_DRIVER_PROPERTYROWS_H
#define HARLUNE_DRIVER_PROPERTYROWS_H

#include "driver/DriverState.h"
#include "driver/PropertyTable.h"

namespace harlune::driver {

using LDataAnswer = OSStatus (*)(const LPropertyCall&, LPropertyWriter&);
using LSizeAnswer = OSStatus (*)(const LPropertyCall&, UInt32*);
using LSetAnswer = OSStatus (*)(const LPropertyCall&, UInt32, const void*);

// A read-only row with a fixed size answer.
constexpr LPropertyRow LRow(AudioObjectPropertySelector dwSelector, UInt32 dwSize, LDataAnswer pfnData,
                            LScopeRule eRule = LScopeRule::Any) {
    return LPropertyRow{dwSelector, eRule, false, dwSize, nullptr, pfnData, nullptr};
}

// A read-only row whose size answer is computed.
constexpr LPropertyRow LRow(AudioObjectPropertySelector dwSelector, LSizeAnswer pfnSize, LDataAnswer pfnData,
                            LScopeRule eRule = LScopeRule::Any) {
    return LPropertyRow{dwSelector, eRule, false, 0, pfnSize, pfnData, nullptr};
}

// A settable row with a fixed size answer.
constexpr LPropertyRow LSettableRow(AudioObjectPropertySelector dwSelector, UInt32 dwSize, LDataAnswer pfnData,
                                    LSetAnswer pfnSet) {
    return LPropertyRow{dwSelector, LScopeRule::Any, true, dwSize, nullptr, pfnData, pfnSet};
}

// A settable row whose size answer is computed.
constexpr LPropertyRow LSettableRow(AudioObjectPropertySelector dwSelector, LSizeAnswer pfnSize, LDataAnswer pfnData,
                                    LSetAnswer pfnSet) {
    return LPropertyRow{dwSelector, LScopeRule::Any, true, 0, pfnSize, pfnData, pfnSet};
}

// Answers a constant 32-bit value (class IDs, object IDs, flags, codes).
template <UInt32 dwValue>
OSStatus LAnswerUInt32(const LPropertyCall&, LPropertyWriter& writer) {
    return writer.PutUInt32(dwValue);
}

// Answers an empty list: out size 0, nothing written, no buffer check.
inline OSStatus LAnswerEmptyList(const LPropertyCall&, LPropertyWriter& writer) {
    return writer.PutList<UInt32>(nullptr, 0);
}

// Answers a list of object IDs, truncated to the buffer.
template <std::size_t N>
OSStatus LAnswerIDs(LPropertyWriter& writer, const AudioObjectID (&arIDs)[N], UInt32 nCount = N) {
    return writer.PutList(arIDs, nCount < N ? nCount : static_cast<UInt32>(N));
}

// Reads a DriverState field under StateMutex.
template <typename T>
T LReadLocked(const T& field) {
    LMutexLocker lock(DriverState.StateMutex);
    return field;
}

// Prints a CF object handed over by reference to the diagnostic output
// (standard error), "(null)" for a null reference.
void LShowReferencedObject(const void* pReference);

} // namespace harlune::driver

#endif
