#include "store/writer_lock.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <ctime>
#include <new>
#include <thread>

#include "store/database_file.h"
#include "unique_fd.h"

namespace toolkit::store {

namespace {

constexpr std::uint64_t kMagic = 0x314b434f4c525754;
constexpr std::chrono::milliseconds kSetUpPatience(2000);
constexpr std::chrono::milliseconds kPause(1);

// Of the machine's present run: a lock that was held when the power went is free.
using BootId = std::array<char, 36>;

BootId bootId() {
  BootId id = {};
  const UniqueFd file(open("/proc/sys/kernel/random/boot_id", O_RDONLY | O_CLOEXEC));
  static_cast<void>(!file || read(file.get(), id.data(), id.size()) > 0);
  return id;
}

// Guards the making of the mutex, which cannot do that itself.
class FileLock {
 public:
  explicit FileLock(int descriptor) : descriptor_(descriptor) {
    const auto end = std::chrono::steady_clock::now() + kSetUpPatience;
    while ((error_ = set(F_WRLCK)) == EAGAIN && std::chrono::steady_clock::now() < end) {
      std::this_thread::sleep_for(kPause);
    }
  }
  // A mapping keeps the lock beyond the descriptor's end.
  ~FileLock() { set(F_UNLCK); }
  FileLock(const FileLock&) = delete;
  FileLock& operator=(const FileLock&) = delete;

  int error() const { return error_; }

 private:
  int set(short type) const {
    struct flock whole = {};
    whole.l_type = type;
    return fcntl(descriptor_, F_OFD_SETLK, &whole) == 0 ? 0 : errno;
  }

  int descriptor_;
  int error_ = 0;
};

void makeMutex(pthread_mutex_t& mutex) {
  pthread_mutexattr_t attributes;
  pthread_mutexattr_init(&attributes);
  pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
  pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
  pthread_mutex_init(&mutex, &attributes);
  pthread_mutexattr_destroy(&attributes);
}

timespec monotonicEnd(std::chrono::milliseconds patience) {
  timespec time = {};
  clock_gettime(CLOCK_MONOTONIC, &time);
  const std::chrono::nanoseconds end = std::chrono::nanoseconds(time.tv_nsec) + patience;
  const auto seconds = std::chrono::floor<std::chrono::seconds>(end);
  return {time.tv_sec + seconds.count(), (end - seconds).count()};
}

}  // namespace

struct WriterLock::Shared {
  std::uint64_t magic;
  BootId boot;
  pthread_mutex_t mutex;
};

WriterLock::~WriterLock() {
  if (shared_ != nullptr) {
    munmap(shared_, sizeof *shared_);
  }
}

std::string WriterLock::open(const std::string& file) {
  const UniqueFd descriptor(
      ::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, GroupFileMode::kMode));
  if (!descriptor) {
    return cannotOpen(file, errno);
  }
  const FileLock guard(descriptor.get());
  if (guard.error() != 0) {
    return cannotOpen(file, guard.error());
  }
  if (const int code = posix_fallocate(descriptor.get(), 0, sizeof(Shared)); code != 0) {
    return cannotOpen(file, code);
  }
  void* memory =
      mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor.get(), 0);
  if (memory == MAP_FAILED) {
    return cannotOpen(file, errno);
  }
  shared_ = static_cast<Shared*>(memory);
  if (const BootId boot = bootId(); shared_->magic != kMagic || shared_->boot != boot) {
    makeMutex(shared_->mutex);
    shared_->boot = boot;
    shared_->magic = kMagic;
  }
  return {};
}

int WriterLock::lock(std::chrono::milliseconds patience) {
  int code = pthread_mutex_trylock(&shared_->mutex);
  if (code == EBUSY) {
    const timespec end = monotonicEnd(patience);
    code = pthread_mutex_clocklock(&shared_->mutex, CLOCK_MONOTONIC, &end);
  }
  if (code == EOWNERDEAD) {
    code = pthread_mutex_consistent(&shared_->mutex);
  }
  return code;
}

void WriterLock::unlock() {
  pthread_mutex_unlock(&shared_->mutex);
}

}  // namespace toolkit::store
