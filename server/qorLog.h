// SPDX-License-Identifier: Apache-2.0
// Lines for whoever runs the server, on standard error.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

namespace orvix::server {

/// What a line is about, and what is to be logged: that level and those before it.
enum class LogLevel : std::uint32_t { ERROR = 1, WARNING = 2, INFO = 3, DEBUG = 4 };

/// Row n is the name of enumerator n + 1.
inline constexpr std::array<std::string_view, 4> LOG_LEVEL_NAMES{"error", "warning", "info",
                                                                 "debug"};
[[nodiscard]] constexpr std::string_view nameOf(LogLevel level) noexcept {
  return LOG_LEVEL_NAMES.at(static_cast<std::size_t>(level) - 1);
}
[[nodiscard]] constexpr std::optional<LogLevel> logLevelOf(std::string_view name) noexcept {
  for (std::uint32_t i = 0; i < LOG_LEVEL_NAMES.size(); ++i) {
    if (LOG_LEVEL_NAMES.at(i) == name) return static_cast<LogLevel>(i + 1);
  }
  return std::nullopt;
}

/// Writes one line. Control characters, which may come from a request, are shown as '?'.
void logLine(std::string_view text);

}  // namespace orvix::server
