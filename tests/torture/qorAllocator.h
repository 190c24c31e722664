// SPDX-License-Identifier: Apache-2.0
// The allocators of torture-memory: operator new, the C functions as this program's objects call
// them (the linker renames those calls), and ICU's. They fail when told to and count what lives.
// Allocations of the harness pass: see Harness.
#pragma once

#include <cstdint>

namespace orvix::torture {

struct Allocator {
  /// Counts from now; 0: never. `second` fails, too.
  static void failAt(std::uint64_t at, bool fromThen, std::uint64_t second = 0);
  static std::uint64_t calls();     ///< since failAt()
  static std::uint64_t failures();  ///< since failAt()
  static std::int64_t live();       ///< blocks of the library that are not freed
};

}  // namespace orvix::torture
