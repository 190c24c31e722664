// SPDX-License-Identifier: Apache-2.0
// The text of a JSON document: its values, not the names of its members.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace orvix::server {

/// Arrays and objects within each other.
inline constexpr std::size_t MAX_JSON_DEPTH = 1000;

/// Strings and numbers in the order of the document, a line each; true, false and null are no text.
/// Numbers with a fraction or an exponent, or beyond 64 bits, stand as they were written.
/// Throws: CONTENT_MALFORMED with line and byte, for a number beyond 64-bit floating point, too.
[[nodiscard]] std::string textOfJson(std::string_view utf8);

}  // namespace orvix::server
