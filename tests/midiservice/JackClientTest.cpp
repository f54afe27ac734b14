#include "mediaio/midiservice/src/jack/JackClient.h"

#include "tests/midiservice/JackPeer.h"

#include <future>

namespace midiservice::test {

namespace {

class IdleHost final : public DriverHost {
public:
    void OnEndpointsChanged(std::vector<EndpointFacts>) override {}
    void OnStateChanged(DriverState, std::string) override {}
    void OnReceived(PortKey,
        EndpointKey,
        std::uint32_t,
        HostTime,
        const std::uint8_t*,
        std::size_t) noexcept override
    {
    }
    void CountDropped(std::size_t) noexcept override {}
    void CountFlushed(std::size_t) noexcept override {}
    void Wake() noexcept override {}
};

/// Stays within a notice until it is let go.
class StuckListener final : public JackListener {
public:
    void OnJackGone() noexcept override {}
    void OnJackPortsChanged() noexcept override
    {
        if (!mShallStick.exchange(false))
            return;
        mIsStuck.set_value();
        mLetGo.get_future().wait();
        mIsOver.store(true);
    }

    void StickNext() { mShallStick.store(true); }
    bool WaitUntilStuck()
    {
        return mIsStuck.get_future().wait_for(kDeadline) == std::future_status::ready;
    }
    void LetGo() { mLetGo.set_value(); }
    bool IsOver() const { return mIsOver.load(); }

private:
    std::atomic<bool> mShallStick{false};
    std::promise<void> mIsStuck;
    std::promise<void> mLetGo;
    std::atomic<bool> mIsOver{false};
};

TEST(JackClient, LetsANoticeThatIsUnderWayEndBeforeItCloses)
{
    if (!JackServer::IsInstalled())
        GTEST_SKIP() << "jackd is not installed";
    JackServer server;
    server.Start();
    IdleHost host;
    StuckListener listener;
    std::string whyNot;
    auto client = JackClient::TryOpen("Closing", host, listener, whyNot);
    ASSERT_NE(client, nullptr) << whyNot;
    listener.StickNext();
    ASSERT_TRUE(client->AddInput("Own", 1).IsValid()); // the server tells of it
    ASSERT_TRUE(listener.WaitUntilStuck());

    std::thread closer([&client] { client.reset(); });
    // So long that closing has come to the notice's thread, whose end it wants
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    listener.LetGo();
    closer.join();

    EXPECT_TRUE(listener.IsOver());
}

} // namespace

} // namespace midiservice::test
