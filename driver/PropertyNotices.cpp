#include "driver/PropertyNotices.h"

#include "driver/DriverObjects.h"
#include "driver/DriverState.h"

#include <dispatch/dispatch.h>

namespace harlune::driver {
namespace {

// Host is written once by Initialize before any property entry runs; the
// queued tasks read it when they run, like the entries do.
AudioServerPlugInHostRef Host() { return DriverState.Host; }

void Notify(AudioObjectID dwObjectID, const AudioObjectPropertySelector* pSelectors, UInt32 nSelectors) {
    AudioServerPlugInHostRef pHost = Host();
    if (pHost == nullptr || pHost->PropertiesChanged == nullptr || nSelectors == 0) {
        return;
    }
    AudioObjectPropertyAddress arAddresses[4];
    if (nSelectors > 4) {
        nSelectors = 4;
    }
    for (UInt32 i = 0; i < nSelectors; ++i) {
        arAddresses[i] = {pSelectors[i], kAudioObjectPropertyScopeGlobal, kAudioObjectPropertyElementMain};
    }
    pHost->PropertiesChanged(pHost, dwObjectID, nSelectors, arAddresses);
}

dispatch_queue_t GlobalQueue() { return dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_DEFAULT, 0); }

} // namespace

void LNotifyPropertiesChanged(AudioObjectID dwObjectID, std::initializer_list<AudioObjectPropertySelector> selectors) {
    Notify(dwObjectID, selectors.begin(), static_cast<UInt32>(selectors.size()));
}

void LQueuePropertyChanged(AudioObjectID dwObjectID, AudioObjectPropertySelector dwSelector) {
    dispatch_async(GlobalQueue(), ^{
      Notify(dwObjectID, &dwSelector, 1);
    });
}

void LQueuePropertyChangedAfter(AudioObjectID dwObjectID, AudioObjectPropertySelector dwSelector, UInt64 qwDelayNs) {
    dispatch_after(dispatch_time(DISPATCH_TIME_NOW, static_cast<int64_t>(qwDelayNs)), GlobalQueue(), ^{
      Notify(dwObjectID, &dwSelector, 1);
    });
}

void LQueueSampleRateChangeRequest(UInt64 qwRate) {
    // The task carries the rate by value: the request stands for the rate
    // asked for now, whatever is set later.
    dispatch_async(GlobalQueue(), ^{
      AudioServerPlugInHostRef pHost = Host();
      if (pHost != nullptr && pHost->RequestDeviceConfigurationChange != nullptr) {
          pHost->RequestDeviceConfigurationChange(pHost, DeviceObject, qwRate, nullptr);
      }
    });
}

} // namespace harlune::driver
