#include "kelcontrolsurface/plugins/common/midi/src/MIDIDeviceConfigDialog.h"

#include "tests/kelcore/TestFolder.h"
#include "tests/kelui/FakeMidi.h"
#include "tests/kelui/TestScreen.h"
#include "tests/kelui/WindowScript.h"
#include "tests/support/VirtualSlot.h"

#include <QtTest/QTest>
#include <QtWidgets/QComboBox>

#include <boost/intrusive_ptr.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <stdexcept>
#include <thread>

using kelcontrolsurface::MIDIDeviceConfigDialog;
using kelcontrolsurface::MIDIDeviceInfo;
using kelcore::utility::UTF16String;
using kelui::controls::UI_Popup;
using kelui::tests::RunUntil;
using kelui::tests::WindowScript;
using korva::tests::VirtualSlot;
using testing::ElementsAre;

namespace {

constexpr char kLayout[] = R"(<ui version='4.0'><widget class='QDialog' name='D'>
<layout class='QVBoxLayout' name='rows'>
<item><widget class='QComboBox' name='InputDevicePopup'/></item>
<item><widget class='QComboBox' name='OutputDevicePopup'/></item>
<item><widget class='QDialogButtonBox' name='Buttons'>
<property name='standardButtons'><set>QDialogButtonBox::Cancel|QDialogButtonBox::Ok</set></property>
</widget></item></layout></widget></ui>)";

/// Counts the notices that reach a derived class, and tells when that begins to go.
class Dialog : public MIDIDeviceConfigDialog {
public:
    using MIDIDeviceConfigDialog::MIDIDeviceConfigDialog;

    void OnMidiSetupChanged() override
    {
        ++notices;
        MIDIDeviceConfigDialog::OnMidiSetupChanged();
    }

    int notices = 0;
    std::function<void()> onDestruction;

protected:
    ~Dialog() override
    {
        if (onDestruction) {
            onDestruction();
        }
    }
};

struct MIDIDeviceConfigDialogTest : testing::Test {
    MIDIDeviceConfigDialogTest()
    {
        info.SetInputPortID(u"12");
        info.SetOutputPortID(u"-22");
        midi.SetInputs({{u"In 1", u"11"}, {u"In 2", u"12"}, {u"In 3", u"13"}});
        midi.SetOutputs({{u"Out 1", u"-21"}, {u"Out 2", u"-22"}});
    }

    boost::intrusive_ptr<Dialog> Make(const char* layout = kLayout)
    {
        folder.Write("Layout.ui", layout);
        return new Dialog(nullptr, &resources, "Layout", "Layout", nullptr, info);
    }

    static UI_Popup& Input(const MIDIDeviceConfigDialog& dialog)
    {
        return *dialog.GetTypedControlForID<UI_Popup>("InputDevicePopup");
    }
    static UI_Popup& Output(const MIDIDeviceConfigDialog& dialog)
    {
        return *dialog.GetTypedControlForID<UI_Popup>("OutputDevicePopup");
    }

    kelui::tests::OffscreenScreen screen;
    kelcore::tests::TestFolder folder;
    kelui::tests::FolderResources resources{folder.Path("")};
    kelui::tests::FakeMidi midi;
    MIDIDeviceInfo info;
};

TEST_F(MIDIDeviceConfigDialogTest, HasItsVirtualFunctionsInTheirSlots)
{
    using D = MIDIDeviceConfigDialog;
    EXPECT_EQ(VirtualSlot(&D::AddRefCount), 0U);
    EXPECT_EQ(VirtualSlot(&D::ReleaseRefCount), 1U);
    // 2 and 3: the two destructors.
    EXPECT_EQ(VirtualSlot(&D::DialogOpened), 4U);
    EXPECT_EQ(VirtualSlot(&D::DialogClosed), 5U);
    EXPECT_EQ(VirtualSlot(&D::DialogActionCallback), 6U);
    EXPECT_EQ(VirtualSlot(&D::EndModal), 7U);
    EXPECT_EQ(VirtualSlot(&D::IsModal), 8U);
    EXPECT_EQ(VirtualSlot(&D::RunModal), 9U);
    EXPECT_EQ(VirtualSlot(&D::OnMidiSetupChanged), 10U);
}

