// Where a running deck can be asked how it is: a Unix socket that writes the
// answer to whoever connects, and closes.

#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace deck::cli {

/// `$XDG_RUNTIME_DIR/korva-deck/NAME.sock`, else in /tmp/korva-deck-UID; the name is that of the
/// settings file, which one deck alone has.
std::filesystem::path StatusSocketPath(const std::filesystem::path& settings);

class StatusServer {
public:
    /// Called on the server's own thread.
    using Answer = std::function<std::string()>;

    /// Listens at `path`, in a folder that only its user can enter; takes the place of a socket
    /// that is there, so the caller knows that nobody else uses it. Throws HostError.
    /// [host, may block]
    StatusServer(const std::filesystem::path& path, Answer answer);
    /// [host, may block]
    ~StatusServer();
    StatusServer(const StatusServer&) = delete;
    StatusServer& operator=(const StatusServer&) = delete;

private:
    struct Listener;
    std::unique_ptr<Listener> mListener;
};

/// All that the server at `path` answers; nothing where none listens. [host, may block]
std::optional<std::string> AskStatus(const std::filesystem::path& path);

/// Tells the service manager that started this process, if one did, how it is: "READY=1", as
/// sd_notify(3) has it. [host, may block]
void NotifyServiceManager(const std::string& state);

} // namespace deck::cli
