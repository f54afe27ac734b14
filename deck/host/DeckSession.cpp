#include "deck/host/DeckSession.h"

#include "deck/host/BundleLoader.h"
#include "deck/host/PortSettings.h"

namespace deck::host {
namespace {

KORVASDK_ControlSurfacePluginFuncs Load(
    const std::filesystem::path& bundle, const QXBasicSuite& basicSuite)
{
    EnablePluginUnlessToldOtherwise();
    return LoadBundle(bundle, basicSuite);
}

} // namespace

DeckSession::DeckSession(const std::filesystem::path& bundle,
    const TransportSettings& settings,
    const std::optional<MtcPacerOptions>& pacing)
    : mClock(MakeMonotonicClock())
    , mRelay(pacing ? std::make_unique<MtcRelay>(*pacing) : nullptr)
    , mLink(settings.rate, *mClock, mRelay ? &mRelay->Pacer() : nullptr)
    , mTransport(settings, *mClock, {&mLink, &mEvents})
    , mPlugin(Load(bundle, mSuites.BasicSuite()), mSuites)
    , mInstance(mPlugin, mTransport)
{
    mTransport.Start();
}

DeckSession::~DeckSession()
{
    // 1. The last position still reaches the surface. 2. Nobody calls the surface any more.
    // 3. The surface goes.
    mTransport.Stop();
    mLink.Detach();
}

void DeckSession::Connect(const std::string& settings)
{
    Disconnect();
    mInstance.SetSettings(mRelay ? WithRelay(settings) : settings);
    mInstance.Connect();
    mLink.Attach(mInstance.SMPTE());
}

/// The relay takes the place of the user's output. Where none is chosen the plug-in must see that:
/// it binds both ports or none.
std::string DeckSession::WithRelay(const std::string& settings)
{
    PortSettings ports = ReadPortSettings(settings);
    mUsersOutput = ports.out;
    mRelay->SetDestination(ports.out);
    if (ports.out) {
        ports.out = mRelay->InletID();
    }
    return WithPortSettings(settings, ports);
}

std::string DeckSession::Settings() const
{
    const std::string settings = mInstance.Settings();
    if (!mRelay) {
        return settings;
    }
    PortSettings ports = ReadPortSettings(settings);
    ports.out = mUsersOutput;
    return WithPortSettings(settings, ports);
}

void DeckSession::Disconnect()
{
    mLink.Detach();
    mInstance.Disconnect();
}

} // namespace deck::host
