#include "deck/window/PlayCommand.h"

#include "deck/cli/ReloadSignal.h"
#include "deck/cli/RequireDisplay.h"
#include "deck/host/HostError.h"
#include "deck/window/DeckWindow.h"
#include "deck/window/WindowDeck.h"

#include <QApplication>
#include <QSocketNotifier>
#include <QTimer>

#include <iostream>

namespace deck::window {
namespace {

constexpr int kSignalPollMillis = 100;

void OnHangUp(const cli::ReloadSignal& reload, cli::DeckRun& run)
{
    if (reload.HasLostTerminal()) {
        QApplication::quit();
    } else {
        run.Update(false);
    }
}

} // namespace

int PlayInWindow(const cli::PlayOptions& options, const cli::StopSignals& signals)
{
    cli::RequireDisplay("a window", "`korva-deck run` needs none");
    cli::ReloadSignal reload; // before there are other threads
    int argumentCount = 1;
    char name[] = "korva-deck";
    char* arguments[] = {name, nullptr};
    QApplication application(argumentCount, arguments);
    UseDarkColours();

    WindowDeck model(options);
    cli::DeckRun run(options, signals, reload, model);
    if (!run.Start()) {
        return kExitDone;
    }
    model.Attach(run);
    const QSocketNotifier events(run.Session().Events().Descriptor(), QSocketNotifier::Read);
    QObject::connect(&events, &QSocketNotifier::activated, [&] { run.Update(false); });
    const QSocketNotifier hangUp(reload.Descriptor(), QSocketNotifier::Read);
    QObject::connect(&hangUp, &QSocketNotifier::activated, [&] { OnHangUp(reload, run); });
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, [&] {
        run.Update(false); // a revival may be due
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
    std::cout << "window: " << (options.file ? options.file->string() : "no video") << ", "
              << options.run.transport.rate.Name() << " fps, from "
              << FormatFrame(options.run.transport.startFrame, options.run.transport.rate)
              << std::endl;
    QApplication::exec();
    run.End();
    return kExitDone;
}

} // namespace deck::window
