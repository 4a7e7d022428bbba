// VolumeCurve.h: the output volume's mapping between the stored scalar
// (0.0 to 1.0) and decibels (−96 dB to +6 dB), in 32-bit float.
//
// dB = s² × 102 − 96 and s = √((dB + 96) / 102), each after clamping its
// input to its range; the two are exact inverses inside the range. 0 dB is
// not full scale: full scale is +6 dB. A NaN input yields the bottom of the
// range (0.0 or −96 dB), so a conversion never hands a NaN back to a caller.
// Pure functions; thread-safe.
#ifndef HARLUNE_DRIVER_VOLUMECURVE_H
#define HARLUNE_DRIVER_VOLUMECURVE_H

#include <MacTypes.h>

namespace harlune::driver {

inline constexpr Float64 kVolumeMinimumDecibels = -96.0;
inline constexpr Float64 kVolumeMaximumDecibels = 6.0;

Float32 ScalarToDecibels(Float32 fScalar);
Float32 DecibelsToScalar(Float32 fDecibels);

} // namespace harlune::driver

#endif
