#include "deck/window/DeckWindow.h"

#include "deck/media/VideoPlayer.h"
#include "deck/window/Lamp.h"

#include <gmock/gmock.h>

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

namespace deck::window {
namespace {

using namespace std::chrono_literals;
using testing::_;
using testing::Optional;
using testing::StrictMock;

class MockModel : public WindowModel {
public:
    MOCK_METHOD(void, Press, (Button), (override));
    MOCK_METHOD(std::string, Locate, (const std::string&), (override));
    MOCK_METHOD(void, Step, (FrameNumber), (override));
    MOCK_METHOD(void,
        ChoosePorts,
        (std::optional<std::int32_t>, std::optional<std::int32_t>, bool),
        (override));

    WindowState Read() override { return state; }
    std::vector<MonitorRow> TakeRows() override { return std::exchange(rows, {}); }
    VideoPlayer* Video() override { return nullptr; }

    WindowState state;
    std::vector<MonitorRow> rows;
};

class DeckWindowTest : public testing::Test {
protected:
    DeckWindowTest()
    {
        mModel.state.timecode = "01:02:03;04";
        mModel.state.state = "stop";
        mModel.state.inputs = {{11, "Console", false}, {-12, "Twin", true}};
        mModel.state.outputs = {{21, "Recorder", false}};
    }

    template <typename Widget> Widget& Find(DeckWindow& window, const char* name)
    {
        return *window.findChild<Widget*>(name);
    }
    static void Press(QWidget& widget, int key)
    {
        QKeyEvent press(QEvent::KeyPress, key, Qt::NoModifier);
        QApplication::sendEvent(&widget, &press);
    }

