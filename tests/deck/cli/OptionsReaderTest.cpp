#include "deck/cli/OptionsReader.h"

#include "deck/host/HostError.h"
#include "tests/deck/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <condition_variable>
#include <mutex>

namespace deck::cli::test {
namespace {

class OptionsReaderTest : public testing::Test {
protected:
    void Configure(const std::string& text) const { mFolder.Write("deck.conf", text); }

    /// As a deck does that sleeps until it is woken.
    PlayOptions WaitForOptions()
    {
        std::optional<PlayOptions> options;
        while (!options) {
            std::unique_lock lock(mMutex);
            mRead.wait(lock, [&] { return mReadings > 0; });
            --mReadings;
            lock.unlock();
            options = mReader.TryTake();
        }
        return *options;
    }

private:
    void OnRead()
    {
        const std::lock_guard lock(mMutex);
        ++mReadings;
        mRead.notify_one();
    }

    deck::test::TemporaryFolder mFolder;
    std::mutex mMutex;
    std::condition_variable mRead;
    int mReadings = 0; // guarded by mMutex

protected:
    OptionsReader mReader{
        {"play", "--config", (mFolder.Path() / "deck.conf").string()}, [this] { OnRead(); }};
};

TEST_F(OptionsReaderTest, ReadsTheConfigurationAsItIsNow)
{
    for (const int speed : {3, 4}) {
        Configure("wind-speed = " + std::to_string(speed) + "\n");
        mReader.Begin();
        EXPECT_EQ(WaitForOptions().run.transport.windSpeed, speed);
    }
}

TEST_F(OptionsReaderTest, HasNothingUntilItIsAskedAndTellsItOnce)
{
    Configure("");
    EXPECT_FALSE(mReader.TryTake());

    mReader.Begin();
    WaitForOptions();
    EXPECT_FALSE(mReader.TryTake());
}

TEST_F(OptionsReaderTest, ReadsOnceMoreWhatMayHaveChangedWhileItRead)
{
    Configure("wind-speed = 3\n");
    mReader.Begin();
    Configure("wind-speed = 4\n");
    mReader.Begin();

    EXPECT_EQ(WaitForOptions().run.transport.windSpeed, 4);
}

TEST_F(OptionsReaderTest, TellsAMistakeAndReadsOn)
{
    Configure("wind-speed = fast\n");
    mReader.Begin();
    EXPECT_THROW(WaitForOptions(), HostError);

    Configure("wind-speed = 4\n");
    mReader.Begin();
    EXPECT_EQ(WaitForOptions().run.transport.windSpeed, 4);
}

} // namespace
} // namespace deck::cli::test
