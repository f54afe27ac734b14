#include "deck/host/SettingsFile.h"

#include "deck/host/HostError.h"
#include "deck/host/UserFolders.h"
#include "kelcore/proplist/PropListText.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <sys/file.h>
#include <unistd.h>
#include <utility>

namespace deck::host {
namespace {

namespace fs = std::filesystem;
constexpr mode_t kOwnerAndReaders = 0644;

HostError Failure(const std::string& what, const fs::path& path, int error)
{
    return HostError(what + " " + path.string() + " (" + std::strerror(error)
        + "); name another settings file with --settings");
}

// Closes with the scope.
class File {
public:
    File(const fs::path& path, int flags)
        : mDescriptor(open(path.c_str(), flags | O_CLOEXEC, kOwnerAndReaders))
    {
    }
    ~File() { Close(); }
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    int Get() const noexcept { return mDescriptor; }
    bool IsOpen() const noexcept { return mDescriptor >= 0; }
    bool Close() noexcept
    {
        const int descriptor = std::exchange(mDescriptor, -1);
        return descriptor < 0 || close(descriptor) == 0;
    }

private:
    int mDescriptor;
};

bool WriteAll(int descriptor, std::string_view text)
{
    while (!text.empty()) {
        const ssize_t written = write(descriptor, text.data(), text.size());
        if (written < 0 && errno != EINTR) {
            return false;
        }
        text.remove_prefix(written > 0 ? static_cast<std::size_t>(written) : 0);
    }
    return true;
}

// The name is lasting only once its folder is written, too.
void SyncFolder(const fs::path& folder)
{
    const File opened(folder, O_RDONLY | O_DIRECTORY);
    if (opened.IsOpen()) {
        fsync(opened.Get());
    }
}

fs::path WithSuffix(const fs::path& path, const std::string& suffix)
{
    return path.string() + suffix;
}

void WriteNew(const fs::path& path, const std::string& text)
{
    File file(path, O_WRONLY | O_CREAT | O_TRUNC);
    if (!file.IsOpen() || !WriteAll(file.Get(), text) || fsync(file.Get()) != 0 || !file.Close()) {
        const int error = errno;
        unlink(path.c_str());
        throw Failure("cannot write", path, error);
    }
}

// Who has the lock, for people; the lock itself is the kernel's and ends with its process.
void SignLock(int lock)
{
    if (ftruncate(lock, 0) == 0) {
        WriteAll(lock, std::to_string(getpid()) + "\n");
    }
}

/// " (process 123)", or nothing where it has not signed yet.
std::string HolderOf(int lock)
{
    char text[16] = {};
    const ssize_t length = pread(lock, text, sizeof text - 1, 0);
    const int process = length > 0 ? std::atoi(text) : 0;
    return process > 0 ? " (process " + std::to_string(process) + ")" : "";
}

int TakeLock(const fs::path& path)
{
    const fs::path lockPath = WithSuffix(path, ".lock");
    const int lock = open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, kOwnerAndReaders);
    if (lock < 0) {
        throw Failure("cannot write", lockPath, errno);
    }
    if (flock(lock, LOCK_EX | LOCK_NB) != 0) {
        const std::string holder = HolderOf(lock);
        close(lock);
        throw HostError("another korva-deck" + holder + " is using the settings file "
            + path.string() + "; end it, or give this one a file of its own with --settings");
    }
    SignLock(lock);
    return lock;
}

void CheckIsSettings(const std::string& text)
{
    kelcore::proplist::PropList list;
    kelcore::proplist::utils::ReadPropList(list, text);
}

} // namespace

fs::path SettingsFile::DefaultPath()
{
    return UserFolder("XDG_CONFIG_HOME", ".config") / "korva" / "deck-settings.json";
}

SettingsFile::SettingsFile(const fs::path& path)
    : mPath(fs::weakly_canonical(fs::absolute(path)))
{
    std::error_code error;
    fs::create_directories(mPath.parent_path(), error);
    if (error) {
        throw Failure("cannot make the folder", mPath.parent_path(), error.value());
    }
    mLock = TakeLock(mPath);
}

SettingsFile::~SettingsFile()
{
    close(mLock);
}

std::string SettingsFile::Load(const std::function<void(const std::string&)>& warn)
{
    if (access(mPath.c_str(), F_OK) != 0 && errno == ENOENT) {
        return {};
    }
    if (fs::is_directory(mPath)) {
        throw Failure("cannot read", mPath, EISDIR);
    }
    std::ifstream file(mPath, std::ios::binary);
    const std::string text(
        (std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    if (!file.is_open() || file.bad()) {
        throw Failure("cannot read", mPath, errno);
    }
    try {
        CheckIsSettings(text);
    } catch (const kelcore::proplist::utils::PropListSyntaxError& error) {
        const fs::path kept = KeepAside();
        warn("the settings file " + mPath.string() + " is broken (" + error.what()
            + "); it is kept as " + kept.string() + ", and the deck starts with no settings");
        return {};
    }
    mInFile = text;
    return text;
}

void SettingsFile::Save(const std::string& settings)
{
    const std::string text = settings + "\n";
    if (text == mInFile) {
        return;
    }
    const fs::path next = WithSuffix(mPath, ".new");
    WriteNew(next, text);
    if (rename(next.c_str(), mPath.c_str()) != 0) {
        throw Failure("cannot write", mPath, errno);
    }
    SyncFolder(mPath.parent_path());
    mInFile = text;
}

fs::path SettingsFile::KeepAside() const
{
    // link refuses a name that is taken, so that an earlier broken file stays
    for (int number = 1;; ++number) {
        const fs::path kept = WithSuffix(mPath, ".broken-" + std::to_string(number));
        if (link(mPath.c_str(), kept.c_str()) == 0) {
            unlink(mPath.c_str());
            return kept;
        }
        if (errno != EEXIST) {
            throw Failure("cannot keep the broken file as", kept, errno);
        }
    }
}

} // namespace deck::host
