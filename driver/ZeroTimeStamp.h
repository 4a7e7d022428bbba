// ZeroTimeStamp.h: the arithmetic of the device's virtual clock.
//
// The device has no hardware clock: its time line is the host clock divided
// into periods of ZeroTimeStampPeriod frames, starting at the anchor host
// time. Each reading advances the period count by at most one, however late
// the reading is, so the audio server sees the clock catch up one period per
// call. Pure functions; the caller holds IOMutex around the state they move.
#ifndef HARLUNE_DRIVER_ZEROTIMESTAMP_H
#define HARLUNE_DRIVER_ZEROTIMESTAMP_H

#include <MacTypes.h>

namespace harlune::driver {

struct LZeroTimeStamp {
    Float64 fSampleTime; // frames since the anchor, a multiple of the period
    UInt64 qwHostTime;   // host clock ticks of that sample time
};

// Advances *pqwTimeStampCount by one when the next period's host time is not
// after qwNow, and answers the time stamp of the current period. The mix of
// integer and float sums is deliberate: the next period's host time is an
// integer sum (anchor + truncated offset), the answered host time a float sum
// truncated once, exactly as the audio server's clock model expects.
LZeroTimeStamp LAdvanceZeroTimeStamp(UInt64* pqwTimeStampCount, UInt64 qwAnchorHostTime, Float64 fHostTicksPerFrame,
                                     UInt64 qwNow);

} // namespace harlune::driver

#endif
