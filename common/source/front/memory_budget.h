// MemoryBudget: what one request may hold of the heap, whatever its handler does.
//
// Counts what this thread takes with new and gives back with delete while the budget lives, from
// wherever: the program's operators new and delete are in memory_budget.cpp.
#pragma once

#include <cstddef>
#include <new>

// Thrown by new when the budget is used up.
struct BudgetExceeded : std::bad_alloc {
  const char* what() const noexcept override;
};

class MemoryBudget {
 public:
  // Calls `onMark(context)` once, when more than `mark` bytes are held. One budget at a time.
  MemoryBudget(std::size_t limit, std::size_t mark, void (*onMark)(void*), void* context);
  ~MemoryBudget();
  MemoryBudget(const MemoryBudget&) = delete;
  MemoryBudget& operator=(const MemoryBudget&) = delete;
};
