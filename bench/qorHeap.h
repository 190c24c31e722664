// SPDX-License-Identifier: Apache-2.0
// Counts the heap allocations of the program that links it: all of them, for it takes the place of
// the C library's malloc, which ICU and operator new call, too.
#pragma once

#include <cstdint>

namespace orvix::bench {

/// Allocations so far, of all libraries. One thread.
std::uint64_t heapAllocations();

}  // namespace orvix::bench
