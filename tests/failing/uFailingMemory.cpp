#include "uFailingMemory.h"

#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

struct TPlan {
  std::uint64_t Left = 0;  // allocations until the one that fails; 0 = none does
  int Paused = 0;
  bool Failed = false;
};

thread_local TPlan plan;

bool Fails() {
  if (plan.Left == 0 || plan.Paused > 0 || --plan.Left > 0) return false;
  plan.Failed = true;
  return true;
}

void* Allocate(std::size_t size) noexcept {
  return Fails() ? nullptr : std::malloc(size != 0 ? size : 1);
}

void* Require(void* memory) {
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

}  // namespace

namespace OrvixModBus {

void FailAllocation(std::uint64_t number) { plan = {number, 0, false}; }

bool StopFailing() {
  plan.Left = 0;
  return plan.Failed;
}

TOwnMemory::TOwnMemory() { ++plan.Paused; }
TOwnMemory::~TOwnMemory() { --plan.Paused; }

}  // namespace OrvixModBus

void* operator new(std::size_t size) { return Require(Allocate(size)); }
void* operator new[](std::size_t size) { return Require(Allocate(size)); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return Allocate(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return Allocate(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
void operator delete[](void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
