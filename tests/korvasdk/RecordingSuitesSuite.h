// A host's suite-registration suite that keeps what is registered.

#pragma once

#include "korvasdk/suites/SuitesSuite.h"

#include <string>
#include <vector>

namespace korvasdk::tests {

struct Registration {
    QXSuiteList* suiteList;
    void* owner;
    std::string name;
    int apiVersion;
    int internalVersion;
    const void* functions;
};

class RecordingSuitesSuite {
public:
    RecordingSuitesSuite() { sRegistrations.clear(); }

    const QXSuitesSuite* Suite() const { return &mSuite; }
    QXSuiteList* List() { return reinterpret_cast<QXSuiteList*>(&mList); }
    const std::vector<Registration>& Registrations() const { return sRegistrations; }

    /// The table registered first.
    template <typename Table> const Table& FirstTable() const
    {
        return *static_cast<const Table*>(sRegistrations.at(0).functions);
    }

private:
    static KORVASDK_Result AddSuite(QXSuiteList* suiteList,
        void* owner,
        const char* name,
        int32_t apiVersion,
        int32_t internalVersion,
        const void* functions,
        QXSuite** outSuite)
    {
        sRegistrations.push_back({suiteList, owner, name, apiVersion, internalVersion, functions});
        *outSuite = nullptr;
        return kErrorBadParameter; // nobody may look at it
    }

    inline static std::vector<Registration> sRegistrations;
    int mList = 0;
    QXSuitesSuite mSuite{nullptr, nullptr, AddSuite};
};

} // namespace korvasdk::tests
