// SPDX-License-Identifier: Apache-2.0
// A missing part of a version counts as 0: 1 equals 1.0.
#include "server/qorVersionRanges.h"

#include <charconv>
#include <cstdint>
#include <optional>
#include <vector>

#include "server/qorServerWords.h"

namespace orvix::server {

namespace {

using Version = std::vector<std::uint32_t>;

std::string_view trimmed(std::string_view text) noexcept {
  while (text.starts_with(' ')) text.remove_prefix(1);
  while (text.ends_with(' ')) text.remove_suffix(1);
  return text;
}

std::optional<Version> versionOf(std::string_view text) {
  text = trimmed(text);
  Version version;
  for (;;) {
    std::uint32_t part = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, part);
    if (error != std::errc()) return std::nullopt;
    version.push_back(part);
    text.remove_prefix(static_cast<std::size_t>(stop - text.data()));
    if (text.empty()) break;
    if (!text.starts_with('.')) return std::nullopt;
    text.remove_prefix(1);
  }
  while (!version.empty() && version.back() == 0) version.pop_back();
  return version;
}

bool entryContains(std::string_view entry, const Version& version) {
  const std::size_t cut = entry.find(words().versionRange);
  const auto low = versionOf(entry.substr(0, cut));
  const auto high = cut == std::string_view::npos
                        ? low
                        : versionOf(entry.substr(cut + words().versionRange.size()));
  return low && high && *low <= version && version <= *high;
}

}  // namespace

bool versionListContains(std::string_view list, std::string_view version) {
  const auto wanted = versionOf(version);
  while (wanted && !list.empty()) {
    const std::size_t cut = list.find(words().versionList);
    if (entryContains(list.substr(0, cut), *wanted)) return true;
    if (cut == std::string_view::npos) break;
    list.remove_prefix(cut + words().versionList.size());
  }
  return false;
}

}  // namespace orvix::server