    StrictMock<MockModel> mModel;
};

TEST_F(DeckWindowTest, ShowsTimecodeAndState)
{
    mModel.state.state = "play";
    mModel.state.rate = FrameRate::k2997Drop;
    DeckWindow window(mModel, {});

    EXPECT_EQ(Find<QLabel>(window, "Timecode").text(), "01:02:03;04");
    EXPECT_EQ(Find<QLabel>(window, "State").text(), "PLAY");

    mModel.state.isRecording = true;
    window.Refresh();
    EXPECT_EQ(Find<QLabel>(window, "State").text(), "RECORD");
}

TEST_F(DeckWindowTest, ListsPortsAndMarksAmbiguousAndAbsentOnes)
{
    mModel.state.input = -12;
    mModel.state.output = 99;
    DeckWindow window(mModel, {});
    const auto& input = Find<QComboBox>(window, "Input");
    const auto& output = Find<QComboBox>(window, "Output");

    EXPECT_EQ(input.count(), 3);
    EXPECT_EQ(input.currentText(), "Twin (ambiguous)");
    EXPECT_EQ(output.currentText(), "99 (not there)");
}

TEST_F(DeckWindowTest, FollowsPortsThatComeAndGo)
{
    mModel.state.input = 11;
    DeckWindow window(mModel, {});
    const auto& input = Find<QComboBox>(window, "Input");

    mModel.state.inputs = {{5, "New", false}, {11, "Console", false}};
    window.Refresh();
    EXPECT_EQ(input.itemText(1), "New");
    EXPECT_EQ(input.currentText(), "Console");

    mModel.state.inputs.clear();
    window.Refresh();
    EXPECT_EQ(input.currentText(), "11 (not there)");
}

TEST_F(DeckWindowTest, ChoosesPortsAndTimeCode)
{
    mModel.state.output = 21;
    DeckWindow window(mModel, {});
    auto& input = Find<QComboBox>(window, "Input");

    EXPECT_CALL(mModel, ChoosePorts(Optional(-12), Optional(21), false));
    input.setCurrentIndex(2);
    Q_EMIT input.activated(2);

    EXPECT_CALL(mModel, ChoosePorts(_, Optional(21), true));
    window.findChild<QCheckBox*>()->click();
}

TEST_F(DeckWindowTest, ChoosesNoPort)
{
    mModel.state.input = 11;
    DeckWindow window(mModel, {});
    auto& input = Find<QComboBox>(window, "Input");

    EXPECT_CALL(mModel, ChoosePorts(testing::Eq(std::nullopt), _, false));
    input.setCurrentIndex(0);
    Q_EMIT input.activated(0);
}

TEST_F(DeckWindowTest, EveryButtonDoesWhatItSays)
{
    DeckWindow window(mModel, {});
    const std::vector<std::pair<QString, Button>> expected{{"Rewind", Button::Rewind},
        {"Stop", Button::Stop}, {"Play", Button::Play}, {"Pause", Button::Pause},
        {"Fast forward", Button::Forward}, {"Record", Button::Record}};

    for (const auto& [name, button] : expected) {
        EXPECT_CALL(mModel, Press(button));
        for (auto* widget : window.findChildren<QPushButton*>()) {
            if (widget->accessibleName() == name) {
                widget->click();
            }
        }
        testing::Mock::VerifyAndClearExpectations(&mModel);
    }
}

TEST_F(DeckWindowTest, WorksByKeyboard)
{
    DeckWindow window(mModel, {});

    EXPECT_CALL(mModel, Press(Button::Play));
    Press(window, Qt::Key_Space);
    mModel.state.state = "play";
    EXPECT_CALL(mModel, Press(Button::Stop));
    Press(window, Qt::Key_Space);
    EXPECT_CALL(mModel, Step(-1));
    Press(window, Qt::Key_Left);
    EXPECT_CALL(mModel, Step(1));
    Press(window, Qt::Key_Right);
}

TEST_F(DeckWindowTest, KeepsAWrongLocateAndSaysWhatIsWrong)
{
    DeckWindow window(mModel, {});
    auto& text = Find<QLineEdit>(window, "Locate");

    EXPECT_CALL(mModel, Locate("25:61:00:00")).WillOnce(testing::Return("hours end at 23"));
    text.setText("25:61:00:00");
    Q_EMIT text.returnPressed();
    EXPECT_EQ(text.text(), "25:61:00:00");
    EXPECT_EQ(Find<QLabel>(window, "Trouble").text(), "hours end at 23");

    EXPECT_CALL(mModel, Locate("01:00:00:00")).WillOnce(testing::Return(""));
    text.setText("01:00:00:00");
    Q_EMIT text.returnPressed();
    EXPECT_EQ(text.text(), "");
}

TEST_F(DeckWindowTest, LampsSayWhatHappensInWords)
{
    DeckWindow window(mModel, {});
    const auto& lamp = *static_cast<QWidget*>(window.findChild<QWidget*>("MMCLamp"));
    EXPECT_EQ(lamp.accessibleName(), "MMC in: no ports bound");

    mModel.state.isBound = true;
    window.Refresh();
    EXPECT_EQ(lamp.accessibleName(), "MMC in: nothing yet");

    mModel.state.sinceMMC = 10ms;
    window.Refresh();
    EXPECT_EQ(lamp.accessibleName(), "MMC in: now");

    mModel.state.sinceMMC = 5s;
    window.Refresh();
    EXPECT_EQ(lamp.accessibleName(), "MMC in: quiet");
}

TEST_F(DeckWindowTest, NamesItsOwnPortsWhereNoneAreChosen)
{
    mModel.state.hasOwnPorts = true;
    DeckWindow window(mModel, {});

    EXPECT_EQ(Find<QComboBox>(window, "Input").currentText(), "only the deck's own \"MMC in\"");
    EXPECT_EQ(Find<QComboBox>(window, "Output").currentText(), "only the deck's own \"MTC out\"");
    EXPECT_EQ(
        window.findChild<QWidget*>("MMCLamp")->accessibleName(), QString("MMC in: nothing yet"));
}

TEST_F(DeckWindowTest, SaysHowLateTheClockTicks)
{
    DeckWindow window(mModel, {});
    EXPECT_EQ(Find<QLabel>(window, "Clock").text(), "not rolled yet");

    mModel.state.clock = "late by 0.06 ms, at most 0.31 ms";
    window.Refresh();
    EXPECT_EQ(Find<QLabel>(window, "Clock").text(), "late by 0.06 ms, at most 0.31 ms");

    mModel.state.picture = "picture +3 ms, at most +8 ms";
    window.Refresh();
    EXPECT_EQ(Find<QLabel>(window, "Clock").text(),
        "late by 0.06 ms, at most 0.31 ms\npicture +3 ms, at most +8 ms");
}

} // namespace
} // namespace deck::window

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    testing::InitGoogleMock(&argc, argv);
    const QApplication application(argc, argv);
    deck::window::UseDarkColours();
    return RUN_ALL_TESTS();
}
