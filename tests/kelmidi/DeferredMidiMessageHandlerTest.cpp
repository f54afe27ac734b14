#include "mediaio/kelmidi/src/DeferredMidiMessageHandler.h"

#include "ManualExecutor.h"
#include "RecordingListener.h"
#include "Signal.h"

#include <boost/smart_ptr/make_shared.hpp>
#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <stdexcept>
#include <thread>

namespace kelmidi {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using tests::Bytes;
using tests::MakeMessage;
using tests::Numbered;
using tests::RecordingListener;
using tests::Signal;

constexpr unsigned int kPortTag = 0xFFFFFFFE;

class DeferredMidiMessageHandlerTest : public testing::Test {
protected:
    void Queue(const Bytes& bytes) { mHandler->QueueMessage(MakeMessage(bytes)); }

    boost::shared_ptr<tests::ManualExecutor> mExecutor
        = boost::make_shared<tests::ManualExecutor>();
    std::unique_ptr<DeferredMidiMessageHandler> mHandler
        = std::make_unique<DeferredMidiMessageHandler>(kPortTag, mExecutor);
};

TEST_F(DeferredMidiMessageHandlerTest, DeliversABurstOf100InOrderByOnePass)
{
    RecordingListener listener;
    mHandler->AddListener(&listener);
    std::vector<Bytes> sent;
    for (std::uint32_t i = 0; i < 100; ++i) {
        sent.push_back(Numbered(i));
        Queue(sent.back());
    }
    EXPECT_EQ(listener.Count(), 0U) << "delivered on the receive thread";

    EXPECT_EQ(mExecutor->RunWaiting(), 1U);

    EXPECT_EQ(listener.Messages(), sent);
    EXPECT_THAT(mExecutor->Delays(), ElementsAre(0U));
    EXPECT_EQ(mExecutor->RunWaiting(), 0U);
}

TEST_F(DeferredMidiMessageHandlerTest, AsksForAPassAgainAfterTheRingWasEmptied)
{
    RecordingListener listener;
    mHandler->AddListener(&listener);
    Queue({1});
    mExecutor->RunWaiting();

    Queue({2});
    mExecutor->RunWaiting();

    EXPECT_THAT(listener.Messages(), ElementsAre(Bytes{1}, Bytes{2}));
    EXPECT_THAT(mExecutor->Delays(), ElementsAre(0U, 0U));
}

TEST_F(DeferredMidiMessageHandlerTest, HandsOverTimeStampAndPortTag)
{
    RecordingListener listener;
    mHandler->AddListener(&listener);
    mHandler->QueueMessage(MakeMessage({0xF8}, 12345));

    mExecutor->RunWaiting();

    ASSERT_EQ(listener.Count(), 1U);
    EXPECT_EQ(listener.Records()[0].timeStamp, 12345U);
    EXPECT_EQ(listener.Records()[0].portTag, kPortTag);
}

TEST_F(DeferredMidiMessageHandlerTest, DeliversAnEmptyMessage)
{
    RecordingListener listener;
    mHandler->AddListener(&listener);
    Queue(Bytes(300, 0x42));

    mExecutor->RunWaiting();

    EXPECT_THAT(listener.Messages(), ElementsAre(Bytes{}));
}

TEST_F(DeferredMidiMessageHandlerTest, DeliversAMessageThatArrivesWhileTheLastOneIsOffered)
{
    RecordingListener listener;
    mHandler->AddListener(&listener);
    listener.onMessage = [&](const MidiMessage& message) {
        if (message.data.bytes[0] == 1) {
            Queue({2});
        }
    };
    Queue({1});

    while (mExecutor->RunWaiting() > 0) {
    }

    EXPECT_THAT(listener.Messages(), ElementsAre(Bytes{1}, Bytes{2}));
}

TEST_F(DeferredMidiMessageHandlerTest, DeliversThe4097thMessageFirstAndLastWhereTheFirstIsLost)
{
    RecordingListener listener;
    mHandler->AddListener(&listener);
    for (std::uint32_t i = 1; i <= 4097; ++i) {
        Queue(Numbered(i));
    }

    EXPECT_EQ(mExecutor->RunWaiting(), 1U);

    std::vector<Bytes> expected{Numbered(4097)};
    for (std::uint32_t i = 2; i <= 4097; ++i) {
        expected.push_back(Numbered(i));
    }
    EXPECT_EQ(listener.Messages(), expected);
    EXPECT_EQ(mExecutor->PostCount(), 1U);
}

TEST_F(DeferredMidiMessageHandlerTest, DropsWhatArrivesWhileThereIsNoListener)
{
    RecordingListener listener;
    Queue({1});
    mExecutor->RunWaiting();

    mHandler->AddListener(&listener);
    mExecutor->RunWaiting();

    EXPECT_THAT(listener.Messages(), IsEmpty());
}

TEST_F(DeferredMidiMessageHandlerTest, EndsWithTheFirstListenerThatReturnsTrue)
{
    RecordingListener first(true);
    RecordingListener second;
    mHandler->AddListener(&first);
    mHandler->AddListener(&second);
    Queue({1});

    mExecutor->RunWaiting();

    EXPECT_EQ(first.Count(), 1U);
    EXPECT_EQ(second.Count(), 0U);
}

TEST_F(DeferredMidiMessageHandlerTest, OffersTheSameMessageUncopiedToEachListener)
{
    RecordingListener first(false);
    RecordingListener second;
    mHandler->AddListener(&first);
    mHandler->AddListener(&second);
    Queue({1});

    mExecutor->RunWaiting();

    ASSERT_EQ(first.Count(), 1U);
    ASSERT_EQ(second.Count(), 1U);
    EXPECT_EQ(first.Records()[0].address, second.Records()[0].address);
}

TEST_F(DeferredMidiMessageHandlerTest, MovesAListenerThatIsAddedAgainToTheEnd)
{
    std::vector<int> order;
    RecordingListener first(false);
    RecordingListener second(false);
    first.onMessage = [&](const MidiMessage&) { order.push_back(1); };
    second.onMessage = [&](const MidiMessage&) { order.push_back(2); };
    mHandler->AddListener(&first);
    mHandler->AddListener(&second);
    mHandler->AddListener(&first);
    Queue({1});

    mExecutor->RunWaiting();

    EXPECT_THAT(order, ElementsAre(2, 1));
}

TEST_F(DeferredMidiMessageHandlerTest, KeepsTheOrderOfTheOthersWhenOneIsRemoved)
{
    std::vector<int> order;
    RecordingListener listeners[3]{
        RecordingListener(false), RecordingListener(false), RecordingListener(false)};
    for (int i = 0; i < 3; ++i) {
        listeners[i].onMessage = [&order, i](const MidiMessage&) { order.push_back(i); };
        mHandler->AddListener(&listeners[i]);
    }

    mHandler->RemoveListener(&listeners[1]);
    Queue({1});
    mExecutor->RunWaiting();

    EXPECT_THAT(order, ElementsAre(0, 2));
}

TEST_F(DeferredMidiMessageHandlerTest, IgnoresTheRemovalOfAStranger)
{
    RecordingListener listener;
    RecordingListener stranger;
    mHandler->AddListener(&listener);

    mHandler->RemoveListener(&stranger);
    mHandler->RemoveListener(nullptr);
    Queue({1});
    mExecutor->RunWaiting();

    EXPECT_EQ(listener.Count(), 1U);
}

TEST_F(DeferredMidiMessageHandlerTest, LetsAListenerRemoveItselfFromInsideItsCall)
{
    RecordingListener leaving(false);
    RecordingListener staying;
    leaving.onMessage = [&](const MidiMessage&) { mHandler->RemoveListener(&leaving); };
    mHandler->AddListener(&leaving);
    mHandler->AddListener(&staying);
    Queue({1});
    Queue({2});

    mExecutor->RunWaiting();

    EXPECT_THAT(leaving.Messages(), ElementsAre(Bytes{1}));
    EXPECT_EQ(staying.Messages().back(), Bytes{2});
}

TEST_F(DeferredMidiMessageHandlerTest, LetsAListenerAddAnotherFromInsideItsCall)
{
    RecordingListener first(false);
    RecordingListener added(false);
    first.onMessage = [&](const MidiMessage&) { mHandler->AddListener(&added); };
    mHandler->AddListener(&first);
    Queue({1});
    Queue({2});

    mExecutor->RunWaiting();

    EXPECT_EQ(first.Count(), 2U);
    EXPECT_EQ(added.Messages().back(), Bytes{2});
}

TEST_F(DeferredMidiMessageHandlerTest, IgnoresAPassFromInsideAListener)
{
    RecordingListener listener;
    int depth = 0;
    int deepest = 0;
    listener.onMessage = [&](const MidiMessage&) {
        deepest = std::max(deepest, ++depth);
        mHandler->HandleMessages();
        --depth;
    };
    mHandler->AddListener(&listener);
    Queue({1});
    Queue({2});

    mExecutor->RunWaiting();

    EXPECT_THAT(listener.Messages(), ElementsAre(Bytes{1}, Bytes{2}));
    EXPECT_EQ(deepest, 1);
}

TEST_F(DeferredMidiMessageHandlerTest, GoesOnAfterAListenerThrew)
{
    RecordingListener listener;
    listener.onMessage = [](const MidiMessage& message) {
        if (message.data.bytes[0] == 1) {
            throw std::runtime_error("a listener's own trouble");
        }
    };
    mHandler->AddListener(&listener);
    Queue({1});
    Queue({2});

    EXPECT_THROW(mHandler->HandleMessages(), std::runtime_error);
    mHandler->HandleMessages();

    EXPECT_THAT(listener.Messages(), ElementsAre(Bytes{1}, Bytes{2}));
}

// Nothing may be thrown at the receive thread, and without a pass nothing would ever ask again.
TEST_F(DeferredMidiMessageHandlerTest, AsksAgainWithTheNextMessageWhereAPassCouldNotBePosted)
{
    RecordingListener listener;
    mHandler->AddListener(&listener);
    mExecutor->hasMemory = false;
    EXPECT_NO_THROW(Queue({1}));
    EXPECT_NO_THROW(Queue({2}));
    mExecutor->hasMemory = true;

    Queue({3});

    EXPECT_EQ(mExecutor->RunWaiting(), 1U);
    EXPECT_THAT(listener.Messages(), ElementsAre(Bytes{1}, Bytes{2}, Bytes{3}));
}

TEST_F(DeferredMidiMessageHandlerTest, DoesNotCallAListenerAfterItsRemovalReturned)
{
    Signal inside;
    Signal leave;
    Signal removed;
    RecordingListener listener;
    listener.onMessage = [&](const MidiMessage&) {
        inside.Set();
        EXPECT_TRUE(leave.Wait());
    };
    mHandler->AddListener(&listener);
    Queue({1});

    std::thread pass([&] { mExecutor->RunWaiting(); });
    ASSERT_TRUE(inside.Wait());
    std::thread remover([&] {
        mHandler->RemoveListener(&listener);
        removed.Set();
    });
    EXPECT_FALSE(removed.ComesTooEarly()) << "the removal did not wait for the call";
    leave.Set();
    remover.join();
    const std::size_t countAtRemoval = listener.Count();
    pass.join();
    Queue({2});
    mExecutor->RunWaiting();

    EXPECT_EQ(listener.Count(), countAtRemoval);
}

TEST_F(DeferredMidiMessageHandlerTest, NeverRunsTwoPassesAtOnce)
{
    std::atomic<int> inside{0};
    std::atomic<int> overlaps{0};
    RecordingListener listener;
    listener.onMessage = [&](const MidiMessage&) {
        overlaps += inside++ == 0 ? 0 : 1;
        std::this_thread::yield();
        --inside;
    };
    mHandler->AddListener(&listener);
    constexpr std::uint32_t kMessages = 1000;
    for (std::uint32_t i = 0; i < kMessages; ++i) {
        Queue(Numbered(i));
    }

    std::thread one([&] { mHandler->HandleMessages(); });
    std::thread other([&] { mHandler->HandleMessages(); });
    one.join();
    other.join();

    EXPECT_EQ(overlaps, 0);
    EXPECT_EQ(listener.Count(), kMessages);
}

TEST_F(DeferredMidiMessageHandlerTest, LeavesAPostedPassNothingToDoWhenItGoes)
{
    RecordingListener listener;
    mHandler->AddListener(&listener);
    Queue({1});

    mHandler.reset();

    EXPECT_EQ(mExecutor->RunWaiting(), 1U);
    EXPECT_EQ(listener.Count(), 0U);
}

TEST_F(DeferredMidiMessageHandlerTest, GoesWithoutWaitingForAPassWhichThenOffersNothingMore)
{
    Signal inside;
    Signal leave;
    RecordingListener first(false);
    RecordingListener second(false);
    first.onMessage = [&](const MidiMessage&) {
        inside.Set();
        EXPECT_TRUE(leave.Wait());
    };
    mHandler->AddListener(&first);
    mHandler->AddListener(&second);
    Queue({1});
    Queue({2});
    std::thread pass([&] { mExecutor->RunWaiting(); });
    ASSERT_TRUE(inside.Wait());

    mHandler.reset(); // would hang here if it waited
    leave.Set();
    pass.join();

    EXPECT_EQ(first.Count(), 1U);
    EXPECT_EQ(second.Count(), 0U);
}

TEST_F(DeferredMidiMessageHandlerTest, LosesNoWakeUpWhileMessagesAndPassesRace)
{
    // On the real executor, one message at a time against the end of the pass before it.
    mHandler = std::make_unique<DeferredMidiMessageHandler>(kPortTag);
    RecordingListener listener;
    mHandler->AddListener(&listener);

    constexpr std::uint32_t kMessages = 3000;
    std::vector<Bytes> sent;
    for (std::uint32_t i = 0; i < kMessages; ++i) {
        sent.push_back(Numbered(i));
        Queue(sent.back());
        if (i % 3 == 0) {
            std::this_thread::yield();
        }
    }

    ASSERT_TRUE(listener.WaitForCount(kMessages)) << listener.Count();
    EXPECT_EQ(listener.Messages(), sent);
    mHandler->RemoveListener(&listener);
}

/// Calls a function for each message.
class Checker : public MidiListener {
public:
    explicit Checker(boost::function<void(const MidiMessage&)> check)
        : mCheck(std::move(check))
    {
    }
    bool HandleMidiMessage(const MidiMessage& message, unsigned int) override
    {
        mCheck(message);
        return true;
    }

private:
    boost::function<void(const MidiMessage&)> mCheck;
};

/// Of 256 bytes that all are the end of the time stamp.
bool IsWhole(const MidiMessage& message)
{
    const unsigned char* bytes = message.data.bytes;
    return message.data.length == kMaxMidiDataLength
        && std::all_of(bytes, bytes + message.data.length,
            [&](unsigned char byte) { return byte == (message.timeStamp & 0xFF); });
}

TEST_F(DeferredMidiMessageHandlerTest, GivesASlowListenerOnlyWholeMessagesFromAProducerThatLapsIt)
{
    mHandler = std::make_unique<DeferredMidiMessageHandler>(kPortTag);
    Signal first;
    Signal lapped;
    std::atomic<std::size_t> broken{0};
    std::atomic<std::size_t> count{0};
    Signal all;
    constexpr std::uint32_t kMessages = 20000;
    Checker listener([&](const MidiMessage& message) {
        broken += IsWhole(message) ? 0 : 1;
        if (count == 0) {
            first.Set();
            EXPECT_TRUE(lapped.Wait());
            broken += IsWhole(message) ? 0 : 1;
        }
        if (++count == kMessages) {
            all.Set();
        }
    });
    mHandler->AddListener(&listener);

    for (std::uint32_t i = 0; i < kMessages; ++i) {
        const Bytes bytes(kMaxMidiDataLength, static_cast<unsigned char>(i & 0xFF));
        mHandler->QueueMessage(MakeMessage(bytes, i));
        if (i == 0) {
            ASSERT_TRUE(first.Wait());
        }
        if (i == kMessages / 2) {
            lapped.Set(); // twice over; from now on both sides run at once
        }
    }

    EXPECT_TRUE(all.Wait());
    EXPECT_EQ(broken, 0U);
    mHandler->RemoveListener(&listener);
    EXPECT_EQ(count, kMessages);
}

} // namespace
} // namespace kelmidi
