#include "kelcontrolsurface/plugins/MIDIMachineControl/src/MMCControlSurface.h"

#include "kelcontrolsurface/plugins/MIDIMachineControl/src/MMCConfig.h"

#include <new>

namespace mmc {

namespace {

constexpr char kSurfaceName[] = "Korva.ControlSurface.MMC";
constexpr char16_t kConfigIdentifier[] = u"KorvaMIDI";

} // namespace

ControlSurface::ControlSurface(unsigned int hostIdentifier, const QXBasicSuite* basicSuite)
    : MIDIBasedControlSurface(kelcore::utility::AsciiToUTF16(kSurfaceName))
    , mHostIdentifier(hostIdentifier)
    , mBasicSuite(basicSuite)
{
    static_cast<void>(mHostIdentifier); // kept for support
}

ControlSurface::~ControlSurface()
{
    EndSetupNotices(); // before anything goes: a notice would call into a half destroyed surface
    MIDIBasedControlSurface::Disconnect();
}

void ControlSurface::Connect(const kelcontrolsurface::MIDIDeviceInfo& info)
{
    MIDIBasedControlSurface::Connect(info);
    mTransmitMTC = GetTransmitMTCOption(info);
    mQuarterFramePhase = 0;
}

void ControlSurface::Suspend()
{
    const auto lock = LockBinding();
    MIDIBasedControlSurface::Suspend();
}

void ControlSurface::Resume()
{
    const auto lock = LockBinding();
    MIDIBasedControlSurface::Resume();
    Update();
}

KORVASDK_Result ControlSurface::GetConfigIdentifier(KORVASDK_String* out) const
{
    return mStringSuite->MakeString(kConfigIdentifier, out);
}

KORVASDK_Result ControlSurface::GetTransportRef(KORVASDK_ControlSurfaceTransport** out)
{
    *out = korvasdk::ToHandle(static_cast<korvasdk::ControlSurfaceTransportBase*>(this));
    return kSuccess;
}

KORVASDK_Result ControlSurface::Update()
{
    return kSuccess;
}

KORVASDK_Result ControlSurface::GetSMPTERef(KORVASDK_ControlSurfaceSMPTE** out)
{
    *out = korvasdk::ToHandle(static_cast<korvasdk::ControlSurfaceSMPTEBase*>(this));
    return kSuccess;
}

KORVASDK_Result ControlSurface::SetPlayState(bool)
{
    return kSuccess;
}

KORVASDK_Result ControlSurface::SetRecordState(bool)
{
    return kSuccess;
}

KORVASDK_Result ControlSurface::SetRewindState(bool)
{
    return kSuccess;
}

KORVASDK_Result ControlSurface::SetForwardState(bool)
{
    return kSuccess;
}

KORVASDK_Result ControlSurface::SetCycleState(bool)
{
    return kSuccess;
}

KORVASDK_ControlSurface* ControlSurface::GetControlSurfaceRef() noexcept
{
    return korvasdk::ToHandle(static_cast<korvasdk::ControlSurfaceBase*>(this));
}

void ControlSurface::RegisterSuites(const QXSuitesSuite* suitesSuite, QXSuiteList* suiteList)
{
    ControlSurfaceBase::RegisterSuite(suitesSuite, suiteList);
    ControlSurfaceTransportBase::RegisterSuite(suitesSuite, suiteList);
    ControlSurfaceSMPTEBase::RegisterSuite(suitesSuite, suiteList);
}

// A suite that does not come is null: the surface works with what it has.
template <typename Suite> const Suite* ControlSurface::Acquire(const char* name, int version) const
{
    const void* suite = nullptr;
    if (mBasicSuite->AcquireSuite(name, version, &suite) != kSuccess) {
        return nullptr;
    }
    return static_cast<const Suite*>(suite);
}

template <typename Suite>
void ControlSurface::Release(const char* name, int version, const Suite*& suite) const
{
    mBasicSuite->ReleaseSuite(name, version);
    suite = nullptr;
}

void ControlSurface::SetControlSurfaceHost(KORVASDK_ControlSurfaceHost* host)
{
    DropHost();            // 1
    if (host == nullptr) { // 2
        return;
    }
    mHostSuite = Acquire<KORVASDK_ControlSurfaceHostSuite>( // 3
        kKORVASDKControlSurfaceHostSuite, kKORVASDKControlSurfaceHostSuiteVersion);
    if (mHostSuite != nullptr) {
        mStringSuite = Acquire<KORVASDK_StringSuite>( // 4
            kKORVASDKStringSuite, kKORVASDKStringSuiteVersion);
        AcquireTransport(host); // 5
        AskForSMPTERef(host);   // 6
        AcquireSMPTE();         // 7
    }
    if (mHostTransportSuite != nullptr) {                // 8
        mHostRef.store(host, std::memory_order_release); // publishes the suites and references
    }
}

void ControlSurface::DropHost()
{
    if (mStringSuite != nullptr) {
        Release(kKORVASDKStringSuite, kKORVASDKStringSuiteVersion, mStringSuite);
    }
    if (mHostTransportSuite != nullptr) {
        mHostTransportRef = nullptr;
        Release(kKORVASDKControlSurfaceHostTransportSuite,
            kKORVASDKControlSurfaceHostTransportSuiteVersion, mHostTransportSuite);
    }
    if (mHostSMPTESuite != nullptr) {
        mHostSMPTERef = nullptr;
        Release(kKORVASDKControlSurfaceHostSMPTESuite, kKORVASDKControlSurfaceHostSMPTESuiteVersion,
            mHostSMPTESuite);
    }
    if (mHostSuite != nullptr) {
        Release(
            kKORVASDKControlSurfaceHostSuite, kKORVASDKControlSurfaceHostSuiteVersion, mHostSuite);
    }
    mHostRef.store(nullptr, std::memory_order_release);
}

void ControlSurface::AcquireTransport(KORVASDK_ControlSurfaceHost* host)
{
    mHostTransportSuite = Acquire<KORVASDK_ControlSurfaceHostTransportSuite>(
        kKORVASDKControlSurfaceHostTransportSuite,
        kKORVASDKControlSurfaceHostTransportSuiteVersion);
    if (mHostTransportSuite != nullptr
        && mHostSuite->GetTransportRef(host, &mHostTransportRef) != kSuccess) {
        Release(kKORVASDKControlSurfaceHostTransportSuite,
            kKORVASDKControlSurfaceHostTransportSuiteVersion, mHostTransportSuite);
    }
}

// Deliberate: where the reference comes, the internal suite stays acquired for good, since the
// reference is the internal suite's.
void ControlSurface::AskForSMPTERef(KORVASDK_ControlSurfaceHost* host)
{
    const auto* internalSuite = Acquire<KORVASDK_ControlSurfaceHostInternalSuite>(
        kKORVASDKControlSurfaceHostInternalSuite, kKORVASDKControlSurfaceHostInternalSuiteVersion);
    if (internalSuite != nullptr && internalSuite->GetSMPTERef(host, &mHostSMPTERef) != kSuccess) {
        Release(kKORVASDKControlSurfaceHostInternalSuite,
            kKORVASDKControlSurfaceHostInternalSuiteVersion, internalSuite);
    }
}

void ControlSurface::AcquireSMPTE()
{
    mHostSMPTESuite = Acquire<KORVASDK_ControlSurfaceHostSMPTESuite>(
        kKORVASDKControlSurfaceHostSMPTESuite, kKORVASDKControlSurfaceHostSMPTESuiteVersion);
    if (mHostSMPTESuite != nullptr && mHostSMPTERef != nullptr) {
        mHostSMPTESuite->SetSMPTEActive(mHostSMPTERef, 1);
    }
}

bool ControlSurface::HandleMidiMessage(const kelmidi::MidiMessage& message, unsigned int)
{
    if (!IsConnected() || mHostRef.load(std::memory_order_acquire) == nullptr) {
        return true;
    }
    if (message.data.length == 0) {
        return true;
    }
    if (mReceiveBuffer.TryAppend(message.data.bytes, message.data.length)) {
        ProcessReceiveBuffer();
    }
    return true;
}

void ControlSurface::ProcessReceiveBuffer() noexcept
{
    try {
        mReceiveBuffer.TakeMessages([this](const MMCMessage& message) {
            HandleMMCMessages(message.subId, message.data, message.length);
        });
    } catch (const std::bad_alloc&) {
        // The interpreter had no room for the message, which waits for the next arrival.
    }
}

} // namespace mmc
