#include "BlackBoxHost.h"

#include <dlfcn.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace blackbox {

namespace {

Host* sHost = nullptr;
int sReferences[4]; // their addresses are references

template <typename Ref> Ref* Reference(int index)
{
    return reinterpret_cast<Ref*>(&sReferences[index]);
}

std::string Name(const void* reference)
{
    const auto* place = static_cast<const int*>(reference);
    const char* names[]{"host", "transport", "smpte", "list"};
    return place == nullptr ? "null" : names[place - sReferences];
}

} // namespace

struct Tables {
    static KORVASDK_Result AcquireSuite(
        const char* name, std::int32_t version, const void** outSuite);
    static KORVASDK_Result ReleaseSuite(const char* name, std::int32_t version)
    {
        sHost->Log("release " + std::string(name) + " " + std::to_string(version));
        const std::scoped_lock lock(sHost->mMutex);
        --sHost->mUses[name];
        return kSuccess;
    }

    static KORVASDK_Result AllocateSuiteList(void* first, void* second, QXSuiteList** outList)
    {
        sHost->Log("allocate list " + Name(first) + " " + Name(second));
        *outList = Reference<QXSuiteList>(3);
        return kSuccess;
    }
    static KORVASDK_Result FreeSuiteList(QXSuiteList* list)
    {
        sHost->Log("free " + Name(list));
        return kSuccess;
    }
    static KORVASDK_Result AddSuite(QXSuiteList* list,
        void* owner,
        const char* name,
        std::int32_t apiVersion,
        std::int32_t internalVersion,
        const void* functions,
        QXSuite** outSuite)
    {
        *outSuite = nullptr;
        sHost->Log("add to " + Name(list) + ": " + Name(owner) + " " + name + " "
            + std::to_string(apiVersion) + "/" + std::to_string(internalVersion));
        sHost->mRegistered[{name, apiVersion}] = functions;
        return kSuccess;
    }

    static KORVASDK_Result MakeString(const KORVASDK_UTF16Unit* text, KORVASDK_String* outString)
    {
        outString->text = text;
        return kSuccess;
    }
    static KORVASDK_Result CopyString(
        const KORVASDK_String* string, KORVASDK_UTF16Unit* buffer, std::uint32_t* length)
    {
        const auto needed = static_cast<std::uint32_t>(string->text.size());
        sHost->Log("copy string into " + std::to_string(*length));
        if (const KORVASDK_Result result = std::exchange(sHost->mNextCopyResult, kSuccess);
            result != kSuccess) {
            return result;
        }
        if (*length < needed) {
            *length = needed;
            return kErrorStringBufferTooSmall;
        }
        std::copy(string->text.begin(), string->text.end(), buffer);
        *length = needed;
        return kSuccess;
    }

    static KORVASDK_Result GetTransportRef(
        KORVASDK_ControlSurfaceHost* host, KORVASDK_ControlSurfaceHostTransport** outTransport)
    {
        sHost->Log("transport of " + Name(host));
        *outTransport = Reference<KORVASDK_ControlSurfaceHostTransport>(1);
        return kSuccess;
    }
    static KORVASDK_Result GetSMPTERef(
        KORVASDK_ControlSurfaceHost* host, KORVASDK_ControlSurfaceHostSMPTE** outSMPTE)
    {
        sHost->Log("smpte of " + Name(host));
        *outSMPTE = Reference<KORVASDK_ControlSurfaceHostSMPTE>(2);
        return kSuccess;
    }

    template <const char* const& kOperation>
    static KORVASDK_Result Transport(KORVASDK_ControlSurfaceHostTransport* transport)
    {
        sHost->Log(std::string(kOperation) + " " + Name(transport));
        return kSuccess;
    }
    static KORVASDK_Result Locate(KORVASDK_ControlSurfaceHostSMPTE* smpte,
        std::uint32_t timeFormat,
        std::uint8_t hours,
        std::uint8_t minutes,
        std::uint8_t seconds,
        std::uint8_t frames,
        std::uint8_t subframes)
    {
        std::string entry = "locate " + Name(smpte) + " " + std::to_string(timeFormat);
        for (const std::uint8_t part : {hours, minutes, seconds, frames, subframes}) {
            entry += " " + std::to_string(part);
        }
        sHost->Log(entry);
        return kSuccess;
    }
    static KORVASDK_Result SetActive(KORVASDK_ControlSurfaceHostSMPTE* smpte, std::int32_t active)
    {
        sHost->Log("active " + Name(smpte) + " " + std::to_string(active));
        return kSuccess;
    }
};

