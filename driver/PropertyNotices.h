// PropertyNotices.h: telling the audio server about changes.
//
// A notice lists changed properties of one object; every address carries
// the global scope and element 0, also for controls that live in another
// scope. Notices and requests go through the host interface kept by
// Initialize; before Initialize (no host) they are dropped. The host's
// results are not looked at: a change stands whatever the host answers.
//
// Deferred work runs on the default-priority global concurrent queue and
// reads only the host pointer, so it is safe whatever happens to the
// driver's state meanwhile. None of these calls takes a driver lock.
#ifndef HARLUNE_DRIVER_PROPERTYNOTICES_H
#define HARLUNE_DRIVER_PROPERTYNOTICES_H

#include <CoreAudio/AudioServerPlugIn.h>

#include <initializer_list>

namespace harlune::driver {

// PropertiesChanged(object, selectors) on the calling thread, now.
void LNotifyPropertiesChanged(AudioObjectID dwObjectID, std::initializer_list<AudioObjectPropertySelector> selectors);
// The same notice for one selector, from the global queue as soon as it can run.
void LQueuePropertyChanged(AudioObjectID dwObjectID, AudioObjectPropertySelector dwSelector);
// The same notice for one selector, from the global queue after qwDelayNs nanoseconds.
void LQueuePropertyChangedAfter(AudioObjectID dwObjectID, AudioObjectPropertySelector dwSelector, UInt64 qwDelayNs);
// Asks the host, from the global queue, to perform a sample-rate change of
// the device to qwRate frames per second.
void LQueueSampleRateChangeRequest(UInt64 qwRate);

} // namespace harlune::driver

#endif
