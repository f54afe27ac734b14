#include "kelorintal/UI_OptionalOrinDialog.h"

#include "kelui/controls/UI_Checkbox.h"
#include "kelui/controls/UI_Popup.h"
#include "tests/kelui/SmallDialog.h"

#include <QtTest/QTest>
#include <QtWidgets/QAbstractItemView>
#include <QtWidgets/QApplication>
#include <QtWidgets/QCheckBox>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QDialogButtonBox>
#include <QtWidgets/QPushButton>

#include <boost/intrusive_ptr.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

using kelorintal::UI_OptionalOrinDialog;
using kelui::controls::UI_Checkbox;
using kelui::controls::UI_Popup;
using kelui::tests::Child;
using kelui::tests::Press;
using kelui::tests::RunUntil;
using kelui::tests::SmallDialog;
using kelui::tests::TraceLines;
using kelui::tests::WindowScript;
using korva::tests::ScopedVariable;

namespace {

using UI_OptionalOrinDialogTest = kelui::tests::SmallDialogTest;

TEST_F(UI_OptionalOrinDialogTest, IsCountedFromNought)
{
    bool destroyed = false;
    auto dialog = Make();
    dialog->destroyed = &destroyed;

    boost::intrusive_ptr<SmallDialog> other = dialog;
    dialog.reset();
    EXPECT_FALSE(destroyed);
    other.reset();

    EXPECT_TRUE(destroyed);
}

TEST_F(UI_OptionalOrinDialogTest, FindsControlsByIDAndType)
{
    const auto dialog = Make();

    EXPECT_NE(dialog->GetTypedControlForID<UI_Popup>("Popup"), nullptr);
    EXPECT_NE(dialog->GetTypedControlForID<UI_Checkbox>("Check"), nullptr);
    EXPECT_EQ(dialog->GetTypedControlForID<UI_Checkbox>("Popup"), nullptr);
    EXPECT_EQ(dialog->GetTypedControlForID<UI_Popup>("Absent"), nullptr);
}

TEST_F(UI_OptionalOrinDialogTest, ShowsWhatItsControlsHold)
{
    const auto dialog = Make();
    dialog->GetTypedControlForID<UI_Popup>("Popup")->AddItem(u"Gr\u00FCn & Blau");
    dialog->GetTypedControlForID<UI_Popup>("Popup")->SetValue(2);
    dialog->GetTypedControlForID<UI_Checkbox>("Check")->SetValue(1);
    const WindowScript user([](QDialog& window) {
        EXPECT_EQ(window.windowTitle(), "Test");
        EXPECT_TRUE(window.isModal());
        EXPECT_EQ(Child<QComboBox>(window, "Popup").count(), 3);
        EXPECT_EQ(Child<QComboBox>(window, "Popup").currentText(),
            QString::fromUtf8("Gr\xC3\xBCn & Blau"));
        EXPECT_TRUE(Child<QCheckBox>(window, "Check").isChecked());
        Press(window, Qt::Key_Escape);
    });

    dialog->RunModal();
}

TEST_F(UI_OptionalOrinDialogTest, AnswersOneForEnter)
{
    const auto dialog = Make();
    const WindowScript user([](QDialog& window) { Press(window, Qt::Key_Return); });

    EXPECT_EQ(dialog->RunModal(), 1);
    EXPECT_THAT(dialog->calls, testing::ElementsAre("opened", "OK 1", "closed"));
}

TEST_F(UI_OptionalOrinDialogTest, AnswersOneForEnterInAnyControl)
{
    for (const char* control : {"Popup", "Check"}) {
        const auto dialog = Make();
        const WindowScript user([control](QDialog& window) {
            auto& widget = Child<QWidget>(window, control);
            widget.setFocus();
            QTest::keyClick(&widget, Qt::Key_Return);
        });

        EXPECT_EQ(dialog->RunModal(), 1) << control;
    }
}

TEST_F(UI_OptionalOrinDialogTest, IsCancelledByEscape)
{
    const auto dialog = Make();
    const WindowScript user([](QDialog& window) { Press(window, Qt::Key_Escape); });

    EXPECT_EQ(dialog->RunModal(), UI_OptionalOrinDialog::kResponseCancelled);
    EXPECT_THAT(dialog->calls, testing::ElementsAre("opened", "Cancel 1", "closed"));
}

TEST_F(UI_OptionalOrinDialogTest, IsCancelledByItsButtonAndByTheWindowManager)
{
    const auto dialog = Make();
    {
        const WindowScript user([](QDialog& window) {
            Child<QDialogButtonBox>(window, "Buttons").button(QDialogButtonBox::Cancel)->click();
        });
        EXPECT_EQ(dialog->RunModal(), UI_OptionalOrinDialog::kResponseCancelled);
    }
    const WindowScript user([](QDialog& window) { window.close(); });
    EXPECT_EQ(dialog->RunModal(), UI_OptionalOrinDialog::kResponseCancelled);
}

TEST_F(UI_OptionalOrinDialogTest, TakesWhatTheUserDoes)
{
    const auto dialog = Make();
    const WindowScript user([](QDialog& window) {
        QTest::keyClick(&Child<QComboBox>(window, "Popup"), Qt::Key_Down);
        QTest::mouseClick(&Child<QCheckBox>(window, "Check"), Qt::LeftButton, {}, {8, 8});
        Child<QPushButton>(window, "Extra").click();
        Press(window, Qt::Key_Escape);
    });

    dialog->RunModal();

    EXPECT_EQ(dialog->GetTypedControlForID<UI_Popup>("Popup")->GetValue(), 1);
    EXPECT_EQ(dialog->GetTypedControlForID<UI_Checkbox>("Check")->GetValue(), 1);
    EXPECT_THAT(dialog->calls,
        testing::ElementsAre("opened", "Popup 1", "Check 1", "Extra 1", "Cancel 1", "closed"));
}

TEST_F(UI_OptionalOrinDialogTest, FollowsChangesOfOtherThreads)
{
    const auto dialog = Make();
    auto* popup = dialog->GetTypedControlForID<UI_Popup>("Popup");
    const WindowScript user([&](QDialog& window) {
        auto& combo = Child<QComboBox>(window, "Popup");
        std::thread([&] {
            popup->DeleteAllItems();
            popup->AddItem(u"three");
            dialog->GetTypedControlForID<UI_Checkbox>("Check")->SetValue(1);
        }).join();
        EXPECT_TRUE(RunUntil([&] {
            return combo.count() == 1 && combo.currentText() == "three"
                && Child<QCheckBox>(window, "Check").isChecked();
        }));

        std::thread([&] { popup->DeleteAllItems(); }).join();
        EXPECT_TRUE(RunUntil([&] { return combo.count() == 0 && combo.currentIndex() == -1; }));
        Press(window, Qt::Key_Escape);
    });

    dialog->RunModal();
    EXPECT_THAT(dialog->calls, testing::ElementsAre("opened", "Cancel 1", "closed"))
        << "changes made by the program are no actions";
}

TEST_F(UI_OptionalOrinDialogTest, ClosesAnOpenListWhoseItemsChange)
{
    const auto dialog = Make();
    auto* popup = dialog->GetTypedControlForID<UI_Popup>("Popup");
    const WindowScript user([&](QDialog& window) {
        auto& combo = Child<QComboBox>(window, "Popup");
        combo.showPopup();
        ASSERT_TRUE(RunUntil([&] { return combo.view()->isVisible(); }));
        popup->SetValue(1);
        EXPECT_TRUE(RunUntil([&] { return combo.currentIndex() == 1; }));
        EXPECT_TRUE(combo.view()->isVisible());
        popup->AddItem(u"three");
        EXPECT_TRUE(RunUntil([&] { return !combo.view()->isVisible(); }));
        Press(window, Qt::Key_Escape);
    });

    dialog->RunModal();
}

TEST_F(UI_OptionalOrinDialogTest, RefusesAPickFromAListThatIsOld)
{
    const auto dialog = Make();
    auto* popup = dialog->GetTypedControlForID<UI_Popup>("Popup");
    const WindowScript user([&](QDialog& window) {
        auto& combo = Child<QComboBox>(window, "Popup");
        popup->DeleteAllItems(); // the window has not had the time to follow
        popup->AddItem(u"three");
        popup->AddItem(u"four");
        combo.setCurrentIndex(1);
        EXPECT_EQ(popup->GetValue(), 0);
        EXPECT_TRUE(RunUntil([&] { return combo.currentText() == "three"; }));
        Press(window, Qt::Key_Escape);
    });

    dialog->RunModal();
    EXPECT_THAT(dialog->calls, testing::Not(testing::Contains("Popup 1")));
}

TEST_F(UI_OptionalOrinDialogTest, IsEndedByAnyThreadAndTheFirstResponseHolds)
{
    const auto dialog = Make();
    const WindowScript user([](QDialog&) {});
    dialog->onOpened = [&] {
        EXPECT_TRUE(dialog->IsModal());
        std::thread([&] {
            dialog->EndModal(7);
            dialog->EndModal(8);
        }).join();
    };

    EXPECT_EQ(dialog->RunModal(), 7);
    EXPECT_FALSE(dialog->IsModal());
}

TEST_F(UI_OptionalOrinDialogTest, IgnoresAnEndBeforeTheModalLoop)
{
    const auto dialog = Make();
    dialog->EndModal(7);
    const WindowScript user([](QDialog& window) { Press(window, Qt::Key_Return); });

    EXPECT_EQ(dialog->RunModal(), 1);
}

TEST_F(UI_OptionalOrinDialogTest, RunsAgainWithTheStateThatItsControlsHave)
{
    const auto dialog = Make();
    {
        const WindowScript user([](QDialog& window) {
            QTest::keyClick(&Child<QComboBox>(window, "Popup"), Qt::Key_Down);
            Press(window, Qt::Key_Return);
        });
        ASSERT_EQ(dialog->RunModal(), 1);
    }
    const WindowScript user([](QDialog& window) {
        EXPECT_EQ(Child<QComboBox>(window, "Popup").currentIndex(), 1);
        Press(window, Qt::Key_Escape);
    });
    EXPECT_EQ(dialog->RunModal(), UI_OptionalOrinDialog::kResponseCancelled);
}

TEST_F(UI_OptionalOrinDialogTest, RingsAtNoWindowThatHasGone)
{
    const auto dialog = Make();
    {
        const WindowScript user([](QDialog& window) { Press(window, Qt::Key_Return); });
        dialog->RunModal();
    }
    // Takes the file descriptors that the window has given back.
    std::array<int, 2> pipeEnds{};
    ASSERT_EQ(pipe2(pipeEnds.data(), O_NONBLOCK), 0);

    dialog->GetTypedControlForID<UI_Popup>("Popup")->AddItem(u"three");

    char ring = 0;
    EXPECT_EQ(read(pipeEnds[0], &ring, 1), -1);
    close(pipeEnds[0]);
    close(pipeEnds[1]);
}

TEST_F(UI_OptionalOrinDialogTest, OpensAnotherDialogFromAnAction)
{
    const auto outer = Make();
    const auto inner = Make();
    int windows = 0;
    const WindowScript user([&](QDialog& window) {
        if (++windows == 1) {
            outer->onOpened = nullptr;
            EXPECT_EQ(inner->RunModal(), 1);
        }
        Press(window, Qt::Key_Return);
    });

    EXPECT_EQ(outer->RunModal(), 1);
    EXPECT_EQ(windows, 2);
}

TEST_F(UI_OptionalOrinDialogTest, PutsALayoutThatIsNoDialogIntoOne)
{
    const auto dialog = Make(nullptr,
        "<ui version='4.0'><widget class='QWidget' name='W'>"
        "<property name='windowTitle'><string>Plain</string></property>"
        "<layout class='QVBoxLayout' name='l'><item>"
        "<widget class='QCheckBox' name='Check'/></item></layout></widget></ui>");
    const WindowScript user([](QDialog& window) {
        EXPECT_EQ(window.windowTitle(), "Plain");
        EXPECT_TRUE(Child<QCheckBox>(window, "Check").isVisible());
        Press(window, Qt::Key_Escape);
    });

    EXPECT_EQ(dialog->RunModal(), UI_OptionalOrinDialog::kResponseCancelled);
}

TEST_F(UI_OptionalOrinDialogTest, SaysWhyThereIsNoLayout)
{
    TraceLines lines;

    const boost::intrusive_ptr<SmallDialog> dialog(
        new SmallDialog(nullptr, &resources, "No", "No", nullptr));

    EXPECT_FALSE(dialog->HasLayout());
    EXPECT_EQ(dialog->GetTypedControlForID<UI_Popup>("Popup"), nullptr);
    EXPECT_EQ(dialog->RunModal(), UI_OptionalOrinDialog::kResponseNotShown);
    EXPECT_THAT(lines.Take(),
        testing::MatchesRegex(
            "<[0-9]+> <UI, Dialog> <1> no dialog: the resources hold no layout No.ui\n"));
    EXPECT_THAT(dialog->calls, testing::IsEmpty());
}

TEST_F(UI_OptionalOrinDialogTest, HasNoControlsOfABrokenLayout)
{
    TraceLines lines;

    const auto dialog = Make(nullptr, "<ui><widget class='QComboBox' name='Popup'/><x></ui>");

    EXPECT_EQ(dialog->GetTypedControlForID<UI_Popup>("Popup"), nullptr);
    EXPECT_EQ(dialog->RunModal(), UI_OptionalOrinDialog::kResponseNotShown);
    EXPECT_THAT(lines.Take(), testing::HasSubstr("no dialog: line 1 of the layout: "));
}

TEST_F(UI_OptionalOrinDialogTest, SaysWhyALayoutCannotBeShown)
{
    TraceLines lines;
    const auto dialog = Make(nullptr, "<notui/>");

    EXPECT_EQ(dialog->RunModal(), UI_OptionalOrinDialog::kResponseNotShown);
    EXPECT_THAT(lines.Take(), testing::HasSubstr("not shown: the layout cannot be shown: "));
    EXPECT_FALSE(dialog->IsModal());
}

TEST_F(UI_OptionalOrinDialogTest, IsNotShownWithoutADisplayAndSaysWhyInOneLine)
{
    const ScopedVariable platform("QT_QPA_PLATFORM", std::nullopt);
    const ScopedVariable wayland("WAYLAND_DISPLAY", std::nullopt);
    const ScopedVariable dead("DISPLAY", ":997");
    const auto dialog = Make();
    TraceLines lines;

    EXPECT_EQ(dialog->RunModal(), UI_OptionalOrinDialog::kResponseNotShown);
    EXPECT_THAT(lines.Take(),
        testing::MatchesRegex("<[0-9]+> <UI, Dialog> <1> the dialog is not shown: no display "
                              "answers [^\n]*\n"));
    EXPECT_THAT(dialog->calls, testing::IsEmpty());
}

TEST_F(UI_OptionalOrinDialogTest, TracesNothingThatNobodyAskedFor)
{
    testing::internal::CaptureStderr();

    const boost::intrusive_ptr<SmallDialog> dialog(
        new SmallDialog(nullptr, nullptr, "No", "No", nullptr));

    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

} // namespace
