// SPDX-License-Identifier: Apache-2.0
// Turns document bytes of any character set into well-formed UTF-8 for the engine.
#pragma once

#include <string>
#include <string_view>

namespace orvix::server {

/// Ill-formed input becomes U+FFFD and never fails. An empty charset means UTF-8.
/// Throws: CHARSET_UNKNOWN, naming the charset, when ICU does not know it.
[[nodiscard]] std::string toUtf8(std::string_view bytes, std::string_view charset);

/// An empty name is none.
[[nodiscard]] bool isCharsetKnown(std::string_view charset);

[[nodiscard]] bool isWellFormedUtf8(std::string_view bytes) noexcept;

}  // namespace orvix::server
