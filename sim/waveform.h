// The record of a voltage sag: the instantaneous values of one device around the moment at which
// its voltage fell, as the three files of a COMTRADE record (of 1999, binary).
#pragma once

#include <sys/time.h>

#include <string>
#include <vector>

#include "plant.h"
#include "toolkit/waveform_folder.h"

namespace sim {

// What a device measures at one time, and the frequency of its supply.
struct Moment {
  Phases voltage = {};  // phase to neutral
  Phases current = {};
  double powerFactor = 1;
  double frequency = 0;
  bool closed = true;
};

Moment momentOf(const Plant& plant, std::size_t device);

struct VoltageFall {
  std::string station;  // the device, for readers
  std::string device;   // its node path
  std::size_t phase = 0;
  timeval time = {};
  Moment before;
  Moment after;
  // What the header tells of it: a message, and the leaf path of the voltage.
  std::string message;
  std::string source;
};

struct WaveformRecord : toolkit::CWaveformFiles {
  static constexpr std::size_t kSamplesACycle = 128;
  static constexpr std::size_t kSamples = 16 * kSamplesACycle;
  static constexpr std::size_t kTrigger = kSamples / 4;  // the first sample after the fall
};

WaveformRecord recordOf(const VoltageFall& fall);

// One cycle of what a record has, kSamplesACycle samples from the zero on at which the voltage of
// the first phase rises.
std::vector<double> voltageCycle(const Moment& moment, std::size_t phase);
std::vector<double> currentCycle(const Moment& moment, std::size_t phase);

}  // namespace sim
