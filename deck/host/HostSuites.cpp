#include "deck/host/HostSuites.h"

#include "deck/host/ControlSurfaceHost.h"
#include "deck/host/HostString.h"

#include <algorithm>
#include <atomic>
#include <new>
#include <stdexcept>

namespace deck::host {
namespace {
std::atomic<HostSuites*> sCurrent{nullptr};
}

// What the tables' functions are: they find the one HostSuites and let no exception out.
struct HostSuitesTables {
    template <typename Function> static KORVASDK_Result Guarded(Function function) noexcept
    {
        HostSuites* const current = sCurrent.load();
        if (current == nullptr) {
            return kErrorBadParameter;
        }
        try {
            return function(*current);
        } catch (const std::bad_alloc&) {
            return kErrorBadParameter;
        }
    }

    static KORVASDK_Result Acquire(
        const char* name, int32_t version, const void** outSuite) noexcept
    {
        if (name == nullptr || outSuite == nullptr) {
            return kErrorBadParameter;
        }
        *outSuite = nullptr;
        return Guarded([&](HostSuites& host) {
            *outSuite = host.mRegistry.Acquire(name, version);
            return *outSuite != nullptr ? kSuccess : kErrorBadParameter;
        });
    }

    static KORVASDK_Result Release(const char* name, int32_t version) noexcept
    {
        if (name == nullptr) {
            return kErrorBadParameter;
        }
        return Guarded([&](HostSuites& host) {
            return host.mRegistry.Release(name, version) ? kSuccess : kErrorBadParameter;
        });
    }

    static KORVASDK_Result Allocate(void*, void*, QXSuiteList** outSuiteList) noexcept
    {
        if (outSuiteList == nullptr) {
            return kErrorBadParameter;
        }
        return Guarded([&](HostSuites& host) {
            *outSuiteList = host.AllocateSuiteList();
            return kSuccess;
        });
    }

    static KORVASDK_Result Free(QXSuiteList* suiteList) noexcept
    {
        return Guarded([&](HostSuites& host) {
            return host.FreeSuiteList(suiteList) ? kSuccess : kErrorBadParameter;
        });
    }

    static KORVASDK_Result Add(QXSuiteList* suiteList,
        void*,
        const char* name,
        int32_t apiVersion,
        int32_t internalVersion,
        const void* functions,
        QXSuite** outSuite) noexcept
    {
        if (suiteList == nullptr || name == nullptr || functions == nullptr) {
            return kErrorBadParameter;
        }
        return Guarded([&](HostSuites& host) {
            auto suite
                = std::make_unique<QXSuite>(QXSuite{name, apiVersion, internalVersion, functions});
            QXSuite* const added = host.AddSuite(suiteList, std::move(suite));
            if (outSuite != nullptr) {
                *outSuite = added;
            }
            return added != nullptr ? kSuccess : kErrorBadParameter;
        });
    }

    static constexpr QXBasicSuite kBasic = {Acquire, Release};
    static constexpr QXSuitesSuite kSuites = {Allocate, Free, Add};
};

constexpr QXBasicSuite HostSuitesTables::kBasic;
constexpr QXSuitesSuite HostSuitesTables::kSuites;

HostSuites::HostSuites()
{
    HostSuites* none = nullptr;
    if (!sCurrent.compare_exchange_strong(none, this)) {
        throw std::logic_error("the process has host suites already");
    }
    mRegistry.Add(kQXSuitesSuite, kQXSuitesSuiteVersion, &HostSuitesTables::kSuites);
    mRegistry.Add(kKORVASDKStringSuite, kKORVASDKStringSuiteVersion, &StringSuiteTable());
    mRegistry.Add(kKORVASDKControlSurfaceHostSuite, kKORVASDKControlSurfaceHostSuiteVersion,
        &ControlSurfaceHostSuiteTable());
    mRegistry.Add(kKORVASDKControlSurfaceHostTransportSuite,
        kKORVASDKControlSurfaceHostTransportSuiteVersion, &ControlSurfaceHostTransportSuiteTable());
    mRegistry.Add(kKORVASDKControlSurfaceHostSMPTESuite,
        kKORVASDKControlSurfaceHostSMPTESuiteVersion, &ControlSurfaceHostSMPTESuiteTable());
    mRegistry.Add(kKORVASDKControlSurfaceHostInternalSuite,
        kKORVASDKControlSurfaceHostInternalSuiteVersion, &ControlSurfaceHostInternalSuiteTable());
}

HostSuites::~HostSuites()
{
    sCurrent.store(nullptr);
}

const QXBasicSuite& HostSuites::BasicSuite() const noexcept
{
    return HostSuitesTables::kBasic;
}

std::size_t HostSuites::LiveSuiteLists() const
{
    const std::lock_guard lock(mMutex);
    return mLists.size();
}

QXSuiteList* HostSuites::AllocateSuiteList()
{
    const std::lock_guard lock(mMutex);
    return mLists.emplace_back(std::make_unique<QXSuiteList>()).get();
}

bool HostSuites::FreeSuiteList(QXSuiteList* list)
{
    const std::lock_guard lock(mMutex);
    const auto found = std::find_if(
        mLists.begin(), mLists.end(), [list](const auto& owned) { return owned.get() == list; });
    if (found == mLists.end()) {
        return false;
    }
    for (const auto& suite : (*found)->suites) {
        mRegistry.Remove(suite->name, suite->apiVersion);
    }
    mLists.erase(found);
    return true;
}

QXSuite* HostSuites::AddSuite(QXSuiteList* list, std::unique_ptr<QXSuite> suite)
{
    const std::lock_guard lock(mMutex);
    QXSuite* const added = suite.get();
    list->suites.push_back(std::move(suite));
    if (!mRegistry.Add(added->name, added->apiVersion, added->functions)) {
        list->suites.pop_back();
        return nullptr;
    }
    return added;
}

} // namespace deck::host
