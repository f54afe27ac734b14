// `korva-deck play`: the deck in a window, asked by `korva-deck status` how it is.

#include "tests/acceptance/JackStudio.h"
#include "tests/deck/media/TestFilm.h"

#include <nlohmann/json.hpp>

#include <csignal>

namespace deck::acceptance {
namespace {

using nlohmann::json;
using testing::HasSubstr;

constexpr FrameNumber kFilmStart = 90000; // 01:00:00:00

/// Asks until the answer fits; nothing at the deadline.
template <typename Test>
std::optional<json> WaitForStatus(Test& test, const std::function<bool(const json&)>& fits)
{
    const auto end = std::chrono::steady_clock::now() + kDeadline;
    while (std::chrono::steady_clock::now() < end) {
        if (auto status = test.Status(); status && fits(*status)) {
            return status;
        }
    }
    return std::nullopt;
}

template <typename Base> class Play : public Base {
public:
    std::optional<json> Status()
    {
        return this->Run({"status", "--json"}) == 0 ? std::optional(json::parse(this->mOutput))
                                                    : std::nullopt;
    }

protected:
    void SetUp() override
    {
        this->UseWindowsWithoutAScreen();
        Base::SetUp();
    }
};

using PlayTest = Play<DeckTest>;
using PlayOnJack = Play<JackDeckTest>;
using PlayInStudio = Play<JackStudio>;

TEST_F(PlayTest, RefusesAScreenThatIsNotThere)
{
    EXPECT_EQ(Run({"play", "--screen", "99"}), 2);
    EXPECT_THAT(mOutput, HasSubstr("--screen 99: the screens are 1 ("));
}

TEST_F(PlayTest, RefusesAFileThatIsNoFilmInTheWordsOfWhoTried)
{
    Write(mHome / "notes.mov", "this is no film");

    EXPECT_EQ(Run({"play", (mHome / "notes.mov").string()}), 2);
    EXPECT_THAT(mOutput, HasSubstr("notes.mov: Invalid data"));
}

TEST_F(PlayTest, RefusesAPortThatIsNotThereBeforeThereIsAWindow)
{
    EXPECT_EQ(Run({"play", "--in", "Consul", "--out", "Recorder"}), 2);
    EXPECT_THAT(mOutput, HasSubstr("there is no source \"Consul\""));
    EXPECT_THAT(mOutput, testing::Not(HasSubstr("window:")));
}

TEST_F(PlayOnJack, OpensItsWindowBeforeTheServerIsThereAndRunsWhenItComes)
{
    const auto deck = Start({"play"});
    ASSERT_TRUE(deck->WaitForLine("window:")) << deck->Output();
    EXPECT_TRUE(
        WaitForStatus(*this, [](const json& status) { return status.contains("waiting"); }));

    mServer->Start();

    EXPECT_TRUE(
        WaitForStatus(*this, [](const json& status) { return !status.contains("waiting"); }));
    deck->Signal(SIGTERM);
    EXPECT_EQ(deck->Wait(), 0);
}

TEST_F(PlayOnJack, EndsWhileItWaits)
{
    const auto deck = Start({"play"});
    ASSERT_TRUE(deck->WaitForLine("window:")) << deck->Output();

    deck->Signal(SIGTERM);
    EXPECT_EQ(deck->Wait(), 0);
}

TEST_F(PlayInStudio, TellsHowThePictureFollows)
{
    const std::string film = test::MakeFilm({"25", 500, "01:00:00:00"});
    const auto deck = Start({"play", film, "--in", "Console", "--out", "Recorder"});
    ASSERT_TRUE(deck->WaitForLine("window:")) << deck->Output();
    ASSERT_TRUE(WaitForStatus(*this, [](const json& status) { return status["bound"] == true; }));

    Send(kMMCPlay);
    const auto playing = WaitForStatus(
        *this, [](const json& status) { return status["picture"]["compared"].get<int>() > 10; });
    ASSERT_TRUE(playing) << deck->Output();
    EXPECT_TRUE((*playing)["picture"]["drift_ms"].is_number());
    EXPECT_TRUE((*playing)["picture"]["worst_drift_ms"].is_number());
    EXPECT_TRUE((*playing)["picture"]["frame"].is_null()) << "it moves";

    Send(kMMCStop);
    const auto stands = WaitForStatus(*this, [](const json& status) {
        return status["picture"]["frame"] == status["frame"].get<FrameNumber>() - kFilmStart;
    });
    ASSERT_TRUE(stands) << "the picture of the deck's position: " << mOutput;
    EXPECT_TRUE((*stands)["picture"]["drift_ms"].is_null());
}

} // namespace
} // namespace deck::acceptance
