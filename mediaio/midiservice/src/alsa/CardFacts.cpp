#include "mediaio/midiservice/src/alsa/CardFacts.h"

#include <alsa/asoundlib.h>

#include <algorithm>
#include <cstdlib>
#include <mutex>
#include <string>

#include <unistd.h>

namespace midiservice::alsa {

namespace {

// libudev keeps a random number for its hash tables in a place that all its objects share.
std::mutex sLibudevMutex;

std::string Text(const char* text)
{
    return text != nullptr ? text : "";
}

std::string Attribute(udev_device* device, const char* name)
{
    std::string value = Text(udev_device_get_sysattr_value(device, name));
    while (!value.empty() && (value.back() == ' ' || value.back() == '\n'))
        value.pop_back();
    return value;
}

// Some makers leave rubbish in the descriptor; udev disregards it by the same rule.
std::string Serial(udev_device* device)
{
    const std::string serial = Attribute(device, "serial");
    const bool isReadable = std::all_of(serial.begin(), serial.end(),
        [](char character) { return character >= ' ' && character <= '~' && character != ','; });
    return isReadable ? serial : "";
}

udev_device* UsbDeviceOf(udev_device* device)
{
    return udev_device_get_parent_with_subsystem_devtype(device, "usb", "usb_device");
}

// The bus address of a controller: "pci-0000:00:14.0".
std::string BusAddress(udev_device* device)
{
    if (device == nullptr)
        return "";
    return Text(udev_device_get_subsystem(device)) + "-" + Text(udev_device_get_sysname(device));
}

// Controller and USB ports, from the computer outwards: "pci-0000:00:14.0 usb 1.4". Not the
// number of the USB bus, which depends on which controller the system finds first.
std::string UsbSocket(udev_device* device)
{
    const std::string ports = Attribute(device, "devpath");
    udev_device* rootHub = device;
    while (udev_device* hub = UsbDeviceOf(rootHub))
        rootHub = hub;
    return BusAddress(udev_device_get_parent(rootHub)) + " usb " + ports;
}

void ReadUsb(udev_device* card, udev_device* device, HardwareFacts& facts)
{
    facts.vendor = Attribute(device, "idVendor");
    facts.product = Attribute(device, "idProduct");
    facts.serial = Serial(device);
    facts.socket = UsbSocket(device);
    if (udev_device* interface = udev_device_get_parent_with_subsystem_devtype(
            card, "usb", "usb_interface"))
        facts.interface = Attribute(interface, "bInterfaceNumber");
}

std::string CardName(int card)
{
    char* name = nullptr;
    if (snd_card_get_name(card, &name) < 0)
        return "";
    std::string copy = name;
    std::free(name); // NOLINT: allocated by the C library on our behalf
    return copy;
}

bool IsUdevRunning()
{
    return access("/run/udev/control", F_OK) == 0;
}

// The rules for sound set the property last, after all of the card's own devices.
bool IsFinished(udev_device* card)
{
    return udev_device_get_property_value(card, "SOUND_INITIALIZED") != nullptr || !IsUdevRunning();
}

} // namespace

CardWatch::CardWatch()
{
    const std::lock_guard lock(sLibudevMutex);
    mUdev.reset(udev_new());
    if (mUdev)
        mMonitor.reset(udev_monitor_new_from_netlink(mUdev.get(), "udev"));
    if (!mMonitor)
        return;
    udev_monitor_filter_add_match_subsystem_devtype(mMonitor.get(), "sound", nullptr);
    if (udev_monitor_enable_receiving(mMonitor.get()) < 0)
        mMonitor.reset();
}

int CardWatch::Descriptor() const noexcept
{
    return mMonitor ? udev_monitor_get_fd(mMonitor.get()) : -1;
}

bool CardWatch::Drain()
{
    const std::lock_guard lock(sLibudevMutex);
    bool any = false;
    while (mMonitor) {
        const std::unique_ptr<udev_device, Deleter> device(
            udev_monitor_receive_device(mMonitor.get()));
        if (!device)
            break;
        any = true;
    }
    return any;
}

CardFacts CardWatch::Read(int card) const
{
    CardFacts facts;
    facts.isComplete = true; // names are all there is where udev knows nothing of the card
    facts.hardware.card = CardName(card);
    if (!mUdev)
        return facts;
    const std::lock_guard lock(sLibudevMutex);
    const std::string name = "card" + std::to_string(card);
    const std::unique_ptr<udev_device, Deleter> device(
        udev_device_new_from_subsystem_sysname(mUdev.get(), "sound", name.c_str()));
    if (!device)
        return facts;
    facts.isComplete = IsFinished(device.get());
    if (udev_device* usb = UsbDeviceOf(device.get()))
        ReadUsb(device.get(), usb, facts.hardware);
    else
        facts.hardware.socket = BusAddress(udev_device_get_parent(device.get()));
    return facts;
}

} // namespace midiservice::alsa
