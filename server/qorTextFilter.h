// SPDX-License-Identifier: Apache-2.0
// Programs that turn documents of other types into text: which one a type has, and its text.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace orvix::server {

/// One row of the configuration. The program gets the document on its standard input and writes
/// UTF-8 text to its standard output.
struct TextFilter {
  std::string contentType;           ///< `type/subtype`, `type/*` or `*/*`, in any letter case
  std::vector<std::string> command;  ///< program, absolute or in PROGRAM_FOLDERS, and arguments
  std::uint32_t seconds = 30;        ///< by the clock, and as much processor time
  std::uint32_t memoryMiB = 512;     ///< of address space, for each of its processes
  std::uint32_t outputMiB = 64;      ///< of text

  [[nodiscard]] bool operator==(const TextFilter&) const = default;
};

/// The filters' PATH.
inline constexpr const char* PROGRAM_FOLDERS = "/usr/local/bin:/usr/bin:/bin";

/// The row that names the type itself comes first, even when the server can read the type; then,
/// for types that it cannot read, `type/*` and `*/*`. Null: there is none.
[[nodiscard]] const TextFilter* filterFor(const std::vector<TextFilter>& filters,
                                          std::string_view type);

/// Throws: FILTER_FAILED for a row that cannot work, saying which and why.
void checkTextFilter(const TextFilter& filter);

/// Takes as long as the filter does. SIGPIPE must be ignored: a filter need not read its input.
/// Throws: FILTER_FAILED when the filter cannot be started, fails or goes beyond its limits.
/// Threads: any.
[[nodiscard]] std::string runTextFilter(const TextFilter& filter, std::string_view content);

}  // namespace orvix::server
