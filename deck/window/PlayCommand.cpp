#include "deck/window/PlayCommand.h"

#include "deck/cli/ReloadSignal.h"
#include "deck/cli/RequireDisplay.h"
#include "deck/host/HostError.h"
#include "deck/window/DeckWindow.h"
#include "deck/window/WindowDeck.h"

#include <QApplication>
#include <QScreen>
#include <QSocketNotifier>
#include <QTimer>

#include <exception>
#include <iostream>

namespace deck::window {
namespace {

constexpr int kSignalPollMillis = 100;

/// Starts the deck once the MIDI service is there, then takes in what happens. An exception must
/// not fly through Qt's event loop: it ends the loop and waits.
class Looker {
public:
    explicit Looker(cli::DeckRun& run)
        : mRun(run)
    {
    }

    void Look()
    {
        try {
            if (mRun.IsStarted() || mRun.TryStart()) {
                mRun.Update(false);
            } else {
                mRun.Session().Events().Clear();
            }
        } catch (...) {
            mFailure = std::current_exception();
            QApplication::quit();
        }
    }
    void ThrowFailure() const
    {
        if (mFailure) {
            std::rethrow_exception(mFailure);
        }
    }

private:
    cli::DeckRun& mRun;
    std::exception_ptr mFailure;
};

/// `number` counts from 1. Throws HostError.
QScreen* ScreenOf(int number)
{
    const QList<QScreen*> screens = QGuiApplication::screens();
    if (number <= screens.size()) {
        return screens[number - 1];
    }
    std::string known;
    for (int i = 0; i < screens.size(); ++i) {
        const QSize size = screens[i]->geometry().size();
        known += (i == 0 ? " " : ", ") + std::to_string(i + 1) + " ("
            + screens[i]->name().toStdString() + ", " + std::to_string(size.width()) + " x "
            + std::to_string(size.height()) + ")";
    }
    throw HostError("--screen " + std::to_string(number) + ": the screens are" + known);
}

/// On that screen, or where the desktop likes it.
void Open(DeckWindow& window, QScreen* screen, bool isFull)
{
    if (screen != nullptr) {
        window.setScreen(screen);
        window.move(screen->availableGeometry().topLeft());
    }
    window.FillScreen(isFull);
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

    QScreen* const screen = options.screen ? ScreenOf(*options.screen) : nullptr;
    WindowDeck model(options);
    cli::DeckRun run(options, signals, reload, model);
    model.Attach(run);
    Looker looker(run);
    looker.Look(); // what is wrong from the start needs no window
    looker.ThrowFailure();
    const QSocketNotifier events(run.Session().Events().Descriptor(), QSocketNotifier::Read);
    QObject::connect(&events, &QSocketNotifier::activated, [&] { looker.Look(); });
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, [&] {
        looker.Look(); // a revival may be due, or a reload
        const auto woken = signals.Wait({}, std::chrono::milliseconds(0));
        if (woken == cli::StopSignals::Woken::BySignal || reload.HasLostTerminal()) {
            QApplication::quit();
        }
    });
    poll.start(kSignalPollMillis);

    DeckWindow window(model, {options.burnIn});
    Open(window, screen, options.fullScreen);
    std::cout << "window: " << (options.file ? options.file->string() : "no video") << ", "
              << options.run.transport.rate.Name() << " fps, from "
              << FormatFrame(options.run.transport.startFrame, options.run.transport.rate)
              << std::endl;
    QApplication::exec();
    looker.ThrowFailure();
    run.End();
    return kExitDone;
}

} // namespace deck::window
