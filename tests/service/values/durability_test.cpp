// Kills the service at random moments under a client that writes with `persist`. What the client
// was told is written must be there when the device comes up again, and a batch whole or not at all
// at any time.
//
// KILL_ROUNDS says how often (8 unless set); KILL_SEED makes a run with its number again.
#include <atomic>
#include <cstdlib>
#include <random>

#include "service_fixture.h"

namespace {

const Texts kPoints = {"/M1/P0", "/M1/P1", "/M1/P2", "/M1/P3",
                       "/M1/P4", "/M1/P5", "/M1/P6", "/M1/P7"};
constexpr int kMaxWrites = 20;                          // before a kill
constexpr std::chrono::microseconds kMaxRespite{5000};  // from then to the kill

unsigned setting(const char* name, unsigned fallback) {
  const char* text = std::getenv(name);
  return text == nullptr ? fallback : static_cast<unsigned>(std::strtoul(text, nullptr, 10));
}

class Durability : public ServiceTest {
 protected:
  Durability() {
    Leaves leaves = {leafAt("/M1/Single", 0), leafAt("/M1/Single:Writable", true)};
    for (const std::string& point : kPoints) {
      leaves.push_back(leafAt(point, 0));
      leaves.push_back(leafAt(point + ":Writable", true));
    }
    import(leaves);
  }

  // True when the client was told that all points have the number.
  bool writeBatch(int number) const {
    const std::vector texts(kPoints.size(), std::to_string(number));
    return setMany(kPoints, texts, "persist") == texts;
  }
  bool writeSingle(int number) const {
    return set("/M1/Single", std::to_string(number), "persist") == std::to_string(number);
  }

  // The points' common number; nothing when they differ.
  static std::optional<int> batchNumber(CCds& cds) {
    const auto found = StoreTest::read(cds, {kPoints.begin(), kPoints.end()});
    for (const CElement& value : found.elements) {
      if (value.type() != DATA_INTEGER || value.to_int() != found.elements.front().to_int()) {
        return std::nullopt;
      }
    }
    return found.elements.front().to_int();
  }
};

TEST_F(Durability, NoAcknowledgedWriteIsLostAndNobodySeesHalfABatch) {
  const unsigned rounds = setting("KILL_ROUNDS", 8);
  std::mt19937 random(setting("KILL_SEED", 1));
  std::uniform_int_distribution<int> writes(0, kMaxWrites);
  std::uniform_int_distribution<std::int64_t> respite(0, kMaxRespite.count());
  int sent = 0;
  int batchConfirmed = 0;
  int singleConfirmed = 0;
  for (unsigned round = 0; round < rounds; ++round) {
    start({"-d"});
    ChildProcess reader([] {
      CCds cds;
      while (batchNumber(cds)) {
      }
      return 1;
    });
    std::atomic<int> toGo = writes(random);
    std::thread killer([&toGo, victim = pid(), rest = std::chrono::microseconds(respite(random))] {
      for (int left = toGo; left > 0; left = toGo) {
        toGo.wait(left);
      }
      std::this_thread::sleep_for(rest);
      kill(victim, SIGKILL);
    });
    const auto count = [&](bool written, int& number) {
      toGo = written ? toGo - 1 : 0;
      toGo.notify_one();
      number = written ? sent : number;
      return written;
    };
    do {
      ++sent;
    } while (count(writeBatch(sent), batchConfirmed) && count(writeSingle(sent), singleConfirmed));
    killer.join();
    ASSERT_EQ(stop(SIGKILL).status, 128 + SIGKILL);
    ASSERT_EQ(reader.kill(), 128 + SIGKILL) << "half a batch was there, round " << round;

    fs::remove_all(root() / "run");
    CCds cds;
    const auto found = batchNumber(cds);
    ASSERT_TRUE(found) << "half a batch came back, round " << round;
    EXPECT_GE(*found, batchConfirmed) << "round " << round;
    EXPECT_LE(*found, sent) << "round " << round;
    const int single = std::stoi(StoreTest::text(cds, "/M1/Single"));
    EXPECT_GE(single, singleConfirmed) << "round " << round;
    EXPECT_LE(single, sent) << "round " << round;
  }
  EXPECT_GT(batchConfirmed, 0) << "no write came through in any round";
}

}  // namespace