TEST_F(MIDIDeviceConfigDialogTest, MakesItsHostThenItsEnumeratorThenListsThePorts)
{
    auto dialog = Make();
    EXPECT_THAT(midi.TakeLog(),
        ElementsAre(
            "host Quillion.ControlSurface.MIDIDeviceConfig", "enumerator", "inputs", "outputs"));

    dialog.reset();
    EXPECT_THAT(midi.TakeLog(), ElementsAre("host gone"));
}

TEST_F(MIDIDeviceConfigDialogTest, ListensBeforeItListsThePorts)
{
    midi.onEnumInputs = [this] {
        midi.onEnumInputs = nullptr;
        midi.host->NotifyMidiSetupChanged();
    };

    Make();

    EXPECT_THAT(midi.TakeLog(),
        ElementsAre(
            testing::_, "enumerator", "inputs", "inputs", "outputs", "outputs", "host gone"));
}

TEST_F(MIDIDeviceConfigDialogTest, ListsThePortsByDisplayNameInTheOrderOfTheService)
{
    const auto dialog = Make();

    EXPECT_THAT(Input(*dialog).GetStateAfter(0).labels, ElementsAre(u"In 1", u"In 2", u"In 3"));
    EXPECT_THAT(Output(*dialog).GetStateAfter(0).labels, ElementsAre(u"Out 1", u"Out 2"));
}

TEST_F(MIDIDeviceConfigDialogTest, SelectsTheConfiguredPorts)
{
    const auto dialog = Make();

    EXPECT_EQ(Input(*dialog).GetValue(), 1);
    EXPECT_EQ(Output(*dialog).GetValue(), 1);
}

TEST_F(MIDIDeviceConfigDialogTest, ShowsThePopupsOwnSelectionWhereTheConfiguredPortIsAbsent)
{
    info.SetInputPortID(u"012"); // compared as text
    info.SetOutputPortID(u"");

    const auto dialog = Make();

    EXPECT_EQ(Input(*dialog).GetValue(), 0);
    EXPECT_EQ(Output(*dialog).GetValue(), 0);
}

TEST_F(MIDIDeviceConfigDialogTest, HasEmptyPopupsWithoutDevices)
{
    midi.SetInputs({});
    midi.SetOutputs({});

    const auto dialog = Make();

    EXPECT_EQ(Input(*dialog).GetItemCount(), 0);
    EXPECT_EQ(Input(*dialog).GetValue(), UI_Popup::kNothingSelected);
    EXPECT_EQ(Output(*dialog).GetItemCount(), 0);
}

TEST_F(MIDIDeviceConfigDialogTest, StaysEmptyWithoutAHostOrAnEnumerator)
{
    midi.hasHost = false;
    EXPECT_EQ(Input(*Make()).GetItemCount(), 0);
    EXPECT_THAT(midi.TakeLog(), ElementsAre("host Quillion.ControlSurface.MIDIDeviceConfig"));

    midi.hasHost = true;
    midi.hasEnumerator = false;
    EXPECT_EQ(Input(*Make()).GetItemCount(), 0);
}

TEST_F(MIDIDeviceConfigDialogTest, ListsThePortsAnewWhenTheSetupChanges)
{
    const auto dialog = Make();
    midi.SetInputs({{u"In 0", u"10"}, {u"In 2", u"12"}});
    midi.SetOutputs({});

    midi.Notify();

    EXPECT_THAT(Input(*dialog).GetStateAfter(0).labels, ElementsAre(u"In 0", u"In 2"));
    EXPECT_EQ(Input(*dialog).GetValue(), 1);
    EXPECT_EQ(Output(*dialog).GetItemCount(), 0);
}

