/*
 * AudioHardwareBase.h: the audio object model shared by the audio server and
 * its plug-ins: object IDs, property addresses, the status codes of property
 * and IO calls, and the classes and property selectors of plug-ins, boxes,
 * devices, streams and controls. Header-only.
 *
 * Four-character codes are written as multi-character literals, whose value
 * is the big-endian reading of the four characters ('glob' is 0x676C6F62),
 * exactly as on the platform.
 */
#ifndef HARLUNE_COMPAT_AUDIOHARDWAREBASE_H
#define HARLUNE_COMPAT_AUDIOHARDWAREBASE_H

#include <CoreAudio/CoreAudioTypes.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef UInt32 AudioObjectID;
typedef UInt32 AudioClassID;
typedef UInt32 AudioObjectPropertySelector;
typedef UInt32 AudioObjectPropertyScope;
typedef UInt32 AudioObjectPropertyElement;
typedef UInt32 AudioDeviceID;
typedef UInt32 AudioStreamID;

/* Where a property lives: which property, in which scope, on which element. */
typedef struct AudioObjectPropertyAddress {
    AudioObjectPropertySelector mSelector;
    AudioObjectPropertyScope mScope;
    AudioObjectPropertyElement mElement;
} AudioObjectPropertyAddress;

/* Status codes of the property and IO calls. */
enum {
    kAudioHardwareNoError = 0,
    kAudioHardwareNotRunningError = 'stop',
    kAudioHardwareUnspecifiedError = 'what',
    kAudioHardwareUnknownPropertyError = 'who?',
    kAudioHardwareBadPropertySizeError = '!siz',
    kAudioHardwareIllegalOperationError = 'nope',
    kAudioHardwareBadObjectError = '!obj',
    kAudioHardwareBadDeviceError = '!dev',
    kAudioHardwareBadStreamError = '!str',
    kAudioHardwareUnsupportedOperationError = 'unop',
    kAudioDeviceUnsupportedFormatError = '!dat',
    kAudioDevicePermissionsError = '!hog',
};

enum {
    kAudioObjectUnknown = 0,
    kAudioObjectSystemObject = 1,
};

enum {
    kAudioObjectPropertyScopeGlobal = 'glob',
    kAudioObjectPropertyScopeInput = 'inpt',
    kAudioObjectPropertyScopeOutput = 'outp',
    kAudioObjectPropertyScopePlayThrough = 'ptru',
    kAudioObjectPropertyScopeWildcard = '****',
    kAudioObjectPropertySelectorWildcard = '****',
    kAudioObjectPropertyElementMain = 0,
    kAudioObjectPropertyElementMaster = kAudioObjectPropertyElementMain,
    kAudioObjectPropertyElementWildcard = 0xFFFFFFFF,
};

/* Classes. */
enum {
    kAudioObjectClassID = 'aobj',
    kAudioPlugInClassID = 'aplg',
    kAudioTransportManagerClassID = 'trpm',
    kAudioBoxClassID = 'abox',
    kAudioDeviceClassID = 'adev',
    kAudioClockDeviceClassID = 'aclk',
    kAudioStreamClassID = 'astr',
    kAudioControlClassID = 'actl',
    kAudioLevelControlClassID = 'levl',
    kAudioVolumeControlClassID = 'vlme',
    kAudioBooleanControlClassID = 'togl',
    kAudioMuteControlClassID = 'mute',
    kAudioSelectorControlClassID = 'slct',
    kAudioDataSourceControlClassID = 'dsrc',
    kAudioDataDestinationControlClassID = 'dest',
};

/* Properties of every object. */
enum {
    kAudioObjectPropertyBaseClass = 'bcls',
    kAudioObjectPropertyClass = 'clas',
    kAudioObjectPropertyOwner = 'stdv',
    kAudioObjectPropertyName = 'lnam',
    kAudioObjectPropertyModelName = 'lmod',
    kAudioObjectPropertyManufacturer = 'lmak',
    kAudioObjectPropertyElementName = 'lchn',
    kAudioObjectPropertyElementCategoryName = 'lccn',
    kAudioObjectPropertyElementNumberName = 'lcnn',
    kAudioObjectPropertyOwnedObjects = 'ownd',
    kAudioObjectPropertyIdentify = 'iden',
    kAudioObjectPropertySerialNumber = 'snum',
    kAudioObjectPropertyFirmwareVersion = 'fwvn',
    kAudioObjectPropertyCustomPropertyInfoList = 'cust',
    kAudioObjectPropertyControlList = 'ctrl',
};

