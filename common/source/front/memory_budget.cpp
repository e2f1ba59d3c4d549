#include "front/memory_budget.h"

#include <malloc.h>

#include <cstdlib>

namespace {

// Whoever tidies up after a refusal may need a little more.
constexpr std::ptrdiff_t kReserve = std::ptrdiff_t{256} << 10;

struct Account {
  bool open = false;
  std::ptrdiff_t held = 0;  // negative when more was given back than taken
  std::ptrdiff_t limit = 0;
  std::ptrdiff_t mark = 0;
  void (*onMark)(void*) = nullptr;
  void* context = nullptr;
};

thread_local Account account;

void charge(void* memory) {
  account.held += static_cast<std::ptrdiff_t>(malloc_usable_size(memory));
  if (account.held > account.mark && account.onMark != nullptr) {
    auto* const notify = account.onMark;
    account.onMark = nullptr;
    notify(account.context);
  }
}

}  // namespace

const char* BudgetExceeded::what() const noexcept {
  return "more memory than a request may take";
}

MemoryBudget::MemoryBudget(std::size_t limit, std::size_t mark, void (*onMark)(void*),
                           void* context) {
  account = {true,   0,      static_cast<std::ptrdiff_t>(limit), static_cast<std::ptrdiff_t>(mark),
             onMark, context};
}

MemoryBudget::~MemoryBudget() {
  account.open = false;
}

namespace {

void* take(std::size_t size) {
  if (account.open && account.held > account.limit - static_cast<std::ptrdiff_t>(size)) {
    account.limit += kReserve;
    throw BudgetExceeded();
  }
  void* memory = std::malloc(size == 0 ? 1 : size);
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  if (account.open) {
    charge(memory);
  }
  return memory;
}

void* tryTake(std::size_t size) noexcept {
  try {
    return take(size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

void giveBack(void* memory) noexcept {
  if (account.open && memory != nullptr) {
    account.held -= static_cast<std::ptrdiff_t>(malloc_usable_size(memory));
  }
  std::free(memory);
}

}  // namespace

// All forms but those with an alignment, which nothing here uses: a mixture of ours and the
// library's is what sanitizers report.
void* operator new(std::size_t size) {
  return take(size);
}
void* operator new[](std::size_t size) {
  return take(size);
}
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return tryTake(size);
}
void* operator new[](std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return tryTake(size);
}
void operator delete(void* memory) noexcept {
  giveBack(memory);
}
void operator delete[](void* memory) noexcept {
  giveBack(memory);
}
void operator delete(void* memory, std::size_t /*size*/) noexcept {
  giveBack(memory);
}
void operator delete[](void* memory, std::size_t /*size*/) noexcept {
  giveBack(memory);
}
