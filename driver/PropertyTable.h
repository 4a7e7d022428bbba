// PropertyTable.h: the declarative form of an object's properties.
//
// Each object kind has one table: a row per property with the scope rule
// HasProperty applies, whether it is settable, its size answer and its data
// and set handlers. The common dispatch (PropertyDispatch.h) checks the
// driver reference, null pointers and the object ID, finds the row and calls
// it; a handler therefore only sees well-formed calls for its own object.
//
// Handler contracts: they run on the caller's thread, take StateMutex only
// around their own access to DriverState, never throw, and on failure write
// nothing to the caller's buffer (LPropertyWriter enforces the size checks).
#ifndef HARLUNE_DRIVER_PROPERTYTABLE_H
#define HARLUNE_DRIVER_PROPERTYTABLE_H

#include "driver/PropertyWriter.h"

#include <CoreAudio/AudioServerPlugIn.h>

#include <cstddef>

namespace harlune::driver {

// What HasProperty requires of the address before it admits a row.
enum class LScopeRule : UInt8 {
    Any,            // scope and element are not looked at
    OutputOrGlobal, // scope 'outp' or 'glob'
    InputOrOutput,  // scope 'inpt' or 'outp'
    ChannelElement, // element 0 (main), 1 (left) or 2 (right)
};

// One property call as the handlers see it, after the common checks.
struct LPropertyCall {
    AudioObjectID dwObjectID;
    AudioObjectPropertyAddress address;
    UInt32 dwQualifierSize;   // bytes at pQualifier
    const void* pQualifier;   // may be null
};

struct LPropertyRow {
    AudioObjectPropertySelector dwSelector;
    LScopeRule eScopeRule;
    bool bSettable;
    // The size answer in bytes, unless pfnSize is set (answers that depend on
    // state, scope or a qualifier).
    UInt32 dwSize;
    OSStatus (*pfnSize)(const LPropertyCall& call, UInt32* pdwSize);
    // Fills the caller's buffer through the writer; the out size is what the
    // writer wrote.
    OSStatus (*pfnData)(const LPropertyCall& call, LPropertyWriter& writer);
    // Handles a set of a settable row; null for read-only rows.
    OSStatus (*pfnSet)(const LPropertyCall& call, UInt32 dwDataSize, const void* pData);
};

struct LPropertyTable {
    const LPropertyRow* pRows;
    std::size_t nRows;

    // The row for dwSelector, or null when the object has no such property.
    const LPropertyRow* Find(AudioObjectPropertySelector dwSelector) const {
        for (std::size_t i = 0; i < nRows; ++i) {
            if (pRows[i].dwSelector == dwSelector) {
                return &pRows[i];
            }
        }
        return nullptr;
    }
};

// True when the row's scope rule admits the address.
bool LScopeRuleAdmits(LScopeRule eRule, const AudioObjectPropertyAddress& address);

// The tables of the object kinds. Objects 11 and 12 share the selector table.
const LPropertyTable& LPlugInPropertyTable();
const LPropertyTable& LBoxPropertyTable();
const LPropertyTable& LDevicePropertyTable();
const LPropertyTable& LStreamPropertyTable();
const LPropertyTable& LVolumeControlPropertyTable();
const LPropertyTable& LMuteControlPropertyTable();
const LPropertyTable& LSelectorControlPropertyTable();

} // namespace harlune::driver

#endif
