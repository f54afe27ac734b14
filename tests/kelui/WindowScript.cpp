#include "tests/kelui/WindowScript.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QEvent>
#include <QtCore/QPointer>
#include <QtCore/QTimer>
#include <QtTest/QTest>

#include <gtest/gtest.h>

#include <memory>
#include <mutex>

namespace kelui::tests {

namespace {

struct Scripts {
    std::mutex mutex;
    std::function<void(QDialog&)> script; // guarded by mutex
    int played = 0;                       // guarded by mutex
};

Scripts& AllScripts()
{
    static Scripts sScripts;
    return sScripts;
}

void Play(QDialog& dialog)
{
    std::function<void(QDialog&)> script;
    {
        const std::lock_guard lock(AllScripts().mutex);
        script = AllScripts().script;
        ++AllScripts().played;
    }
    const QPointer<QDialog> window(&dialog);
    if (script) {
        script(dialog);
    }
    const bool closed = RunUntil([&window] { return window == nullptr || !window->isVisible(); });
    EXPECT_TRUE(closed) << "the script left its window open";
    if (!closed) {
        window->reject();
    }
}

/// Sees every event of an application.
class Watcher : public QObject {
public:
    using QObject::QObject;

    bool eventFilter(QObject* object, QEvent* event) override
    {
        auto* dialog = qobject_cast<QDialog*>(object);
        if (dialog != nullptr && event->type() == QEvent::Show) {
            QTimer::singleShot(0, dialog, [dialog] { Play(*dialog); });
        }
        return false;
    }
};

// Called in each QApplication, on its thread.
void WatchApplication()
{
    auto* application = QCoreApplication::instance();
    application->installEventFilter(new Watcher(application));
}
Q_COREAPP_STARTUP_FUNCTION(WatchApplication)

} // namespace

WindowScript::WindowScript(std::function<void(QDialog&)> script)
{
    const std::lock_guard lock(AllScripts().mutex);
    AllScripts().script = std::move(script);
    AllScripts().played = 0;
}

WindowScript::~WindowScript()
{
    const std::lock_guard lock(AllScripts().mutex);
    EXPECT_GT(AllScripts().played, 0) << "no window came";
    AllScripts().script = nullptr;
}

bool RunUntil(const std::function<bool()>& isTrue)
{
    return QTest::qWaitFor(isTrue, 30000);
}

} // namespace kelui::tests
