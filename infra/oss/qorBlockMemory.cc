// SPDX-License-Identifier: Apache-2.0
#include "infra/oss/qorBlockMemory.h"

#include <cerrno>
#include <cstdint>
#include <new>
#include <sys/mman.h>

namespace orvix::oss {

namespace {

/// What a large block takes: whole large pages, of the system's own, so that nothing of the host's
/// heap is marked or split.
constexpr std::size_t roundedUp(std::size_t size) {
  return (size + LARGE_BLOCK - 1) / LARGE_BLOCK * LARGE_BLOCK;
}

constexpr bool isLarge(std::size_t size) { return size > LARGE_BLOCK - LARGE_BLOCK_SLACK; }

/// Maps one large page more than is needed and gives back what stands around the aligned part.
void* mapAligned(std::size_t size) {
  void* const mapped = ::mmap(nullptr, size + LARGE_BLOCK, PROT_READ | PROT_WRITE,
                              MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (mapped == MAP_FAILED) throw std::bad_alloc();
  char* const start = static_cast<char*>(mapped);
  const std::size_t before =
      (LARGE_BLOCK - reinterpret_cast<std::uintptr_t>(start) % LARGE_BLOCK) % LARGE_BLOCK;
  if (before != 0) ::munmap(start, before);
  ::munmap(start + before + size, LARGE_BLOCK - before);
  return start + before;
}

}  // namespace

void* allocateBlock(std::size_t size) {
  if (!isLarge(size)) return ::operator new(size);
  const int error = errno;
  void* const block = mapAligned(roundedUp(size));
  ::madvise(block, roundedUp(size), MADV_HUGEPAGE);  // a wish: without it the pages are small ones
  errno = error;
  return block;
}

void freeBlock(void* block, std::size_t size) noexcept {
  if (!isLarge(size)) {
    ::operator delete(block);
  } else if (block != nullptr) {
    const int error = errno;
    ::munmap(block, roundedUp(size));
    errno = error;
  }
}

}  // namespace orvix::oss
