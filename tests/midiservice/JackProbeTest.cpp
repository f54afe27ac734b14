#include "mediaio/midiservice/src/jack/JackProbe.h"

#include "tests/support/JackServer.h"

#include <gtest/gtest.h>

namespace midiservice::test {

namespace {

using korva::tests::JackServer;
using korva::tests::ScopedVariable;

TEST(JackProbe, FollowsTheServersLife)
{
    if (!JackServer::IsInstalled())
        GTEST_SKIP() << "jackd is not installed";
    JackServer server;

    EXPECT_FALSE(MayJackServerBeThere());
    server.Start();
    EXPECT_TRUE(MayJackServerBeThere());
    server.Kill();
    EXPECT_FALSE(MayJackServerBeThere()) << "its socket is still there, but nobody behind it";
    server.Start();
    EXPECT_TRUE(MayJackServerBeThere());
    server.Stop();
    EXPECT_FALSE(MayJackServerBeThere());
}

TEST(JackProbe, PassesANameOnThatIsTooLongToAsk)
{
    const ScopedVariable name("JACK_DEFAULT_SERVER", std::string(200, 'x'));

    EXPECT_TRUE(MayJackServerBeThere());
}

} // namespace

} // namespace midiservice::test
