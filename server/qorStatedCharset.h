// SPDX-License-Identifier: Apache-2.0
// What the first bytes of a document tell of its character set, when nobody else does.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "server/qorContentType.h"

namespace orvix::server {

struct StatedCharset {
  std::string name;         ///< empty: nothing is stated
  std::size_t skipped = 0;  ///< bytes of a byte order mark in front of the text
};

/// A byte order mark, else an XML declaration, else, in HTML, a meta element within the first 1024
/// bytes; there, as in browsers, a name that nobody knows does not count.
[[nodiscard]] StatedCharset statedCharset(std::string_view bytes, TextKind kind);

}  // namespace orvix::server
