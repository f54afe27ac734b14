#include "kelorintal/ToolkitApplication.h"

#include <QtCore/QLoggingCategory>
#include <QtWidgets/QApplication>

#include <array>
#include <clocale>
#include <cstdlib>
#include <mutex>

namespace kelorintal {

namespace {

// Qt ends the process when no platform of its list starts. This one always starts, so it closes
// the list, and whoever finds it in use without having asked for it has no display.
constexpr char kLastResort[] = "offscreen";

std::string Environment(const char* name)
{
    const char* value = std::getenv(name);
    return value == nullptr ? std::string() : value;
}

// Qt's names of the platforms to try, in order, separated by ';'; empty: no display is named.
std::string WantedPlatforms()
{
    if (std::string asked = Environment("QT_QPA_PLATFORM"); !asked.empty()) {
        return asked;
    }
    const std::string wayland = Environment("WAYLAND_DISPLAY").empty() ? "" : "wayland";
    const std::string x11 = Environment("DISPLAY").empty() ? "" : "xcb";
    if (wayland.empty() || x11.empty()) {
        return wayland + x11;
    }
    return Environment("XDG_SESSION_TYPE") == "wayland" ? "wayland;xcb" : "xcb;wayland";
}

bool IsAsked(const std::string& platforms, const std::string& name)
{
    return (";" + platforms + ";").find(";" + name + ";") != std::string::npos
        || (";" + platforms).find(";" + name + ":") != std::string::npos;
}

/// Keeps Qt's messages, which are for the trace, off the host's terminal.
class MessageCatcher {
public:
    MessageCatcher()
    {
        const std::lock_guard lock(sMutex);
        sCaught.clear();
        mPrevious = qInstallMessageHandler(&MessageCatcher::Catch);
    }
    ~MessageCatcher() { qInstallMessageHandler(mPrevious); }
    MessageCatcher(const MessageCatcher&) = delete;
    MessageCatcher& operator=(const MessageCatcher&) = delete;

    static std::string Caught()
    {
        const std::lock_guard lock(sMutex);
        return sCaught;
    }

private:
    static void Catch(QtMsgType, const QMessageLogContext&, const QString& text)
    {
        const std::lock_guard lock(sMutex);
        sCaught += (sCaught.empty() ? "" : "; ") + text.simplified().toStdString();
    }

    static std::mutex sMutex;
    static std::string sCaught; // guarded by sMutex
    QtMessageHandler mPrevious;
};

std::mutex MessageCatcher::sMutex;
std::string MessageCatcher::sCaught;

/// Qt sets the process's locale at its first QApplication: the host's number formats are not ours
/// to change.
class LocaleKeeper {
public:
    LocaleKeeper()
        : mLocale(std::setlocale(LC_ALL, nullptr))
    {
    }
    ~LocaleKeeper()
    {
        if (mLocale != std::setlocale(LC_ALL, nullptr)) {
            std::setlocale(LC_ALL, mLocale.c_str());
        }
    }
    LocaleKeeper(const LocaleKeeper&) = delete;
    LocaleKeeper& operator=(const LocaleKeeper&) = delete;

private:
    const std::string mLocale;
};

/// Keeps Qt off GLib's main loop: a host that runs one owns its default context on another thread,
/// and we would wait for it for ever.
class WithoutGLib {
public:
    WithoutGLib()
        : mSet(!qEnvironmentVariableIsSet(kName))
    {
        if (mSet) {
            qputenv(kName, "1");
        }
    }
    ~WithoutGLib()
    {
        if (mSet) {
            qunsetenv(kName);
        }
    }
    WithoutGLib(const WithoutGLib&) = delete;
    WithoutGLib& operator=(const WithoutGLib&) = delete;

private:
    static constexpr char kName[] = "QT_NO_GLIB";
    const bool mSet;
};

/// What a QApplication keeps references to as long as it lives.
struct Arguments {
    explicit Arguments(const std::string& platforms)
        : list(platforms + ";" + kLastResort)
    {
    }

    std::string program = "kelui";
    std::string option = "-platform";
    std::string list;
    std::array<char*, 4> values{program.data(), option.data(), list.data(), nullptr};
    int count = 3;
};

std::unique_ptr<QApplication> MakeApplication(Arguments& arguments, std::string& messages)
{
    const LocaleKeeper locale;
    const WithoutGLib withoutGLib;
    const MessageCatcher catcher;
    auto application = std::make_unique<QApplication>(arguments.count, arguments.values.data());
    messages = MessageCatcher::Caught();
    return application;
}

} // namespace

std::string RunInApplication(const std::function<void()>& function)
{
    const std::string platforms = WantedPlatforms();
    if (platforms.empty()) {
        return "there is no display: neither DISPLAY nor WAYLAND_DISPLAY is set";
    }
    Arguments arguments(platforms);
    std::string messages;
    const auto application = MakeApplication(arguments, messages);
    if (application->platformName() == kLastResort && !IsAsked(platforms, kLastResort)) {
        return "no display answers (" + messages + ")";
    }
    function();
    return {};
}

} // namespace kelorintal
