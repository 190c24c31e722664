// SPDX-License-Identifier: Apache-2.0
// How the command line ends: the one table of exit codes, and which failure gives which code.
// docs/qorctl.md repeats the table for users; scripts depend on the numbers.
#pragma once

#include <array>
#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>

#include "qorcomm.h"

namespace orvix::ctl {

enum class ExitCode : int {
  DONE = 0,
  ANSWER_IS_NO = 1,
  USAGE = 2,
  NO_CONNECTION = 3,
  TIME_OUT = 4,
  NOT_AUTHORISED = 5,
  REFUSED = 6,
  PROTOCOL = 7,
  DONE_IN_PART = 8,
  LOCAL_FILE = 9,
  INTERNAL = 10,
  INTERRUPTED = 130  ///< as shells have it for a program that Ctrl-C ended
};

struct ExitRow {
  ExitCode code;
  std::string_view meaning;
  std::string_view remedy;  ///< what to do; empty when the message says it all
};

inline constexpr std::array<ExitRow, 12> EXIT_TABLE{{
    {ExitCode::DONE, "done", ""},
    {ExitCode::ANSWER_IS_NO, "the answer is no", ""},
    {ExitCode::USAGE, "wrong usage", "see qorctl --help"},
    {ExitCode::NO_CONNECTION, "no connection, or it was lost",
     "check that the server runs and that --host and --port name it"},
    {ExitCode::TIME_OUT, "the server did not answer in time", "try again, or raise --timeout"},
    {ExitCode::NOT_AUTHORISED, "not authorised", "give the server's token with --token-file"},
    {ExitCode::REFUSED, "refused by the server", ""},
    {ExitCode::PROTOCOL, "bytes that break the protocol, or an incomplete reply",
     "check that --port belongs to such a server and that it still runs"},
    {ExitCode::DONE_IN_PART, "done in part", ""},
    {ExitCode::LOCAL_FILE, "a local file could not be read or written", ""},
    {ExitCode::INTERNAL, "internal failure", ""},
    {ExitCode::INTERRUPTED, "interrupted", ""},
}};

/// The row of `code`; that of an internal failure for a code without one.
[[nodiscard]] constexpr const ExitRow& exitRow(ExitCode code) noexcept {
  for (const ExitRow& row : EXIT_TABLE) {
    if (row.code == code) return row;
  }
  return EXIT_TABLE[static_cast<std::size_t>(ExitCode::INTERNAL)];
}

/// A failure that the command line found itself. The text is one line: what, where and what to do.
class CtlFailure : public std::runtime_error {
 public:
  CtlFailure(ExitCode code, const std::string& text) : std::runtime_error(text), code_(code) {}
  [[nodiscard]] ExitCode code() const noexcept { return code_; }

 private:
  ExitCode code_;
};

/// The code of a failure that the library reported.
[[nodiscard]] ExitCode exitCodeOf(const comm::RESTException& failure);

/// Says `failure` in one line: its first message, then the further ones as its causes. `where`
/// names request and server: what the server itself reported does not.
[[nodiscard]] std::string describe(const oss::BaseException& failure, std::string_view where);

/// A failure in words: what, where, why and, where that is known, what to do.
struct Failure {
  ExitCode code = ExitCode::DONE;
  std::string text;
};

/// Sorts the exception being handled; to be called in a catch block only.
[[nodiscard]] Failure currentFailure(std::string_view where);

}  // namespace orvix::ctl
