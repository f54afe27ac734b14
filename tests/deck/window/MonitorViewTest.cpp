#include "deck/window/MonitorView.h"

#include <gmock/gmock.h>

#include <QComboBox>
#include <QFile>
#include <QPushButton>
#include <QTableWidget>
#include <QTemporaryDir>

namespace deck::window {
namespace {

MonitorRow Row(MonitorKind kind, const std::string& meaning, bool isTrouble = false)
{
    return {kind, "1.000001", "250", "F0 F7", meaning, kind == MonitorKind::MMC ? "Play" : "",
        isTrouble, "{\"text\":\"" + meaning + "\"}"};
}

class MonitorViewTest : public testing::Test {
protected:
    std::vector<std::string> Meanings() const
    {
        const auto& table = *mView.findChild<QTableWidget*>();
        std::vector<std::string> meanings;
        for (int row = 0; row < table.rowCount(); ++row) {
            meanings.push_back(table.item(row, 2)->text().toStdString());
        }
        return meanings;
    }
    void Filter(const QString& text)
    {
        mView.findChild<QComboBox*>("Filter")->setCurrentText(text);
    }
    void ClickHold()
    {
        for (auto* button : mView.findChildren<QPushButton*>()) {
            if (button->isCheckable()) {
                button->click();
            }
        }
    }
    std::string Saved(const QString& name)
    {
        const QString path = mFolder.filePath(name);
        EXPECT_EQ(mView.Save(path), QString());
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::ReadOnly));
        return file.readAll().toStdString();
    }

    QTemporaryDir mFolder;
    MonitorView mView;
};

using testing::ElementsAre;
using testing::IsEmpty;

TEST_F(MonitorViewTest, ShowsCommandsAndNotTimeCodeAtFirst)
{
    mView.Add({Row(MonitorKind::MMC, "PLAY"), Row(MonitorKind::MTC, "piece 0")});

    EXPECT_THAT(Meanings(), ElementsAre("PLAY"));
}

TEST_F(MonitorViewTest, FiltersWhatIsThereAndWhatComes)
{
    mView.Add({Row(MonitorKind::MMC, "PLAY"), Row(MonitorKind::MTC, "piece 0"),
        Row(MonitorKind::MMC, "STOP", true)});

    Filter("Everything");
    EXPECT_THAT(Meanings(), ElementsAre("PLAY", "piece 0", "STOP"));
    Filter("Trouble");
    EXPECT_THAT(Meanings(), ElementsAre("STOP"));
    Filter("MTC");
    mView.Add({Row(MonitorKind::MTC, "piece 1"), Row(MonitorKind::MMC, "PLAY")});
    EXPECT_THAT(Meanings(), ElementsAre("piece 0", "piece 1"));
}

TEST_F(MonitorViewTest, HoldsStillAndLosesNothing)
{
    mView.Add({Row(MonitorKind::MMC, "PLAY")});
    ClickHold();
    mView.Add({Row(MonitorKind::MMC, "STOP")});
    EXPECT_THAT(Meanings(), ElementsAre("PLAY"));
    EXPECT_EQ(mView.title(), "Monitor, held; 1 wait");

    ClickHold();
    EXPECT_THAT(Meanings(), ElementsAre("PLAY", "STOP"));
    EXPECT_EQ(mView.title(), "Monitor");
}

TEST_F(MonitorViewTest, ForgetsTheOldest)
{
    for (std::size_t i = 0; i < MonitorView::kKept; ++i) {
        mView.Add({Row(MonitorKind::MMC, "old")});
    }
    mView.Add({Row(MonitorKind::MMC, "new")});

    EXPECT_EQ(Meanings().size(), std::size_t{MonitorView::kShown});
    EXPECT_EQ(Meanings().back(), "new");
    const std::string saved = Saved("all.txt");
    EXPECT_EQ(std::count(saved.begin(), saved.end(), '\n'), MonitorView::kKept);
}

TEST_F(MonitorViewTest, SavesWhatPassesTheFilterAsTextAndAsJSON)
{
    mView.Add({Row(MonitorKind::MMC, "PLAY"), Row(MonitorKind::MTC, "piece 0")});

    EXPECT_EQ(Saved("monitor.txt"), "1.000001  +250 us  F0 F7  PLAY  -> Play\n");
    Filter("Everything");
    EXPECT_EQ(Saved("monitor.jsonl"), "{\"text\":\"PLAY\"}\n{\"text\":\"piece 0\"}\n");
}

TEST_F(MonitorViewTest, SaysWhyItCannotSave)
{
    const QString problem = mView.Save(mFolder.filePath("none/monitor.txt"));

    EXPECT_TRUE(problem.contains("cannot be written")) << problem.toStdString();
}

TEST_F(MonitorViewTest, ClearsWhatItHas)
{
    mView.Add({Row(MonitorKind::MMC, "PLAY")});
    mView.Clear();
    Filter("Everything");

    EXPECT_THAT(Meanings(), IsEmpty());
}

} // namespace
} // namespace deck::window
