// What udev knows of a sound card: which piece of hardware it is, and in which socket.

#pragma once

#include "mediaio/midiservice/src/HardwareIdentity.h"

#include <libudev.h>

#include <memory>

namespace midiservice::alsa {

struct CardFacts {
    HardwareFacts hardware; // `device` is left empty
    // False while udev is still at work on the card. Its control node may not be accessible
    // yet then, and its name unknown.
    bool isComplete = false;
};

/// Looks cards up, and hears of changes to them. Each object is for one thread at a time.
class CardWatch {
public:
    CardWatch();

    /// Turns readable when udev has finished with a sound device; -1 where udev cannot be
    /// heard.
    int Descriptor() const noexcept;

    /// True when something has happened to a sound device since the last call.
    bool Drain();

    /// By the system's current number of the card. [driver, may block]
    CardFacts Read(int card) const;

private:
    struct Deleter {
        void operator()(udev* it) const { udev_unref(it); }
        void operator()(udev_device* it) const { udev_device_unref(it); }
        void operator()(udev_monitor* it) const { udev_monitor_unref(it); }
    };

    std::unique_ptr<udev, Deleter> mUdev;
    std::unique_ptr<udev_monitor, Deleter> mMonitor;
};

} // namespace midiservice::alsa
