/*
 * AudioServerPlugIn.h: the interface between the audio server and a driver
 * plug-in. The server loads the plug-in's bundle, calls the factory named in
 * its Info.plist with kAudioServerPlugInTypeUUID, asks the returned COM-style
 * object for kAudioServerPlugInDriverInterfaceUUID and from then on calls the
 * driver only through the AudioServerPlugInDriverInterface table. The driver
 * calls back into the server through the AudioServerPlugInHostInterface it is
 * given in Initialize.
 *
 * Header-only. Struct layouts, entry order and constants are the platform's.
 */
#ifndef HARLUNE_COMPAT_AUDIOSERVERPLUGIN_H
#define HARLUNE_COMPAT_AUDIOSERVERPLUGIN_H

#include <CoreAudio/AudioHardwareBase.h>
#include <CoreFoundation/CoreFoundation.h>
#include <CoreFoundation/CFPlugInCOM.h>

#ifdef __cplusplus
extern "C" {
#endif

/* 443ABAB8-E7B3-491A-B985-BEB9187030DB: the plug-in type an audio server driver's factory serves. */
#define kAudioServerPlugInTypeUUID                                                                 \
    CFUUIDGetConstantUUIDWithBytes(NULL, 0x44, 0x3A, 0xBA, 0xB8, 0xE7, 0xB3, 0x49, 0x1A, 0xB9, 0x85, \
                                   0xBE, 0xB9, 0x18, 0x70, 0x30, 0xDB)

/* EEA5773D-CC43-49F1-8E00-8F96E7D23B17: the driver interface asked for through QueryInterface. */
#define kAudioServerPlugInDriverInterfaceUUID                                                      \
    CFUUIDGetConstantUUIDWithBytes(NULL, 0xEE, 0xA5, 0x77, 0x3D, 0xCC, 0x43, 0x49, 0xF1, 0x8E, 0x00, \
                                   0x8F, 0x96, 0xE7, 0xD2, 0x3B, 0x17)

/* The plug-in object is always object 1. */
enum { kAudioObjectPlugInObject = 1 };

/* IO operations of one IO cycle, in the order the server performs them. */
enum {
    kAudioServerPlugInIOOperationThread = 'thrd',
    kAudioServerPlugInIOOperationCycle = 'cycl',
    kAudioServerPlugInIOOperationReadInput = 'read',
    kAudioServerPlugInIOOperationConvertInput = 'cinp',
    kAudioServerPlugInIOOperationProcessInput = 'pinp',
    kAudioServerPlugInIOOperationProcessOutput = 'pout',
    kAudioServerPlugInIOOperationMixOutput = 'mixo',
    kAudioServerPlugInIOOperationProcessMix = 'pmix',
    kAudioServerPlugInIOOperationConvertMix = 'cmix',
    kAudioServerPlugInIOOperationWriteMix = 'rite',
};

/* Value types of a custom property. */
enum {
    kAudioServerPlugInCustomPropertyDataTypeNone = 0,
    kAudioServerPlugInCustomPropertyDataTypeCFString = 'cfst',
    kAudioServerPlugInCustomPropertyDataTypeCFPropertyList = 'plst',
};

/* One custom property of an object; 12 bytes. */
typedef struct AudioServerPlugInCustomPropertyInfo {
    AudioObjectPropertySelector mSelector;
    UInt32 mPropertyDataType;
    UInt32 mQualifierDataType;
} AudioServerPlugInCustomPropertyInfo;

/* The client (an application's IO connection) that a device call is about. */
typedef struct AudioServerPlugInClientInfo {
    UInt32 mClientID;
    pid_t mProcessID;
    Boolean mIsNativeEndian;
    CFStringRef mBundleID;
} AudioServerPlugInClientInfo;

/* What the server knows of the IO cycle in progress. */
typedef struct AudioServerPlugInIOCycleInfo {
    UInt64 mIOCycleCounter;           /* cycles since IO started */
    UInt32 mNominalIOBufferFrameSize; /* frames per cycle */
    AudioTimeStamp mInputTime;
    AudioTimeStamp mOutputTime;
    AudioTimeStamp mCurrentTime;
    Float64 mDeviceHostTicksPerFrame;
} AudioServerPlugInIOCycleInfo;

typedef const struct AudioServerPlugInHostInterface* AudioServerPlugInHostRef;

/* The server's services to a driver. Every entry may be called from any thread. */
struct AudioServerPlugInHostInterface {
    /* Tells the server to re-read the listed properties of one object. */
    OSStatus (*PropertiesChanged)(AudioServerPlugInHostRef inHost, AudioObjectID inObjectID,
                                  UInt32 inNumberAddresses, const AudioObjectPropertyAddress* inAddresses);
    /* Copies a value of the plug-in's persistent storage; the caller releases *outData. */
    OSStatus (*CopyFromStorage)(AudioServerPlugInHostRef inHost, CFStringRef inKey, CFPropertyListRef* outData);
    /* Stores a property-list value under a key of the plug-in's persistent storage. */
    OSStatus (*WriteToStorage)(AudioServerPlugInHostRef inHost, CFStringRef inKey, CFPropertyListRef inData);
    /* Removes a key from the plug-in's persistent storage. */
    OSStatus (*DeleteFromStorage)(AudioServerPlugInHostRef inHost, CFStringRef inKey);
    /* Asks the server to call PerformDeviceConfigurationChange later, with IO stopped. */
    OSStatus (*RequestDeviceConfigurationChange)(AudioServerPlugInHostRef inHost, AudioObjectID inDeviceObjectID,
                                                 UInt64 inChangeAction, void* inChangeInfo);
};
typedef struct AudioServerPlugInHostInterface AudioServerPlugInHostInterface;

typedef struct AudioServerPlugInDriverInterface AudioServerPlugInDriverInterface;
typedef AudioServerPlugInDriverInterface** AudioServerPlugInDriverRef;

/* The driver's entries, in the platform's order. The first three are IUnknown's. */
struct AudioServerPlugInDriverInterface {
    void* _reserved;
    HRESULT (*QueryInterface)(void* inDriver, REFIID inUUID, LPVOID* outInterface);
    ULONG (*AddRef)(void* inDriver);
    ULONG (*Release)(void* inDriver);

    OSStatus (*Initialize)(AudioServerPlugInDriverRef inDriver, AudioServerPlugInHostRef inHost);
    OSStatus (*CreateDevice)(AudioServerPlugInDriverRef inDriver, CFDictionaryRef inDescription,
                             const AudioServerPlugInClientInfo* inClientInfo, AudioObjectID* outDeviceObjectID);
    OSStatus (*DestroyDevice)(AudioServerPlugInDriverRef inDriver, AudioObjectID inDeviceObjectID);
    OSStatus (*AddDeviceClient)(AudioServerPlugInDriverRef inDriver, AudioObjectID inDeviceObjectID,
                                const AudioServerPlugInClientInfo* inClientInfo);
    OSStatus (*RemoveDeviceClient)(AudioServerPlugInDriverRef inDriver, AudioObjectID inDeviceObjectID,
                                   const AudioServerPlugInClientInfo* inClientInfo);
    OSStatus (*PerformDeviceConfigurationChange)(AudioServerPlugInDriverRef inDriver, AudioObjectID inDeviceObjectID,
                                                 UInt64 inChangeAction, void* inChangeInfo);
    OSStatus (*AbortDeviceConfigurationChange)(AudioServerPlugInDriverRef inDriver, AudioObjectID inDeviceObjectID,
                                               UInt64 inChangeAction, void* inChangeInfo);

    Boolean (*HasProperty)(AudioServerPlugInDriverRef inDriver, AudioObjectID inObjectID, pid_t inClientProcessID,
                           const AudioObjectPropertyAddress* inAddress);
    OSStatus (*IsPropertySettable)(AudioServerPlugInDriverRef inDriver, AudioObjectID inObjectID,
                                   pid_t inClientProcessID, const AudioObjectPropertyAddress* inAddress,
                                   Boolean* outIsSettable);
    OSStatus (*GetPropertyDataSize)(AudioServerPlugInDriverRef inDriver, AudioObjectID inObjectID,
                                    pid_t inClientProcessID, const AudioObjectPropertyAddress* inAddress,
                                    UInt32 inQualifierDataSize, const void* inQualifierData, UInt32* outDataSize);
    OSStatus (*GetPropertyData)(AudioServerPlugInDriverRef inDriver, AudioObjectID inObjectID,
                                pid_t inClientProcessID, const AudioObjectPropertyAddress* inAddress,
                                UInt32 inQualifierDataSize, const void* inQualifierData, UInt32 inDataSize,
                                UInt32* outDataSize, void* outData);
    OSStatus (*SetPropertyData)(AudioServerPlugInDriverRef inDriver, AudioObjectID inObjectID,
                                pid_t inClientProcessID, const AudioObjectPropertyAddress* inAddress,
                                UInt32 inQualifierDataSize, const void* inQualifierData, UInt32 inDataSize,
                                const void* inData);

    OSStatus (*StartIO)(AudioServerPlugInDriverRef inDriver, AudioObjectID inDeviceObjectID, UInt32 inClientID);
    OSStatus (*StopIO)(AudioServerPlugInDriverRef inDriver, AudioObjectID inDeviceObjectID, UInt32 inClientID);
    OSStatus (*GetZeroTimeStamp)(AudioServerPlugInDriverRef inDriver, AudioObjectID inDeviceObjectID,
                                 UInt32 inClientID, Float64* outSampleTime, UInt64* outHostTime, UInt64* outSeed);
    OSStatus (*WillDoIOOperation)(AudioServerPlugInDriverRef inDriver, AudioObjectID inDeviceObjectID,
                                  UInt32 inClientID, UInt32 inOperationID, Boolean* outWillDo,
                                  Boolean* outWillDoInPlace);
    OSStatus (*BeginIOOperation)(AudioServerPlugInDriverRef inDriver, AudioObjectID inDeviceObjectID,
                                 UInt32 inClientID, UInt32 inOperationID, UInt32 inIOBufferFrameSize,
                                 const AudioServerPlugInIOCycleInfo* inIOCycleInfo);
    OSStatus (*DoIOOperation)(AudioServerPlugInDriverRef inDriver, AudioObjectID inDeviceObjectID,
                              AudioObjectID inStreamObjectID, UInt32 inClientID, UInt32 inOperationID,
                              UInt32 inIOBufferFrameSize, const AudioServerPlugInIOCycleInfo* inIOCycleInfo,
                              void* ioMainBuffer, void* ioSecondaryBuffer);
    OSStatus (*EndIOOperation)(AudioServerPlugInDriverRef inDriver, AudioObjectID inDeviceObjectID,
                               UInt32 inClientID, UInt32 inOperationID, UInt32 inIOBufferFrameSize,
                               const AudioServerPlugInIOCycleInfo* inIOCycleInfo);
};

#ifdef __cplusplus
}
#endif

#endif
