#include "mediaio/midiservice/src/jack/JackProbe.h"

#include <jack/jack.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace midiservice {

namespace {

// JACK 2's place for sockets on Linux.
const std::string kFolder = "/dev/shm/";

bool Answers(const std::string& path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path)
        return true; // too long to ask
    std::memcpy(address.sun_path, path.c_str(), path.size());
    const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (descriptor < 0)
        return true;
    // A server that was killed leaves its socket behind, which refuses.
    const bool answers
        = connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    close(descriptor);
    return answers;
}

} // namespace

bool MayJackServerBeThere()
{
    const std::string version = jack_get_version_string();
    if (version.rfind("1.9.", 0) != 0)
        return true;
    const char* wanted = std::getenv("JACK_DEFAULT_SERVER");
    const std::string server
        = kFolder + "jack_" + (wanted != nullptr && *wanted != '\0' ? wanted : "default");
    // The second is a server that takes clients of every user (JACK_PROMISCUOUS_SERVER).
    return Answers(server + "_" + std::to_string(getuid()) + "_0") || Answers(server + "_0");
}

} // namespace midiservice