TEST_F(MIDIDeviceConfigDialogTest, ReturnsToTheConfiguredPortsWhenTheSetupChanges)
{
    const auto dialog = Make();
    Input(*dialog).SetValue(2);

    midi.Notify();

    EXPECT_EQ(Input(*dialog).GetValue(), 1);
}

TEST_F(MIDIDeviceConfigDialogTest, GivesTheIDsOfTheSelectedPorts)
{
    const auto dialog = Make();
    Input(*dialog).SetValue(2);
    Output(*dialog).SetValue(0);
    UTF16String input(u"x");
    UTF16String output(u"y");

    EXPECT_TRUE(dialog->GetPortIDs(input, output));

    EXPECT_EQ(input, u"13");
    EXPECT_EQ(output, u"-21");
}

TEST_F(MIDIDeviceConfigDialogTest, GivesWhatItHasWhereAPopupIsEmpty)
{
    UTF16String input(u"x");
    UTF16String output(u"y");
    midi.SetOutputs({});
    EXPECT_FALSE(Make()->GetPortIDs(input, output));
    EXPECT_EQ(input, u"12");
    EXPECT_EQ(output, u"");

    midi.SetInputs({});
    midi.SetOutputs({{u"Out 1", u"-21"}});
    EXPECT_FALSE(Make()->GetPortIDs(input, output));
    EXPECT_EQ(input, u"");
    EXPECT_EQ(output, u"") << "the output is not asked where the input fails";
}

void Press(QDialog& window, Qt::Key key)
{
    QTest::keyClick(&window, key);
}

// Moves the selection of both popups up by one: to "11" and "-21".
void PickOthers(QDialog& window)
{
    for (const char* popup : {"InputDevicePopup", "OutputDevicePopup"}) {
        QTest::keyClick(window.findChild<QComboBox*>(popup), Qt::Key_Up);
    }
}

TEST_F(MIDIDeviceConfigDialogTest, WritesThePickedPortsOnOK)
{
    const auto dialog = Make();
    const WindowScript user([](QDialog& window) {
        PickOthers(window);
        Press(window, Qt::Key_Return);
    });

    EXPECT_EQ(dialog->RunModal(), 1);

    EXPECT_EQ(info.GetInputPortID(), u"11");
    EXPECT_EQ(info.GetOutputPortID(), u"-21");
}

TEST_F(MIDIDeviceConfigDialogTest, WritesNothingOnCancel)
{
    const auto dialog = Make();
    const WindowScript user([](QDialog& window) {
        PickOthers(window);
        Press(window, Qt::Key_Escape);
    });

    EXPECT_NE(dialog->RunModal(), 1);

    EXPECT_EQ(info.GetInputPortID(), u"12");
    EXPECT_EQ(info.GetOutputPortID(), u"-22");
}

TEST_F(MIDIDeviceConfigDialogTest, WritesNothingOnOKWhereAPopupIsEmpty)
{
    midi.SetOutputs({});
    const auto dialog = Make();
    const WindowScript user([](QDialog& window) {
        QTest::keyClick(window.findChild<QComboBox*>("InputDevicePopup"), Qt::Key_Up);
        Press(window, Qt::Key_Return);
    });

    EXPECT_EQ(dialog->RunModal(), 1);

    EXPECT_EQ(info.GetInputPortID(), u"12");
}

