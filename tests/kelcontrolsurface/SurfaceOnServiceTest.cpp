// The surface on the real service, and delivery on the real executor.

#include "TestSurface.h"

#include "tests/kelmidi/EchoDevice.h"

#include <gmock/gmock.h>

#include <chrono>
#include <memory>
#include <thread>

namespace kelcontrolsurface {
namespace {

using kelmidi::tests::EchoDevice;
using testing::ElementsAre;
using tests::MakeInfo;
using tests::TestSurface;

const bool sBuiltin = (kelmidi::tests::UseBuiltinService(), true);

const std::vector<unsigned char> kPlay{0xF0, 0x7F, 0x7F, 0x06, 0x02, 0xF7};

class SurfaceOnServiceTest : public testing::Test {
protected:
    /// Returns whether the surface became connected, or unconnected, before a generous deadline.
    bool WaitForConnected(bool connected)
    {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (mSurface.IsConnected() != connected) {
            if (std::chrono::steady_clock::now() > deadline) {
                return false;
            }
            std::this_thread::yield();
        }
        return true;
    }

    void Connect(const EchoDevice& device)
    {
        const auto binding = mSurface.LockBinding();
        mSurface.Connect(MakeInfo(device.SourceID(), device.DestinationID()));
    }

    /// Sends until a message made its way round: while the binding changes, messages are dropped.
    bool MessageGoesRound()
    {
        const std::size_t before = mSurface.Received().size();
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (mSurface.Received().size() == before) {
            if (std::chrono::steady_clock::now() > deadline) {
                return false;
            }
            mSurface.OutputMessage(kPlay.data(), static_cast<unsigned int>(kPlay.size()));
            std::this_thread::yield();
        }
        return mSurface.Received().back() == kPlay;
    }

    std::unique_ptr<EchoDevice> mDevice = std::make_unique<EchoDevice>("Controller");
    TestSurface mSurface;
};

TEST_F(SurfaceOnServiceTest, ReceivesWhatItsDeviceSends)
{
    Connect(*mDevice);

    mDevice->Send(kPlay);

    ASSERT_TRUE(mSurface.WaitForReceived(1));
    EXPECT_THAT(mSurface.Received(), ElementsAre(kPlay));
}

TEST_F(SurfaceOnServiceTest, SendsToItsDevice)
{
    Connect(*mDevice);

    EXPECT_TRUE(MessageGoesRound());
}

TEST_F(SurfaceOnServiceTest, UnbindsWhenItsDeviceGoesAndBindsWhenItIsBack)
{
    Connect(*mDevice);
    ASSERT_TRUE(MessageGoesRound());

    mDevice.reset();
    ASSERT_TRUE(WaitForConnected(false));

    mDevice = std::make_unique<EchoDevice>("Controller");
    ASSERT_TRUE(WaitForConnected(true));
    EXPECT_TRUE(MessageGoesRound());
}

TEST_F(SurfaceOnServiceTest, SurvivesADeviceThatComesAndGoesUnderTraffic)
{
    Connect(*mDevice);
    std::atomic<bool> stop{false};
    std::thread sender([&] {
        while (!stop) {
            mSurface.OutputMessage(kPlay.data(), static_cast<unsigned int>(kPlay.size()));
            std::this_thread::yield();
        }
    });
    std::thread host([&] {
        for (int i = 0; i < 20; ++i) {
            const auto binding = mSurface.LockBinding();
            mSurface.Disconnect();
            std::this_thread::yield();
        }
    });

    for (int i = 0; i < 20; ++i) {
        mDevice.reset();
        mDevice = std::make_unique<EchoDevice>("Controller");
    }
    host.join();
    Connect(*mDevice);
    stop = true;
    sender.join();

    EXPECT_TRUE(MessageGoesRound());
}

} // namespace
} // namespace kelcontrolsurface
