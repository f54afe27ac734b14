#include "kelorintal/GUIThread.h"

#include "kelui/controls/UI_Checkbox.h"
#include "tests/kelui/SmallDialog.h"

#include <QtCore/QEventLoop>
#include <QtWidgets/QApplication>

#include <atomic>
#include <memory>
#include <optional>
#include <thread>

using kelorintal::RunOnGUIThread;
using kelorintal::UI_OptionalOrinDialog;
using kelui::controls::UI_Checkbox;
using kelui::tests::Press;
using kelui::tests::RunUntil;
using kelui::tests::WindowScript;

namespace {

/// A host that runs a QApplication on the thread of the test.
struct HostApplicationTest : kelui::tests::SmallDialogTest {
    int count = 1;
    char name[5] = "host";
    char* values[2] = {name, nullptr};
    std::optional<QApplication> application{std::in_place, count, values};
};

TEST_F(HostApplicationTest, UsesTheApplicationOfAHostOnItsOwnThreadAtOnce)
{
    std::thread::id served;

    EXPECT_EQ(RunOnGUIThread([&] {
        served = std::this_thread::get_id();
        EXPECT_EQ(QCoreApplication::instance(), &*application);
    }),
        "");

    EXPECT_EQ(served, std::this_thread::get_id());
}

TEST_F(HostApplicationTest, UsesTheApplicationOfAHostFromAnotherThread)
{
    std::thread::id served;
    QEventLoop loop;
    std::thread caller([&] {
        RunOnGUIThread([&] {
            served = std::this_thread::get_id();
            loop.quit();
        });
    });

    loop.exec();
    caller.join();

    EXPECT_EQ(served, std::this_thread::get_id());
}

TEST_F(HostApplicationTest, RefusesAHostWhoseApplicationHasNoWidgets)
{
    application.reset();
    const QCoreApplication host(count, values);
    bool ran = false;

    EXPECT_EQ(RunOnGUIThread([&] { ran = true; }), "the process runs Qt without widgets");
    EXPECT_FALSE(ran);
}

TEST_F(HostApplicationTest, BelongsToItsParentWindow)
{
    QWidget parent;
    const auto dialog = Make(&parent);
    const WindowScript user([&](QDialog& window) {
        EXPECT_EQ(window.parentWidget(), &parent);
        Press(window, Qt::Key_Return);
    });

    EXPECT_EQ(dialog->RunModal(), 1);
}

TEST_F(HostApplicationTest, IgnoresAParentThatIsNoWindowOfThisProcess)
{
    int noWidget = 0;
    const auto dialog = Make(&noWidget);
    const WindowScript user([&](QDialog& window) {
        EXPECT_EQ(window.parentWidget(), nullptr);
        Press(window, Qt::Key_Return);
    });

    EXPECT_EQ(dialog->RunModal(), 1);
}

TEST_F(HostApplicationTest, OutlivesItsWindowWhenTheParentIsDestroyed)
{
    auto parent = std::make_unique<QWidget>();
    const auto dialog = Make(parent.get());
    const WindowScript user([&](QDialog&) {
        parent.reset();
        dialog->GetTypedControlForID<UI_Checkbox>("Check")->SetValue(1);
    });

    EXPECT_EQ(dialog->RunModal(), UI_OptionalOrinDialog::kResponseCancelled);
}

TEST_F(HostApplicationTest, RunsOnTheHostsGUIThreadForACallerOnAnother)
{
    const auto dialog = Make();
    const std::thread::id guiThread = std::this_thread::get_id();
    const WindowScript user([&](QDialog& window) {
        EXPECT_EQ(std::this_thread::get_id(), guiThread);
        Press(window, Qt::Key_Return);
    });
    std::atomic<bool> done{false};
    std::thread caller([&] {
        EXPECT_EQ(dialog->RunModal(), 1);
        done = true;
    });

    EXPECT_TRUE(RunUntil([&] { return done.load(); }));
    caller.join();
}

} // namespace
