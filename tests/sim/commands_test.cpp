// The simulated meter's command queues, on the test's own clock.
#include <cmath>
#include <numbers>

#include "command_handler.h"
#include "harmonics.h"
#include "installation.h"
#include "sandbox.h"
#include "toolkit/time.h"

namespace {

TEST(Harmonics, AreFoundWithTheirPhases) {
  std::vector<double> samples;
  const auto wave = [](double rms, int order, double degrees, double turns) {
    return std::numbers::sqrt2 * rms *
           std::sin(2 * std::numbers::pi * (order * turns + degrees / 360));
  };
  for (int i = 0; i < 384; ++i) {
    const double turns = i / 128.0;
    samples.push_back(20 + wave(230, 1, -30, turns) + wave(3, 5, 170, turns) +
                      wave(2, 15, -179, turns));
  }
  const auto found = sim::harmonicsOf(samples, 3, 15);
  ASSERT_EQ(found.size(), 15U);
  for (const auto& [order, magnitude, phase] : found) {
    const bool isThere = order == 1 || order == 5 || order == 15;
    const double degrees = order == 1 ? -30 : order == 5 ? 170 : -179;
    EXPECT_NEAR(magnitude, order == 1 ? 230 : order == 5 ? 3 : order == 15 ? 2 : 0, 1e-9) << order;
    EXPECT_NEAR(phase, isThere ? degrees : 0, 1e-6) << order;
  }
}

class SimCommands : public Sandbox {
 protected:
  static constexpr std::int64_t kSecond = 1'000'000;
  const std::string base_ = "/Software/Commands/Feeder1";

  void put(const std::string& path, CElement value, std::int64_t age = 0) {
    value.set_time(at(time_ - age * kSecond));
    EXPECT_EQ(set(path, value), API_SUCCESS) << path;
  }
  void queue(int handle, const std::string& inner, std::int64_t age = 0) {
    put(base_ + "/inpQueue/" + std::to_string(handle),
        CElement("<c:sendCmd-s xmlns:c='http://tarnix.example/TarnixWSC3'>" + inner +
                 "</c:sendCmd-s>"),
        age);
  }
  static std::string basic(const std::string& name, const std::string& param, int password = 0) {
    return "<cmdVersion>1</cmdVersion><cmdBasic><name>" + name + "</name><param>" + param +
           "</param><num>0</num><psswd>" + std::to_string(password) + "</psswd></cmdBasic>";
  }
  bool step(int seconds = 1) {
    EXPECT_TRUE(installation_.step(1, at(time_ += seconds * kSecond)));
    return commands_->step(at(time_));
  }
  std::string result(int handle) { return text(base_ + "/outQueue/" + std::to_string(handle)); }
  std::string children(const std::string& node) { return text(base_ + node + ":Children"); }
  std::string breaker() { return text("/Feeder1/Breaker"); }
  static timeval at(std::int64_t time) {
    timeval stamp{};
    qel_QELtoUNIXtime64(time, &stamp);
    return stamp;
  }

