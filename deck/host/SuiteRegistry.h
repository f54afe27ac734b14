// Every suite that this process knows, its own and the plug-in's, and how often
// each is in use.

#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace deck::host {

/// A suite that somebody has acquired and not given back.
struct SuiteUse {
    std::string name;
    std::int32_t version = 0;
    int uses = 0;

    bool operator==(const SuiteUse&) const = default;
};

class SuiteRegistry {
public:
    /// Offers `table`, which stays where it is until `Remove`. The first table of a name and
    /// version stays; returns false where there is one already. [host, may block]
    bool Add(const std::string& name, std::int32_t version, const void* table);

    /// Withdraws the suite; uses that were not given back stay in the report. [host, may block]
    void Remove(const std::string& name, std::int32_t version);

    /// The table, with one use counted, or null where nobody offers it. [any thread, may block]
    const void* Acquire(const std::string& name, std::int32_t version);

    /// Gives one use back; false where none was counted. [any thread, may block]
    bool Release(const std::string& name, std::int32_t version);

    /// What is in use now, in order of name and version. [any thread, may block]
    std::vector<SuiteUse> InUse() const;

private:
    struct Entry {
        const void* table = nullptr;
        int uses = 0;
    };
    using Key = std::pair<std::string, std::int32_t>;

    mutable std::mutex mMutex;
    std::map<Key, Entry> mEntries; // guarded by mMutex
};

/// One use of a suite, given back with the object. `Get()` is null where the suite is not offered.
template <typename Table> class HeldSuite {
public:
    HeldSuite(SuiteRegistry& registry, const char* name, std::int32_t version)
        : mRegistry(registry)
        , mName(name)
        , mVersion(version)
        , mTable(static_cast<const Table*>(registry.Acquire(name, version)))
    {
    }
    ~HeldSuite()
    {
        if (mTable != nullptr) {
            mRegistry.Release(mName, mVersion);
        }
    }
    HeldSuite(const HeldSuite&) = delete;
    HeldSuite& operator=(const HeldSuite&) = delete;

    const Table* Get() const { return mTable; }
    const Table* operator->() const { return mTable; }

private:
    SuiteRegistry& mRegistry;
    const char* mName;
    std::int32_t mVersion;
    const Table* mTable;
};

} // namespace deck::host
