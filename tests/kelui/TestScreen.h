// What the tests of dialogs stand on: a screen without a display, and the trace.

#pragma once

#include "kelcore/debug/DebugDatabase.h"
#include "kelui/utility/ResourceManager.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>

namespace kelui::tests {

/// Sets or, with a null value, removes an environment variable, and puts it back.
class Environment {
public:
    Environment(const char* name, const char* value)
        : mName(name)
    {
        if (const char* before = std::getenv(name); before != nullptr) {
            mBefore = before;
        }
        Set(value);
    }
    ~Environment() { Set(mBefore ? mBefore->c_str() : nullptr); }
    Environment(const Environment&) = delete;
    Environment& operator=(const Environment&) = delete;

private:
    void Set(const char* value)
    {
        if (value == nullptr) {
            unsetenv(mName);
        } else {
            setenv(mName, value, 1);
        }
    }

    const char* mName;
    std::optional<std::string> mBefore;
};

/// Every dialog in its life is shown on a screen that nobody sees.
class OffscreenScreen {
    Environment mPlatform{"QT_QPA_PLATFORM", "offscreen"};
};

/// Catches the trace lines of dialogs, and whatever else is written to standard error.
class TraceLines {
public:
    TraceLines()
    {
        kelcore::debug::DebugDatabase::Instance().SetEntry(kSwitch, "1");
        testing::internal::CaptureStderr();
    }
    ~TraceLines()
    {
        if (!mTaken) {
            testing::internal::GetCapturedStderr();
        }
        kelcore::debug::DebugDatabase::Instance().RemoveEntry(kSwitch);
    }
    TraceLines(const TraceLines&) = delete;
    TraceLines& operator=(const TraceLines&) = delete;

    /// Once.
    std::string Take()
    {
        mTaken = true;
        return testing::internal::GetCapturedStderr();
    }

private:
    static constexpr char kSwitch[] = "trace.UI, Dialog";
    bool mTaken = false;
};

/// Resources from a folder.
class FolderResources : public kelui::utility::ResourceManager {
public:
    explicit FolderResources(std::filesystem::path folder)
        : mFolder(std::move(folder))
    {
    }

    std::optional<std::filesystem::path> FindResource(const std::string& fileName) const override
    {
        const auto path = mFolder / fileName;
        return std::filesystem::is_regular_file(path) ? std::optional(path) : std::nullopt;
    }

private:
    std::filesystem::path mFolder;
};

} // namespace kelui::tests
