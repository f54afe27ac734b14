#include "deck/window/PlayCommand.h"

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

} // namespace

int PlayInWindow(const cli::PlayOptions& options, const cli::StopSignals& signals)
{
    cli::RequireDisplay("a window", "`korva-deck run` needs none");
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
    QObject::connect(&events, &QSocketNotifier::activated, [&] { run.Update(false); });
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
              << options.run.rate.Name() << " fps, from "
              << FormatFrame(options.run.startFrame, options.run.rate) << std::endl;
    QApplication::exec();
    run.End();
    return kExitDone;
}

} // namespace deck::window
