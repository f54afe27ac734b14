#include "deck/cli/StatusSocket.h"

#include "deck/cli/StatusBoard.h"
#include "deck/host/HostError.h"
#include "tests/deck/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <atomic>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

namespace deck::cli::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;

class StatusSocketTest : public testing::Test {
protected:
    std::string Refusal(const std::filesystem::path& refused) const
    {
        try {
            const StatusServer server(refused, [] { return "x"; });
        } catch (const HostError& error) {
            return error.what();
        }
        ADD_FAILURE() << "accepted";
        return "";
    }

    deck::test::TemporaryFolder folder;
    std::filesystem::path path = folder.Path() / "run" / "korva-deck" / "a.sock";
};

/// Connects and reads nothing.
class SilentPeer {
public:
    explicit SilentPeer(const std::filesystem::path& path)
        : mDescriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.string().copy(address.sun_path, sizeof address.sun_path - 1);
        mIsConnected
            = connect(mDescriptor, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    }
    ~SilentPeer() { close(mDescriptor); }
    SilentPeer(const SilentPeer&) = delete;
    SilentPeer& operator=(const SilentPeer&) = delete;

    bool IsConnected() const noexcept { return mIsConnected; }

private:
    int mDescriptor;
    bool mIsConnected = false;
};

TEST_F(StatusSocketTest, AnswersEachThatAsks)
{
    std::atomic<int> asked{0};
    const StatusServer server(path, [&] { return "answer " + std::to_string(++asked); });

    EXPECT_EQ(AskStatus(path), "answer 1");
    EXPECT_EQ(AskStatus(path), "answer 2");
}

TEST_F(StatusSocketTest, AnswersWholeHoweverLong)
{
    const std::string longText(1 << 20, 'x');
    const StatusServer server(path, [&] { return longText; });

    EXPECT_EQ(AskStatus(path), longText);
}

TEST_F(StatusSocketTest, IsNotHeldUpByAPeerThatReadsNothing)
{
    const StatusServer server(path, [] { return std::string(1 << 20, 'x'); });
    const SilentPeer peer(path);
    ASSERT_TRUE(peer.IsConnected());

    EXPECT_EQ(AskStatus(path)->size(), 1U << 20);
}

TEST_F(StatusSocketTest, IsForItsUserAlone)
{
    const StatusServer server(path, [] { return ""; });

    struct stat status {};
    ASSERT_EQ(stat(path.parent_path().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0700u);
}

TEST_F(StatusSocketTest, RefusesAFolderThatOthersCanEnter)
{
    std::filesystem::create_directories(path.parent_path());
    chmod(path.parent_path().c_str(), 0755);
    EXPECT_THAT(Refusal(path), AllOf(HasSubstr("mode 0700"), HasSubstr("korva-deck status")));

    std::filesystem::remove(path.parent_path());
    std::filesystem::create_directory(folder.Path() / "own");
    chmod((folder.Path() / "own").c_str(), 0700);
    std::filesystem::create_directory_symlink(folder.Path() / "own", path.parent_path());
    EXPECT_THAT(Refusal(path), HasSubstr("mode 0700")) << "a link may lead anywhere tomorrow";
}

TEST_F(StatusSocketTest, RefusesAPathThatIsTooLong)
{
    EXPECT_THAT(Refusal(folder.Path() / std::string(120, 'x')), HasSubstr("longer than"));
    EXPECT_EQ(AskStatus(folder.Path() / std::string(120, 'x')), std::nullopt);
}

TEST_F(StatusSocketTest, TakesThePlaceOfASocketThatIsLeftAndLeavesNone)
{
    std::filesystem::create_directories(path.parent_path());
    chmod(path.parent_path().c_str(), 0700);
    folder.Write("run/korva-deck/a.sock", "left");
    {
        const StatusServer server(path, [] { return "answer"; });
        EXPECT_EQ(AskStatus(path), "answer");
    }
    EXPECT_FALSE(std::filesystem::exists(path));
    EXPECT_EQ(AskStatus(path), std::nullopt);
}

TEST_F(StatusSocketTest, HasANameForEachSettingsFile)
{
    const auto a = StatusSocketPath("/x/deck-settings.json");

    EXPECT_EQ(a, StatusSocketPath("/x/y/../deck-settings.json"));
    EXPECT_NE(a, StatusSocketPath("/y/deck-settings.json"));
    EXPECT_THAT(a.filename().string(), testing::MatchesRegex("deck-settings-[0-9a-f]*\\.sock"));
}

TEST(StatusBoard, AnswersWhileItIsPostedTo)
{
    StatusBoard board({"run", "/s.json", "/t.jsonl"});
    std::thread poster([&] {
        for (int frame = 0; frame < 1000; ++frame) {
            DeckStatus status;
            status.frame = frame;
            status.in.name = std::to_string(frame);
            board.Post(status);
            board.Post("note", std::to_string(frame));
        }
    });
    for (int i = 0; i < 100; ++i) {
        EXPECT_THAT(board.Answer(), HasSubstr(R"("command":"run")"));
    }
    poster.join();

    const std::string answer = board.Answer();
    EXPECT_THAT(answer,
        AllOf(HasSubstr(R"("frame":999,)"), HasSubstr(R"("text":"999")"),
            HasSubstr("\nnote: 999\n"), HasSubstr("settings /s.json")));
}

} // namespace
} // namespace deck::cli::test
