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
    MOCK_METHOD(void, StepSeconds, (int), (override));
    MOCK_METHOD(void, GoTo, (Edge), (override));
    MOCK_METHOD(void, Acknowledge, (), (override));
    MOCK_METHOD(void, PlaySound, (bool), (override));
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

    mModel.state.take = 12;
    window.Refresh();
    EXPECT_EQ(Find<QLabel>(window, "State").text(), "RECORD 12");
}

TEST_F(DeckWindowTest, ListsPortsAndMarksAmbiguousAndAbsentOnes)
{
    mModel.state.input = -12;
    mModel.state.output = 99;
    DeckWindow window(mModel, {});
    const auto& input = Find<QComboBox>(window, "Input");
    const auto& output = Find<QComboBox>(window, "Output");

    EXPECT_EQ(input.count(), 3);
    EXPECT_EQ(input.currentText(), "Twin (ambiguous, ID -12)");
    EXPECT_EQ(output.currentText(), "99 (not there)");

    mModel.state.outputName = "Recorder";
    window.Refresh();
    EXPECT_EQ(output.currentText(), "Recorder (not there)");
    EXPECT_EQ(window.findChild<QWidget*>("MTCLamp")->accessibleName(), "MTC out: no ports bound");
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

TEST_F(DeckWindowTest, StepsSecondsAndGoesToTheEndsByKeyboard)
{
    DeckWindow window(mModel, {});
    const auto pressWithShift = [&](int key) {
        QKeyEvent press(QEvent::KeyPress, key, Qt::ShiftModifier);
        QApplication::sendEvent(&window, &press);
    };

    EXPECT_CALL(mModel, StepSeconds(-1));
    pressWithShift(Qt::Key_Left);
    EXPECT_CALL(mModel, StepSeconds(1));
    pressWithShift(Qt::Key_Right);
    EXPECT_CALL(mModel, GoTo(Edge::Start));
    Press(window, Qt::Key_Home);
    EXPECT_CALL(mModel, GoTo(Edge::End));
    Press(window, Qt::Key_End);
}

TEST_F(DeckWindowTest, ADigitBeginsALocate)
{
    DeckWindow window(mModel, {});
    window.show();
    QKeyEvent digit(QEvent::KeyPress, Qt::Key_1, Qt::NoModifier, "1");
    QApplication::sendEvent(&window, &digit);

    EXPECT_EQ(Find<QLineEdit>(window, "Locate").text(), "1");
    EXPECT_CALL(mModel, Acknowledge());
    Press(window, Qt::Key_Escape);
    EXPECT_EQ(Find<QLineEdit>(window, "Locate").text(), "");
}

TEST_F(DeckWindowTest, LeavesTheKeyboardToTheTransportAfterAClick)
{
    DeckWindow window(mModel, {});
    for (const QWidget* widget : window.findChildren<QWidget*>()) {
        const bool takesKeys = qobject_cast<const QAbstractButton*>(widget) != nullptr
            || qobject_cast<const QComboBox*>(widget) != nullptr;
        if (takesKeys) {
            EXPECT_FALSE(widget->focusPolicy() & Qt::ClickFocus) << widget->toolTip().toStdString();
        }
    }
}

TEST_F(DeckWindowTest, SaysWaitingAndRefusesButtonsUntilTheDeckRuns)
{
    mModel.state.isReady = false;
    DeckWindow window(mModel, {});
    EXPECT_EQ(Find<QLabel>(window, "State").text(), "WAITING");
    EXPECT_FALSE(Find<QLineEdit>(window, "Locate").isEnabled());
    EXPECT_FALSE(Find<QComboBox>(window, "Input").isEnabled());

    mModel.state.isReady = true;
    window.Refresh();
    EXPECT_EQ(Find<QLabel>(window, "State").text(), "STOP");
    EXPECT_TRUE(Find<QLineEdit>(window, "Locate").isEnabled());
}

TEST_F(DeckWindowTest, TellsTroubleFromANote)
{
    DeckWindow window(mModel, {});
    window.show();
    const auto& lamp = Find<QWidget>(window, "TroubleLamp");
    const auto& alarm = Find<QLabel>(window, "Alarm");
    EXPECT_EQ(Find<QLabel>(window, "Trouble").text(), "No trouble");
    EXPECT_FALSE(alarm.isVisible());

    mModel.state.notices = {{Severity::Note, "a note"}};
    window.Refresh();
    EXPECT_EQ(lamp.accessibleName(), "Trouble: a note");
    EXPECT_FALSE(alarm.isVisible());

    mModel.state.notices = {{Severity::Warning, "trouble"}, {Severity::Note, "a note"}};
    window.Refresh();
    EXPECT_EQ(Find<QLabel>(window, "Trouble").text(), "trouble\na note");
    EXPECT_TRUE(alarm.isVisible());
}

TEST_F(DeckWindowTest, FillsTheScreenWithTheTimecodeAlone)
{
    DeckWindow window(mModel, {});
    window.show();
    Press(window, Qt::Key_F11);
    EXPECT_TRUE(window.isFullScreen());
    EXPECT_TRUE(Find<QLabel>(window, "Timecode").isVisible());
    EXPECT_FALSE(Find<QComboBox>(window, "Input").isVisible());
    EXPECT_FALSE(Find<QLineEdit>(window, "Locate").isVisible());

    Press(window, Qt::Key_Escape);
    EXPECT_FALSE(window.isFullScreen());
    EXPECT_TRUE(Find<QComboBox>(window, "Input").isVisible());
}

TEST_F(DeckWindowTest, PlaysTheSoundWhereThereIsOne)
{
    DeckWindow window(mModel, {});
    window.show();
    auto& sound = Find<QPushButton>(window, "Sound");
    EXPECT_FALSE(sound.isVisible());

    mModel.state.hasSound = false;
    window.Refresh();
    EXPECT_CALL(mModel, PlaySound(true));
    sound.click();
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
