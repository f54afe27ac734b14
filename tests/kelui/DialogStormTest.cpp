// The dialog opened and closed while devices come and go as fast as they can.

#include "kelcontrolsurface/plugins/MIDIMachineControl/src/MMCConfigDialog.h"
#include "kelcontrolsurface/plugins/common/midi/src/MIDIDeviceConfigDialog.h"

#include "kelcore/proplist/PropList.h"
#include "tests/kelui/FakeMidi.h"
#include "tests/kelui/FakeModule.h"
#include "tests/kelui/TestScreen.h"
#include "tests/kelui/WindowScript.h"

#include <QtTest/QTest>
#include <QtWidgets/QCheckBox>
#include <QtWidgets/QComboBox>

#include <boost/intrusive_ptr.hpp>
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>

using kelui::tests::FakeEndpoint;
using kelui::tests::RunUntil;
using kelui::tests::WindowScript;

namespace {

constexpr int kOpenings = 50;

/// Changes the setup and tells every host, on a thread of its own, as long as it lives.
class Storm {
public:
    explicit Storm(kelui::tests::FakeMidi& midi)
        : mThread([this, &midi] {
            for (std::size_t i = 0; !mStops; ++i) {
                std::vector<FakeEndpoint> ports(i % 4, {u"Port", u"1"});
                for (std::size_t port = 0; port < ports.size(); ++port) {
                    ports[port].id = port == 0 ? u"1" : port == 1 ? u"2" : u"3";
                }
                midi.SetInputs(ports);
                midi.SetOutputs(std::move(ports));
                mNotices += midi.NotifyIfPresent() ? 1 : 0;
                std::this_thread::yield(); // a mutex is not fair of itself
            }
        })
    {
    }
    ~Storm()
    {
        mStops = true;
        mThread.join();
    }
    Storm(const Storm&) = delete;
    Storm& operator=(const Storm&) = delete;

    int Notices() const { return mNotices; }

private:
    std::atomic<bool> mStops{false};
    std::atomic<int> mNotices{0};
    std::thread mThread; // last: it uses the others
};

struct DialogStormTest : testing::Test {
    DialogStormTest()
    {
        kelui::tests::sModuleResources
            = std::make_unique<kelui::tests::FolderResources>(KORVA_MMC_RESOURCES);
    }
    ~DialogStormTest() override { kelui::tests::sModuleResources.reset(); }

    kelui::tests::OffscreenScreen screen;
    kelui::tests::FakeMidi midi;
};

// Picks, marks and answers; every other time OK.
void Use(QDialog& window, Storm& storm, int opening)
{
    const int before = storm.Notices();
    QTest::keyClick(window.findChild<QComboBox*>("InputDevicePopup"), Qt::Key_Down);
    window.findChild<QCheckBox*>("TransmitMTC")->click();
    EXPECT_TRUE(RunUntil([&] { return storm.Notices() > before + 3; }));
    QTest::keyClick(&window, opening % 2 == 0 ? Qt::Key_Return : Qt::Key_Escape);
}

TEST_F(DialogStormTest, SurvivesFiftyOpeningsFromFiftyThreads)
{
    Storm storm(midi);
    kelcore::proplist::PropList configuration;
    for (int opening = 0; opening < kOpenings; ++opening) {
        const WindowScript user([&](QDialog& window) { Use(window, storm, opening); });
        std::thread host([&] {
            EXPECT_EQ(mmc::ShowDeviceConfigDialog(nullptr, configuration), opening % 2 == 0);
        });
        host.join();
    }
    EXPECT_GT(storm.Notices(), kOpenings);
}

TEST_F(DialogStormTest, SurvivesFiftyDialogsThatAreNeverShown)
{
    Storm storm(midi);
    for (int i = 0; i < kOpenings; ++i) {
        kelcontrolsurface::MIDIDeviceInfo info;
        kelui::tests::FolderResources resources(KORVA_MMC_RESOURCES);
        const boost::intrusive_ptr<kelcontrolsurface::MIDIDeviceConfigDialog> dialog(
            new kelcontrolsurface::MIDIDeviceConfigDialog(
                nullptr, &resources, "MMCMIDIConfig", "MMCMIDIConfig", nullptr, info));
        const int before = storm.Notices();
        while (storm.Notices() == before) {
            std::this_thread::yield();
        }
    }
}

} // namespace
