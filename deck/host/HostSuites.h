// Everything that the deck offers a plug-in: the basic suite, by which it asks,
// and the suites that it finds.

#pragma once

#include "deck/host/SuiteRegistry.h"
#include "korvasdk/suites/BasicSuite.h"
#include "korvasdk/suites/SuitesSuite.h"

#include <memory>
#include <string>
#include <vector>

/// One suite of a plug-in's list.
struct QXSuite {
    std::string name;
    std::int32_t apiVersion = 0;
    std::int32_t internalVersion = 0;
    const void* functions = nullptr;
};

struct QXSuiteList {
    std::vector<std::unique_ptr<QXSuite>> suites; // in the order in which they were added
};

namespace deck::host {

/// The tables carry no context, so a process has one of these at a time; a second one throws
/// std::logic_error. It outlives every plug-in that was given its basic suite.
class HostSuites {
public:
    HostSuites();
    ~HostSuites();
    HostSuites(const HostSuites&) = delete;
    HostSuites& operator=(const HostSuites&) = delete;

    const QXBasicSuite& BasicSuite() const noexcept;
    SuiteRegistry& Registry() noexcept { return mRegistry; }

    /// Suite lists that were allocated and not freed.
    std::size_t LiveSuiteLists() const;

private:
    friend struct HostSuitesTables;

    QXSuiteList* AllocateSuiteList();
    bool FreeSuiteList(QXSuiteList* list);
    QXSuite* AddSuite(QXSuiteList* list, std::unique_ptr<QXSuite> suite);

    SuiteRegistry mRegistry;
    mutable std::mutex mMutex;
    std::vector<std::unique_ptr<QXSuiteList>> mLists; // guarded by mMutex
};

} // namespace deck::host
