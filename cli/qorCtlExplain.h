// SPDX-License-Identifier: Apache-2.0
// What message identifiers and exit codes mean and what can be done: one table for all of them.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace orvix::ctl {

struct Explanation {
  std::string_view id;       ///< an exit code stands here as its number
  std::string_view meaning;  ///< of an exit code empty: the table of exit codes has it
  std::string_view causes;   ///< likely ones, separated by line feeds, as are the checks
  std::string_view checks;
  std::string_view retry;  ///< whether it is safe, and when it helps
};

[[nodiscard]] std::span<const Explanation> explanationTable();
/// In whichever letter case. Null: there is none.
[[nodiscard]] const Explanation* findExplanation(std::string_view id);
[[nodiscard]] std::string meaningOf(const Explanation& explanation);
[[nodiscard]] std::vector<std::string> explainedIds();

}  // namespace orvix::ctl
