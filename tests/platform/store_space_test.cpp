// A store that has no room: the map's ceiling and a full disk.
#include <sched.h>

#include "store/environment.h"
#include "store_fixture.h"

using toolkit::store::Environment;

namespace {

class StoreSpace : public StoreTest {
 protected:
  // Adds nodes below /Fill until the store refuses even the smallest.
  void fill(CCds& cds, pcd_tribool_t persist, api_status_t refusal) const {
    const std::string bytes(5000, 'x');
    api_status_t status = API_SUCCESS;
    int i = 0;
    for (const std::size_t size : {bytes.size(), std::size_t{1}}) {
      do {
        status =
            set(cds, "/Fill/N" + std::to_string(i++), CElement(bytes.substr(0, size)), persist);
      } while (status == API_SUCCESS && i < 100000);
    }
    EXPECT_EQ(status, refusal);
    EXPECT_TRUE(contains(cds.last_error(), persist == PCD_TRUE ? persistentFile() : liveFile()) ||
                contains(cds.last_error(), "clients have filled their part"))
        << cds.last_error();
    EXPECT_EQ(text(cds, "/Fill/N" + std::to_string(i - 1)), "status 2");
    EXPECT_EQ(text(cds, "/Fill/N0"), bytes) << "what was there is whole";
  }
  static void expectRoomAfterRemoval(CCds& cds) {
    EXPECT_EQ(remove(cds, "/Fill"), API_SUCCESS) << cds.last_error();
    EXPECT_EQ(set(cds, "/Small", CElement("new"), PCD_TRUE), API_SUCCESS) << cds.last_error();
  }
  void expectRefusedBatch(CCds& cds, api_status_t refusal) const {
    std::vector<api_status_t> statuses;
    EXPECT_NE(cds.set_leaves({"/Small", "/Large", "bad"},
                             {CElement("new"), CElement(std::string(900000, 'x')), CElement()},
                             std::vector(3, PCD_TRUE), statuses, "test"),
              0);
    EXPECT_EQ(statuses, (std::vector{refusal, refusal, API_BAD_PATH}));
    EXPECT_EQ(text(cds, "/Small"), "old");
    EXPECT_EQ(persistentText("/Small"), "old") << "the committed half is taken back";
    EXPECT_EQ(persistentText("/Large"), "status 2");
  }
  // What a restart would find, built elsewhere.
  std::string persistentText(const std::string& path) const {
    const TemporaryFolder elsewhere(folder());
    setenv("TOOLKIT_RUN", elsewhere.path().c_str(), 1);
    CCds cds;
    setenv("TOOLKIT_RUN", (folder() / "run").c_str(), 1);
    return text(cds, path);
  }
};

TEST_F(StoreSpace, TheCeilingIsAStatusAndRemovingMakesRoom) {
  setenv("TOOLKIT_STORE_LIMIT", "1000000", 1);
  import({leaf("/Small", "old")});
  CCds cds;
  fill(cds, PCD_FALSE, API_STORE_FULL);
  expectRefusedBatch(cds, API_STORE_FULL);
  for (int round = 0; round < 5; ++round) {
    expectRoomAfterRemoval(cds);
    fill(cds, PCD_FALSE, API_STORE_FULL);
  }
  EXPECT_LT(fs::file_size(liveFile()), 1100000U) << "what a removal takes is used again";
}

TEST_F(StoreSpace, AFullPersistentHalfLeavesTheLiveOneAlone) {
  setenv("TOOLKIT_STORE_LIMIT", "1000000", 1);
  import({leaf("/Small", "old")});
  // Held open, it keeps the ceiling that the live half will not have.
  std::string error;
  const auto persistent = Environment::open(persistentFile(), Environment::Commits::kDurable,
                                            Environment::IfMissing::kRefuse, error);
  ASSERT_NE(persistent, nullptr) << error;
  unsetenv("TOOLKIT_STORE_LIMIT");
  setenv("TOOLKIT_RUN", (folder() / "roomy").c_str(), 1);
  CCds cds;
  fill(cds, PCD_TRUE, API_STORE_FULL);
  expectRoomAfterRemoval(cds);
}

TEST_F(StoreSpace, ClientsLeaveAPartForTheDevice) {
  setenv("TOOLKIT_STORE_LIMIT", "4000000", 1);
  for (const pcd_tribool_t persist : {PCD_FALSE, PCD_TRUE}) {
    import({leaf("/Small", "old")});
    CCds device;
    CCds client;
    client.setForClients();
    fill(client, persist, API_STORE_FULL);
    EXPECT_EQ(set(client, "/Small", CElement("new"), persist), API_SUCCESS) << "it does not grow";
    EXPECT_NE(set(client, "/Small", CElement(std::string(9000, 'x')), persist), API_SUCCESS);
    EXPECT_TRUE(contains(client.last_error(), "for the device's own programs"));
    api_status_t status = API_NONE;
    EXPECT_EQ(client.set_own_leaf("/Mine", CElement(std::string(9000, 'x')), status, "test"), 0);
    EXPECT_EQ(client.watchdog_register(status, "test", 1, 1), 0);
    EXPECT_EQ(client.watchdog_ping(status), 0);
    for (int i = 0; i < 200; ++i) {
      const CElement alarm(std::string(1000, 'x'));
      ASSERT_EQ(set(device, "/Fill/Alarm" + std::to_string(i), alarm, persist), API_SUCCESS)
          << device.last_error();
    }
    expectRoomAfterRemoval(client);
  }
}

// True when the folder is mounted read-only in a mount namespace of this process.
bool protect(const fs::path& folder) {
  const char* const path = folder.c_str();
  return unshare(CLONE_NEWNS) == 0 &&
         mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
         mount(path, path, nullptr, MS_BIND, nullptr) == 0 &&
         mount(nullptr, path, nullptr, MS_BIND | MS_REMOUNT | MS_RDONLY, nullptr) == 0;
}

using ReadOnlyDisk = StoreSpace;

TEST_F(ReadOnlyDisk, OfThePersistentHalfLeavesTheLiveOneAlone) {
  constexpr int kCannotMount = 77;
  import({leaf("/Small", "old")});
  for (const bool isBooted : {true, false}) {
    ChildProcess program([&] {
      if (!protect(folder() / "state")) {
        return kCannotMount;
      }
      if (!isBooted) {
        fs::remove_all(folder() / "run");
      }
      CCds cds;
      EXPECT_EQ(text(cds, "/Small"), "old") << cds.last_error();
      EXPECT_EQ(set(cds, "/Small", CElement("new")), API_SUCCESS) << cds.last_error();
      EXPECT_EQ(set(cds, "/Other", CElement("new")), API_SUCCESS);
      EXPECT_EQ(remove(cds, "/Other"), API_SUCCESS);
      for (const auto outcome :
           {set(cds, "/Small", CElement("newer"), PCD_TRUE), remove(cds, "/Small")}) {
        EXPECT_EQ(outcome, API_FAILED);
        EXPECT_TRUE(contains(cds.last_error(), "mounted read-only"));
        EXPECT_TRUE(contains(cds.last_error(), persistentFile()));
      }
      api_status_t status = API_NONE;
      EXPECT_EQ(cds.watchdog_register(status, "test", 1, 1), 0);
      EXPECT_EQ(cds.watchdog_ping(status), 0);
      EXPECT_EQ(text(cds, "/Small"), "new");
      return HasFailure() ? 1 : 0;
    });
    const int outcome = program.wait();
    SKIP_UNLESS(outcome != kCannotMount);
    EXPECT_EQ(outcome, 0);
  }
  CCds restarted;
  EXPECT_EQ(set(restarted, "/Small", CElement("newer"), PCD_TRUE), API_SUCCESS);
  EXPECT_EQ(persistentText("/Small"), "newer");
}

using FullDisk = StoreSpace;

TEST_F(FullDisk, OfTheLiveHalfFromTheFirstOpenOn) {
  const SmallDisk disk(folder() / "run");
  SKIP_UNLESS(disk.isMounted());
  std::ofstream(folder() / "run/filler") << std::string(2 << 20, 'x');
  EXPECT_NE(toolkit::admin::makeEmpty(), "");
  CCds cds;
  EXPECT_TRUE(contains(cds.last_error(), folder() / "run"));
  fs::remove(folder() / "run/filler");
  import({leaf("/Small", "old")});
  ASSERT_EQ(cds.init(), 0) << cds.last_error();
  fill(cds, PCD_FALSE, API_FAILED);
  expectRefusedBatch(cds, API_FAILED);
  ChildProcess other([] {
    CCds own;
    return text(own, "/Small") == "old" ? 0 : 1;
  });
  EXPECT_EQ(other.wait(), 0);
}

TEST_F(FullDisk, OfThePersistentHalf) {
  const SmallDisk disk(folder() / "state");
  SKIP_UNLESS(disk.isMounted());
  import({leaf("/Small", "old")});
  CCds cds;
  fill(cds, PCD_TRUE, API_FAILED);
  EXPECT_EQ(set(cds, "/Small", CElement("new")), API_SUCCESS) << "the live half has room";
  EXPECT_EQ(persistentText("/Small"), "old");
}

}  // namespace
