#include "driver/ZeroTimeStamp.h"

#include "driver/DriverObjects.h"

namespace harlune::driver {

LZeroTimeStamp LAdvanceZeroTimeStamp(UInt64* pqwTimeStampCount, UInt64 qwAnchorHostTime, Float64 fHostTicksPerFrame,
                                     UInt64 qwNow) {
    const Float64 fTicksPerPeriod = fHostTicksPerFrame * static_cast<Float64>(ZeroTimeStampPeriod);
    const Float64 fNextOffset = static_cast<Float64>(*pqwTimeStampCount + 1) * fTicksPerPeriod;
    const UInt64 qwNextHostTime = qwAnchorHostTime + static_cast<UInt64>(fNextOffset);

    Float64 fOffset = 0.0;
    if (qwNextHostTime <= qwNow) {
        ++*pqwTimeStampCount;
        fOffset = fNextOffset;
    } else {
        fOffset = static_cast<Float64>(*pqwTimeStampCount) * fTicksPerPeriod;
    }

    LZeroTimeStamp stamp;
    stamp.fSampleTime = static_cast<Float64>(*pqwTimeStampCount * ZeroTimeStampPeriod);
    stamp.qwHostTime = static_cast<UInt64>(static_cast<Float64>(qwAnchorHostTime) + fOffset);
    return stamp;
}

} // namespace harlune::driver
