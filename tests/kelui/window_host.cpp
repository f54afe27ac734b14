// A host of the plug-in's bundle, as small as one can be: it knows the suites, and the MIDI
// service for endpoints of its own. Driven by lines on standard input; each is answered by one
// line, and the end of a dialog by another.
//
//   source NAME     adds a virtual MIDI source           "source ID"
//   drop NAME       removes it                           "dropped"
//   set SETTINGS    gives the plug-in its settings       "set"
//   get             asks for them                        "settings SETTINGS"
//   open [PARENT]   opens the dialog on a thread         "open", and later "closed CHANGED"

#include "korvasdk/suites/ControlSurfacePluginSuite.h"

#include <CoreMIDI/CoreMIDI.h>

#include <dlfcn.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <map>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <utility>

struct KORVASDK_String {
    std::u16string text;
};
struct QXSuiteList {
    std::map<std::pair<std::string, int32_t>, const void*> suites;
};

namespace {

std::mutex sOutput;

void Say(const std::string& line)
{
    const std::lock_guard lock(sOutput);
    std::cout << line << std::endl;
}

[[noreturn]] void Fail(const std::string& what)
{
    Say("failed: " + what);
    std::_Exit(1);
}

KORVASDK_Result MakeString(const KORVASDK_UTF16Unit* text, KORVASDK_String* outString)
{
    outString->text = text;
    return kSuccess;
}

KORVASDK_Result CopyString(
    const KORVASDK_String* string, KORVASDK_UTF16Unit* buffer, uint32_t* length)
{
    const auto needed = static_cast<uint32_t>(string->text.size());
    if (*length < needed) {
        *length = needed;
        return kErrorStringBufferTooSmall;
    }
    std::memcpy(buffer, string->text.data(), needed * sizeof *buffer);
    *length = needed;
    return kSuccess;
}

KORVASDK_Result AllocateSuiteList(void*, void*, QXSuiteList** outList)
{
    *outList = new QXSuiteList;
    return kSuccess;
}

KORVASDK_Result FreeSuiteList(QXSuiteList* list)
{
    delete list;
    return kSuccess;
}

KORVASDK_Result AddSuite(QXSuiteList* list,
    void*,
    const char* name,
    int32_t apiVersion,
    int32_t,
    const void* functions,
    QXSuite**)
{
    list->suites[{name, apiVersion}] = functions;
    return kSuccess;
}

const KORVASDK_StringSuite sStringSuite{nullptr, nullptr, nullptr, MakeString, CopyString};
const QXSuitesSuite sSuitesSuite{AllocateSuiteList, FreeSuiteList, AddSuite};

KORVASDK_Result AcquireSuite(const char* name, int32_t, const void** outSuite)
{
    const bool isStrings = std::strcmp(name, kKORVASDKStringSuite) == 0;
    const bool isSuites = std::strcmp(name, kQXSuitesSuite) == 0;
    *outSuite = isStrings ? static_cast<const void*>(&sStringSuite)
        : isSuites        ? static_cast<const void*>(&sSuitesSuite)
                          : nullptr;
    return *outSuite == nullptr ? kErrorBadParameter : kSuccess;
}

KORVASDK_Result ReleaseSuite(const char*, int32_t)
{
    return kSuccess;
}

const QXBasicSuite sBasicSuite{AcquireSuite, ReleaseSuite};

KORVASDK_ControlSurfacePluginFuncs LoadPlugin(const char* bundle)
{
    const std::string path = std::string(bundle) + "/Contents/Linux/MIDIMachineControl";
    void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        Fail(dlerror());
    }
    void* entry = dlsym(library, kKORVASDKEntryPointName);
    KORVASDK_ControlSurfacePluginFuncs functions{};
    if (entry == nullptr
        || reinterpret_cast<KORVASDK_EntryPoint>(entry)(
               &sBasicSuite, nullptr, nullptr, 1, &functions)
            != kSuccess) {
        Fail("the plug-in refuses");
    }
    return functions;
}

class Host {
public:
    explicit Host(const char* bundle)
        : mFunctions(LoadPlugin(bundle))
    {
        QXSuiteList* suites = nullptr;
        mFunctions.Startup();
        mFunctions.GetSuiteList(&suites);
        mSuite = static_cast<const KORVASDK_ControlSurfacePluginSuite*>(
            suites->suites.at({kKORVASDKControlSurfacePluginSuite, 1}));
        mFunctions.CreatePluginInstance(&mPlugin);
        MIDIClientCreate(CFSTR("Window host"), nullptr, nullptr, &mClient);
    }
    ~Host()
    {
        JoinDialog();
        mFunctions.DeletePluginInstance(mPlugin);
        mFunctions.Shutdown();
        MIDIClientDispose(mClient);
    }
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    void Obey(const std::string& command, const std::string& argument)
    {
        if (command == "source") {
            Say("source " + std::to_string(AddSource(argument)));
        } else if (command == "drop") {
            MIDIEndpointDispose(mSources[argument]);
            Say("dropped");
        } else if (command == "set") {
            JoinDialog();
            const KORVASDK_String settings{std::u16string(argument.begin(), argument.end())};
            Say(mSuite->SetPluginSettings(mPlugin, &settings) == kSuccess ? "set" : "refused");
        } else if (command == "get") {
            JoinDialog();
            KORVASDK_String settings;
            mSuite->GetPluginSettings(mPlugin, &settings);
            Say("settings " + std::string(settings.text.begin(), settings.text.end()));
        } else if (command == "open") {
            Open(argument);
        } else {
            Fail(command);
        }
    }

private:
    int32_t AddSource(const std::string& name)
    {
        CFStringRef text
            = CFStringCreateWithCString(kCFAllocatorDefault, name.c_str(), kCFStringEncodingUTF8);
        MIDIEndpointRef source = 0;
        MIDISourceCreate(mClient, text, &source);
        CFRelease(text);
        mSources[name] = source;
        SInt32 id = 0;
        MIDIObjectGetIntegerProperty(source, kMIDIPropertyUniqueID, &id);
        return id;
    }

    void JoinDialog()
    {
        if (mDialog.joinable()) {
            mDialog.join();
        }
    }

    // On another thread each time, as hosts do as they like.
    void Open(const std::string& parent)
    {
        JoinDialog();
        const auto window = parent.empty() ? 0 : std::stoul(parent);
        mDialog = std::thread([this, window] {
            uint8_t changed = 0xFF;
            mSuite->RunConfigurationDialog(
                mPlugin, reinterpret_cast<void*>(static_cast<uintptr_t>(window)), &changed);
            Say("closed " + std::to_string(changed));
        });
        Say("open");
    }

    const KORVASDK_ControlSurfacePluginFuncs mFunctions;
    const KORVASDK_ControlSurfacePluginSuite* mSuite = nullptr;
    KORVASDK_ControlSurfacePlugin* mPlugin = nullptr;
    MIDIClientRef mClient = 0;
    std::map<std::string, MIDIEndpointRef> mSources;
    std::thread mDialog;
};

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        Fail("usage: kelui_window_host BUNDLE");
    }
    Host host(argv[1]);
    for (std::string line; std::getline(std::cin, line);) {
        std::istringstream words(line);
        std::string command;
        std::string argument;
        words >> command >> std::ws;
        std::getline(words, argument);
        host.Obey(command, argument);
    }
}
