#include "tests/midiservice/JackPeer.h"

#include "tests/support/Spawn.h"

#include <csignal>
#include <sstream>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace midiservice::test {

JackProgram::JackProgram(const std::string& mode, const std::string& name)
{
    int input[2];
    int output[2];
    EXPECT_EQ(pipe2(input, O_CLOEXEC), 0);
    EXPECT_EQ(pipe2(output, O_CLOEXEC), 0);
    const int silence = open("/dev/null", O_WRONLY | O_CLOEXEC);
    mProcess = korva::tests::Spawn({KORVA_JACK_PROGRAM, mode, name}, input[0], output[1], silence);
    close(silence);
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
    if (mProcess != 0)
        korva::tests::End(std::exchange(mProcess, 0), SIGTERM);
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
