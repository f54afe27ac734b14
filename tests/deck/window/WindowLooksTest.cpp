// The window in each of its states: nothing is cut off. With KORVA_WINDOW_SHOTS set
// to a folder each state is left there as a picture, for eyes.

#include "deck/media/VideoPlayer.h"
#include "deck/window/DeckWindow.h"
#include "tests/deck/media/TestFilm.h"

#include <gtest/gtest.h>

#include <QAbstractItemView>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QPushButton>

namespace deck::window {
namespace {

using namespace std::chrono_literals;

class StillModel final : public WindowModel {
public:
    WindowState Read() override { return state; }
    std::vector<MonitorRow> TakeRows() override { return std::exchange(rows, {}); }
    void Press(Button) override {}
    std::string Locate(const std::string&) override { return {}; }
    void Step(FrameNumber) override {}
    void StepSeconds(int) override {}
    void GoTo(Edge) override {}
    void Acknowledge() override {}
    void PlaySound(bool) override {}
    void ChoosePorts(std::optional<std::int32_t>, std::optional<std::int32_t>, bool) override {}
    VideoPlayer* Video() override { return video; }

    WindowState state;
    std::vector<MonitorRow> rows;
    VideoPlayer* video = nullptr;
};

struct Look {
    std::string name;
    void (*arrange)(StillModel&) = [](StillModel&) {};
    void (*act)(DeckWindow&) = [](DeckWindow&) {};
    bool hasFilm = true;
    bool burnIn = false;
    QSize size{1180, 680};
};

void BindPorts(WindowState& state)
{
    state.inputs = {{11, "Console USB MIDI:MMC out", false}, {-12, "Twin", true}};
    state.outputs = {{21, "Recorder:Time code in", false}};
    state.input = 11;
    state.output = 21;
    state.isBound = true;
    state.transmitsMTC = true;
    state.hasOwnPorts = true;
}

void Play(WindowState& state)
{
    state.state = "play";
    state.timecode = "01:02:03:04";
    state.sinceMMC = 5s;
    state.sinceMTC = 1ms;
    state.clock = "late by 0.06 ms, at most 10.31 ms";
    state.senderRate = "25";
    if (!state.film.empty()) {
        state.picture = "+3 ms, at most -18 ms, 12 dropped";
    }
}

std::vector<MonitorRow> Rows(int count)
{
    std::vector<MonitorRow> rows;
    for (int i = 0; i < count; ++i) {
        rows.push_back({MonitorKind::MMC, "906.81240" + std::to_string(i % 10), "40012",
            "F0 7F 7F 06 44 06 01 21 02 03 04 00 F7", "LOCATE 01:02:03:04.00 at 25 fps",
            "LocateToSMPTETime", false, "{}"});
        rows.push_back({MonitorKind::MMC, "907.000001", "187600", "F0 7F 7F 06 01 02 F7",
            "STOP, PLAY (2 commands)", "deaf", true, "{}"});
        rows.push_back({MonitorKind::MTC, "907.010001", "10000", "F1 32",
            "piece 3: seconds, high 2", "", false, "{}"});
    }
    return rows;
}

void Choose(DeckWindow& window, const char* name, const QString& text)
{
    window.findChild<QComboBox*>(name)->setCurrentText(text);
}

const Look kLooks[] = {
    {"no-film-no-ports",
        [](StillModel& model) {
            model.state.notices = {{Severity::Note, "No ports are chosen: choose both above."}};
        },
        [](DeckWindow&) {}, false},
    {"waiting-for-service",
        [](StillModel& model) {
            model.state.isReady = false;
            model.state.service = "jack";
            model.state.notices = {{Severity::Note,
                "Waiting for the MIDI service jack: no server is running; start one"}};
        }},
    {"own-ports-only", [](StillModel& model) { model.state.hasOwnPorts = true; }},
    {"ports-absent",
        [](StillModel& model) {
            BindPorts(model.state);
            model.state.isBound = false;
            model.state.outputs.clear();
            model.state.outputName = "Recorder:Time code in";
            model.state.notices = {{Severity::Note,
                "Recorder:Time code in is not there, so neither port is used; both are taken when "
                "it comes."}};
        }},
    {"ambiguous",
        [](StillModel& model) {
            BindPorts(model.state);
            model.state.input = -12;
            model.state.notices = {{Severity::Note,
                "Twin cannot be told from another port: after the next start it may be the "
                "other."}};
        }},
    {"playing",
        [](StillModel& model) {
            BindPorts(model.state);
            Play(model.state);
            model.state.sinceMMC = 1ms;
            model.rows = Rows(1);
        }},
    {"playing-burn-in",
        [](StillModel& model) {
            BindPorts(model.state);
            Play(model.state);
        },
        [](DeckWindow&) {}, true, true},
    {"paused",
        [](StillModel& model) {
            BindPorts(model.state);
            Play(model.state);
            model.state.state = "pause";
        }},
    {"winding",
        [](StillModel& model) {
            BindPorts(model.state);
            Play(model.state);
            model.state.state = "forward";
        }},
    {"recording",
        [](StillModel& model) {
            BindPorts(model.state);
            Play(model.state);
            model.state.isRecording = true;
            model.state.take = 12;
        }},
    {"trouble",
        [](StillModel& model) {
            BindPorts(model.state);
            Play(model.state);
            model.state.rate = FrameRate::k2997Drop;
            model.state.timecode = "01:02:03;04";
            model.state.senderRate = "24";
            model.state.isSenderAtFault = true;
            model.state.isClockLate = true;
            model.state.isPictureOff = true;
            model.state.clock = "late by 2.20 ms, at most 154.09 ms";
            model.rows = Rows(3);
            model.state.notices
                = {{Severity::Warning,
                       "The plug-in obeys nothing any more (a message with several commands: the "
                       "plug-in carries out the first, and the rest blocks its command buffer); "
                       "choose a port again to connect it anew."},
                    {Severity::Warning, "LOST 12: messages or calls for which was no room"},
                    {Severity::Note,
                        "10:31:05  the sender locates at 24 fps, the deck runs at 29.97df; "
                        "--locate-rate says whose frame numbers count"}};
        }},
    {"film-over",
        [](StillModel& model) {
            BindPorts(model.state);
            Play(model.state);
            model.state.picture = "frame 49";
            model.state.notices = {{Severity::Note, "The film ended at 01:00:02:00."}};
        }},
    {"monitor-full",
        [](StillModel& model) {
            BindPorts(model.state);
            model.rows = Rows(200);
        },
        [](DeckWindow& window) { Choose(window, "Filter", "Everything"); }},
    {"monitor-filtered-and-held",
        [](StillModel& model) {
            BindPorts(model.state);
            model.rows = Rows(20);
        },
        [](DeckWindow& window) {
            Choose(window, "Filter", "Trouble");
            window.findChild<QPushButton*>("Hold")->click();
        }},
    {"small",
        [](StillModel& model) {
            BindPorts(model.state);
            Play(model.state);
        },
        [](DeckWindow&) {}, true, false, QSize(10, 10)},
    {"small-no-film",
        [](StillModel& model) {
            BindPorts(model.state);
            Play(model.state);
        },
        [](DeckWindow&) {}, false, false, QSize(10, 10)},
    {"large",
        [](StillModel& model) {
            BindPorts(model.state);
            Play(model.state);
        },
        [](DeckWindow&) {}, true, false, QSize(2500, 1400)},
    {"large-no-film",
        [](StillModel& model) {
            BindPorts(model.state);
            Play(model.state);
        },
        [](DeckWindow&) {}, false, false, QSize(2500, 1400)},
    {"full-screen",
        [](StillModel& model) {
            BindPorts(model.state);
            Play(model.state);
        },
        [](DeckWindow& window) { window.FillScreen(true); }, true, true},
    {"full-screen-no-film",
        [](StillModel& model) {
            BindPorts(model.state);
            Play(model.state);
        },
        [](DeckWindow& window) { window.FillScreen(true); }, false},
};

void PrintTo(const Look& look, std::ostream* out)
{
    *out << look.name;
}

class WindowLooks : public testing::TestWithParam<Look> {
protected:
    static VideoPlayer& Film()
    {
        static VideoPlayer sFilm(test::MakeFilm({"25", 50, "01:00:00:00"}), {});
        return sFilm;
    }

