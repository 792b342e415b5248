// The table of steps and their actions.

#include <array>
#include <csignal>

#include "simulator/session.h"
#include "simulator/steps.h"

namespace {

using Takes = StepRow::Takes;

// Wraps a fault as the action of a row.
template <void (*kInject)(Session& session)>
bool Fault(Session& session, const Step& step) {
  constexpr std::string_view kWord = "fault ";
  session.Output().Note("fault: " + std::string(step.row->words.substr(kWord.size())));
  kInject(session);
  return true;
}

void PauseDevice(Session& session) {
  session.DeviceLink().Paused = true;
}
void ResumeDevice(Session& session) {
  session.DeviceLink().Paused = false;
}
void CloseDevice(Session& session) {
  session.CloseDeviceLink();
}
void PauseHost(Session& session) {
  session.HostLink().Paused = true;
}
void CloseHost(Session& session) {
  session.HostLink().Close();
}
void ResetHost(Session& session) {
  session.HostLink().Reset();
}
void FinishHost(Session& session) {
  session.HostLink().FinishSending();
}
void StopDriver(Session& session) {
  session.Driver().Signal(SIGSTOP);
}
void ContinueDriver(Session& session) {
  session.Driver().Signal(SIGCONT);
}

bool SendCommand(Session& session, const Step& step) {
  return session.SendCommand(step.address, step.text);
}
bool Quit(Session& session, const Step& /*step*/) {
  return session.Quit();
}

constexpr std::array kRows{
    StepRow{.words = "",
            .operand = "ADDRESS COMMAND",
            .takes = Takes::kCommand,
            .help = "send a command (ON, OFF or Stop) to the unit at an address: 0102 ON",
            .perform = SendCommand},
    StepRow{.words = "command",
            .operand = "ADDRESS COMMAND",
            .takes = Takes::kCommand,
            .help = "the same, for an address without a digit",
            .perform = SendCommand},
    StepRow{.words = "debug",
            .help = "turn the driver's debug mode on or off",
            .perform = [](Session& session, const Step&) { return session.ToggleDebugMode(); }},
    StepRow{.words = "raw",
            .operand = "BYTE...",
            .takes = Takes::kBytes,
            .help = "send bytes to the device unchanged: raw 01 2A FF",
            .perform = [](Session& session, const Step& step) { return session.SendRaw(step.text); }},
    StepRow{.words = "stream",
            .operand = "COUNT",
            .takes = Takes::kCount,
            .help = "send this many ON commands at once, to units 0000 and up",
            .perform = [](Session& session, const Step& step) { return session.SendStream(step.count); }},
    StepRow{.words = "wait",
            .operand = "MILLISECONDS",
            .takes = Takes::kCount,
            .help = "wait for this many milliseconds",
            .perform = [](Session& session, const Step& step) { return session.Wait(step.count); }},
    StepRow{.words = "expect",
            .operand = "BYTES",
            .takes = Takes::kText,
            .help = "the device receives these bytes next: expect 0102U; from then on, unexpected bytes fail the "
                    "session",
            .perform = [](Session& session, const Step& step) { return session.ExpectDevice(step.text); },
            .needs_visible_device = true},
    StepRow{.words = "expect stream",
            .help = "the device receives the last stream, complete and in order",
            .perform = [](Session& session, const Step&) { return session.ExpectStream(); },
            .needs_visible_device = true},
    StepRow{.words = "expect log",
            .operand = "TEXT",
            .takes = Takes::kText,
            .help = "the driver logs this line to the host",
            .perform = [](Session& session, const Step& step) { return session.ExpectLog(step.text); }},
    StepRow{.words = "expect console",
            .operand = "TEXT",
            .takes = Takes::kText,
            .help = "the driver's console shows this text",
            .perform = [](Session& session, const Step& step) { return session.ExpectConsole(step.text); }},
    StepRow{.words = "expect end",
            .help = "the driver exits by itself, with status 0",
            .perform = [](Session& session, const Step&) { return session.ExpectEnd(); }},
    StepRow{.words = "fault device pause",
            .help = "the device stops reading",
            .perform = Fault<PauseDevice>,
            .needs_visible_device = true},
    StepRow{.words = "fault device resume",
            .help = "the device resumes reading",
            .perform = Fault<ResumeDevice>,
            .needs_visible_device = true},
    StepRow{.words = "fault device close",
            .help = "the device closes its link, or its adapter is unplugged",
            .perform = Fault<CloseDevice>,
            .needs_visible_device = true},
    StepRow{.words = "fault host pause", .help = "the host stops reading", .perform = Fault<PauseHost>},
    StepRow{.words = "fault host close", .help = "the host closes its link normally", .perform = Fault<CloseHost>},
    StepRow{.words = "fault host reset", .help = "the host resets its link", .perform = Fault<ResetHost>},
    StepRow{
        .words = "fault host finish", .help = "the host stops sending but still reads", .perform = Fault<FinishHost>},
    StepRow{
        .words = "fault driver stop", .help = "the driver process is stopped (SIGSTOP)", .perform = Fault<StopDriver>},
    StepRow{.words = "fault driver continue",
            .help = "the driver process is continued (SIGCONT)",
            .perform = Fault<ContinueDriver>},
    StepRow{.words = "over ip", .help = "first step of a script: connect to the device over TCP", .perform = nullptr},
    StepRow{.words = "over serial",
            .help = "first step of a script: connect to the device over a serial line",
            .perform = nullptr},
    StepRow{.words = "quit", .help = "ask the driver to quit; at a terminal, also ends the session", .perform = Quit},
    StepRow{.words = "exit", .help = "the same as quit", .perform = Quit},
    StepRow{.words = "help",
            .help = "show this list; a line that begins with # is a comment",
            .perform =
                [](Session& session, const Step&) {
                  session.Output().Note(StepsHelp());
                  return true;
                }},
    StepRow{.words = "fill",
            .operand = "COUNT",
            .takes = Takes::kCount,
            .help = "send this many packets of 244 raw bytes at once",
            .perform = [](Session& session, const Step& step) { return session.SendRawPackets(step.count); },
            .tests_driver = true},
    StepRow{.words = "flood",
            .help = "send device commands continuously until the driver exits",
            .perform = [](Session& session, const Step&) { return session.Flood(); },
            .tests_driver = true},
    StepRow{.words = "expect idle",
            .help = "the driver becomes idle",
            .perform = [](Session& session, const Step&) { return session.ExpectIdle(); },
            .tests_driver = true},
    StepRow{.words = "expect memory",
            .operand = "MIB",
            .takes = Takes::kCount,
            .help = "after the driver has exited: since it was ready, its memory grew by less than this many MiB",
            .perform = [](Session& session, const Step& step) { return session.ExpectMemory(step.count); },
            .tests_driver = true},
};

}  // namespace

std::span<const StepRow> StepRows() {
  return kRows;
}
