// SPDX-License-Identifier: Apache-2.0
// The allocation functions of the test program: they fail when a test has asked for it.
#include <cstddef>
#include <cstdlib>
#include <limits>
#include <new>

#include "tests/comm/transport/qorTransportKit.h"

namespace {

thread_local std::size_t failFrom = std::numeric_limits<std::size_t>::max();

void* allocate(std::size_t size) { return size >= failFrom ? nullptr : std::malloc(size); }

void* allocateOrThrow(std::size_t size) {
  void* const block = allocate(size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

}  // namespace

void* operator new(std::size_t size) { return allocateOrThrow(size); }
void* operator new[](std::size_t size) { return allocateOrThrow(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return allocate(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return allocate(size); }
void operator delete(void* block) noexcept { std::free(block); }
void operator delete[](void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }
void operator delete[](void* block, std::size_t) noexcept { std::free(block); }

namespace orvix::test {

FailingAllocation::FailingAllocation(std::size_t from) { failFrom = from; }
FailingAllocation::~FailingAllocation() { failFrom = std::numeric_limits<std::size_t>::max(); }

}  // namespace orvix::test
