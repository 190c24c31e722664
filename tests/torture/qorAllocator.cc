// SPDX-License-Identifier: Apache-2.0
#include "tests/torture/qorAllocator.h"

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include <unicode/uclean.h>

#include "tests/torture/qorVirtualNet.h"

// NOLINTBEGIN(bugprone-reserved-identifier, readability-identifier-naming): the linker's names
extern "C" {
void* __real_malloc(std::size_t size);
void __real_free(void* block);
}
// NOLINTEND(bugprone-reserved-identifier, readability-identifier-naming)

namespace {

using orvix::torture::Harness;

/// In front of every block.
struct alignas(std::max_align_t) Header {
  std::size_t size;
  bool counted;
};

// One thread only.
std::uint64_t failing = 0;
std::uint64_t failingToo = 0;
bool failingFromThen = false;
std::uint64_t called = 0;
std::uint64_t failed = 0;
std::int64_t alive = 0;

void* obtain(std::size_t size) {
  const bool counted = Harness::depth == 0;
  if (counted) {
    ++called;
    if (called == failing || called == failingToo ||
        (failing != 0 && failingFromThen && called > failing)) {
      ++failed;
      return nullptr;
    }
  }
  auto* const header = static_cast<Header*>(__real_malloc(sizeof(Header) + size));
  if (header == nullptr) return nullptr;
  *header = {size, counted};
  alive += counted ? 1 : 0;
  return header + 1;
}

void release(void* block) {
  if (block == nullptr) return;
  auto* const header = static_cast<Header*>(block) - 1;
  alive -= header->counted ? 1 : 0;
  __real_free(header);
}

void* enlarge(void* block, std::size_t size) {
  void* const grown = obtain(size);
  if (grown == nullptr || block == nullptr) return grown;
  const std::size_t old = (static_cast<Header*>(block) - 1)->size;
  std::memcpy(grown, block, old < size ? old : size);
  release(block);
  return grown;
}

void* obtainOrThrow(std::size_t size) {
  void* const block = obtain(size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

/// Before the first text: a block must be freed by the function that matches its allocation.
__attribute__((constructor(101))) void takeOverIcu() {
  UErrorCode status = U_ZERO_ERROR;
  u_setMemoryFunctions(
      nullptr, [](const void*, std::size_t size) { return obtain(size); },
      [](const void*, void* block, std::size_t size) { return enlarge(block, size); },
      [](const void*, void* block) { release(block); }, &status);
  if (U_FAILURE(status)) std::abort();
}

}  // namespace

void* operator new(std::size_t size) { return obtainOrThrow(size); }
void* operator new[](std::size_t size) { return obtainOrThrow(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return obtain(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return obtain(size); }
void operator delete(void* block) noexcept { release(block); }
void operator delete[](void* block) noexcept { release(block); }
void operator delete(void* block, std::size_t) noexcept { release(block); }
void operator delete[](void* block, std::size_t) noexcept { release(block); }

// NOLINTBEGIN(bugprone-reserved-identifier, readability-identifier-naming)
extern "C" {
void* __wrap_malloc(std::size_t size) { return obtain(size); }
void* __wrap_calloc(std::size_t count, std::size_t size) {
  void* const block = obtain(count * size);
  return block == nullptr ? nullptr : std::memset(block, 0, count * size);
}
void* __wrap_realloc(void* block, std::size_t size) { return enlarge(block, size); }
void __wrap_free(void* block) { release(block); }
}
// NOLINTEND(bugprone-reserved-identifier, readability-identifier-naming)

namespace orvix::torture {

void Allocator::failAt(std::uint64_t at, bool fromThen, std::uint64_t second) {
  failing = at;
  failingToo = second;
  failingFromThen = fromThen;
  called = 0;
  failed = 0;
}
std::uint64_t Allocator::calls() { return called; }
std::uint64_t Allocator::failures() { return failed; }
std::int64_t Allocator::live() { return alive; }

}  // namespace orvix::torture
