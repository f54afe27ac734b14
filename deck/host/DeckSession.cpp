#include "deck/host/DeckSession.h"

#include "deck/host/BundleLoader.h"

#include <algorithm>

namespace deck::host {
namespace {

KORVASDK_ControlSurfacePluginFuncs Load(
    const std::filesystem::path& bundle, const QXBasicSuite& basicSuite)
{
    EnablePluginUnlessToldOtherwise();
    return LoadBundle(bundle, basicSuite);
}

} // namespace

bool DeckSession::MarkedCommands::TryPost(const HostCall& call) noexcept
{
    HostCall marked = call;
    marked.surface = mSurface;
    return mCommands.TryPost(marked);
}

void DeckSession::HeardOutput::Send(ByteView bytes, std::chrono::nanoseconds time) noexcept
{
    if (mIsHeard.load()) {
        MTCEvent event;
        event.length = static_cast<std::uint8_t>(std::min(bytes.size(), event.bytes.size()));
        std::copy_n(bytes.begin(), event.length, event.bytes.begin());
        event.due = time;
        mEvents.Push(event);
    }
    mOutput.Send(bytes, time);
}

DeckSession::Surface::Surface(
    DeckSession& session, const DeckSessionOptions& options, MtcOutput& outlet, std::uint8_t number)
    : output(outlet, session.mEvents)
    , relay(options.pacing, output)
    , link(options.transport.rate, *session.mClock, &relay.Pacer(), number)
    , commands(session.mTransport, number)
{
}

void DeckSession::Surface::Connect(const std::string& settings)
{
    Disconnect();
    instance->SetSettings(settings);
    instance->Connect();
    link.Attach(instance->SMPTE());
}

void DeckSession::Surface::Disconnect()
{
    link.Detach();
    instance->Disconnect();
}

DeckSession::DeckSession(const std::filesystem::path& bundle, const DeckSessionOptions& options)
    : mTellsMTC(options.tellsMTC)
    , mClock(MakeMonotonicClock())
    , mOwnPorts(
          options.hasOwnPorts && OwnPorts::ArePossible() ? std::make_unique<OwnPorts>() : nullptr)
    , mUsers(*this, options, mUserPort, kUsersSurface)
    , mOwn(mOwnPorts ? std::make_unique<Surface>(*this, options, *mOwnPorts, kOwnSurface) : nullptr)
    , mTransport(options.transport, *mClock, Sinks())
    , mPlugin(Load(bundle, mSuites.BasicSuite()), mSuites)
{
    mUsers.instance.emplace(mPlugin, mUsers.commands);
    if (mOwn) {
        mOwn->instance.emplace(mPlugin, mOwn->commands);
    }
    mTransport.Start();
}

DeckSession::~DeckSession()
{
    // 1. The last position still reaches the surfaces. 2. Nobody calls them any more. 3. They go,
    // before their plug-in.
    mTransport.Stop();
    for (Surface* const surface : {&mUsers, mOwn.get()}) {
        if (surface != nullptr) {
            surface->link.Detach();
            surface->instance.reset();
        }
    }
}

std::vector<TransportSink*> DeckSession::Sinks()
{
    std::vector<TransportSink*> sinks{&mUsers.link, &mEvents};
    if (mOwn) {
        sinks.insert(sinks.begin() + 1, &mOwn->link);
    }
    return sinks;
}

/// The relay takes the place of the user's output. Where none is chosen the plug-in must see that:
/// it binds both ports or none.
void DeckSession::Connect(const std::string& settings)
{
    const PortSettings users = ReadPortSettings(settings);
    mUserPort.Choose(users.out);
    mUsers.output.BeHeard(mTellsMTC && users.HasBoth());
    PortSettings ports = users;
    if (ports.out) {
        ports.out = mUsers.relay.InletID();
    }
    mUsers.Connect(WithPortSettings(settings, ports));
    if (mOwn) {
        ConnectOwn(users);
    }
}

/// MTC leaves here too, unless somebody has said that none is wanted.
void DeckSession::ConnectOwn(const PortSettings& users)
{
    mOwn->output.BeHeard(mTellsMTC && !users.HasBoth());
    mOwn->Connect(WithPortSettings(
        "", {mOwnPorts->InputID(), mOwn->relay.InletID(), users.transmitMTC.value_or(true)}));
}

std::string DeckSession::Settings() const
{
    const std::string settings = mUsers.instance->Settings();
    PortSettings ports = ReadPortSettings(settings);
    ports.out = mUserPort.Chosen();
    return WithPortSettings(settings, ports);
}

void DeckSession::Disconnect()
{
    mUsers.Disconnect();
    if (mOwn) {
        mOwn->Disconnect();
    }
}

void DeckSession::Notify(TransportState state, bool isRecording)
{
    mUsers.instance->Notify(state, isRecording);
    if (mOwn) {
        mOwn->instance->Notify(state, isRecording);
    }
}

void DeckSession::Tune(const TransportSettings& transport, const MtcPacerOptions& pacing) noexcept
{
    mTransport.Tune(transport.windSpeed, transport.locateRate);
    for (Surface* const surface : {&mUsers, mOwn.get()}) {
        if (surface != nullptr) {
            surface->relay.Pacer().Tune(pacing.enabled, pacing.offset);
        }
    }
}

std::uint64_t DeckSession::SentMTC() const noexcept
{
    return mUserPort.Sent() + (mOwnPorts ? mOwnPorts->Sent() : 0);
}

} // namespace deck::host
