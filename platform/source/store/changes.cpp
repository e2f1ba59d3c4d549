#include "store/changes.h"

#include <fcntl.h>
#include <sys/mman.h>

#include <algorithm>
#include <array>
#include <atomic>

#include "store/database_file.h"
#include "unique_fd.h"

namespace toolkit::store {

namespace {

constexpr std::size_t kWords = 32768;
// An entry: its state, how many leaves, and their hashes.
constexpr std::size_t kHeadWords = 2;
constexpr std::uint64_t kAll = UINT64_MAX;  // in place of their number

static_assert(kHeadWords + Changes::kMaxLeaves <= kWords / 4);
static_assert(std::atomic<std::uint64_t>::is_always_lock_free);

}  // namespace

std::uint64_t leafHash(std::string_view key) {
  std::uint64_t hash = 0xcbf29ce484222325;
  for (const char c : key) {
    hash = (hash ^ static_cast<std::uint8_t>(c)) * 0x100000001b3;
  }
  return hash;
}

void Changes::note(std::string_view key) {
  if (leaves_.size() == kMaxLeaves) {
    all_ = true;
  }
  if (!all_) {
    leaves_.push_back(leafHash(key));
  }
}

// A new file is all zeros: an empty ring. Positions count on for ever, and a word stands at its
// position modulo kWords.
struct ChangeRing::Shared {
  std::atomic<std::uint64_t> end;
  // Up to here words may have been overwritten; beyond `end` while an entry is made, or where its
  // maker was killed.
  std::atomic<std::uint64_t> begunTo;
  std::array<std::atomic<std::uint64_t>, kWords> words;
};

ChangeRing::~ChangeRing() {
  if (shared_ != nullptr) {
    munmap(shared_, sizeof *shared_);
  }
}

void ChangeRing::open(const std::string& file) {
  if (shared_ != nullptr) {
    return;
  }
  const UniqueFd descriptor(
      ::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, GroupFileMode::kMode));
  if (!descriptor || posix_fallocate(descriptor.get(), 0, sizeof(Shared)) != 0) {
    return;
  }
  void* memory =
      mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor.get(), 0);
  if (memory != MAP_FAILED) {
    shared_ = static_cast<Shared*>(memory);
  }
}

void ChangeRing::enter(std::uint64_t state, const Changes& changes) {
  if (shared_ == nullptr) {
    return;
  }
  constexpr auto kRelaxed = std::memory_order_relaxed;
  const std::size_t leaves = changes.all() ? 0 : changes.leaves().size();
  const std::uint64_t begin = shared_->end.load(kRelaxed);
  const std::uint64_t end = begin + kHeadWords + leaves;
  shared_->begunTo.store(std::max(shared_->begunTo.load(kRelaxed), end), kRelaxed);
  std::atomic_thread_fence(std::memory_order_release);
  const auto put = [this](std::uint64_t position, std::uint64_t word) {
    shared_->words[position % kWords].store(word, kRelaxed);
  };
  put(begin, state);
  put(begin + 1, changes.all() ? kAll : leaves);
  for (std::size_t i = 0; i < leaves; ++i) {
    put(begin + kHeadWords + i, changes.leaves()[i]);
  }
  shared_->end.store(end, std::memory_order_release);
}

std::uint64_t ChangeRing::end() const {
  return shared_ == nullptr ? 0 : shared_->end.load(std::memory_order_acquire);
}

std::uint64_t ChangeRing::wordAt(std::uint64_t position) const {
  return shared_->words[position % kWords].load(std::memory_order_relaxed);
}

bool ChangeRing::isOverwritten(std::uint64_t position) const {
  std::atomic_thread_fence(std::memory_order_acquire);
  return shared_->begunTo.load(std::memory_order_relaxed) - position > kWords;
}

// False where there is none, or none that is whole.
bool ChangeRing::entryAt(std::uint64_t position, std::uint64_t end, Entry& entry) const {
  if (position >= end || end - position > kWords) {
    return false;
  }
  const std::uint64_t count = wordAt(position + 1);
  entry = {wordAt(position), count == kAll, count == kAll ? 0 : static_cast<std::size_t>(count)};
  return entry.leaves <= Changes::kMaxLeaves && position + kHeadWords + entry.leaves <= end;
}

void ChangeRing::skip(std::uint64_t& position, std::uint64_t now) const {
  const std::uint64_t last = end();
  Entry entry;
  while (entryAt(position, last, entry) && entry.state <= now) {
    position += kHeadWords + entry.leaves;
  }
}

bool ChangeRing::collect(std::uint64_t& position, std::uint64_t since, std::uint64_t now,
                         std::vector<std::uint64_t>& leaves) const {
  const std::uint64_t last = end();
  std::uint64_t known = since;
  std::uint64_t at = position;
  Entry entry;
  while (entryAt(at, last, entry) && entry.state <= now) {
    // Between two states each has an entry; an older one is that of another database.
    if (entry.all || entry.state <= since || entry.state < known || entry.state > known + 1) {
      return false;
    }
    for (std::size_t i = 0; i < entry.leaves; ++i) {
      leaves.push_back(wordAt(at + kHeadWords + i));
    }
    known = entry.state;
    at += kHeadWords + entry.leaves;
  }
  if (known != now || shared_ == nullptr || isOverwritten(position)) {
    return false;
  }
  position = at;
  return true;
}

}  // namespace toolkit::store
