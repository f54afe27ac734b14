#include "mediaio/kelmidi/src/MidiHost.h"

#include "Signal.h"

#include <boost/smart_ptr/make_shared.hpp>
#include <boost/smart_ptr/weak_ptr.hpp>
#include <gtest/gtest.h>

#include <thread>

namespace kelmidi {
namespace {

class PlainHost : public MidiHost {};

class MidiHostTest : public testing::Test {
protected:
    const boost::intrusive_ptr<MidiHost> mHost = new PlainHost;
};

TEST_F(MidiHostTest, DoesNothingWithoutASetupChangedFunction)
{
    EXPECT_NO_THROW(mHost->NotifyMidiSetupChanged());
}

TEST_F(MidiHostTest, CallsItsSetupChangedFunctionForEachNotice)
{
    int calls = 0;
    mHost->SetMidiSetupChangedFunction([&] { ++calls; });

    mHost->NotifyMidiSetupChanged();
    mHost->NotifyMidiSetupChanged();

    EXPECT_EQ(calls, 2);
}

TEST_F(MidiHostTest, DestroysAFunctionThatIsReplaced)
{
    auto token = boost::make_shared<int>(0);
    const boost::weak_ptr<int> watch = token;
    mHost->SetMidiSetupChangedFunction([token] {});
    token.reset();
    ASSERT_FALSE(watch.expired());

    int calls = 0;
    mHost->SetMidiSetupChangedFunction([&] { ++calls; });
    mHost->NotifyMidiSetupChanged();

    EXPECT_TRUE(watch.expired());
    EXPECT_EQ(calls, 1);
}

TEST_F(MidiHostTest, IsQuietAgainAfterAnEmptyFunction)
{
    int calls = 0;
    mHost->SetMidiSetupChangedFunction([&] { ++calls; });

    mHost->SetMidiSetupChangedFunction({});
    mHost->NotifyMidiSetupChanged();

    EXPECT_EQ(calls, 0);
}

TEST_F(MidiHostTest, LetsAFunctionReplaceItselfAndStillUseWhatItHolds)
{
    const auto token = boost::make_shared<int>(0);
    int second = 0;
    mHost->SetMidiSetupChangedFunction([this, token, &second] {
        mHost->SetMidiSetupChangedFunction([&second] { ++second; });
        ++*token; // lives in the function that was just replaced
    });

    mHost->NotifyMidiSetupChanged();
    mHost->NotifyMidiSetupChanged();

    EXPECT_EQ(*token, 1);
    EXPECT_EQ(second, 1);
}

TEST_F(MidiHostTest, ReplacesAFunctionOnlyWhenItNoLongerRuns)
{
    tests::Signal inside;
    tests::Signal leave;
    tests::Signal replaced;
    mHost->SetMidiSetupChangedFunction([&] {
        inside.Set();
        EXPECT_TRUE(leave.Wait());
    });

    std::thread notifier([&] { mHost->NotifyMidiSetupChanged(); });
    ASSERT_TRUE(inside.Wait());
    std::thread replacer([&] {
        mHost->SetMidiSetupChangedFunction({});
        replaced.Set();
    });
    EXPECT_FALSE(replaced.ComesTooEarly());
    leave.Set();
    notifier.join();
    replacer.join();
}

} // namespace
} // namespace kelmidi
