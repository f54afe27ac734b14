#include "kelcontrolsurface/plugins/MIDIMachineControl/src/MMCConfigDialog.h"

#include "kelcore/proplist/PropList.h"
#include "kelcore/proplist/PropListText.h"
#include "tests/kelcore/TestFolder.h"
#include "tests/kelui/FakeMidi.h"
#include "tests/kelui/FakeModule.h"
#include "tests/kelui/TestScreen.h"
#include "tests/kelui/WindowScript.h"

#include <QtGui/QAccessible>
#include <QtTest/QTest>
#include <QtWidgets/QAbstractItemView>
#include <QtWidgets/QApplication>
#include <QtWidgets/QCheckBox>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QDialogButtonBox>
#include <QtWidgets/QLabel>
#include <QtWidgets/QPushButton>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

using kelcore::proplist::PropList;
using kelcore::proplist::utils::ReadPropList;
using kelcore::proplist::utils::WritePropList;
using kelui::tests::RunUntil;
using kelui::tests::TraceLines;
using kelui::tests::WindowScript;

namespace {

constexpr char kConfigured[] = R"({"in":"12","options":{"transmit_mtc":true},"out":"-22"})";

struct MMCConfigDialogTest : testing::Test {
    MMCConfigDialogTest()
    {
        kelui::tests::sModuleResources
            = std::make_unique<kelui::tests::FolderResources>(KORVA_MMC_RESOURCES);
        midi.SetInputs({{u"In 1", u"11"}, {u"In 2", u"12"}});
        midi.SetOutputs({{u"Out 1", u"-21"}, {u"Out 2", u"-22"}});
        ReadPropList(configuration, kConfigured);
    }
    ~MMCConfigDialogTest() override { kelui::tests::sModuleResources.reset(); }

    bool Show() { return mmc::ShowDeviceConfigDialog(nullptr, configuration); }
    std::string Text() const { return WritePropList(configuration); }

    // The dialog's layout, changed by `edit`.
    void EditLayout(const std::function<void(std::string&)>& edit)
    {
        std::ifstream file(std::string(KORVA_MMC_RESOURCES) + "/MMCMIDIConfig.ui");
        std::string layout{std::istreambuf_iterator<char>(file), {}};
        edit(layout);
        folder.Write("MMCMIDIConfig.ui", layout);
        kelui::tests::sModuleResources
            = std::make_unique<kelui::tests::FolderResources>(folder.Path(""));
    }

