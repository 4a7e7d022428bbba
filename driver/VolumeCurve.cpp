#include "driver/VolumeCurve.h"

#include <cmath>

namespace harlune::driver {

Float32 ScalarToDecibels(Float32 fScalar) {
    if (std::isnan(fScalar) || fScalar < 0.0f) {
        fScalar = 0.0f;
    } else if (fScalar > 1.0f) {
        fScalar = 1.0f;
    }
    return fScalar * fScalar * 102.0f - 96.0f;
}

Float32 DecibelsToScalar(Float32 fDecibels) {
    if (std::isnan(fDecibels) || fDecibels < -96.0f) {
        fDecibels = -96.0f;
    } else if (fDecibels > 6.0f) {
        fDecibels = 6.0f;
    }
    return std::sqrt((fDecibels + 96.0f) / 102.0f);
}

} // namespace harlune::driver
