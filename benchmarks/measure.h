// Shared by the two measurements of torvy-measure.

#pragma once

#include <memory>
#include <string>
#include <vector>

#include "peers/child_process.h"
#include "peers/listener.h"
#include "peers/pseudo_terminal.h"
#include "peers/simulated_host.h"

using Samples = std::vector<double>;

// Returns the value below which `part` of the samples lie; 0.5 is the median.
double Quantile(Samples samples, double part);

// Throws, with `what` as the message, unless `holds`.
void Require(bool holds, const char* what);

// The programs to measure, and the folder for the plot data.
struct Measured {
  std::string driver;
  std::string minimal_relay;
  std::string socat;
  std::string data_folder;
};

// A driver between a host and a serial or network device, ready for commands.
struct RunningDriver {
  SimulatedHost host;
  PseudoTerminal terminal;
  Listener device;
  std::unique_ptr<ChildProcess> process;

  RunningDriver(const std::string& program, bool over_ip);
  int HostNumber() const { return host.Link()->DescriptorNumber(); }
  int DeviceNumber(bool over_ip) {
    return over_ip ? device.Peer()->DescriptorNumber() : terminal.Line().DescriptorNumber();
  }
};

// Returns the packet of a device command; it produces five bytes for the device.
std::string DeviceCommandBytes();

// Each prints a table and writes the data for a plot.
void MeasureLatency(const Measured& measured);
void MeasureStreams(const Measured& measured);
