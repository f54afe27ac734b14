#include "deck/cli/DoctorFindings.h"

#include "deck/protocol/MTC.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <sstream>

namespace deck::cli::test {
namespace {

using namespace std::chrono_literals;
using host::MidiPort;
using host::PortDirection;
using testing::AllOf;
using testing::HasSubstr;
using enum FindingLevel;

/// A studio in which all is well.
DoctorFacts SoundFacts()
{
    DoctorFacts facts;
    facts.service = {"alsa", ""};
    facts.sources = {{1, "Console", PortDirection::Source, false}};
    facts.destinations = {{2, "Recorder", PortDirection::Destination, false}};
    facts.settings = {"/s.json", true, "", {1, 2, true}};
    facts.plugin.name = "Plug-in";
    facts.heard.emplace();
    facts.heard->Take({EncodeMMC(kMMCAllDevices, kMMCPlay), {}, {}, {}});
    facts.listened = 2s;
    facts.rate = FrameRate::k25;
    return facts;
}

/// The one finding of `check` that is not fine.
Finding Only(const DoctorFacts& facts, const std::string& check)
{
    std::vector<Finding> found;
    for (const Finding& finding : Diagnose(facts)) {
        if (finding.check == check && finding.level != Fine) {
            found.push_back(finding);
        }
    }
    EXPECT_EQ(found.size(), 1U) << check << "\n" << FindingsText(Diagnose(facts));
    return found.empty() ? Finding{} : found.front();
}

void ExpectProblem(const DoctorFacts& facts,
    const std::string& check,
    const std::string& text,
    const std::string& remedy)
{
    const Finding finding = Only(facts, check);

    EXPECT_EQ(finding.level, Problem) << finding.text;
    EXPECT_THAT(finding.text, HasSubstr(text));
    EXPECT_THAT(finding.remedy, HasSubstr(remedy));
    EXPECT_TRUE(HasProblem(Diagnose(facts)));
}

void ExpectNote(const DoctorFacts& facts, const std::string& check, const std::string& text)
{
    const Finding finding = Only(facts, check);

    EXPECT_EQ(finding.level, Note) << finding.text;
    EXPECT_THAT(finding.text, HasSubstr(text));
    EXPECT_FALSE(finding.remedy.empty());
    EXPECT_FALSE(HasProblem(Diagnose(facts)));
}

TEST(Doctor, FindsNothingWhereAllIsWell)
{
    for (const Finding& finding : Diagnose(SoundFacts())) {
        EXPECT_EQ(finding.level, Fine) << finding.check << ": " << finding.text;
        EXPECT_TRUE(finding.remedy.empty());
    }
}

TEST(Doctor, FindsAServiceThatIsNotThere)
{
    DoctorFacts facts = SoundFacts();
    facts.system.wantedService = "jack";
    facts.service = {"jack", "no JACK server is running"};
    ExpectProblem(facts, "service", "no JACK server is running", "start a JACK server");

    facts.system.wantedService = "jakc";
    facts.service = {"alsa", ""};
    ExpectProblem(facts, "service", "\"jakc\"", "auto, alsa, jack or builtin");
}

TEST(Doctor, FindsThatOnlyTheBuiltInServiceIsLeft)
{
    DoctorFacts facts = SoundFacts();
    facts.service = {"builtin", ""};
    ExpectProblem(facts, "service", "no other program", "modprobe snd_seq");

    facts.system.wantedService = "builtin";
    ExpectNote(facts, "service", "no other program");
}

TEST(Doctor, FindsASequencerThatCannotBeOpened)
{
    DoctorFacts facts = SoundFacts();
    facts.system.sequencer = SequencerAccess::Denied;
    ExpectProblem(facts, "permissions", "may not open", "adduser");
    facts.system.sequencer = SequencerAccess::Missing;
    ExpectProblem(facts, "permissions", "missing", "modprobe snd_seq");

    facts.service = {"jack", ""};
    ExpectNote(facts, "permissions", "missing");
}

TEST(Doctor, MindsRealTimePriorityWhereJackNeedsIt)
{
    DoctorFacts facts = SoundFacts();
    facts.system.mayRunRealTime = false;
    ExpectNote(facts, "real-time", "not allowed");

    facts.service = {"jack", ""};
    ExpectProblem(facts, "real-time", "not allowed", "rtprio");
}

TEST(Doctor, FindsThatThereAreNoPorts)
{
    DoctorFacts facts = SoundFacts();
    facts.destinations.clear();

    ExpectProblem(facts, "ports", "1 source and 0 destinations", "plug in");
}

TEST(Doctor, FindsABindingThatIsNoneOrHalfOrBroken)
{
    DoctorFacts facts = SoundFacts();
    facts.settings = {"/s.json", false, "", {}};
    ExpectNote(facts, "binding", "no ports are chosen");
    EXPECT_THAT(Only(facts, "binding").remedy, HasSubstr("\"MMC in\""));
    facts.system.wantedService = facts.service.name = "builtin";
    ExpectProblem(facts, "binding", "no ports are chosen", "korva-deck connect");
    facts = SoundFacts();

    facts.settings = {"/s.json", true, "", {1, std::nullopt, true}};
    ExpectProblem(facts, "binding", "no port is chosen for MTC out", "korva-deck connect");

    facts.settings = {"/s.json", true, "line 2: no value", {}};
    ExpectProblem(facts, "binding", "/s.json is broken (line 2: no value)", "korva-deck connect");
}

TEST(Doctor, FindsABoundPortThatIsAwayOrAmbiguous)
{
    DoctorFacts facts = SoundFacts();
    facts.sources[0].isAmbiguous = true;
    ExpectProblem(facts, "binding", "cannot be told from another", "another socket");

    facts.sources[0].id = 5;
    ExpectProblem(facts, "binding", "the port 1 for MMC in is not there", "korva-deck connect");
}

TEST(Doctor, FindsMTCThatNobodyReads)
{
    DoctorFacts facts = SoundFacts();
    facts.destinations[0].name = "Midi Through Port-0";
    ExpectNote(facts, "mtc", "only a program that reads from it");
    facts.throughHasReader = false;
    ExpectProblem(facts, "mtc", "no program reads it there", "the machine's own port");
    facts.settings.ports.transmitMTC = false;
    ExpectNote(facts, "mtc", "MTC is off");

    facts.settings.ports.transmitMTC = true;
    facts.destinations[0].id = 5;
    ExpectProblem(facts, "mtc", "nothing reads it", "bring the port back");
}

std::optional<bool> ReaderIn(const std::string& clients)
{
    std::istringstream text(clients);
    return HasThroughReader(text);
}

TEST(Doctor, KnowsFromTheKernelWhetherMidiThroughIsRead)
{
    const std::string through = "Client info\n  cur  clients : 2\n\n"
                                "Client  14 : \"Midi Through\" [Kernel]\n"
                                "  Port   0 : \"Midi Through Port-0\" (RWe-)\n";
    const std::string other = "Client 128 : \"Deck\" [User Legacy]\n"
                              "  Port   0 : \"out\" (R-e-)\n    Connecting To: 14:0\n";

    EXPECT_EQ(ReaderIn(through + other), false);
    EXPECT_EQ(ReaderIn(through + "    Connecting To: 129:0\n" + other), true);
    EXPECT_EQ(ReaderIn(through + "    Connected From: 128:0\n" + other), false);
    EXPECT_EQ(ReaderIn(other), std::nullopt);
    EXPECT_EQ(ReaderIn(""), std::nullopt);
}

TEST(Doctor, FindsAPluginThatDoesNotLoadAndPassesItsRemedyOn)
{
    DoctorFacts facts = SoundFacts();
    facts.plugin.fault = "no bundle at /x; build it";

    const Finding finding = Only(facts, "plug-in");
    EXPECT_EQ(finding.level, Problem);
    EXPECT_EQ(finding.text, "no bundle at /x");
    EXPECT_EQ(finding.remedy, "build it");
}

TEST(Doctor, TellsSilenceFromMessagesWithoutSysExFromSysExWithoutMMC)
{
    DoctorFacts facts = SoundFacts();
    facts.heard.emplace();
    ExpectNote(facts, "sysex", "nothing came");
    facts.mustHear = true;
    ExpectProblem(facts, "sysex", "nothing came from the source of MMC in within 2 s", "cable");

    facts.heard->Take({{0x90, 0x3C, 0x40}, {}, {}, {}});
    ExpectProblem(facts, "sysex", "1 messages came", "bridges");

    facts.heard->Take({{0xF0, 0x43, 0xF7}, {}, {}, {}});
    ExpectProblem(facts, "sysex", "but no MMC", "switch MMC on");
}

TEST(Doctor, FindsASenderThatDeafens)
{
    DoctorFacts facts = SoundFacts();
    facts.heard->Take({{0xF0, 0x7F, 0x7F, 0x06, 0x01, 0x02, 0xF7}, {}, {}, {}});

    ExpectProblem(facts, "sysex", "several commands", "one command a message");
}

TEST(Doctor, FindsRatesThatDoNotFit)
{
    DoctorFacts facts = SoundFacts();
    const auto fullFrame = EncodeFullFrame(MtcTimeOf(90000, FrameRate::k2997Drop));
    facts.heard->Take({Bytes(fullFrame.begin(), fullFrame.end()), {}, {}, {}});
    ExpectProblem(facts, "rate", "MTC comes in at 30 drop", "one rate");

    facts = SoundFacts();
    facts.heard->Take({EncodeLocateTarget(kMMCAllDevices, 0, {1, 0, 0, 3, false}), {}, {}, {}});
    ExpectProblem(facts, "rate", "rate bits of 24", "--locate-rate deck");

    facts.rate.reset();
    for (const Finding& finding : Diagnose(facts)) {
        EXPECT_NE(finding.check, "rate") << "there is nothing to compare with";
    }
}

TEST(Doctor, FindsFrameNumbersThatTheSendersRateDoesNotHave)
{
    DoctorFacts facts = SoundFacts();
    facts.rate = FrameRate::k24;
    facts.heard->Take({EncodeLocateTarget(kMMCAllDevices, 0, {1, 0, 0, 29, false}), {}, {}, {}});

    ExpectProblem(facts, "rate", "frames up to 29", "--locate-rate deck");
    facts.rate.reset();
    ExpectProblem(facts, "rate", "which that rate does not have", "--locate-rate deck");
}

TEST(Doctor, TellsPeopleAndPrograms)
{
    const std::vector<Finding> findings
        = {{"ports", Fine, "all there", ""}, {"rate", Problem, "odd", "mend it"}};

    EXPECT_EQ(FindingsText(findings),
        "ok       ports        all there\n"
        "problem  rate         odd; mend it\n");
    const auto json = nlohmann::json::parse(FindingsJSON(findings));
    EXPECT_EQ(json["fine"], false);
    EXPECT_EQ(json["findings"][1]["check"], "rate");
    EXPECT_EQ(json["findings"][1]["level"], "problem");
    EXPECT_EQ(json["findings"][1]["remedy"], "mend it");
}

} // namespace
} // namespace deck::cli::test
