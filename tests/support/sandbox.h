// The tools, run as processes on a store of the test's own.
#pragma once

#include "store_fixture.h"
#include "toolkit/trend.h"

class Sandbox : public ClientTest {
 protected:
  // From now on another store, which is not there yet.
  void useStore(const std::string& name) {
    cds_.close();
    setenv("TOOLKIT_RUN", (folder() / name / "run").c_str(), 1);
    setenv("TOOLKIT_STATE", (folder() / name / "state").c_str(), 1);
  }
  std::string file(const std::string& name) const { return folder() / name; }
  // Writes a file and returns its path.
  std::string write(const std::string& name, const std::string& text) const {
    std::ofstream(file(name), std::ios::binary) << text;
    return file(name);
  }
  // Runs a program to its end.
  Outcome run(const std::string& program, const std::vector<std::string>& arguments) const {
    return runProgram(folder(), program, arguments);
  }
  Outcome devctl(const std::vector<std::string>& arguments, const std::string& in = "") const {
    return runProgram(folder(), DEVCTL, arguments, write("in", in));
  }
  std::string expectSuccess(const std::vector<std::string>& arguments,
                            const std::string& in = "") const {
    const Outcome outcome = devctl(arguments, in);
    EXPECT_EQ(outcome.status, 0) << arguments.back() << ": " << outcome.err;
    return outcome.out;
  }
  // Expects a failure whose message has each of the words.
  void expectFailure(const std::vector<std::string>& arguments,
                     const std::vector<std::string>& words, const std::string& in = "") const {
    const Outcome outcome = devctl(arguments, in);
    EXPECT_EQ(outcome.status, 1) << arguments.back() << in;
    for (const std::string& word : words) {
      EXPECT_TRUE(contains(outcome.err, word));
    }
  }
  bool importFeeder() {
    return devctl({"store", "import", FEEDER_MODEL}).status == 0 && cds_.init() == 0;
  }
  std::vector<CEvent> eventsOf(const std::string& name) const {
    return ::eventsOf(folder() / name);
  }
  // Of all parameters, as far as there are 9999.
  toolkit::trend::CDeviceData snapshots(
      const std::string& name, const std::string& device,
      const std::vector<toolkit::trend::CPeriodProperties>& periods) const {
    toolkit::trend::CLog reader;
    EXPECT_EQ(reader.open(file(name), true, false, 1000, false, 0, 0, 0, true), toolkit::LOG_OK);
    toolkit::trend::CDeviceData data;
    toolkit::trend::CDeviceParams params{{device}, {}};
    reader.get_params(params.device, params.params);
    reader.get_trend_data(data, params, periods, {-1, -1}, 9999, 0, true, false);
    return data;
  }
};
