// A host's suite-registration suite that keeps what is registered.

#pragma once

#include "korvasdk/suites/SuitesSuite.h"

#include <gmock/gmock.h>

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

/// A surface that is called through the table which its interface, `Base`, has registered.
template <typename Base, typename Mock, typename Suite>
class RegisteredSuite : public testing::Test {
protected:
    RegisteredSuite() { Base::RegisterSuite(mSuitesSuite.Suite(), mSuitesSuite.List()); }

    const Suite& Table() { return mSuitesSuite.FirstTable<Suite>(); }
    auto* Handle() { return ToHandle(&mSurface); }

    void ExpectOneRegistration(const char* name)
    {
        ASSERT_EQ(mSuitesSuite.Registrations().size(), 1U);
        const Registration& registration = mSuitesSuite.Registrations()[0];
        EXPECT_EQ(registration.suiteList, mSuitesSuite.List());
        EXPECT_EQ(registration.owner, nullptr);
        EXPECT_EQ(registration.name, name);
        EXPECT_EQ(registration.apiVersion, 1);
        EXPECT_EQ(registration.internalVersion, 1);
    }

    RecordingSuitesSuite mSuitesSuite;
    testing::StrictMock<Mock> mSurface;
};

} // namespace korvasdk::tests
