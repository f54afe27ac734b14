#include "deck/host/SuiteRegistry.h"

namespace deck::host {

bool SuiteRegistry::Add(const std::string& name, std::int32_t version, const void* table)
{
    const std::lock_guard lock(mMutex);
    Entry& entry = mEntries[Key(name, version)];
    if (entry.table != nullptr) {
        return false;
    }
    entry.table = table;
    return true;
}

void SuiteRegistry::Remove(const std::string& name, std::int32_t version)
{
    const std::lock_guard lock(mMutex);
    const auto found = mEntries.find(Key(name, version));
    if (found == mEntries.end()) {
        return;
    }
    found->second.table = nullptr;
    if (found->second.uses == 0) {
        mEntries.erase(found);
    }
}

const void* SuiteRegistry::Acquire(const std::string& name, std::int32_t version)
{
    const std::lock_guard lock(mMutex);
    const auto found = mEntries.find(Key(name, version));
    if (found == mEntries.end() || found->second.table == nullptr) {
        return nullptr;
    }
    ++found->second.uses;
    return found->second.table;
}

bool SuiteRegistry::Release(const std::string& name, std::int32_t version)
{
    const std::lock_guard lock(mMutex);
    const auto found = mEntries.find(Key(name, version));
    if (found == mEntries.end() || found->second.uses == 0) {
        return false;
    }
    --found->second.uses;
    if (found->second.uses == 0 && found->second.table == nullptr) {
        mEntries.erase(found);
    }
    return true;
}

std::vector<SuiteUse> SuiteRegistry::InUse() const
{
    const std::lock_guard lock(mMutex);
    std::vector<SuiteUse> inUse;
    for (const auto& [key, entry] : mEntries) {
        if (entry.uses > 0) {
            inUse.push_back({key.first, key.second, entry.uses});
        }
    }
    return inUse;
}

} // namespace deck::host
