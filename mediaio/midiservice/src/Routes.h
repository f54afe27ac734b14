// Who gets what, as the receive thread sees it: an immutable table that callers' threads
// replace as a whole.

#pragma once

#include "mediaio/midiservice/src/Driver.h"

#include <CoreMIDI/CoreMIDI.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <vector>

namespace midiservice {

/// A read callback and what it is called with.
struct Receiver {
    MIDIReadProc proc = nullptr;
    void* readContext = nullptr;
    void* connectionContext = nullptr;
    PortKey port = 0; // 0 for a virtual destination
    // Cleared when the connection goes, so that it is silent even in a pass that still sees it.
    std::atomic<bool> isLive{true};
};

using ReceiverList = std::vector<std::shared_ptr<Receiver>>;

struct Route {
    MIDIEndpointRef endpoint = 0;
    EndpointKey key = 0;
    bool isOutside = false; // the driver carries it
    ReceiverList receivers; // connections of a source; a virtual destination's own
};

class Routes {
public:
    void Add(Route route) { mRoutes.push_back(std::move(route)); }

    /// Once, after the last Add.
    void Finish()
    {
        std::sort(mRoutes.begin(), mRoutes.end(),
            [](const Route& a, const Route& b) { return a.endpoint < b.endpoint; });
        for (const Route& route : mRoutes)
            mByKey.push_back(&route);
        std::sort(mByKey.begin(), mByKey.end(),
            [](const Route* a, const Route* b) { return a->key < b->key; });
    }

    /// Null where there is none. [receive, real-time]
    const Route* Find(MIDIEndpointRef endpoint) const noexcept
    {
        const auto found = std::lower_bound(mRoutes.begin(), mRoutes.end(), endpoint,
            [](const Route& route, MIDIEndpointRef wanted) { return route.endpoint < wanted; });
        return found != mRoutes.end() && found->endpoint == endpoint ? &*found : nullptr;
    }

    const Route* FindKey(EndpointKey key) const noexcept
    {
        const auto found = std::lower_bound(mByKey.begin(), mByKey.end(), key,
            [](const Route* route, EndpointKey wanted) { return route->key < wanted; });
        return found != mByKey.end() && (*found)->key == key ? *found : nullptr;
    }

private:
    std::vector<Route> mRoutes; // by endpoint
    std::vector<const Route*> mByKey;
};

} // namespace midiservice
