// The table of steps and their actions.

#include <array>
#include <csignal>

#include "simulator/expectations.h"
#include "simulator/session.h"
#include "simulator/steps.h"

namespace {

using Context = StepRow::Context;
using enum StepRow::Kind;
using enum StepRow::OperandKind;
using enum StepRow::Use;

constexpr auto kRows = std::to_array<StepRow>({
    {kSend, "", kCommand, "ADDRESS COMMAND", "send a command (ON, OFF or Stop) to the unit at an address: 0102 ON",
     [](const Context& c) { c.session.SendCommand(c.step.address, c.step.text); }},
    {kSend, "command", kCommand, "ADDRESS COMMAND", "the same, for any address",
     [](const Context& c) { c.session.SendCommand(c.step.address, c.step.text); }},
    {kSend, "debug", kNothing, "", "turn the driver's debug mode on or off",
     [](const Context& c) { c.session.Send(ControllerCommand("D"), "toggle debug mode"); }},
    {kSend, "raw", kBytes, "BYTE...", "send bytes to the device unchanged: raw 01 2A FF",
     [](const Context& c) { c.session.SendRaw(c.step.text); }},
    {kSend, "stream", kCount, "COUNT", "send this many ON commands at once, starting with unit 0000",
     [](const Context& c) { c.session.SendStream(c.step.count); }},
    {kWait, "wait", kCount, "MILLISECONDS", "wait for this many milliseconds",
     [](const Context& c) { c.session.Wait(std::chrono::milliseconds(c.step.count)); }},
    {kExpectation, "expect", kText, "BYTES",
     "the device receives these bytes next: expect 0102U; a session that uses this must expect all device bytes",
     [](const Context& c) { c.expected.DeviceReceives(c.step.text); }, kObservableDevice},
    {kExpectation, "expect stream", kNothing, "", "the device receives the last stream, complete and in order",
     [](const Context& c) { c.expected.DeviceReceivesStream(); }, kObservableDevice},
    {kExpectation, "expect log", kText, "TEXT", "the driver logs this text to the host",
     [](const Context& c) { c.expected.DriverLogs(c.step.text); }},
    {kExpectation, "expect console", kText, "TEXT", "the driver's console shows this text",
     [](const Context& c) { c.expected.ConsoleShows(c.step.text); }},
    {kExpectation, "expect end", kNothing, "", "the driver exits with status 0",
     [](const Context& c) { c.expected.DriverEnds(); }},
    {kFault, "fault device pause", kNothing, "", "the device stops reading",
     [](const Context& c) { c.session.DeviceLink().Paused = true; }, kObservableDevice},
    {kFault, "fault device resume", kNothing, "", "the device resumes reading",
     [](const Context& c) { c.session.DeviceLink().Paused = false; }, kObservableDevice},
    {kFault, "fault device close", kNothing, "",
     "the device closes its link; over a pseudo-terminal, as if its adapter were unplugged",
     [](const Context& c) { c.session.DeviceLink().CloseStream(); }, kObservableDevice},
    {kFault, "fault host pause", kNothing, "", "the host stops reading",
     [](const Context& c) { c.session.HostEnd().Link()->Paused = true; }},
    {kFault, "fault host resume", kNothing, "", "the host resumes reading",
     [](const Context& c) { c.session.HostEnd().Link()->Paused = false; }},
    {kFault, "fault host close", kNothing, "", "the host closes its link in both directions",
     [](const Context& c) { c.session.HostEnd().Link()->CloseStream(); }},
    {kFault, "fault host reset", kNothing, "", "the host resets its link",
     [](const Context& c) { c.session.HostEnd().Link()->Reset(); }},
    {kFault, "fault host finish", kNothing, "", "the host closes only its sending half and still reads",
     [](const Context& c) { c.session.HostEnd().Link()->FinishSending(); }},
    {kFault, "fault driver stop", kNothing, "", "the driver process is stopped (SIGSTOP)",
     [](const Context& c) { c.session.SignalDriver(SIGSTOP); }},
    {kFault, "fault driver continue", kNothing, "", "the driver process is continued (SIGCONT)",
     [](const Context& c) { c.session.SignalDriver(SIGCONT); }},
    {kOverIp, "over ip", kNothing, "", "first step of a script: connect to the device over TCP", nullptr},
    {kOverSerial, "over serial", kNothing, "", "first step of a script: connect to the device over a serial line",
     nullptr},
    {kSend, "quit", kNothing, "", "ask the driver to quit; at a terminal, also end the session",
     [](const Context& c) { c.session.Quit(); }},
    {kSend, "exit", kNothing, "", "the same as quit", [](const Context& c) { c.session.Quit(); }},
    {kHelp, "help", kNothing, "", "show this list; a line that begins with # is a comment",
     [](const Context& c) { c.session.Output().Note(StepsHelp()); }},
    {kSend, "fill", kCount, "COUNT", "send this many packets of 244 raw bytes at once",
     [](const Context& c) { c.session.SendRawPackets(c.step.count); }, kDriverTest},
    {kSend, "flood", kNothing, "", "send device commands continuously until the driver exits",
     [](const Context& c) { c.session.Flood(); }, kDriverTest},
    {kExpectation, "expect idle", kNothing, "", "the driver becomes idle",
     [](const Context& c) { c.expected.DriverBecomesIdle(); }, kDriverTest},
    {kExpectation, "expect memory", kCount, "MIB",
     "the driver's memory grew by less than this many MiB after it was ready; use after the driver has exited",
     [](const Context& c) { c.expected.MemoryGrewByLessThan(c.step.count); }, kDriverTest},
});

}  // namespace

std::span<const StepRow> StepRows() {
  return kRows;
}
