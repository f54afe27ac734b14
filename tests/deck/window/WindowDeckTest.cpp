#include "deck/window/WindowDeck.h"

#include "tests/deck/TemporaryFolder.h"
#include "tests/deck/media/TestFilm.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <poll.h>

namespace deck::window {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::Field;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class WindowDeckTest : public testing::Test {
protected:
    static void SetUpTestSuite() { setenv("KEL_MIDI_SERVICE", "builtin", 1); }

    WindowDeckTest()
    {
        mOptions.run.settings = mFolder.Path() / "settings.json";
        mOptions.run.takes = mFolder.Path() / "takes.jsonl";
        mOptions.run.bundle = TEST_BUNDLE;
        mOptions.run.ownPorts = false;
        setenv("XDG_RUNTIME_DIR", mFolder.Path().c_str(), 1);
    }

    void Begin()
    {
        mModel.emplace(mOptions);
        mRun.emplace(mOptions, mSignals, mReload, *mModel);
        mModel->Attach(*mRun);
        ASSERT_TRUE(mRun->TryStart());
    }

    /// As the window does: looks whenever something has happened.
    template <typename Condition> bool UpdateUntil(Condition isSo)
    {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        for (;;) {
            mRun->Update(false);
            if (isSo(mModel->Read()) || std::chrono::steady_clock::now() > end) {
                return isSo(mModel->Read());
            }
            pollfd polled{mRun->Session().Events().Descriptor(), POLLIN, 0};
            poll(&polled, 1, 1000);
        }
    }

    static auto Names(const std::vector<PortChoice>& ports)
    {
        std::vector<std::string> names;
        for (const PortChoice& port : ports) {
            names.push_back(port.name);
        }
        return names;
    }
    static auto Texts(const WindowState& state)
    {
        std::vector<std::string> texts;
        for (const Notice& notice : state.notices) {
            texts.push_back(notice.text);
        }
        return texts;
    }