TEST_F(MIDIDeviceConfigDialogTest, FollowsTheSetupWhileItIsOpen)
{
    const auto dialog = Make();
    const WindowScript user([this](QDialog& window) {
        auto& combo = *window.findChild<QComboBox*>("InputDevicePopup");
        QTest::keyClick(&combo, Qt::Key_Down);
        EXPECT_EQ(combo.currentText(), "In 3");

        midi.SetInputs({{u"In 1", u"11"}, {u"New", u"99"}, {u"In 2", u"12"}});
        midi.Notify();

        EXPECT_TRUE(RunUntil([&] { return combo.itemText(1) == "New"; }));
        EXPECT_EQ(combo.currentText(), "In 2") << "back to the configured port";
        Press(window, Qt::Key_Return);
    });

    EXPECT_EQ(dialog->RunModal(), 1);

    EXPECT_EQ(info.GetInputPortID(), u"12");
    EXPECT_EQ(dialog->notices, 1) << "a derived class may have its own say";
}

TEST_F(MIDIDeviceConfigDialogTest, HoldsTheCallbackOfADerivedClassOnlyWhileItIsOpen)
{
    const auto dialog = Make();

    midi.Notify();

    EXPECT_EQ(dialog->notices, 0);
}

TEST_F(MIDIDeviceConfigDialogTest, LeavesAnActionToTheToolkit)
{
    const auto dialog = Make();
    const WindowScript user([&](QDialog&) { dialog->DialogActionCallback("OK", 1); });

    EXPECT_EQ(dialog->RunModal(), 1);
}

TEST_F(MIDIDeviceConfigDialogTest, LacksAPopupWithoutHarm)
{
    const auto dialog = Make("<ui version='4.0'><widget class='QComboBox'"
                             " name='InputDevicePopup'/></ui>");
    midi.Notify();
    UTF16String input;
    UTF16String output;

    EXPECT_FALSE(dialog->GetPortIDs(input, output));
    EXPECT_EQ(input, u"12");
}

TEST_F(MIDIDeviceConfigDialogTest, ReleasesWhatItHasWhenItsConstructionFails)
{
    boost::intrusive_ptr<kelmidi::MidiHost> host;
    midi.onEnumInputs = [&] {
        host = midi.host;
        throw std::runtime_error("enumeration");
    };

    EXPECT_THROW(Make(), std::runtime_error);

    midi.TakeLog();
    host->NotifyMidiSetupChanged();
    EXPECT_THAT(midi.TakeLog(), testing::IsEmpty()) << "nobody listens any more";
    host.reset();
    EXPECT_EQ(midi.host, nullptr);
}

// A notice comes on the MIDI service's thread, which can do nothing about what is thrown.
TEST_F(MIDIDeviceConfigDialogTest, KeepsItsListsWhereTheyCannotBeMadeAnew)
{
    const auto dialog = Make();
    midi.SetInputs({{u"New", u"12"}});
    midi.onEnumOutputs = [] { throw std::bad_alloc(); };

    midi.Notify();

    ASSERT_EQ(Input(*dialog).GetItemCount(), 3);
    Input(*dialog).SetValue(2);
    UTF16String input;
    UTF16String output;
    EXPECT_TRUE(dialog->GetPortIDs(input, output));
    EXPECT_EQ(input, u"13");
}

TEST_F(MIDIDeviceConfigDialogTest, WaitsForANoticeThatRunsBeforeItGoes)
{
    auto dialog = Make();
    const boost::intrusive_ptr<kelmidi::MidiHost> host(midi.host);
    midi.TakeLog();
    std::atomic<bool> isInside{false};
    std::atomic<bool> isGoing{false};
    midi.onEnumInputs = [&] {
        isInside = true;
        while (!isGoing) {
            std::this_thread::yield();
        }
    };
    dialog->onDestruction = [&] { isGoing = true; };
    std::thread notifier([&] { host->NotifyMidiSetupChanged(); });
    while (!isInside) {
        std::this_thread::yield();
    }

    dialog.reset();
    EXPECT_THAT(midi.TakeLog(), ElementsAre("inputs", "outputs"));

    notifier.join();
    host->NotifyMidiSetupChanged();
    EXPECT_THAT(midi.TakeLog(), testing::IsEmpty()) << "nobody listens any more";
}

} // namespace