/* Plug-in properties. */
enum {
    kAudioPlugInPropertyBundleID = 'piid',
    kAudioPlugInPropertyDeviceList = 'dev#',
    kAudioPlugInPropertyTranslateUIDToDevice = 'uidd',
    kAudioPlugInPropertyBoxList = 'box#',
    kAudioPlugInPropertyTranslateUIDToBox = 'uidb',
    kAudioPlugInPropertyClockDeviceList = 'clk#',
    kAudioPlugInPropertyTranslateUIDToClockDevice = 'uidc',
    kAudioPlugInPropertyResourceBundle = 'rsrc',
};

/* Box properties. */
enum {
    kAudioBoxPropertyBoxUID = 'buid',
    kAudioBoxPropertyTransportType = 'tran',
    kAudioBoxPropertyHasAudio = 'bhau',
    kAudioBoxPropertyHasVideo = 'bhvi',
    kAudioBoxPropertyHasMIDI = 'bhmi',
    kAudioBoxPropertyIsProtected = 'bpro',
    kAudioBoxPropertyAcquired = 'bxon',
    kAudioBoxPropertyAcquisitionFailed = 'bxof',
    kAudioBoxPropertyDeviceList = 'bdv#',
    kAudioBoxPropertyClockDeviceList = 'bcl#',
};

/* Device properties. */
enum {
    kAudioDevicePropertyConfigurationApplication = 'capp',
    kAudioDevicePropertyDeviceUID = 'uid ',
    kAudioDevicePropertyModelUID = 'muid',
    kAudioDevicePropertyTransportType = 'tran',
    kAudioDevicePropertyRelatedDevices = 'akin',
    kAudioDevicePropertyClockDomain = 'clkd',
    kAudioDevicePropertyDeviceIsAlive = 'livn',
    kAudioDevicePropertyDeviceIsRunning = 'goin',
    kAudioDevicePropertyDeviceCanBeDefaultDevice = 'dflt',
    kAudioDevicePropertyDeviceCanBeDefaultSystemDevice = 'sflt',
    kAudioDevicePropertyLatency = 'ltnc',
    kAudioDevicePropertyStreams = 'stm#',
    kAudioDevicePropertySafetyOffset = 'saft',
    kAudioDevicePropertyNominalSampleRate = 'nsrt',
    kAudioDevicePropertyAvailableNominalSampleRates = 'nsr#',
    kAudioDevicePropertyIcon = 'icon',
    kAudioDevicePropertyIsHidden = 'hidn',
    kAudioDevicePropertyPreferredChannelsForStereo = 'dch2',
    kAudioDevicePropertyPreferredChannelLayout = 'srnd',
    kAudioDevicePropertyZeroTimeStampPeriod = 'ring',
    kAudioDevicePropertyClockAlgorithm = 'clok',
    kAudioDevicePropertyClockIsStable = 'cstb',
};

enum {
    kAudioDeviceTransportTypeUnknown = 0,
    kAudioDeviceTransportTypeBuiltIn = 'bltn',
    kAudioDeviceTransportTypeVirtual = 'virt',
};

/* Stream properties. */
enum {
    kAudioStreamPropertyIsActive = 'sact',
    kAudioStreamPropertyDirection = 'sdir',
    kAudioStreamPropertyTerminalType = 'term',
    kAudioStreamPropertyStartingChannel = 'schn',
    kAudioStreamPropertyLatency = 'ltnc',
    kAudioStreamPropertyVirtualFormat = 'sfmt',
    kAudioStreamPropertyAvailableVirtualFormats = 'sfma',
    kAudioStreamPropertyPhysicalFormat = 'pft ',
    kAudioStreamPropertyAvailablePhysicalFormats = 'pfta',
};

enum {
    kAudioStreamTerminalTypeUnknown = 0,
    kAudioStreamTerminalTypeLine = 'line',
    kAudioStreamTerminalTypeSpeaker = 'spkr',
    kAudioStreamTerminalTypeHeadphones = 'hdph',
};

/* Control properties. */
enum {
    kAudioControlPropertyScope = 'cscp',
    kAudioControlPropertyElement = 'celm',
    kAudioLevelControlPropertyScalarValue = 'lcsv',
    kAudioLevelControlPropertyDecibelValue = 'lcdv',
    kAudioLevelControlPropertyDecibelRange = 'lcdr',
    kAudioLevelControlPropertyConvertScalarToDecibels = 'lcsd',
    kAudioLevelControlPropertyConvertDecibelsToScalar = 'lcds',
    kAudioBooleanControlPropertyValue = 'bcvl',
    kAudioSelectorControlPropertyCurrentItem = 'scci',
    kAudioSelectorControlPropertyAvailableItems = 'scai',
    kAudioSelectorControlPropertyItemName = 'scin',
};

#ifdef __cplusplus
}
#endif

#endif