    kelui::tests::OffscreenScreen screen;
    kelcore::tests::TestFolder folder;
    kelui::tests::FakeMidi midi;
    PropList configuration;
};

void Press(QWidget& widget, Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
{
    QTest::keyClick(&widget, key, modifiers);
}

QComboBox& Input(QDialog& window)
{
    return *window.findChild<QComboBox*>("InputDevicePopup");
}
QComboBox& Output(QDialog& window)
{
    return *window.findChild<QComboBox*>("OutputDevicePopup");
}
QCheckBox& TransmitMTC(QDialog& window)
{
    return *window.findChild<QCheckBox*>("TransmitMTC");
}

TEST_F(MMCConfigDialogTest, OpensOnWhatIsConfigured)
{
    const WindowScript user([](QDialog& window) {
        EXPECT_EQ(Input(window).currentText(), "In 2");
        EXPECT_EQ(Output(window).currentText(), "Out 2");
        EXPECT_TRUE(TransmitMTC(window).isChecked());
        Press(window, Qt::Key_Escape);
    });

    Show();
}

TEST_F(MMCConfigDialogTest, OpensWithTheOptionOffWhereNothingIsConfigured)
{
    configuration.Clear();
    const WindowScript user([](QDialog& window) {
        EXPECT_FALSE(TransmitMTC(window).isChecked());
        Press(window, Qt::Key_Return);
    });

    EXPECT_TRUE(Show());

    EXPECT_EQ(Text(), R"({"in":"","options":{"transmit_mtc":false},"out":""})");
}

TEST_F(MMCConfigDialogTest, StoresTheOptionOnOK)
{
    const WindowScript user([](QDialog& window) {
        TransmitMTC(window).click();
        Press(window, Qt::Key_Return);
    });

    EXPECT_TRUE(Show());

    EXPECT_EQ(Text(), R"({"in":"12","options":{"transmit_mtc":false},"out":"-22"})");
}

TEST_F(MMCConfigDialogTest, LeavesThePortsAloneOnOK)
{
    const WindowScript user([](QDialog& window) {
        Press(Input(window), Qt::Key_Up);
        Press(Output(window), Qt::Key_Up);
        EXPECT_EQ(Input(window).currentText(), "In 1");
        Press(window, Qt::Key_Return);
    });

    EXPECT_TRUE(Show());

    EXPECT_EQ(Text(), kConfigured);
}

TEST_F(MMCConfigDialogTest, StoresTheOptionAloneWithoutDevices)
{
    midi.SetInputs({});
    midi.SetOutputs({});
    const WindowScript user([](QDialog& window) {
        EXPECT_EQ(Input(window).count(), 0);
        EXPECT_EQ(Input(window).placeholderText(), "No MIDI input is present");
        EXPECT_EQ(Output(window).placeholderText(), "No MIDI output is present");
        TransmitMTC(window).click();
        Press(window, Qt::Key_Return);
    });

    EXPECT_TRUE(Show());

    EXPECT_EQ(Text(), R"({"in":"12","options":{"transmit_mtc":false},"out":"-22"})");
}

TEST_F(MMCConfigDialogTest, KeepsOptionsThatAreNotItsOwn)
{
    ReadPropList(configuration, R"({"options":{"other":"x"},"elsewhere":true})");
    const WindowScript user([](QDialog& window) {
        TransmitMTC(window).click();
        Press(window, Qt::Key_Return);
    });

    EXPECT_TRUE(Show());

    EXPECT_EQ(Text(),
        R"({"elsewhere":true,"in":"","options":{"other":"x","transmit_mtc":true},"out":""})");
}

TEST_F(MMCConfigDialogTest, SavesNothingOnCancel)
{
    ReadPropList(configuration, R"({"in":"12"})");
    const WindowScript user([](QDialog& window) {
        TransmitMTC(window).click();
        Press(window, Qt::Key_Escape);
    });

    EXPECT_FALSE(Show());

    EXPECT_EQ(Text(), R"({"in":"12"})");
}

TEST_F(MMCConfigDialogTest, FollowsDevicesThatComeAndGoWhileItIsOpen)
{
    const WindowScript user([this](QDialog& window) {
        Press(Input(window), Qt::Key_Up);
        TransmitMTC(window).click();
        midi.SetInputs({{u"In 1", u"11"}, {u"New", u"99"}, {u"In 2", u"12"}});
        midi.Notify();
        EXPECT_TRUE(RunUntil([&] { return Input(window).itemText(1) == "New"; }));
        EXPECT_EQ(Input(window).currentText(), "In 2") << "back to the configured port";

        midi.SetInputs({{u"New", u"99"}});
        midi.Notify();
        EXPECT_TRUE(RunUntil([&] { return Input(window).count() == 1; }));
        EXPECT_EQ(Input(window).currentText(), "New");
        EXPECT_FALSE(TransmitMTC(window).isChecked()) << "the user's mark stays";
        Press(window, Qt::Key_Return);
    });

    EXPECT_TRUE(Show());

    EXPECT_EQ(Text(), R"({"in":"12","options":{"transmit_mtc":false},"out":"-22"})");
}

TEST_F(MMCConfigDialogTest, ReleasesItsHostWhenItIsOver)
{
    const WindowScript user([](QDialog& window) { Press(window, Qt::Key_Escape); });

    Show();

    EXPECT_EQ(midi.host, nullptr);
}

TEST_F(MMCConfigDialogTest, ChangesNothingWithoutADisplayAndSaysWhy)
{
    const korva::tests::ScopedVariable platform("QT_QPA_PLATFORM", std::nullopt);
    const korva::tests::ScopedVariable x11("DISPLAY", std::nullopt);
    const korva::tests::ScopedVariable wayland("WAYLAND_DISPLAY", std::nullopt);
    TraceLines lines;

    EXPECT_FALSE(Show());

    EXPECT_EQ(Text(), kConfigured);
    EXPECT_THAT(lines.Take(),
        testing::MatchesRegex("<[0-9]+> <UI, Dialog> <1> the dialog is not shown: there is no "
                              "display: neither DISPLAY nor WAYLAND_DISPLAY is set\n"));
}

TEST_F(MMCConfigDialogTest, ChangesNothingWithoutItsLayoutAndSaysWhy)
{
    kelui::tests::sModuleResources
        = std::make_unique<kelui::tests::FolderResources>(folder.Path("absent"));
    TraceLines lines;

    EXPECT_FALSE(Show());

    EXPECT_THAT(lines.Take(),
        testing::MatchesRegex("<[0-9]+> <UI, Dialog> <1> no dialog: the resources hold no layout "
                              "MMCMIDIConfig.ui\n"));
}

TEST_F(MMCConfigDialogTest, ChangesNothingWithoutResourcesAndSaysWhy)
{
    kelui::tests::sModuleResources.reset();
    TraceLines lines;

    EXPECT_FALSE(Show());

    EXPECT_THAT(lines.Take(), testing::HasSubstr("no resources are at hand"));
}

void Replace(std::string& text, const std::string& what, const std::string& with)
{
    const auto found = text.find(what);
    ASSERT_NE(found, std::string::npos);
    text.replace(found, what.size(), with);
}

TEST_F(MMCConfigDialogTest, ChangesNothingWhereTheLayoutLacksAControlAndSaysWhich)
{
    for (const std::string control : {"InputDevicePopup", "OutputDevicePopup", "TransmitMTC"}) {
        EditLayout([&](std::string& layout) {
            Replace(layout, "name=\"" + control + "\"", "name=\"Other\"");
        });
        TraceLines lines;

        EXPECT_FALSE(Show());

        EXPECT_THAT(lines.Take(),
            testing::HasSubstr("not shown: its layout lacks the control " + control + "\n"));
        EXPECT_EQ(Text(), kConfigured);
    }
}

TEST_F(MMCConfigDialogTest, ChangesNothingWhereAControlIsOfAnotherKind)
{
    EditLayout([&](std::string& layout) { Replace(layout, "QCheckBox", "QPushButton"); });
    TraceLines lines;

    EXPECT_FALSE(Show());

    EXPECT_THAT(lines.Take(), testing::HasSubstr("lacks the control TransmitMTC"));
}

std::string AccessibleText(QWidget& widget, QAccessible::Text kind)
{
    QAccessibleInterface* accessible = QAccessible::queryAccessibleInterface(&widget);
    return accessible == nullptr ? "none" : accessible->text(kind).toStdString();
}

// What a reader says before a popup's value.
std::string AccessibleLabel(QWidget& widget)
{
    const auto relations
        = QAccessible::queryAccessibleInterface(&widget)->relations(QAccessible::Label);
    return relations.empty() ? "none" : relations[0].first->text(QAccessible::Name).toStdString();
}

TEST_F(MMCConfigDialogTest, CanBeReadByAScreenReader)
{
    const WindowScript user([](QDialog& window) {
        EXPECT_EQ(AccessibleText(window, QAccessible::Name), "MIDI Machine Control");
        EXPECT_EQ(AccessibleLabel(Input(window)), "MIDI input:");
        EXPECT_EQ(AccessibleLabel(Output(window)), "MIDI output:");
        EXPECT_EQ(AccessibleText(Input(window), QAccessible::Value), "In 2");
        EXPECT_EQ(
            AccessibleText(TransmitMTC(window), QAccessible::Name), "Transmit MIDI Time Code");
        for (QWidget* widget :
            {static_cast<QWidget*>(&Input(window)), static_cast<QWidget*>(&Output(window)),
                static_cast<QWidget*>(&TransmitMTC(window))}) {
            EXPECT_NE(AccessibleText(*widget, QAccessible::Description), "");
        }
        Press(window, Qt::Key_Escape);
    });

    Show();
}

TEST_F(MMCConfigDialogTest, LeadsFromEachLabelToItsControl)
{
    const WindowScript user([](QDialog& window) {
        EXPECT_EQ(window.findChild<QLabel*>("InputDeviceLabel")->buddy(), &Input(window));
        EXPECT_EQ(window.findChild<QLabel*>("OutputDeviceLabel")->buddy(), &Output(window));

        QApplication::setActiveWindow(&window);
        Press(window, Qt::Key_O, Qt::AltModifier);
        EXPECT_EQ(window.focusWidget(), &Output(window));
        Press(window, Qt::Key_I, Qt::AltModifier);
        EXPECT_EQ(window.focusWidget(), &Input(window));
        EXPECT_TRUE(TransmitMTC(window).isChecked());
        Press(window, Qt::Key_T, Qt::AltModifier);
        EXPECT_TRUE(RunUntil([&] { return !TransmitMTC(window).isChecked(); }));
        Press(window, Qt::Key_Escape);
    });

    Show();
}

TEST_F(MMCConfigDialogTest, StepsThroughItsControlsFromTopToBottom)
{
    const WindowScript user([](QDialog& window) {
        QApplication::setActiveWindow(&window);
        std::vector<QWidget*> order;
        for (int i = 0; i < 5; ++i) {
            order.push_back(window.focusWidget());
            Press(*window.focusWidget(), Qt::Key_Tab);
        }
        const auto& buttons = *window.findChild<QDialogButtonBox*>("Buttons");
        EXPECT_THAT(order,
            testing::ElementsAre(&Input(window), &Output(window), &TransmitMTC(window),
                buttons.button(QDialogButtonBox::Ok), buttons.button(QDialogButtonBox::Cancel)));
        Press(window, Qt::Key_Escape);
    });

    Show();
}

TEST_F(MMCConfigDialogTest, HasTheSameWidthWhateverTheDevicesAreCalled)
{
    std::vector<int> widths;
    for (const std::size_t length : {4, 500}) {
        midi.SetInputs({{kelcore::utility::UTF16String(length, u'W'), u"12"}});
        const WindowScript user([&](QDialog& window) {
            EXPECT_EQ(Input(window).itemData(0, Qt::ToolTipRole).toString(),
                QString(static_cast<qsizetype>(length), u'W'))
                << "what is cut off can be read";
            widths.push_back(window.width());
            Press(window, Qt::Key_Escape);
        });
        Show();
    }

    EXPECT_EQ(widths[0], widths[1]);
}

TEST_F(MMCConfigDialogTest, HasRoomForALongPortName)
{
    const WindowScript user([](QDialog& window) {
        const QFontMetrics metrics(Input(window).font());
        EXPECT_GT(Input(window).width(),
            metrics.horizontalAdvance("Digital Workstation USB MIDI Port 2"));
        Press(window, Qt::Key_Escape);
    });

    Show();
}

} // namespace
