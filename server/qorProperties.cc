// SPDX-License-Identifier: Apache-2.0
// Typed access to the parameters of a request.
#include "server/qorProperties.h"

#include <charconv>

#include "server/qorRefusal.h"

namespace orvix::server {

std::string_view valueOf(const Properties& properties, std::string_view key) noexcept {
  const auto found = properties.find(key);
  return found == properties.end() ? std::string_view() : std::string_view(found->second);
}

std::optional<std::uint32_t> numberOf(const Properties& properties, std::string_view key) {
  const std::string_view text = valueOf(properties, key);
  if (text.empty()) return std::nullopt;
  std::uint32_t number = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || stop != end) {
    refuse(MessageId::NUMBER_INVALID, "The property " + inQuotes(key) + " is " + inQuotes(text) +
                                          "; give a whole number from 0 to 4294967295");
  }
  return number;
}

}  // namespace orvix::server
