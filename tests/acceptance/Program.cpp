#include "tests/acceptance/Program.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <spawn.h>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace deck::acceptance {
namespace {

std::vector<std::string> WithEnvironment(const Program::Environment& changes)
{
    std::vector<std::string> result;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string text = *entry;
        if (!changes.contains(text.substr(0, text.find('=')))) {
            result.push_back(text);
        }
    }
    for (const auto& [name, value] : changes) {
        result.push_back(name + "=" + value);
    }
    return result;
}

std::vector<char*> Pointers(std::vector<std::string>& texts)
{
    std::vector<char*> pointers;
    for (std::string& text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

/// `input` is the program's standard input; none where it is negative.
pid_t Spawn(
    std::vector<std::string> command, std::vector<std::string> environment, int input, int output)
{
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (input < 0) {
        posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    } else {
        posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
    }
    posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output, STDERR_FILENO);
    pid_t process = 0;
    const int error = posix_spawnp(&process, command[0].c_str(), &actions, nullptr,
        Pointers(command).data(), Pointers(environment).data());
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) {
        throw std::runtime_error("cannot start " + command[0]);
    }
    return process;
}

int StatusOf(int waited)
{
    constexpr int kKilled = 128;
    return WIFEXITED(waited) ? WEXITSTATUS(waited) : kKilled + WTERMSIG(waited);
}

} // namespace

Program::Program(
    const std::vector<std::string>& command, const Environment& environment, Input input)
{
    std::array<int, 2> ends{};
    // Sockets, because who writes to one that nobody reads any more need not be killed for it
    std::array<int, 2> inputs{-1, -1};
    if (pipe2(ends.data(), O_CLOEXEC) != 0
        || (input == Input::kCommands
            && socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, inputs.data()) != 0)) {
        throw std::runtime_error("no pipe");
    }
    mProcess = Spawn(command, WithEnvironment(environment), inputs[1], ends[1]);
    mInput = inputs[0];
    close(ends[1]);
    close(inputs[1]);
    mReader = std::thread([this, end = ends[0]] { Read(end); });
}

Program::~Program()
{
    if (!mStatus) {
        Signal(SIGKILL);
        waitpid(mProcess, nullptr, 0);
    }
    mReader.join();
    close(mInput);
}

std::optional<std::string> Program::WaitForLine(const std::function<bool(const std::string&)>& fits)
{
    const auto end = std::chrono::steady_clock::now() + kDeadline;
    std::unique_lock lock(mMutex);
    for (;;) {
        while (mNext < mLines.size()) {
            if (fits(mLines[mNext++])) {
                return mLines[mNext - 1];
            }
        }
        if (mHasEnded || mChanged.wait_until(lock, end) == std::cv_status::timeout) {
            return std::nullopt;
        }
    }
}

std::optional<std::string> Program::WaitForLine(const std::string& part)
{
    return WaitForLine(
        [&part](const std::string& line) { return line.find(part) != std::string::npos; });
}

void Program::Tell(const std::string& line) const
{
    const std::string text = line + "\n";
    send(mInput, text.data(), text.size(), MSG_NOSIGNAL);
}

void Program::Signal(int signal) const
{
    kill(mProcess, signal);
}

int Program::Wait()
{
    if (mStatus) {
        return *mStatus;
    }
    // Its output ends when it does
    std::unique_lock lock(mMutex);
    if (!mChanged.wait_for(lock, kDeadline, [this] { return mHasEnded; })) {
        return -1;
    }
    lock.unlock();
    int waited = 0;
    waitpid(mProcess, &waited, 0);
    mStatus = StatusOf(waited);
    return *mStatus;
}

std::string Program::Output() const
{
    const std::lock_guard lock(mMutex);
    std::string text;
    for (const std::string& line : mLines) {
        text += line + "\n";
    }
    return text;
}

void Program::Read(int descriptor)
{
    std::array<char, 4096> buffer{};
    ssize_t count = 0;
    while ((count = read(descriptor, buffer.data(), buffer.size())) > 0
        || (count < 0 && errno == EINTR)) {
        Take(std::string(buffer.data(), count > 0 ? static_cast<std::size_t>(count) : 0));
    }
    close(descriptor);
    const std::lock_guard lock(mMutex);
    if (!mRest.empty()) {
        mLines.push_back(mRest);
    }
    mHasEnded = true;
    mChanged.notify_all();
}

void Program::Take(const std::string& text)
{
    mRest += text;
    const std::lock_guard lock(mMutex);
    for (std::size_t end = mRest.find('\n'); end != std::string::npos; end = mRest.find('\n')) {
        mLines.push_back(mRest.substr(0, end));
        mRest.erase(0, end + 1);
    }
    mChanged.notify_all();
}

} // namespace deck::acceptance
