// SPDX-License-Identifier: Apache-2.0
#include "bench/qorHeap.h"

#include <cerrno>
#include <cstddef>
#include <malloc.h>

namespace {

std::uint64_t allocations = 0;

}  // namespace

// The C library's own entries behind its replaceable names.
// NOLINTBEGIN(bugprone-reserved-identifier, readability-identifier-naming)
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* block);

__attribute__((visibility("default"))) void* malloc(std::size_t size) {
  ++allocations;
  return __libc_malloc(size);
}
__attribute__((visibility("default"))) void* calloc(std::size_t count, std::size_t size) {
  ++allocations;
  return __libc_calloc(count, size);
}
__attribute__((visibility("default"))) void* realloc(void* block, std::size_t size) {
  ++allocations;
  return __libc_realloc(block, size);
}
__attribute__((visibility("default"))) void* memalign(std::size_t alignment, std::size_t size) {
  ++allocations;
  return __libc_memalign(alignment, size);
}
__attribute__((visibility("default"))) void* aligned_alloc(std::size_t alignment,
                                                           std::size_t size) {
  ++allocations;
  return __libc_memalign(alignment, size);
}
__attribute__((visibility("default"))) int posix_memalign(void** block, std::size_t alignment,
                                                          std::size_t size) {
  ++allocations;
  *block = __libc_memalign(alignment, size);
  return *block == nullptr ? ENOMEM : 0;
}
__attribute__((visibility("default"))) void free(void* block) { __libc_free(block); }
}
// NOLINTEND(bugprone-reserved-identifier, readability-identifier-naming)

namespace orvix::bench {

std::uint64_t heapAllocations() { return allocations; }

}  // namespace orvix::bench
