// SPDX-License-Identifier: Apache-2.0
// Base64 text of bytes, as RFC 4648 has it, with padding, in UTF-16 units.
#pragma once

#include <cstddef>

#include "infra/qorExport.h"

namespace orvix::util {

/// Writes into the caller's memory; holds nothing. Any thread.
class QORINFRA_EXPORT Base64 {
 public:
  /// Units that encode() produces for `byteCount` bytes.
  static std::size_t encodeSize(std::size_t byteCount) noexcept;
  /// Writes the text of `inLength` bytes at `in` into `out` and returns the units written: all, or
  /// none when `outCapacity` (in units) is too small.
  static std::size_t encode(unsigned short* out, std::size_t outCapacity, const char* in,
                            std::size_t inLength) noexcept;
};

}  // namespace orvix::util
