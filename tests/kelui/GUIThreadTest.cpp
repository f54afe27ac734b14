#include "kelorintal/GUIThread.h"

#include "tests/kelui/TestScreen.h"

#include <QtCore/QAbstractEventDispatcher>
#include <QtCore/QCoreApplication>
#include <QtWidgets/QApplication>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <clocale>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

using kelorintal::RunOnGUIThread;
using korva::tests::ScopedVariable;

namespace {

struct GUIThreadTest : testing::Test {
    kelui::tests::OffscreenScreen screen;
};

TEST_F(GUIThreadTest, BringsAnApplicationOfItsOwnForTheTimeOfTheCall)
{
    bool hadApplication = false;

    EXPECT_EQ(RunOnGUIThread([&] {
        hadApplication = qobject_cast<QApplication*>(QCoreApplication::instance()) != nullptr;
    }),
        "");

    EXPECT_TRUE(hadApplication);
    EXPECT_EQ(QCoreApplication::instance(), nullptr);
}

TEST_F(GUIThreadTest, ServesEveryHostThreadOnOneThread)
{
    std::vector<std::thread::id> served;
    for (int i = 0; i < 5; ++i) {
        std::thread host(
            [&] { RunOnGUIThread([&] { served.push_back(std::this_thread::get_id()); }); });
        host.join();
    }

    ASSERT_EQ(served.size(), 5U);
    EXPECT_THAT(served, testing::Each(served.front()));
    EXPECT_NE(served.front(), std::this_thread::get_id());
}

TEST_F(GUIThreadTest, ServesHostThreadsThatCallAtOnceOneAfterTheOther)
{
    std::atomic<int> inside{0};
    std::atomic<int> served{0};
    std::vector<std::thread> hosts;
    for (int i = 0; i < 4; ++i) {
        hosts.emplace_back([&] {
            RunOnGUIThread([&] {
                EXPECT_EQ(++inside, 1);
                ++served;
                --inside;
            });
        });
    }
    for (auto& host : hosts) {
        host.join();
    }

    EXPECT_EQ(served, 4);
}

TEST_F(GUIThreadTest, RunsACallFromWithinACallAtOnce)
{
    bool ran = false;

    RunOnGUIThread([&] { RunOnGUIThread([&] { ran = true; }); });

    EXPECT_TRUE(ran);
}

TEST_F(GUIThreadTest, GivesTheExceptionOfTheCallBack)
{
    EXPECT_THROW(RunOnGUIThread([] { throw std::runtime_error("x"); }), std::runtime_error);
    EXPECT_EQ(RunOnGUIThread([] {}), "");
}

TEST_F(GUIThreadTest, LeavesTheLocaleAndTheEnvironmentOfTheHostAlone)
{
    const ScopedVariable language("LC_ALL", "C.UTF-8");
    ASSERT_STREQ(std::setlocale(LC_ALL, nullptr), "C");

    RunOnGUIThread([] { EXPECT_STREQ(std::setlocale(LC_NUMERIC, nullptr), "C"); });

    EXPECT_STREQ(std::setlocale(LC_ALL, nullptr), "C");
    EXPECT_EQ(std::getenv("QT_NO_GLIB"), nullptr);
}

TEST_F(GUIThreadTest, KeepsOffTheMainLoopOfAGLibHost)
{
    RunOnGUIThread([] {
        const std::string dispatcher
            = QAbstractEventDispatcher::instance()->metaObject()->className();
        EXPECT_THAT(dispatcher, testing::Not(testing::HasSubstr("Glib")));
    });
}

struct NoDisplayTest : testing::Test {
    ScopedVariable platform{"QT_QPA_PLATFORM", std::nullopt};
    ScopedVariable x11{"DISPLAY", std::nullopt};
    ScopedVariable wayland{"WAYLAND_DISPLAY", std::nullopt};

    // Why the call was refused.
    std::string Refusal()
    {
        bool ran = false;
        std::string whyNot = RunOnGUIThread([&] { ran = true; });
        EXPECT_FALSE(ran);
        return whyNot;
    }
};

TEST_F(NoDisplayTest, IsAnAnswerAndNoEnd)
{
    EXPECT_EQ(Refusal(), "there is no display: neither DISPLAY nor WAYLAND_DISPLAY is set");
}

TEST_F(NoDisplayTest, IsWhatADisplayIsThatDoesNotAnswer)
{
    const ScopedVariable dead("DISPLAY", ":997");
    kelui::tests::TraceLines lines;

    EXPECT_THAT(Refusal(), testing::HasSubstr("could not connect to display :997"));
    EXPECT_EQ(lines.Take(), "") << "Qt's own words belong into the answer";
}

TEST_F(NoDisplayTest, IsWhatAWaylandDisplayIsThatDoesNotAnswer)
{
    const ScopedVariable dead("WAYLAND_DISPLAY", "wayland-997");

    EXPECT_THAT(Refusal(), testing::StartsWith("no display answers"));
}

TEST_F(NoDisplayTest, IsWhatAnUnknownPlatformIs)
{
    const ScopedVariable unknown("QT_QPA_PLATFORM", "nonsense");

    EXPECT_THAT(Refusal(), testing::HasSubstr("nonsense"));
}

TEST_F(NoDisplayTest, DoesNotLast)
{
    Refusal();

    const kelui::tests::OffscreenScreen screen;
    EXPECT_EQ(RunOnGUIThread([] {}), "");
}

} // namespace
