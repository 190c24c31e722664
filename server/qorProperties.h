// SPDX-License-Identifier: Apache-2.0
// The named parameters of one request, as its header lines carried them, and typed access to them.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace orvix::server {

/// Keys are case-sensitive; keys and values are the bytes of the wire (UTF-8 by contract).
using Properties = std::map<std::string, std::string, std::less<>>;

/// The value, or an empty text when the key is absent. Callers treat both alike.
[[nodiscard]] std::string_view valueOf(const Properties& properties, std::string_view key) noexcept;

/// A whole number from 0 to 4294967295; nothing when the value is absent or empty.
/// Throws: NUMBER_INVALID, naming key and value, for anything else.
[[nodiscard]] std::optional<std::uint32_t> numberOf(const Properties& properties,
                                                    std::string_view key);

}  // namespace orvix::server
