// The table of steps and their actions.

#include <array>
#include <csignal>

#include "simulator/expectations.h"
#include "simulator/session.h"
#include "simulator/steps.h"

namespace {

using OperandKind = StepRow::OperandKind;
using Use = StepRow::Use;

constexpr std::array kRows{
    StepRow(Use::kAlways, "", {"ADDRESS COMMAND", OperandKind::kCommand},
            "send a command (ON, OFF or Stop) to the unit at an address: 0102 ON",
            [](Session& session, Expectations&, const Step& step) { session.SendCommand(step.address, step.text); }),
    StepRow(Use::kAlways, "command", {"ADDRESS COMMAND", OperandKind::kCommand},
            "the same, for an address without a digit",
            [](Session& session, Expectations&, const Step& step) { session.SendCommand(step.address, step.text); }),
    StepRow(Use::kAlways, "debug", {}, "turn the driver's debug mode on or off",
            [](Session& session, Expectations&, const Step&) {
              session.Send(ControllerCommand("D"), "toggle debug mode");
            }),
    StepRow(Use::kAlways, "raw", {"BYTE...", OperandKind::kBytes}, "send bytes to the device unchanged: raw 01 2A FF",
            [](Session& session, Expectations&, const Step& step) { session.SendRaw(step.text); }),
    StepRow(Use::kAlways, "stream", {"COUNT", OperandKind::kCount},
            "send this many ON commands at once, starting with unit 0000",
            [](Session& session, Expectations&, const Step& step) { session.SendStream(step.count); }),
    StepRow(
        Use::kAlways, "wait", {"MILLISECONDS", OperandKind::kCount}, "wait for this many milliseconds",
        [](Session& session, Expectations&, const Step& step) { session.Wait(std::chrono::milliseconds(step.count)); }),
    StepRow(Use::kObservableDevice, "expect", {"BYTES", OperandKind::kText},
            "the device receives these bytes next: expect 0102U; a session that uses this must expect all device bytes",
            [](Session&, Expectations& expected, const Step& step) { expected.DeviceReceives(step.text); }),
    StepRow(Use::kObservableDevice, "expect stream", {}, "the device receives the last stream, complete and in order",
            [](Session&, Expectations& expected, const Step&) { expected.DeviceReceivesStream(); }),
    StepRow(Use::kAlways, "expect log", {"TEXT", OperandKind::kText}, "the driver logs this text to the host",
            [](Session&, Expectations& expected, const Step& step) { expected.DriverLogs(step.text); }),
    StepRow(Use::kAlways, "expect console", {"TEXT", OperandKind::kText}, "the driver's console shows this text",
            [](Session&, Expectations& expected, const Step& step) { expected.ConsoleShows(step.text); }),
    StepRow(Use::kAlways, "expect end", {}, "the driver exits with status 0",
            [](Session&, Expectations& expected, const Step&) { expected.DriverEnds(); }),
    StepRow(Use::kObservableDevice, "fault device pause", {}, "the device stops reading",
            [](Session& session, Expectations&, const Step&) { session.DeviceLink().Paused = true; }),
    StepRow(Use::kObservableDevice, "fault device resume", {}, "the device resumes reading",
            [](Session& session, Expectations&, const Step&) { session.DeviceLink().Paused = false; }),
    StepRow(Use::kObservableDevice, "fault device close", {},
            "the device closes its link; over a pseudo-terminal, as if its adapter were unplugged",
            [](Session& session, Expectations&, const Step&) { session.DeviceLink().CloseStream(); }),
    StepRow(Use::kAlways, "fault host pause", {}, "the host stops reading",
            [](Session& session, Expectations&, const Step&) { session.HostEnd().Link()->Paused = true; }),
    StepRow(Use::kAlways, "fault host resume", {}, "the host resumes reading",
            [](Session& session, Expectations&, const Step&) { session.HostEnd().Link()->Paused = false; }),
    StepRow(Use::kAlways, "fault host close", {}, "the host closes its link in both directions",
            [](Session& session, Expectations&, const Step&) { session.HostEnd().Link()->CloseStream(); }),
    StepRow(Use::kAlways, "fault host reset", {}, "the host resets its link",
            [](Session& session, Expectations&, const Step&) { session.HostEnd().Link()->Reset(); }),
    StepRow(Use::kAlways, "fault host finish", {}, "the host closes only its sending half and still reads",
            [](Session& session, Expectations&, const Step&) { session.HostEnd().Link()->FinishSending(); }),
    StepRow(Use::kAlways, "fault driver stop", {}, "the driver process is stopped (SIGSTOP)",
            [](Session& session, Expectations&, const Step&) { session.Driver().Signal(SIGSTOP); }),
    StepRow(Use::kAlways, "fault driver continue", {}, "the driver process is continued (SIGCONT)",
            [](Session& session, Expectations&, const Step&) { session.Driver().Signal(SIGCONT); }),
    StepRow(Use::kAlways, "over ip", {}, "first step of a script: connect to the device over TCP", nullptr),
    StepRow(Use::kAlways, "over serial", {}, "first step of a script: connect to the device over a serial line",
            nullptr),
    StepRow(Use::kAlways, "quit", {}, "ask the driver to quit; at a terminal, also end the session",
            [](Session& session, Expectations&, const Step&) { session.Quit(); }),
    StepRow(Use::kAlways, "exit", {}, "the same as quit",
            [](Session& session, Expectations&, const Step&) { session.Quit(); }),
    StepRow(Use::kAlways, "help", {}, "show this list; a line that begins with # is a comment",
            [](Session& session, Expectations&, const Step&) { session.Output().Note(StepsHelp()); }),
    StepRow(Use::kDriverTest, "fill", {"COUNT", OperandKind::kCount}, "send this many packets of 244 raw bytes at once",
            [](Session& session, Expectations&, const Step& step) { session.SendRawPackets(step.count); }),
    StepRow(Use::kDriverTest, "flood", {}, "send device commands continuously until the driver exits",
            [](Session& session, Expectations&, const Step&) { session.Flood(); }),
    StepRow(Use::kDriverTest, "expect idle", {}, "the driver becomes idle",
            [](Session&, Expectations& expected, const Step&) { expected.DriverBecomesIdle(); }),
    StepRow(Use::kDriverTest, "expect memory", {"MIB", OperandKind::kCount},
            "the driver's memory grew by less than this many MiB after it was ready; use after the driver has exited",
            [](Session&, Expectations& expected, const Step& step) { expected.MemoryGrewByLessThan(step.count); }),
};

}  // namespace

std::span<const StepRow> StepRows() {
  return kRows;
}
