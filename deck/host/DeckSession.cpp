#include "deck/host/DeckSession.h"

#include "deck/host/BundleLoader.h"

namespace deck::host {
namespace {

KORVASDK_ControlSurfacePluginFuncs Load(
    const std::filesystem::path& bundle, const QXBasicSuite& basicSuite)
{
    EnablePluginUnlessToldOtherwise();
    return LoadBundle(bundle, basicSuite);
}

} // namespace

DeckSession::DeckSession(const std::filesystem::path& bundle, const TransportSettings& settings)
    : mClock(MakeMonotonicClock())
    , mLink(settings.rate, *mClock)
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
    mInstance.SetSettings(settings);
    mInstance.Connect();
    mLink.Attach(mInstance.SMPTE());
}

void DeckSession::Disconnect()
{
    mLink.Detach();
    mInstance.Disconnect();
}

} // namespace deck::host
