// SPDX-License-Identifier: Apache-2.0
// Memory for the blocks of long lists, of which many are filled once and soon let go.
#pragma once

#include <cstddef>

#include "infra/qorExport.h"

namespace orvix::oss {

/// A block of about this size or more is asked for in large pages: the system then clears and maps
/// 2 MiB at a time, not 4 KiB. Up to so much less counts as well.
inline constexpr std::size_t LARGE_BLOCK = std::size_t{2} << 20U;
inline constexpr std::size_t LARGE_BLOCK_SLACK = 0x1000;

/// `size` bytes, aligned for any type, not filled. Throws bad_alloc. Release with freeBlock().
QORINFRA_EXPORT void* allocateBlock(std::size_t size);
/// Releases what allocateBlock(size) returned; null is nothing.
QORINFRA_EXPORT void freeBlock(void* block, std::size_t size) noexcept;

}  // namespace orvix::oss
