/*
 * CoreAudioTypes.h: the audio data structures shared by Core Audio's
 * interfaces: value ranges, stream formats, time stamps and channel layouts.
 * Header-only. The struct layouts and sizes are the platform's (natural
 * alignment, no packing), so a buffer filled here is what a client on the
 * platform would read.
 */
#ifndef HARLUNE_COMPAT_COREAUDIOTYPES_H
#define HARLUNE_COMPAT_COREAUDIOTYPES_H

#include <MacTypes.h>

#ifdef __cplusplus
extern "C" {
#endif

/* A closed range of doubles; 16 bytes. */
typedef struct AudioValueRange {
    Float64 mMinimum;
    Float64 mMaximum;
} AudioValueRange;

typedef UInt32 AudioFormatID;
typedef UInt32 AudioFormatFlags;

/* A linear PCM or other stream format; 40 bytes. */
typedef struct AudioStreamBasicDescription {
    Float64 mSampleRate;          /* frames per second */
    AudioFormatID mFormatID;      /* 'lpcm' for linear PCM */
    AudioFormatFlags mFormatFlags;
    UInt32 mBytesPerPacket;
    UInt32 mFramesPerPacket;
    UInt32 mBytesPerFrame;
    UInt32 mChannelsPerFrame;
    UInt32 mBitsPerChannel;
    UInt32 mReserved;
} AudioStreamBasicDescription;

enum {
    kAudioFormatLinearPCM = 'lpcm',
};

enum {
    kAudioFormatFlagIsFloat = (1U << 0),
    kAudioFormatFlagIsBigEndian = (1U << 1),
    kAudioFormatFlagIsSignedInteger = (1U << 2),
    kAudioFormatFlagIsPacked = (1U << 3),
    kAudioFormatFlagIsAlignedHigh = (1U << 4),
    kAudioFormatFlagIsNonInterleaved = (1U << 5),
    kAudioFormatFlagIsNonMixable = (1U << 6),
#if defined(__BIG_ENDIAN__)
    kAudioFormatFlagsNativeEndian = kAudioFormatFlagIsBigEndian,
#else
    kAudioFormatFlagsNativeEndian = 0,
#endif
    kAudioFormatFlagsNativeFloatPacked = kAudioFormatFlagIsFloat | kAudioFormatFlagsNativeEndian | kAudioFormatFlagIsPacked,
};

/* A stream format together with the range of rates it is offered at; 56 bytes. */
typedef struct AudioStreamRangedDescription {
    AudioStreamBasicDescription mFormat;
    AudioValueRange mSampleRateRange;
} AudioStreamRangedDescription;

/* SMPTE time code; 24 bytes. */
typedef struct SMPTETime {
    SInt16 mSubframes;
    SInt16 mSubframeDivisor;
    UInt32 mCounter;
    UInt32 mType;
    UInt32 mFlags;
    SInt16 mHours;
    SInt16 mMinutes;
    SInt16 mSeconds;
    SInt16 mFrames;
} SMPTETime;

/* One point of a device's time line; 64 bytes. mFlags says which fields are valid. */
typedef struct AudioTimeStamp {
    Float64 mSampleTime;   /* frames on the device's time line */
    UInt64 mHostTime;      /* host clock ticks (mach_absolute_time) */
    Float64 mRateScalar;   /* actual rate over nominal rate */
    UInt64 mWordClockTime;
    SMPTETime mSMPTETime;
    UInt32 mFlags;
    UInt32 mReserved;
} AudioTimeStamp;

enum {
    kAudioTimeStampNothingValid = 0,
    kAudioTimeStampSampleTimeValid = (1U << 0),
    kAudioTimeStampHostTimeValid = (1U << 1),
    kAudioTimeStampRateScalarValid = (1U << 2),
    kAudioTimeStampWordClockTimeValid = (1U << 3),
    kAudioTimeStampSMPTETimeValid = (1U << 4),
    kAudioTimeStampSampleHostTimeValid = kAudioTimeStampSampleTimeValid | kAudioTimeStampHostTimeValid,
};

typedef UInt32 AudioChannelLabel;
typedef UInt32 AudioChannelLayoutTag;
typedef UInt32 AudioChannelBitmap;
typedef UInt32 AudioChannelFlags;

enum {
    kAudioChannelLabel_Unknown = 0xFFFFFFFF,
    kAudioChannelLabel_Unused = 0,
    kAudioChannelLabel_Left = 1,
    kAudioChannelLabel_Right = 2,
    kAudioChannelLabel_Center = 3,
};

enum {
    kAudioChannelLayoutTag_UseChannelDescriptions = (0U << 16) | 0,
    kAudioChannelLayoutTag_UseChannelBitmap = (1U << 16) | 0,
    kAudioChannelLayoutTag_Stereo = (101U << 16) | 2,
};

/* The position and role of one channel; 20 bytes. */
typedef struct AudioChannelDescription {
    AudioChannelLabel mChannelLabel;
    AudioChannelFlags mChannelFlags;
    Float32 mCoordinates[3];
} AudioChannelDescription;

/*
 * A channel layout. The record is variable-length: mNumberChannelDescriptions
 * descriptions follow the 12-byte head, so a layout of n channels occupies
 * 12 + 20 × n bytes (52 for two channels); sizeof gives the one-channel size.
 */
typedef struct AudioChannelLayout {
    AudioChannelLayoutTag mChannelLayoutTag;
    AudioChannelBitmap mChannelBitmap;
    UInt32 mNumberChannelDescriptions;
    AudioChannelDescription mChannelDescriptions[1];
} AudioChannelLayout;

#ifdef __cplusplus
}
#endif

#endif
