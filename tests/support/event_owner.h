#pragma once
// What an event channel needs of a recording, without one.

#include "events/event_chan.h"
#include "support/test_host.h"

namespace kymora::test {

class EventOwner : public EventChanOwner {
  public:
    explicit EventOwner(double sampleInterval = 1.0) : sampleInterval(sampleInterval) {}
    double GetSampleInterval() const override { return sampleInterval; }
    Host& GetHost() const override { return host; }

    double sampleInterval;
    mutable TestHost host;
};

}  // namespace kymora::test
