// SPDX-License-Identifier: Apache-2.0
#include "infra/oss/qorBlockMemory.h"

#include <new>
#include <sys/mman.h>

namespace orvix::oss {

namespace {

constexpr std::align_val_t LARGE_PAGE{LARGE_BLOCK};

}  // namespace

void* allocateBlock(std::size_t size) {
  if (size < LARGE_BLOCK) return ::operator new(size);
  void* const block = ::operator new(size, LARGE_PAGE);
  ::madvise(block, size, MADV_HUGEPAGE);  // a wish: without it the pages are small ones
  return block;
}

void freeBlock(void* block, std::size_t size) noexcept {
  if (size < LARGE_BLOCK) {
    ::operator delete(block);
  } else {
    ::operator delete(block, LARGE_PAGE);
  }
}

}  // namespace orvix::oss