  const bool there_ = importFeeder();
  std::optional<CCds> own_{std::in_place};
  sim::Installation installation_{cds_, 1};
  std::optional<sim::CommandHandler> handler_{std::in_place, *own_, installation_};
  std::optional<toolkit::CCommandQueues> commands_{std::in_place, *own_,
                                                   installation_.devicePaths(), *handler_, "t"};
  std::int64_t time_ = 1700000000 * kSecond;
};

TEST_F(SimCommands, DoWhatTheySay) {
  const std::string deep(60000, '<');
  const auto number = [](const std::string& name, const std::string& param, const char* value) {
    std::string inner = basic(name, param) + "</cmdIval>";
    inner.replace(inner.find("cmdBasic"), 8, "cmdIval");
    return inner.replace(inner.find("</cmdBasic>"), 11,
                         std::string("<iValue>") + value + "</iValue>");
  };
  // A command, words of its result, and a leaf with its value then.
  const std::tuple<std::string, std::vector<const char*>, std::string, const char*> cases[] = {
      {basic("Relay", "Close"), {"cmdSuccess<", "already"}, "Breaker", "1"},
      {basic("Relay", "Open"), {"cmdSuccess<", ">Relay opened<"}, "Breaker", "0"},
      {basic("Harmonics", "CurrentA"), {"<frequency>250</frequency><magnitude>0<"}, "Breaker", "0"},
      {basic("ResetEnergy", "All"), {"cmdSuccess<", "EnergyReactive"}, "EnergyImported", "0"},
      {basic("Relay", "Close"), {"cmdSuccess<", ">Relay closed<"}, "Breaker", "1"},
      {basic("Harmonics", "VoltageB"), {"cmdSuccess<", "B</displayName>"}, "Breaker", "1"},
      {number("NominalVoltage", "Volts", "240"), {"Success<", "240 V"}, "NominalVoltage", "240"},
      {number("NominalVoltage", "Volts", "401"),
       {"Invalid<", "57 to 400 V"},
       "NominalVoltage",
       "240"},
      {number("RatedCurrent", "Amperes", "-1"), {"Invalid<", "1 to 6300 A"}, "RatedCurrent", "400"},
      {basic("Relay", "Flip&#x41;"), {"Invalid<", "no command Relay FlipA<"}, "Breaker", "1"},
      {basic("NominalVoltage", "Volts"), {"Invalid<", "no command"}, "Breaker", "1"},
      {"<cmdVersion>2</cmdVersion><cmdLine>x</cmdLine>", {"Invalid<", "version 2"}, "Breaker", "1"},
      {"<cmdLine nil='1'/>" + deep, {"Invalid<", "no command"}, "Breaker", "1"},
      {"<cmdVersion>1</cmdVersion>", {"Invalid<", "is no command"}, "Breaker", "1"}};
  int handle = -3;
  for (const auto& [inner, words, leaf, value] : cases) {
    queue(++handle, inner);
    EXPECT_TRUE(step());
    for (const char* word : words) {
      EXPECT_TRUE(contains(result(handle), word));
    }
    EXPECT_EQ(text("/Feeder1/" + leaf), value) << inner.substr(0, 200);
    EXPECT_EQ(children("/inpQueue"), "maxCount");
  }
  const std::string told = result(3);
  const sim::Reading& reading = installation_.plant().devices[0].feeder.reading();
  double square = 0;
  for (std::size_t i = 0; (i = told.find("<magnitude>", i)) != std::string::npos; i += 11) {
    square += std::pow(std::stod(told.substr(i + 11)), 2);
  }
  EXPECT_NEAR(std::sqrt(square), reading.voltage[1], 0.05 * reading.voltage[1]) << told;
  EXPECT_LT(reading.activeEnergy, 1e4);
  const auto entries = events();
  ASSERT_EQ(entries.size(), 3U) << "two moves of the relay, one reset";
  EXPECT_EQ(entries[0].event.message, "Relay opened by command #-1");
}

TEST_F(SimCommands, AreRefusedForTheirState) {
  put("/Feeder1/Breaker", CElement(2));
  put(base_ + "/Password", CElement("77"));
  queue(1, basic("Relay", "Close", 77));
  queue(2, basic("Relay", "Open", 78));
  queue(3, basic("Relay", "Open", 77), 118);
  queue(4, basic("Relay", "Open", 77), -200);
  queue(5, basic("Relay", "Open", 77));
  EXPECT_TRUE(step() && step() && step() && step());
  put("/Feeder1/ControlSource", CElement(false));
  EXPECT_TRUE(step());
  const char* words[] = {"Unable</numericStatus><cmdStatus>The relay is in the state Tripped",
                         "The password is wrong", "Timeout<", "Timeout<",
                         "Unable</numericStatus><cmdStatus>The relay is under local control"};
  for (int i = 0; i < 5; ++i) {
    EXPECT_TRUE(contains(result(i + 1), words[i]));
  }
  EXPECT_EQ(breaker(), "2");
}

TEST_F(SimCommands, AreExecutedOnceWhateverIsKilled) {
  EXPECT_TRUE(step());
  put(base_ + "/outQueue/5", CElement("done"));
  for (const int handle : {10, 9, 5}) {
    queue(handle, basic("Relay", handle == 10 ? "Close" : "Open"));
  }
  own_->setReadOnly();
  EXPECT_FALSE(step());
  EXPECT_EQ(children("/inpQueue"), "10;5;9;maxCount");
  own_.emplace();
  EXPECT_TRUE(step() && breaker() == "1" && result(5) == "done") << "was executed before a kill";
  EXPECT_TRUE(step() && breaker() == "0");
  EXPECT_TRUE(step() && breaker() == "1") << children("/inpQueue");
}

TEST_F(SimCommands, TreeIsMadeOnceAndResultsAge) {
  put("/Software/Commands/nextCommandID", CElement(7));
  EXPECT_TRUE(step());
  EXPECT_EQ(children("/cmdList/cmdBasic"), "Harmonics;Relay;ResetEnergy");
  EXPECT_EQ(children("/cmdList/cmdBasic/Harmonics"),
            "CurrentA;CurrentB;CurrentC;VoltageA;VoltageB;VoltageC");
  put(base_ + "/inpQueue/maxCount", CElement(3));
  const std::size_t state = cds_.state();
  commands_.emplace(*own_, installation_.devicePaths(), *handler_, "t");
  EXPECT_TRUE(commands_->step(at(time_)));
  EXPECT_EQ(cds_.state(), state) << "there was nothing to write";
  for (int handle = 0; handle < 104; ++handle) {
    put(base_ + "/outQueue/" + std::to_string(handle), CElement("x"),
        handle < 100 ? 1000 - handle : -9000);
  }
  EXPECT_TRUE(step(10) && result(3) != "x") << "of more than 100 the oldest go";
  EXPECT_EQ(children("/outQueue"), "100;101;102;103") << "the others of the past are too old";
  EXPECT_TRUE(step(599) && result(100) == "x") << "dated anew";
  EXPECT_TRUE(step(11) && children("/outQueue").empty());
  EXPECT_EQ(text("/Software/Commands/nextCommandID") + children("/cmdList/cmdIval/RatedCurrent"),
            "7Amperes");
}

}  // namespace
