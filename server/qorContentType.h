// SPDX-License-Identifier: Apache-2.0
// What a request says its document is, and which of the server's readers that calls for.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "server/qorProperties.h"

namespace orvix::server {

struct ContentType {
  std::string name;     ///< in lower case and without parameters; empty when none was stated
  std::string charset;  ///< of its parameter; empty without one
};

/// Takes a type apart: `Text/HTML; charset="iso-8859-1"`.
[[nodiscard]] ContentType parseContentType(std::string_view stated);

/// The type that was found out counts before the one that was stated. A type that is said not to be
/// known is none.
[[nodiscard]] ContentType contentTypeOf(const Properties& request);

enum class TextKind : std::uint32_t {
  PLAIN = 1,  // also what has no type
  XML = 2,
  HTML = 3,
  JSON = 4,
  OTHER = 5  // nothing that the server reads by itself
};

/// `type` as ContentType has it.
[[nodiscard]] TextKind textKindOf(std::string_view type) noexcept;

}  // namespace orvix::server