    static void Settle()
    {
        for (int i = 0; i < 5; ++i) {
            QApplication::processEvents();
        }
    }

    static void Save(const QPixmap& picture)
    {
        if (const QString folder = qEnvironmentVariable("KORVA_WINDOW_SHOTS"); !folder.isEmpty()) {
            const QString name = QString::fromStdString(GetParam().name);
            EXPECT_TRUE(picture.save(folder + "/" + name + ".png"));
        }
    }
};

/// What a widget is too small to show.
QString CutOff(const DeckWindow& window)
{
    for (const QWidget* widget : window.findChildren<QWidget*>()) {
        const auto* label = qobject_cast<const QLabel*>(widget);
        const auto* button = qobject_cast<const QAbstractButton*>(widget);
        const QString text = label ? label->text() : button ? button->text() : QString();
        const bool isOneLine = !label || !label->wordWrap();
        const int needed = widget->fontMetrics().size(Qt::TextShowMnemonic, text).width();
        if (widget->isVisible() && isOneLine && widget->contentsRect().width() < needed) {
            return text;
        }
        if (label && label->isVisible() && label->wordWrap()
            && label->height() < label->heightForWidth(label->width())) {
            return label->text();
        }
    }
    return {};
}

TEST_P(WindowLooks, CutsNothingOff)
{
    const Look& look = GetParam();
    StillModel model;
    model.state.timecode = "01:00:00:00";
    model.state.state = "stop";
    if (look.hasFilm) {
        model.video = &Film();
        model.state.title = "film.mov";
        model.state.film = "25 fps, 01:00:00:00 to 01:02:00:00";
        model.state.picture = "frame 1234";
        model.state.hasSound = false;
    }
    look.arrange(model);
    DeckWindow window(model, {look.burnIn});
    window.resize(look.size);
    window.show();
    look.act(window);
    Settle();
    window.Refresh();
    Settle();

    EXPECT_EQ(CutOff(window).toStdString(), "");
    Save(window.grab());
}

INSTANTIATE_TEST_SUITE_P(
    States, WindowLooks, testing::ValuesIn(kLooks), [](const testing::TestParamInfo<Look>& look) {
        std::string name = look.param.name;
        std::replace(name.begin(), name.end(), '-', '_');
        return name;
    });

} // namespace
} // namespace deck::window
