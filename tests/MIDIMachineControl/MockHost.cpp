#include "tests/MIDIMachineControl/MockHost.h"

namespace mmc::tests {

namespace {

using testing::_;
using testing::DoAll;
using testing::Return;
using testing::SetArgPointee;

MockHost* sHost = nullptr;

KORVASDK_Result AcquireSuite(const char* name, std::int32_t version, const void** outSuite)
{
    return sHost->AcquireSuite(name, version, outSuite);
}
KORVASDK_Result ReleaseSuite(const char* name, std::int32_t version)
{
    return sHost->ReleaseSuite(name, version);
}
constexpr QXBasicSuite kBasicSuite{AcquireSuite, ReleaseSuite};

KORVASDK_Result AllocateSuiteList(void* reserved0, void* reserved1, QXSuiteList** outSuiteList)
{
    return sHost->AllocateSuiteList(reserved0, reserved1, outSuiteList);
}
KORVASDK_Result FreeSuiteList(QXSuiteList* suiteList)
{
    return sHost->FreeSuiteList(suiteList);
}
KORVASDK_Result AddSuite(QXSuiteList* suiteList,
    void* owner,
    const char* name,
    std::int32_t apiVersion,
    std::int32_t internalVersion,
    const void* functions,
    QXSuite** outSuite)
{
    *outSuite = nullptr; // there must be a place for it
    return sHost->AddSuite(suiteList, owner, name, apiVersion, internalVersion, functions);
}
constexpr QXSuitesSuite kSuitesSuite{AllocateSuiteList, FreeSuiteList, AddSuite};

KORVASDK_Result MakeString(const char16_t* text, KORVASDK_String* outString)
{
    return sHost->MakeString(text, outString);
}
KORVASDK_Result CopyString(const KORVASDK_String* string, char16_t* buffer, std::uint32_t* length)
{
    return sHost->CopyString(string, buffer, length);
}
constexpr KORVASDK_StringSuite kStringSuite{nullptr, nullptr, nullptr, MakeString, CopyString};

KORVASDK_Result GetTransportRef(
    KORVASDK_ControlSurfaceHost* host, KORVASDK_ControlSurfaceHostTransport** outTransport)
{
    return sHost->GetTransportRef(host, outTransport);
}
constexpr KORVASDK_ControlSurfaceHostSuite kHostSuite{nullptr, nullptr, nullptr, GetTransportRef};

KORVASDK_Result GetSMPTERef(
    KORVASDK_ControlSurfaceHost* host, KORVASDK_ControlSurfaceHostSMPTE** outSMPTE)
{
    return sHost->GetSMPTERef(host, outSMPTE);
}
constexpr KORVASDK_ControlSurfaceHostInternalSuite kInternalSuite{GetSMPTERef};

using Transport = KORVASDK_ControlSurfaceHostTransport;
KORVASDK_Result StartRewind(Transport* transport)
{
    return sHost->StartRewind(transport);
}
KORVASDK_Result StopRewind(Transport* transport)
{
    return sHost->StopRewind(transport);
}
KORVASDK_Result StartFastForward(Transport* transport)
{
    return sHost->StartFastForward(transport);
}
KORVASDK_Result StopFastForward(Transport* transport)
{
    return sHost->StopFastForward(transport);
}
KORVASDK_Result Stop(Transport* transport)
{
    return sHost->Stop(transport);
}
KORVASDK_Result Play(Transport* transport)
{
    return sHost->Play(transport);
}
KORVASDK_Result Record(Transport* transport)
{
    return sHost->Record(transport);
}
KORVASDK_Result Pause(Transport* transport)
{
    return sHost->Pause(transport);
}
constexpr KORVASDK_ControlSurfaceHostTransportSuite kTransportSuite{
    StartRewind, StopRewind, StartFastForward, StopFastForward, Stop, Play, Record, Pause};

KORVASDK_Result LocateToSMPTETime(KORVASDK_ControlSurfaceHostSMPTE* smpte,
    std::uint32_t timeFormat,
    std::uint8_t hours,
    std::uint8_t minutes,
    std::uint8_t seconds,
    std::uint8_t frames,
    std::uint8_t subframes)
{
    return sHost->LocateToSMPTETime(smpte, timeFormat, hours, minutes, seconds, frames, subframes);
}
KORVASDK_Result SetSMPTEActive(KORVASDK_ControlSurfaceHostSMPTE* smpte, std::int32_t active)
{
    return sHost->SetSMPTEActive(smpte, active);
}
constexpr KORVASDK_ControlSurfaceHostSMPTESuite kSMPTESuite{LocateToSMPTETime, SetSMPTEActive};

} // namespace

MockHost::MockHost()
{
    sHost = this;
}

MockHost::~MockHost()
{
    sHost = nullptr;
}

const QXBasicSuite* MockHost::BasicSuite()
{
    return &kBasicSuite;
}
const KORVASDK_StringSuite* MockHost::StringSuite()
{
    return &kStringSuite;
}
const QXSuitesSuite* MockHost::SuitesSuite()
{
    return &kSuitesSuite;
}
const KORVASDK_ControlSurfaceHostSuite* MockHost::HostSuite()
{
    return &kHostSuite;
}
const KORVASDK_ControlSurfaceHostTransportSuite* MockHost::TransportSuite()
{
    return &kTransportSuite;
}
const KORVASDK_ControlSurfaceHostSMPTESuite* MockHost::SMPTESuite()
{
    return &kSMPTESuite;
}
const KORVASDK_ControlSurfaceHostInternalSuite* MockHost::InternalSuite()
{
    return &kInternalSuite;
}

KORVASDK_ControlSurfaceHost* MockHost::HostRef()
{
    return reinterpret_cast<KORVASDK_ControlSurfaceHost*>(&mReferences[0]);
}
KORVASDK_ControlSurfaceHostTransport* MockHost::TransportRef()
{
    return reinterpret_cast<KORVASDK_ControlSurfaceHostTransport*>(&mReferences[1]);
}
KORVASDK_ControlSurfaceHostSMPTE* MockHost::SMPTERef()
{
    return reinterpret_cast<KORVASDK_ControlSurfaceHostSMPTE*>(&mReferences[2]);
}
KORVASDK_String* MockHost::StringRef()
{
    return reinterpret_cast<KORVASDK_String*>(&mReferences[3]);
}
QXSuiteList* MockHost::SuiteListRef()
{
    return reinterpret_cast<QXSuiteList*>(&mReferences[4]);
}

void MockHost::ExpectHostTaken()
{
    const testing::InSequence inSequence;
    EXPECT_CALL(*this, AcquireSuite("KORVASDK ControlSurfaceHost Suite", 1, _))
        .WillOnce(Gives(HostSuite()));
    EXPECT_CALL(*this, AcquireSuite("KORVASDK StringSuite", 1, _)).WillOnce(Gives(StringSuite()));
    EXPECT_CALL(*this, AcquireSuite("KORVASDK ControlSurfaceHost Transport Suite", 1, _))
        .WillOnce(Gives(TransportSuite()));
    EXPECT_CALL(*this, GetTransportRef(HostRef(), _))
        .WillOnce(DoAll(SetArgPointee<1>(TransportRef()), Return(kSuccess)));
    EXPECT_CALL(*this, AcquireSuite("KORVASDK ControlSurfaceHost Internal Suite", 1, _))
        .WillOnce(Gives(InternalSuite()));
    EXPECT_CALL(*this, GetSMPTERef(HostRef(), _))
        .WillOnce(DoAll(SetArgPointee<1>(SMPTERef()), Return(kSuccess)));
    EXPECT_CALL(*this, AcquireSuite("KORVASDK ControlSurfaceHost SMPTE Suite", 1, _))
        .WillOnce(Gives(SMPTESuite()));
    EXPECT_CALL(*this, SetSMPTEActive(SMPTERef(), 1)).WillOnce(Return(kSuccess));
}

} // namespace mmc::tests
