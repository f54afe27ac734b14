#include "mediaio/midiservice/src/HardwareIdentity.h"

namespace midiservice {

namespace {

std::string UsbOwner(const HardwareFacts& hardware)
{
    const std::string model = "usb " + hardware.vendor + ":" + hardware.product;
    if (!hardware.serial.empty())
        return model + " serial " + hardware.serial + " interface " + hardware.interface;
    return model + " at " + hardware.socket + " interface " + hardware.interface;
}

} // namespace

IdentityFacts HardwareIdentity(const HardwareFacts& hardware,
    Direction direction,
    unsigned portIndex,
    const std::string& portName)
{
    IdentityFacts facts;
    facts.driver = "alsa";
    facts.direction = direction;
    facts.order = hardware.socket;
    const bool isKnownModel = !hardware.vendor.empty() && !hardware.product.empty();
    if (isKnownModel && !(hardware.serial.empty() && hardware.socket.empty())) {
        // A device's ports are told apart by place: makers change the names by firmware.
        facts.owner = UsbOwner(hardware);
        facts.port = std::to_string(portIndex);
        return facts;
    }
    facts.owner = "card " + hardware.card + " device " + hardware.device;
    facts.port = std::to_string(portIndex) + " " + portName;
    return facts;
}

} // namespace midiservice
