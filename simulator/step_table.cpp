// The table of steps, and what each does.

#include <array>
#include <csignal>

#include "simulator/session.h"
#include "simulator/steps.h"

namespace {

using Takes = StepRow::Takes;

// Makes a row's action of what a fault does.
template <void (*kInject)(Session& session)>
bool Fault(Session& session, const Step& step) {
  session.Output().Note("fault: " + step.line);
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
  session.DeviceLink().Close();
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
    StepRow{"", "ADDRESS COMMAND", Takes::kCommand, false,
            "command ON, OFF or Stop for the unit at an address: 0102 ON", SendCommand},
    StepRow{"command", "ADDRESS COMMAND", Takes::kCommand, false, "the same for an address that holds no digit",
            SendCommand},
    StepRow{"debug", "", Takes::kNothing, false, "switch the driver's debug lines on or off",
            [](Session& session, const Step&) { return session.ToggleDebugMode(); }},
    StepRow{"raw", "BYTE...", Takes::kBytes, false, "pass bytes to the device as they are: raw 01 2A FF",
            [](Session& session, const Step& step) { return session.SendRaw(step.text); }},
    StepRow{"stream", "COUNT", Takes::kCount, false, "so many device commands at once, for the units 0000 and up",
            [](Session& session, const Step& step) { return session.SendStream(step.count); }},
    StepRow{"fill", "COUNT", Takes::kCount, false, "so many packets of 244 raw bytes at once",
            [](Session& session, const Step& step) { return session.SendRawPackets(step.count); }},
    StepRow{"flood", "", Takes::kNothing, false, "device commands without end, until the driver ends",
            [](Session& session, const Step&) { return session.Flood(); }},
    StepRow{"wait", "MILLISECONDS", Takes::kCount, false, "let so much time go by",
            [](Session& session, const Step& step) { return session.Wait(step.count); }},
    StepRow{"expect", "BYTES", Takes::kText, true, "the next bytes that reach the device are these: expect 0102U",
            [](Session& session, const Step& step) { return session.ExpectDevice(step.text); }},
    StepRow{"expect stream", "", Takes::kNothing, true,
            "what the last stream asked for reaches the device, whole and in order",
            [](Session& session, const Step&) { return session.ExpectStream(); }},
    StepRow{"expect log", "TEXT", Takes::kText, false, "the driver logs this line to the host",
            [](Session& session, const Step& step) { return session.ExpectLog(step.text); }},
    StepRow{"expect console", "TEXT", Takes::kText, false, "the driver's console shows this text",
            [](Session& session, const Step& step) { return session.ExpectConsole(step.text); }},
    StepRow{"expect idle", "", Takes::kNothing, false, "the driver comes to rest",
            [](Session& session, const Step&) { return session.ExpectIdle(); }},
    StepRow{"expect end", "", Takes::kNothing, false, "the driver ends by itself, with status 0",
            [](Session& session, const Step&) { return session.ExpectEnd(); }},
    StepRow{"expect memory", "MIB", Takes::kCount, false,
            "the driver, which has ended, never had so many MiB more than when it was ready",
            [](Session& session, const Step& step) { return session.ExpectMemory(step.count); }},
    StepRow{"fault device pause", "", Takes::kNothing, true, "the device takes nothing", Fault<PauseDevice>},
    StepRow{"fault device resume", "", Takes::kNothing, true, "the device takes again", Fault<ResumeDevice>},
    StepRow{"fault device close", "", Takes::kNothing, true, "the device closes its link, or its adapter is pulled out",
            Fault<CloseDevice>},
    StepRow{"fault host pause", "", Takes::kNothing, false, "the host reads no more", Fault<PauseHost>},
    StepRow{"fault host close", "", Takes::kNothing, false, "the host closes its link in order", Fault<CloseHost>},
    StepRow{"fault host reset", "", Takes::kNothing, false, "the host breaks its link", Fault<ResetHost>},
    StepRow{"fault host finish", "", Takes::kNothing, false, "the host sends no more, and still reads",
            Fault<FinishHost>},
    StepRow{"fault driver stop", "", Takes::kNothing, false, "the driver's process is stopped", Fault<StopDriver>},
    StepRow{"fault driver continue", "", Takes::kNothing, false, "the driver's process is continued",
            Fault<ContinueDriver>},
    StepRow{"over ip", "", Takes::kNothing, false, "first in a script: the device is reached over TCP", nullptr},
    StepRow{"over serial", "", Takes::kNothing, false, "first in a script: the device is reached over a serial line",
            nullptr},
    StepRow{"quit", "", Takes::kNothing, false, "ask the driver to quit; ends what is typed", Quit},
    StepRow{"exit", "", Takes::kNothing, false, "the same", Quit},
    StepRow{"help", "", Takes::kNothing, false, "show this list; a line that begins with # is a comment",
            [](Session& session, const Step&) {
              session.Output().Note(StepsHelp());
              return true;
            }},
};

}  // namespace

std::span<const StepRow> StepRows() {
  return kRows;
}
