// SPDX-License-Identifier: Apache-2.0
// Where the units of a binary reply end: pure byte arithmetic, no I/O. The receive path hands the
// parser whole units only, so that what the parser does with a cut record never happens on the
// wire.
#pragma once

#include <cstddef>
#include <string_view>

namespace orvix::comm::detail {

/// The first unit in bytes received so far.
struct UnitCut {
  std::size_t whole = 0;   ///< bytes of the unit; 0: it is not all there yet
  std::size_t needed = 0;  ///< bytes that what is still cut needs in all, as far as is known; when
                           ///< `whole` is not 0, this counts from behind it
  bool hasData = false;    ///< a record that is not the end marker is part of it
};

/// An error body: { length: u16, length bytes }.
[[nodiscard]] UnitCut cutErrorBody(std::string_view held) noexcept;

/// Whole records { status: u16, length: u16, payload }: one, or as many as there are up to and
/// including the end marker.
[[nodiscard]] UnitCut cutRecords(std::string_view held, bool onlyOne) noexcept;

}  // namespace orvix::comm::detail
