// Costs of the data store, on a small and on a large one: the argument of each benchmark is the
// store's number of leaves.
//
// The live half is in $TMPDIR (on a device: memory), the persistent one in $BENCH_STATE or there
// too: a persistent write costs what that disk's fsync costs.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "toolkit/admin.h"
#include "toolkit/cds.h"
#include "toolkit/path.h"

namespace {

namespace fs = std::filesystem;
using toolkit::CCds;
using toolkit::CElement;
using toolkit::CPath;

constexpr int kPoints = 100;  // children of each device
constexpr int kLeaves = 5;    // leaves of each point
constexpr int kBatch = 1000;

fs::path makeFolder(const fs::path& parent) {
  std::string pattern = parent / "store-bench.XXXXXX";
  if (mkdtemp(pattern.data()) == nullptr) {
    throw std::runtime_error("no folder in " + parent.string());
  }
  return pattern;
}

// A store of devices with a hundred points of five leaves.
class BenchStore {
 public:
  explicit BenchStore(int leaves) {
    const char* state = std::getenv("BENCH_STATE");
    setenv("TOOLKIT_RUN", run_.c_str(), 1);
    state_ = makeFolder(state == nullptr ? fs::temp_directory_path() : fs::path(state));
    setenv("TOOLKIT_STATE", state_.c_str(), 1);
    toolkit::admin::Model model;
    model.leaves.reserve(static_cast<std::size_t>(leaves));
    model.rights = {{"/", "*", "rw"}};
    for (int point = 0; point < leaves / kLeaves; ++point) {
      addPoint(model, pathOf(point));
    }
    if (const std::string error = toolkit::admin::importModel(model, true); !error.empty()) {
      throw std::runtime_error(error);
    }
    cds_ = std::make_unique<CCds>();
    points_ = leaves / kLeaves;
  }
  ~BenchStore() {
    fs::remove_all(run_);
    fs::remove_all(state_);
  }

  static std::string pathOf(int point) {
    return "/Device" + std::to_string(point / kPoints) + "/Point" + std::to_string(point % kPoints);
  }
  // Spread over the whole store.
  CPath somePath(int i) const {
    constexpr int kStride = 7919;
    CPath path(pathOf(static_cast<int>(static_cast<long>(i) * kStride % points_)));
    path.normalize();
    return path;
  }
  std::vector<CPath> somePaths(int count) const {
    std::vector<CPath> paths;
    paths.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
      paths.push_back(somePath(i));
    }
    return paths;
  }
  CCds& cds() { return *cds_; }

 private:
  static void addPoint(toolkit::admin::Model& model, const std::string& path) {
    const auto add = [&](const char* name, CElement element) {
      model.leaves.push_back({path, name, std::move(element), ELEMENT_NORMAL});
    };
    add("Value", CElement(230.5));
    add("Units", CElement("volts"));
    add("NodeType", CElement("Point"));
    add("DisplayName", CElement("Voltage of phase A"));
    add("Writable", CElement(false));
  }

  fs::path run_ = makeFolder(fs::temp_directory_path());
  fs::path state_;
  std::unique_ptr<CCds> cds_;
  int points_ = 0;
};

BenchStore& storeOf(const benchmark::State& state) {
  static std::map<std::int64_t, std::unique_ptr<BenchStore>> stores;
  auto& store = stores[state.range(0)];
  if (store == nullptr) {
    store = std::make_unique<BenchStore>(static_cast<int>(state.range(0)));
  }
  return *store;
}

void require(bool good) {
  if (!good) {
    throw std::runtime_error("the store refused");
  }
}

void PointRead(benchmark::State& state) {
  BenchStore& store = storeOf(state);
  const auto paths = store.somePaths(kBatch);
  std::size_t i = 0;
  api_status_t status = API_NONE;
  CElement element;
  element_property_t source = ELEMENT_NORMAL;
  for ([[maybe_unused]] auto _ : state) {
    require(store.cds().get_leaf(paths[i++ % paths.size()], status, element, source) == 0);
  }
  require(status == API_SUCCESS);
}

void BatchOf1000(benchmark::State& state) {
  BenchStore& store = storeOf(state);
  const auto paths = store.somePaths(kBatch);
  std::vector<api_status_t> statuses;
  std::vector<CElement> elements;
  std::vector<element_property_t> sources;
  for ([[maybe_unused]] auto _ : state) {
    require(store.cds().get_leaves(paths, statuses, elements, sources) == 0);
  }
  state.SetItemsProcessed(state.iterations() * kBatch);
}

void ChildrenOf100(benchmark::State& state) {
  BenchStore& store = storeOf(state);
  CPath path("/Device1:Children");
  path.normalize();
  api_status_t status = API_NONE;
  CElement element;
  element_property_t source = ELEMENT_NORMAL;
  for ([[maybe_unused]] auto _ : state) {
    require(store.cds().get_leaf(path, status, element, source) == 0);
  }
  require(status == API_SUCCESS);
}

void RightsCheck(benchmark::State& state) {
  const CPath path = storeOf(state).somePath(1);
  for ([[maybe_unused]] auto _ : state) {
    require(path.is_read_authorized());
  }
}

void PathNormalize(benchmark::State& state) {
  const std::string text = BenchStore::pathOf(42) + ":Units";
  for ([[maybe_unused]] auto _ : state) {
    CPath path(text);
    benchmark::DoNotOptimize(path.normalize());
  }
}

void write(benchmark::State& state, pcd_tribool_t persist) {
  BenchStore& store = storeOf(state);
  const auto paths = store.somePaths(kBatch);
  std::size_t i = 0;
  api_status_t status = API_NONE;
  for ([[maybe_unused]] auto _ : state) {
    const CElement element(static_cast<double>(i));
    store.cds().set_leaf(paths[i++ % paths.size()], element, status, persist, "bench");
    require(status == API_SUCCESS);
  }
}

void NormalWrite(benchmark::State& state) {
  write(state, PCD_FALSE);
}

void PersistentWrite(benchmark::State& state) {
  write(state, PCD_TRUE);
}

void WriteBatchOf1000(benchmark::State& state) {
  BenchStore& store = storeOf(state);
  const auto paths = store.somePaths(kBatch);
  const std::vector<CElement> elements(kBatch, CElement(1.5));
  const std::vector<pcd_tribool_t> persist(kBatch, PCD_FALSE);
  std::vector<api_status_t> statuses;
  for ([[maybe_unused]] auto _ : state) {
    require(store.cds().set_leaves(paths, elements, persist, statuses, "bench") == 0);
  }
  state.SetItemsProcessed(state.iterations() * kBatch);
}

constexpr int kSmall = 2000;
constexpr int kLarge = 200000;

}  // namespace

BENCHMARK(PathNormalize);
BENCHMARK(PointRead)->Arg(kSmall)->Arg(kLarge);
BENCHMARK(BatchOf1000)->Arg(kSmall)->Arg(kLarge)->Unit(benchmark::kMicrosecond);
BENCHMARK(ChildrenOf100)->Arg(kSmall)->Arg(kLarge);
BENCHMARK(RightsCheck)->Arg(kSmall)->Arg(kLarge);
BENCHMARK(NormalWrite)->Arg(kSmall)->Arg(kLarge)->Unit(benchmark::kMicrosecond);
BENCHMARK(PersistentWrite)->Arg(kSmall)->Arg(kLarge)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(WriteBatchOf1000)->Arg(kSmall)->Arg(kLarge)->Unit(benchmark::kMicrosecond);
BENCHMARK_MAIN();
