// SPDX-License-Identifier: Apache-2.0
// Encoding is the infrastructure's; only the way back stands here.
#include "cli/qorCtlBytesText.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "infra/util/qorBase64.h"

namespace orvix::ctl {

namespace {

constexpr std::string_view DIGITS =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::size_t GROUP = 4;

/// The 1 to 3 bytes of one group. Bits that no byte takes must be 0.
bool appendGroup(std::string& out, std::string_view group, std::size_t padding) {
  std::uint32_t bits = 0;
  for (std::size_t at = 0; at < GROUP; ++at) {
    const bool pad = at + padding >= GROUP;
    const std::size_t digit = pad ? 0 : DIGITS.find(group[at]);
    if (digit == std::string_view::npos || (pad && group[at] != '=')) return false;
    bits = bits << 6U | static_cast<std::uint32_t>(digit);
  }
  const std::size_t bytes = 3 - padding;
  for (std::size_t at = 0; at < bytes; ++at) {
    out += static_cast<char>(bits >> (16U - 8U * at) & 0xffU);
  }
  return (bits & ((1U << (8U * padding)) - 1U)) == 0;
}

}  // namespace

std::string toBase64(std::string_view bytes) {
  std::vector<unsigned short> units(util::Base64::encodeSize(bytes.size()));
  const std::size_t written =
      util::Base64::encode(units.data(), units.size(), bytes.data(), bytes.size());
  std::string text(written, '\0');
  std::transform(units.begin(), units.begin() + static_cast<std::ptrdiff_t>(written), text.begin(),
                 [](unsigned short unit) { return static_cast<char>(unit); });
  return text;
}

std::optional<std::string> fromBase64(std::string_view text) {
  if (text.size() % GROUP != 0) return std::nullopt;
  std::string bytes;
  bytes.reserve(text.size() / GROUP * 3);
  for (std::size_t at = 0; at < text.size(); at += GROUP) {
    const std::string_view group = text.substr(at, GROUP);
    const bool last = at + GROUP == text.size();
    const std::size_t padding = !last || group[3] != '=' ? 0 : group[2] == '=' ? 2 : 1;
    if (!appendGroup(bytes, group, padding)) return std::nullopt;
  }
  return bytes;
}

}  // namespace orvix::ctl
