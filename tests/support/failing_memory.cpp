#include "tests/support/failing_memory.h"

#include <cstdint>
#include <cstdlib>
#include <new>

namespace {

thread_local bool is_counting = false;
thread_local bool is_failed = false;
thread_local std::size_t counted = 0;
thread_local std::size_t to_fail = SIZE_MAX;

void* obtained(std::size_t size, std::size_t alignment) {
  if (is_counting && counted++ == to_fail) {
    is_failed = true;
    return nullptr;
  }
  if (alignment == 0) return std::malloc(size == 0 ? 1 : size);
  return std::aligned_alloc(alignment, (size + alignment - 1) / alignment * alignment);
}

void* required(std::size_t size, std::size_t alignment) {
  void* const memory = obtained(size, alignment);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

void begin(std::size_t nth) {
  counted = 0;
  to_fail = nth;
  is_failed = false;
  is_counting = true;
}

}  // namespace

namespace failing_memory {

void fail(std::size_t nth) { begin(nth); }
void count() { begin(SIZE_MAX); }
std::size_t stop() {
  is_counting = false;
  return counted;
}
bool has_failed() { return is_failed; }

}  // namespace failing_memory

// NOLINTBEGIN: these are the names that the language gives
void* operator new(std::size_t size) { return required(size, 0); }
void* operator new[](std::size_t size) { return required(size, 0); }
void* operator new(std::size_t size, std::align_val_t alignment) { return required(size, std::size_t(alignment)); }
void* operator new[](std::size_t size, std::align_val_t alignment) { return required(size, std::size_t(alignment)); }
void* operator new(std::size_t size, std::nothrow_t const&) noexcept { return obtained(size, 0); }
void* operator new[](std::size_t size, std::nothrow_t const&) noexcept { return obtained(size, 0); }
void* operator new(std::size_t size, std::align_val_t alignment, std::nothrow_t const&) noexcept {
  return obtained(size, std::size_t(alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment, std::nothrow_t const&) noexcept {
  return obtained(size, std::size_t(alignment));
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete(void* memory, std::align_val_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::align_val_t) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t, std::align_val_t) noexcept { std::free(memory); }
// NOLINTEND