namespace {

constexpr const char* kStartRewind = "start rewind";
constexpr const char* kStopRewind = "stop rewind";
constexpr const char* kStartFastForward = "start fast forward";
constexpr const char* kStopFastForward = "stop fast forward";
constexpr const char* kStop = "stop";
constexpr const char* kPlay = "play";
constexpr const char* kRecord = "record";
constexpr const char* kPause = "pause";

constexpr QXBasicSuite kBasicSuite{Tables::AcquireSuite, Tables::ReleaseSuite};
constexpr QXSuitesSuite kSuitesSuite{
    Tables::AllocateSuiteList, Tables::FreeSuiteList, Tables::AddSuite};
constexpr KORVASDK_StringSuite kStringSuite{
    nullptr, nullptr, nullptr, Tables::MakeString, Tables::CopyString};
constexpr KORVASDK_ControlSurfaceHostSuite kHostSuite{
    nullptr, nullptr, nullptr, Tables::GetTransportRef};
constexpr KORVASDK_ControlSurfaceHostInternalSuite kInternalSuite{Tables::GetSMPTERef};
constexpr KORVASDK_ControlSurfaceHostTransportSuite kTransportSuite{Tables::Transport<kStartRewind>,
    Tables::Transport<kStopRewind>, Tables::Transport<kStartFastForward>,
    Tables::Transport<kStopFastForward>, Tables::Transport<kStop>, Tables::Transport<kPlay>,
    Tables::Transport<kRecord>, Tables::Transport<kPause>};
constexpr KORVASDK_ControlSurfaceHostSMPTESuite kSMPTESuite{Tables::Locate, Tables::SetActive};

const void* TableOf(const std::string& name, int version)
{
    const std::map<std::pair<std::string, int>, const void*> tables{
        {{kQXSuitesSuite, 2}, &kSuitesSuite}, {{kKORVASDKStringSuite, 1}, &kStringSuite},
        {{kKORVASDKControlSurfaceHostSuite, 1}, &kHostSuite},
        {{kKORVASDKControlSurfaceHostTransportSuite, 1}, &kTransportSuite},
        {{kKORVASDKControlSurfaceHostSMPTESuite, 1}, &kSMPTESuite},
        {{kKORVASDKControlSurfaceHostInternalSuite, 1}, &kInternalSuite}};
    const auto found = tables.find({name, version});
    return found == tables.end() ? nullptr : found->second;
}

} // namespace

KORVASDK_Result Tables::AcquireSuite(const char* name, std::int32_t version, const void** outSuite)
{
    sHost->Log("acquire " + std::string(name) + " " + std::to_string(version));
    *outSuite = TableOf(name, version);
    const std::scoped_lock lock(sHost->mMutex);
    sHost->mUses[name] += *outSuite != nullptr ? 1 : 0;
    return *outSuite != nullptr ? kSuccess : kErrorBadParameter;
}

Host::Host()
{
    sHost = this;
}

Host::~Host()
{
    sHost = nullptr;
}

const QXBasicSuite* Host::BasicSuite()
{
    return &kBasicSuite;
}

KORVASDK_ControlSurfaceHost* Host::Ref()
{
    return Reference<KORVASDK_ControlSurfaceHost>(0);
}

std::vector<std::string> Host::TakeLog()
{
    const std::scoped_lock lock(mMutex);
    return std::exchange(mLog, {});
}

std::vector<std::string> Host::WaitForLog(std::size_t count)
{
    std::unique_lock lock(mMutex);
    mLogged.wait_for(lock, std::chrono::seconds(30), [&] { return mLog.size() >= count; });
    return std::exchange(mLog, {});
}

void Host::Log(const std::string& entry)
{
    if (onLog) {
        onLog(entry);
    }
    const std::scoped_lock lock(mMutex);
    mLog.push_back(entry);
    mLogged.notify_all();
}

std::map<std::string, int> Host::AllUses() const
{
    const std::scoped_lock lock(mMutex);
    std::map<std::string, int> uses;
    std::copy_if(mUses.begin(), mUses.end(), std::inserter(uses, uses.end()),
        [](const auto& suite) { return suite.second != 0; });
    return uses;
}

Bundle::Bundle()
    : mLibrary(dlopen(BLACKBOX_BUNDLE_BINARY, RTLD_NOW | RTLD_LOCAL))
{
    if (mLibrary == nullptr) {
        throw std::runtime_error(dlerror());
    }
}

Bundle::~Bundle()
{
    Unload();
}

KORVASDK_EntryPoint Bundle::EntryPoint() const
{
    return reinterpret_cast<KORVASDK_EntryPoint>(dlsym(mLibrary, kKORVASDKEntryPointName));
}

bool Bundle::Unload()
{
    if (mLibrary != nullptr) {
        dlclose(std::exchange(mLibrary, nullptr));
    }
    void* const still = dlopen(BLACKBOX_BUNDLE_BINARY, RTLD_NOW | RTLD_NOLOAD);
    if (still != nullptr) {
        dlclose(still);
    }
    return still == nullptr;
}

void SetDebugEntry(const std::string& key, const std::string& text)
{
    using Instance = void* (*)();
    using SetEntry = void (*)(void*, const std::string&, const std::string&);
    void* const library = dlopen(BLACKBOX_KELCORE, RTLD_NOW);
    const auto instance
        = reinterpret_cast<Instance>(dlsym(library, "_ZN7kelcore5debug13DebugDatabase8InstanceEv"));
    const auto setEntry = reinterpret_cast<SetEntry>(dlsym(library, BLACKBOX_SET_ENTRY));
    if (instance == nullptr || setEntry == nullptr) {
        throw std::runtime_error("the host library has no debug database");
    }
    setEntry(instance(), key, text);
}

} // namespace blackbox
