#include "deck/cli/StatusSocket.h"

#include "deck/host/HostError.h"

// One thread alone runs each context: there is nothing for fences to order, and the thread
// sanitizer knows none
#define BOOST_ASIO_DISABLE_FENCED_BLOCK
#include <boost/asio/io_context.hpp>
#include <boost/asio/local/datagram_protocol.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/write.hpp>
#include <boost/uuid/name_generator_sha1.hpp>
#include <boost/uuid/uuid_io.hpp>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

namespace deck::cli {
namespace {

namespace asio = boost::asio;
namespace fs = std::filesystem;
using Protocol = asio::local::stream_protocol;

constexpr std::size_t kLongestPath = sizeof(sockaddr_un::sun_path) - 1;
constexpr std::size_t kDigits = 8;

fs::path RuntimeFolder()
{
    const char* const folder = std::getenv("XDG_RUNTIME_DIR");
    if (folder != nullptr && *folder != '\0') {
        return fs::path(folder) / "korva-deck";
    }
    return "/tmp/korva-deck-" + std::to_string(getuid());
}

HostError NoStatus(const fs::path& path, const std::string& why)
{
    return HostError(path.string() + ": " + why + "; `korva-deck status` does not reach this deck");
}

// In /tmp anybody could have made it first.
void MakeOwnFolder(const fs::path& folder)
{
    std::error_code unneeded;
    fs::create_directories(folder.parent_path(), unneeded);
    struct stat status {};
    const bool isMade = mkdir(folder.c_str(), S_IRWXU) == 0 || errno == EEXIST;
    if (!isMade || lstat(folder.c_str(), &status) != 0) {
        throw NoStatus(folder, std::strerror(errno));
    }
    if (!S_ISDIR(status.st_mode) || status.st_uid != getuid()
        || (status.st_mode & (S_IRWXG | S_IRWXO)) != 0) {
        throw NoStatus(folder, "not a folder that only this user can enter (mode 0700)");
    }
}

} // namespace

fs::path StatusSocketPath(const fs::path& settings)
{
    const fs::path whole = fs::weakly_canonical(fs::absolute(settings));
    // Files of one name in two folders are two decks
    const boost::uuids::name_generator_sha1 generate(boost::uuids::ns::url());
    const std::string place = to_string(generate(whole.parent_path().string()));
    return RuntimeFolder() / (whole.stem().string() + "-" + place.substr(0, kDigits) + ".sock");
}

struct StatusServer::Listener {
    Listener(const fs::path& socketPath, Answer giveAnswer)
        : path(socketPath)
        , answer(std::move(giveAnswer))
        , acceptor(context, Protocol::endpoint(socketPath.string()))
    {
        Accept();
        thread = std::thread([this] { context.run(); });
    }
    ~Listener()
    {
        context.stop();
        thread.join();
        unlink(path.c_str());
    }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    void Accept()
    {
        acceptor.async_accept(
            [this](const boost::system::error_code& error, Protocol::socket peer) {
                if (error) {
                    return AcceptLater();
                }
                Write(std::move(peer));
                Accept();
            });
    }
    // No descriptor is left, and one will be
    void AcceptLater()
    {
        pause.expires_after(std::chrono::seconds(1));
        pause.async_wait([this](const boost::system::error_code& error) {
            if (!error) {
                Accept();
            }
        });
    }
    void Write(Protocol::socket peer)
    {
        auto socket = std::make_shared<Protocol::socket>(std::move(peer));
        auto text = std::make_shared<std::string>(answer());
        // Both live until it is written, or the peer has gone
        asio::async_write(*socket, asio::buffer(*text),
            [socket, text](const boost::system::error_code&, std::size_t) {});
    }

    const fs::path path;
    const Answer answer;
    asio::io_context context;
    Protocol::acceptor acceptor;
    asio::steady_timer pause{context};
    std::thread thread;
};

StatusServer::StatusServer(const fs::path& path, Answer answer)
{
    if (path.string().size() > kLongestPath) {
        throw NoStatus(path, "longer than a socket's path can be");
    }
    MakeOwnFolder(path.parent_path());
    unlink(path.c_str());
    try {
        mListener = std::make_unique<Listener>(path, std::move(answer));
    } catch (const boost::system::system_error& error) {
        throw NoStatus(path, error.code().message());
    }
}

StatusServer::~StatusServer() = default;

std::optional<std::string> AskStatus(const fs::path& path)
{
    if (path.string().size() > kLongestPath) {
        return std::nullopt;
    }
    asio::io_context context;
    Protocol::socket socket(context);
    boost::system::error_code error;
    socket.connect(Protocol::endpoint(path.string()), error);
    if (error) {
        return std::nullopt;
    }
    std::string text;
    asio::read(socket, asio::dynamic_buffer(text), error); // ends where the deck closes
    return text.empty() ? std::nullopt : std::optional(text);
}

void NotifyServiceManager(const std::string& state)
{
    const char* const address = std::getenv("NOTIFY_SOCKET");
    if (address == nullptr || *address == '\0') {
        return;
    }
    std::string path = address;
    if (path.front() == '@') {
        path.front() = '\0'; // no file: a name of the kernel's
    }
    asio::io_context context;
    boost::system::error_code error; // a manager that has gone is none
    asio::local::datagram_protocol::socket socket(context);
    socket.open({}, error);
    socket.send_to(asio::buffer(state), asio::local::datagram_protocol::endpoint(path), 0, error);
}

} // namespace deck::cli
