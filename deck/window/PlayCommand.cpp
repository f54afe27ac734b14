#include "deck/window/PlayCommand.h"

#include "deck/host/HostError.h"
#include "deck/window/DeckWindow.h"
#include "deck/window/WindowDeck.h"

#include <QApplication>
#include <QSocketNotifier>
#include <QTimer>

#include <cstdlib>

namespace deck::window {
namespace {

constexpr int kSignalPollMillis = 100;

// Qt ends the process where it finds no display; a deck says what to do instead.
void RequireDisplay()
{
    const auto isSet = [](const char* name) {
        const char* value = std::getenv(name);
        return value != nullptr && *value != '\0';
    };
    if (!isSet("DISPLAY") && !isSet("WAYLAND_DISPLAY") && !isSet("QT_QPA_PLATFORM")) {
        throw HostError("there is no display for a window; `korva-deck run` needs none");
    }
}

} // namespace

int PlayInWindow(const cli::PlayOptions& options, const cli::StopSignals& signals)
{
    RequireDisplay();
    int argumentCount = 1;
    char name[] = "korva-deck";
    char* arguments[] = {name, nullptr};
    QApplication application(argumentCount, arguments);
    UseDarkColours();

    WindowDeck model(options);
    cli::DeckRun run(options.run, signals, model);
    if (!run.Start()) {
        return kExitDone;
    }
    model.Attach(run);
    const QSocketNotifier events(run.Session().Events().Descriptor(), QSocketNotifier::Read);
    QObject::connect(&events, &QSocketNotifier::activated, [&] { run.Monitor().Update(false); });
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, [&] {
        run.Monitor().Update(false); // a revival may be due
        if (signals.Wait({}, std::chrono::milliseconds(0)) == cli::StopSignals::Woken::BySignal) {
            QApplication::quit();
        }
    });
    poll.start(kSignalPollMillis);

    DeckWindow window(model, {options.burnIn});
    if (options.fullScreen) {
        window.showFullScreen();
    } else {
        window.show();
    }
    QApplication::exec();
    return kExitDone;
}

} // namespace deck::window
