// What the tests of dialogs stand on: a screen without a display, and the trace.

#pragma once

#include "kelcore/debug/DebugDatabase.h"
#include "kelui/utility/ResourceManager.h"
#include "tests/support/ScopedVariable.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>
#include <utility>

namespace kelui::tests {

/// Every dialog in its life is shown on a screen that nobody sees.
class OffscreenScreen {
    korva::tests::ScopedVariable mPlatform{"QT_QPA_PLATFORM", "offscreen"};
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
