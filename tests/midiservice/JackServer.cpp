#include "tests/midiservice/JackServer.h"

#include "mediaio/midiservice/src/jack/JackProbe.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <sstream>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace midiservice::test {

namespace {

const std::string kName = "korvatest";

/// Ends with us, however we end.
pid_t Spawn(const std::vector<std::string>& arguments, int input, int output)
{
    std::vector<char*> pointers;
    for (const std::string& argument : arguments)
        pointers.push_back(const_cast<char*>(argument.c_str()));
    pointers.push_back(nullptr);
    const pid_t process = fork();
    if (process == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        dup2(input, STDIN_FILENO);
        dup2(output, STDOUT_FILENO);
        dup2(open("/dev/null", O_RDWR | O_CLOEXEC), STDERR_FILENO);
        execvp(pointers[0], pointers.data());
        _exit(127);
    }
    return process;
}

} // namespace

bool JackServer::IsInstalled()
{
    const std::string path = std::getenv("PATH") != nullptr ? std::getenv("PATH") : "";
    for (std::size_t start = 0; start <= path.size();) {
        const auto end = std::min(path.find(':', start), path.size());
        if (access((path.substr(start, end - start) + "/jackd").c_str(), X_OK) == 0)
            return true;
        start = end + 1;
    }
    return false;
}

// JACK's servers of one user share files that each clears away when it ends, and it has places
// for eight names only, of which one that was killed keeps its own. So there is one server of
// tests at a time, of one name.
JackServer::Turn::Turn()
    : mLock(open((std::filesystem::temp_directory_path() / "korva-jack-test.lock").c_str(),
        O_RDWR | O_CREAT | O_CLOEXEC,
        0666))
{
    EXPECT_EQ(flock(mLock, LOCK_EX), 0);
}

JackServer::Turn::~Turn()
{
    close(mLock);
}

JackServer::JackServer(Mode mode)
    : mMode(mode)
    , mVariable("JACK_DEFAULT_SERVER", kName)
{
}

JackServer::~JackServer()
{
    Stop();
}

void JackServer::Start()
{
    std::vector<std::string> arguments{"jackd", "-n", kName, "-r", "-p", "256"};
    if (mMode == Mode::Synchronous)
        arguments.insert(arguments.end(), {"-S", "-t", "200"});
    arguments.insert(arguments.end(), {"-d", "dummy", "-r", "48000", "-p", "128"});
    const int silence = open("/dev/null", O_RDWR | O_CLOEXEC);
    mProcess = Spawn(arguments, silence, silence);
    close(silence);
    ASSERT_GT(mProcess, 0);
    const auto end = std::chrono::steady_clock::now() + kDeadline;
    while (!MayJackServerBeThere() && std::chrono::steady_clock::now() < end)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    ASSERT_TRUE(MayJackServerBeThere()) << "jackd does not answer";
}

void JackServer::Stop()
{
    End(SIGTERM);
}
void JackServer::Kill()
{
    End(SIGKILL);
}

void JackServer::End(int signal)
{
    if (mProcess == 0)
        return;
    kill(mProcess, signal);
    waitpid(mProcess, nullptr, 0);
    mProcess = 0;
}

JackProgram::JackProgram(const std::string& mode, const std::string& name)
{
    int input[2];
    int output[2];
    EXPECT_EQ(pipe2(input, O_CLOEXEC), 0);
    EXPECT_EQ(pipe2(output, O_CLOEXEC), 0);
    mProcess = Spawn({KORVA_JACK_PROGRAM, mode, name}, input[0], output[1]);
    close(input[0]);
    close(output[1]);
    mInput = fdopen(input[1], "w");
    mOutput = fdopen(output[0], "r");
    std::string line;
    EXPECT_TRUE(Read(line)) << "a JACK client cannot be opened";
    EXPECT_EQ(line, "ok");
}

JackProgram::~JackProgram()
{
    std::fclose(mInput);
    Terminate();
    std::fclose(mOutput);
}

void JackProgram::Terminate()
{
    if (mProcess == 0)
        return;
    kill(mProcess, SIGTERM);
    waitpid(mProcess, nullptr, 0);
    mProcess = 0;
}

void JackProgram::Write(const std::string& line)
{
    std::fprintf(mInput, "%s\n", line.c_str());
    std::fflush(mInput);
}

bool JackProgram::Read(std::string& line)
{
    line.clear();
    int character = 0;
    while ((character = std::getc(mOutput)) != EOF && character != '\n')
        line += static_cast<char>(character);
    return character != EOF;
}

JackPeer::JackPeer(const std::string& name)
    : mProgram("peer", name)
    , mListener([this] { Listen(); })
{
}

JackPeer::~JackPeer()
{
    mProgram.Terminate();
    mListener.join();
}

void JackPeer::Listen()
{
    for (std::string line; mProgram.Read(line);) {
        std::istringstream words(line);
        std::string word;
        Inbox::Arrival arrival;
        words >> word;
        if (word != "event") {
            const std::lock_guard lock(mMutex);
            mAnswers.push_back(word);
            mAnswered.notify_all();
            continue;
        }
        words >> arrival.stamp >> arrival.time;
        for (unsigned byte = 0; words >> std::hex >> byte;)
            arrival.bytes.push_back(static_cast<std::uint8_t>(byte));
        mReceived.Put(std::move(arrival));
    }
}

std::string JackPeer::Ask(const std::string& line)
{
    mProgram.Write(line);
    std::unique_lock lock(mMutex);
    if (!mAnswered.wait_for(lock, kDeadline, [this] { return !mAnswers.empty(); }))
        return "no answer";
    const std::string answer = mAnswers.front();
    mAnswers.clear();
    return answer;
}

void JackPeer::Command(const std::string& line)
{
    EXPECT_EQ(Ask(line), "ok") << line;
}

void JackPeer::Send(const std::vector<Bytes>& units)
{
    std::ostringstream line;
    line << "send" << std::hex;
    for (std::size_t index = 0; index < units.size(); ++index) {
        line << (index > 0 ? "," : "");
        for (std::uint8_t byte : units[index])
            line << ' ' << int{byte};
    }
    Command(line.str());
}

void JackPeer::ConnectFrom(const std::string& virtualSource)
{
    Command("from " + virtualSource);
}

void JackPeer::ConnectTo(const std::string& virtualDestination)
{
    Command("to " + virtualDestination);
}

bool JackPeer::SeesNoMore(const std::string& virtualEndpoint)
{
    const auto end = std::chrono::steady_clock::now() + kDeadline;
    while (Ask("sees " + virtualEndpoint) == "ok") {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

} // namespace midiservice::test
