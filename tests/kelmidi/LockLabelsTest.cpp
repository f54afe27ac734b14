// Which of a handler's operations lock, and what they say to the host's lock tracing.

#include "ManualExecutor.h"
#include "RecordingListener.h"

#include "kelcore/threads/RecursiveMutex.h"
#include "mediaio/kelmidi/src/DeferredMidiMessageHandler.h"

#include <boost/smart_ptr/make_shared.hpp>
#include <gmock/gmock.h>

#include <memory>
#include <string>

#include <dlfcn.h>

namespace {

thread_local std::vector<std::string> sLabels; // of the locks taken on this thread

} // namespace

// In place of the library's for the objects of this program; goes on to it.
void kelcore::threads::RecursiveMutex::Lock(const char* label)
{
    using LockFunction = void (*)(RecursiveMutex*, const char*);
    static const auto sNext = reinterpret_cast<LockFunction>(
        dlsym(RTLD_NEXT, "_ZN7kelcore7threads14RecursiveMutex4LockEPKc"));
    sLabels.emplace_back(label);
    sNext(this, label);
}

namespace kelmidi {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kHandleMessages[] = "void kelmidi::DeferredMidiMessageHandler::HandleMessages()";
constexpr char kAddListener[]
    = "void kelmidi::DeferredMidiMessageHandler::AddListener(kelmidi::MidiListener *)";
constexpr char kRemoveListener[]
    = "void kelmidi::DeferredMidiMessageHandler::RemoveListener(kelmidi::MidiListener *)";

class LockLabelsTest : public testing::Test {
protected:
    LockLabelsTest() { sLabels.clear(); }

    boost::shared_ptr<tests::ManualExecutor> mExecutor
        = boost::make_shared<tests::ManualExecutor>();
    std::unique_ptr<DeferredMidiMessageHandler> mHandler
        = std::make_unique<DeferredMidiMessageHandler>(0, mExecutor);
    tests::RecordingListener mListener;
};

TEST_F(LockLabelsTest, AddingLocksAndThenRemovesUnderTheSameLock)
{
    mHandler->AddListener(&mListener);

    EXPECT_THAT(sLabels, ElementsAre(kAddListener, kRemoveListener));
}

TEST_F(LockLabelsTest, RemovingLocksOnce)
{
    mHandler->RemoveListener(&mListener);

    EXPECT_THAT(sLabels, ElementsAre(kRemoveListener));
}

TEST_F(LockLabelsTest, APassLocksOnceForAllItsMessages)
{
    mHandler->AddListener(&mListener);
    mHandler->QueueMessage(tests::MakeMessage({1}));
    mHandler->QueueMessage(tests::MakeMessage({2}));
    sLabels.clear();

    mExecutor->RunWaiting();

    EXPECT_EQ(mListener.Count(), 2U);
    EXPECT_THAT(sLabels, ElementsAre(kHandleMessages));
}

TEST_F(LockLabelsTest, NeitherQueueingNorItsEndLocks)
{
    mHandler->QueueMessage(tests::MakeMessage({1}));
    mHandler.reset();

    EXPECT_THAT(sLabels, IsEmpty());
}

} // namespace
} // namespace kelmidi
