// How a piece of hardware is recognised: the part of the unique ID rule that every driver
// which knows its hardware shares.

#pragma once

#include "mediaio/midiservice/src/UniqueID.h"

#include <string>

namespace midiservice {

/// What the device and its socket say of themselves; empty where they say nothing.
struct HardwareFacts {
    std::string vendor;    // USB vendor ID, four hexadecimal digits
    std::string product;   // USB product ID, likewise
    std::string serial;    // as the maker wrote it into the device
    std::string interface; // the USB interface within the device, two hexadecimal digits
    std::string socket;    // where it is plugged in: controller and USB ports, or bus address
    std::string card;      // the sound card's name
    std::string device;    // the MIDI device's name on that card, without any card number
};

/// The facts that name a port of that hardware, whichever socket it is in where the device has
/// a serial number: serial number, else vendor and product with the socket, else the names.
/// `portIndex` counts within the device, `portName` bears no card number.
IdentityFacts HardwareIdentity(const HardwareFacts& hardware,
    Direction direction,
    unsigned portIndex,
    const std::string& portName);

} // namespace midiservice
