// A host of the plug-in bundle that knows of it only what the suite headers say: it loads the built
// file, offers tables of its own and writes down every call.

#pragma once

#include "korvasdk/suites/BasicSuite.h"
#include "korvasdk/suites/ControlSurfaceHostSuites.h"
#include "korvasdk/suites/ControlSurfacePluginSuite.h"
#include "korvasdk/suites/ControlSurfaceSuites.h"
#include "korvasdk/suites/StringSuite.h"
#include "korvasdk/suites/SuitesSuite.h"

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace blackbox {

/// One at a time. Calls may come from any thread.
class Host {
public:
    Host();
    ~Host();
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    static const QXBasicSuite* BasicSuite();
    KORVASDK_ControlSurfaceHost* Ref();

    /// What was called since the last time, in order, as "operation arguments".
    std::vector<std::string> TakeLog();
    /// Waits until `count` calls are in the log, or for a generous time, and takes them.
    std::vector<std::string> WaitForLog(std::size_t count);
    void Log(const std::string& entry);
    /// Called for each entry, on the thread of the call; set before calls come.
    std::function<void(const std::string&)> onLog;

    /// The table that the plug-in registered.
    template <typename Suite> const Suite& Registered(const char* name, int version = 1) const
    {
        return *static_cast<const Suite*>(mRegistered.at({name, version}));
    }
    const void* RegisteredTable(const char* name, int version) const
    {
        return mRegistered.at({name, version});
    }

    /// Suites in use, with the uses that were not given back.
    std::map<std::string, int> AllUses() const;

    /// The next copy of a string answers this.
    void RefuseNextCopy(KORVASDK_Result result) { mNextCopyResult = result; }

private:
    friend struct Tables;

    mutable std::mutex mMutex;
    std::condition_variable mLogged;
    std::vector<std::string> mLog;                                  // guarded by mMutex
    std::map<std::string, int> mUses;                               // guarded by mMutex
    std::map<std::pair<std::string, int>, const void*> mRegistered; // host's thread
    KORVASDK_Result mNextCopyResult = kSuccess;                     // host's thread
};

/// The bundle's binary, loaded.
class Bundle {
public:
    Bundle();
    ~Bundle();
    Bundle(const Bundle&) = delete;
    Bundle& operator=(const Bundle&) = delete;

    bool IsLoaded() const { return mLibrary != nullptr; }
    KORVASDK_EntryPoint EntryPoint() const;

    /// Unloads it; returns whether it is really gone.
    bool Unload();

private:
    void* mLibrary;
};

/// Sets a switch of the debug database as a host on the same host library does.
void SetDebugEntry(const std::string& key, const std::string& text);

} // namespace blackbox

/// The host's own kind of string.
struct KORVASDK_String {
    std::u16string text;
};