    deck::test::TemporaryFolder mFolder;
    const cli::StopSignals mSignals;
    cli::ReloadSignal mReload;
    host::MidiClient mMachine{"machine"};
    cli::PlayOptions mOptions;
    std::optional<WindowDeck> mModel;
    std::optional<cli::DeckRun> mRun;
};

TEST_F(WindowDeckTest, FollowsPortsThatComeAndGo)
{
    Begin();
    const MIDIEndpointRef console = mMachine.MakeSource("Console");
    EXPECT_TRUE(UpdateUntil([](const WindowState& state) {
        return testing::Value(Names(state.inputs), Contains("Console"));
    }));

    MIDIEndpointDispose(console);
    EXPECT_TRUE(UpdateUntil([](const WindowState& state) {
        return testing::Value(Names(state.inputs), Not(Contains("Console")));
    }));
}

TEST_F(WindowDeckTest, SaysWhichPortIsMissingUntilItComes)
{
    Begin();
    EXPECT_THAT(Texts(mModel->Read()), ElementsAre(HasSubstr("No ports are chosen")));
    const MIDIEndpointRef console = mMachine.MakeSource("Console");
    const MIDIEndpointRef recorder = mMachine.MakeDestination(
        "Recorder", [](const MIDIPacketList*, void*, void*) {}, nullptr);
    mModel->ChoosePorts(host::UniqueIDOf(console), std::nullopt, true);
    EXPECT_THAT(Texts(mModel->Read()), ElementsAre(HasSubstr("Only one port is chosen")));
    mModel->ChoosePorts(host::UniqueIDOf(console), host::UniqueIDOf(recorder), true);
    EXPECT_TRUE(UpdateUntil([](const WindowState& state) { return state.isBound; }));
    EXPECT_THAT(Texts(mModel->Read()), IsEmpty());

    MIDIEndpointDispose(console);
    EXPECT_TRUE(UpdateUntil([](const WindowState& state) { return !state.isBound; }));
    EXPECT_EQ(mModel->Read().inputName, "Console");
    EXPECT_THAT(Texts(mModel->Read()), ElementsAre(HasSubstr("Console is not there")));

    mMachine.MakeSource("Console");
    EXPECT_TRUE(UpdateUntil([](const WindowState& state) { return state.isBound; }));
    EXPECT_THAT(Texts(mModel->Read()), IsEmpty());
}

TEST_F(WindowDeckTest, PutsTroubleFirstWithItsTime)
{
    Begin();
    mModel->Tell("waiting", "for something that the status says");
    mModel->Tell("warning", "a burning smell");

    const WindowState state = mModel->Read();
    ASSERT_EQ(state.notices.size(), 2U);
    EXPECT_EQ(state.notices[0].severity, Severity::Warning);
    EXPECT_THAT(
        state.notices[0].text, testing::MatchesRegex("[0-9]+:[0-9]+:[0-9]+  a burning smell"));
    EXPECT_EQ(state.notices[1].severity, Severity::Note);

    mModel->Acknowledge();
    EXPECT_THAT(Texts(mModel->Read()), ElementsAre(HasSubstr("No ports are chosen")));
}

TEST_F(WindowDeckTest, SaysOnceThatThePluginIsDeaf)
{
    mOptions.run.revive = false;
    Begin();
    const MIDIEndpointRef console = mMachine.MakeSource("Console");
    const MIDIEndpointRef recorder = mMachine.MakeDestination(
        "Recorder", [](const MIDIPacketList*, void*, void*) {}, nullptr);
    mModel->ChoosePorts(host::UniqueIDOf(console), host::UniqueIDOf(recorder), true);
    ASSERT_TRUE(UpdateUntil([](const WindowState& state) { return state.isBound; }));

    constexpr std::array<std::uint8_t, 7> kStopAndPlay{0xF0, 0x7F, 0x7F, 0x06, 0x01, 0x02, 0xF7};
    const MIDIPacketList packets = host::MakePacketList(kStopAndPlay, {});
    MIDIReceived(console, &packets);

    EXPECT_TRUE(UpdateUntil([](const WindowState& state) { return !state.notices.empty(); }));
    EXPECT_THAT(Texts(mModel->Read()), ElementsAre(HasSubstr("obeys nothing any more")));
    mModel->Acknowledge();
    EXPECT_THAT(Texts(mModel->Read()), ElementsAre(HasSubstr("obeys nothing any more")))
        << "as long as it holds";

    mModel->ChoosePorts(host::UniqueIDOf(console), host::UniqueIDOf(recorder), true);
    EXPECT_THAT(Texts(mModel->Read()), IsEmpty()) << "connected anew";
}

TEST_F(WindowDeckTest, DoesNotTakeItsUserForAMachine)
{
    Begin();
    EXPECT_EQ(mModel->Locate("00:00:10:00"), "");
    EXPECT_TRUE(
        UpdateUntil([](const WindowState& state) { return state.timecode == "00:00:10:00"; }));

    EXPECT_EQ(mModel->Read().senderRate, "");
    EXPECT_EQ(mRun->Status().calls, 0U);
}

TEST_F(WindowDeckTest, NumbersTakesAsTheListDoes)
{
    for (const int number : {1, 2}) {
        Begin();
        mModel->Press(Button::Record);
        EXPECT_TRUE(UpdateUntil([number](const WindowState& state) {
            return state.isRecording && state.take == number;
        }));
        mModel->Press(Button::Stop);
        EXPECT_TRUE(UpdateUntil([](const WindowState& state) { return !state.isRecording; }));
        mRun->End();
        mRun.reset();
    }
}

TEST_F(WindowDeckTest, SaysWhereTheFilmBeginsAndEnds)
{
    mOptions.file = test::MakeFilm({"25", 50, "01:00:00:00"});
    mOptions.mediaStart = mOptions.run.transport.startFrame = 90000;
    Begin();
    EXPECT_EQ(mModel->Read().film, "25 fps, 01:00:00:00 to 01:00:02:00");
    EXPECT_THAT(Texts(mModel->Read()), Not(Contains(HasSubstr("film"))));

    EXPECT_EQ(mModel->Locate("00:59:59:24"), "");
    EXPECT_TRUE(UpdateUntil([](const WindowState& state) {
        return testing::Value(Texts(state), Contains("The film begins at 01:00:00:00."));
    }));
    mModel->GoTo(Edge::End);
    EXPECT_TRUE(UpdateUntil([](const WindowState& state) {
        return state.timecode == "01:00:01:24"
            && testing::Value(Texts(state), Not(Contains(HasSubstr("film"))));
    })) << "the last picture is the film's";
    mModel->StepSeconds(1);
    EXPECT_TRUE(UpdateUntil([](const WindowState& state) {
        return testing::Value(Texts(state), Contains("The film ended at 01:00:02:00."));
    }));
    mModel->GoTo(Edge::Start);
    EXPECT_TRUE(
        UpdateUntil([](const WindowState& state) { return state.timecode == "01:00:00:00"; }));
}

TEST_F(WindowDeckTest, KnowsTheFilmsEndAtAnotherRate)
{
    mOptions.file = test::MakeFilm({"25", 50, ""});
    mOptions.run.transport.rate = FrameRate::k24;
    Begin();

    EXPECT_EQ(mModel->Read().film, "25 fps, 00:00:00:00 to 00:00:02:00");
}

} // namespace
} // namespace deck::window
