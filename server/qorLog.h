// SPDX-License-Identifier: Apache-2.0
// Lines for whoever runs the server, on standard error.
#pragma once

#include <array>
#include <concepts>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

#include "server/qorRefusal.h"

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

/// One "name=value" of a line. Borrows the text, for the call.
class LogField {
 public:
  template <class Text>
  requires std::convertible_to<const Text&, std::string_view> LogField(std::string_view name,
                                                                       const Text& value)
      : name_(name), text_(value) {}
  template <std::unsigned_integral Number>
  LogField(std::string_view name, Number value) : name_(name), number_(value), isNumber_(true) {}

  /// Appends it, with a space in front. The value's bytes may come from anywhere.
  void appendTo(std::string& line) const;

 private:
  std::string_view name_;
  std::string_view text_;
  std::uint64_t number_ = 0;
  bool isNumber_ = false;
};

/// Writes one line, "time=... level=... event=<event> <fields>". To the system's journal the time
/// is left to the journal, and a priority stands in front. Of one event at most LOG_LINES_A_SECOND
/// lines are written in a second, those for debugging apart; how many were left out is told later.
/// A destination that takes nothing more loses lines rather than holding the server up.
/// Secrets are the caller's to leave out. `event` is a literal: it is kept.
/// Threads: any. Never throws.
void log(LogLevel level, std::string_view event,
         std::initializer_list<LogField> fields = {}) noexcept;
inline constexpr std::uint32_t LOG_LINES_A_SECOND = 10;

/// The same for a fault: its identifier and text.
void logFault(LogLevel level, std::string_view event, const Fault& fault,
              std::initializer_list<LogField> fields = {}) noexcept;

/// Call it about once a second: tells how many lines were left out.
void tellLeftOut() noexcept;

/// Whether lines of that level are written: ask before making one that costs something.
[[nodiscard]] bool logs(LogLevel level) noexcept;
[[nodiscard]] LogLevel logLevel() noexcept;
void setLogLevel(LogLevel level) noexcept;

/// A line as it stands, for what is told before there is a log: faults of the settings.
void printLine(std::string_view text);

}  // namespace orvix::server
