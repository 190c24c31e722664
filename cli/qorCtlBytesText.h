// SPDX-License-Identifier: Apache-2.0
// Bytes that are not UTF-8 as text and back: Base64 as RFC 4648 has it.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace orvix::ctl {

[[nodiscard]] std::string toBase64(std::string_view bytes);
/// Nothing when it is no Base64 with its padding.
[[nodiscard]] std::optional<std::string> fromBase64(std::string_view text);

}  // namespace orvix::ctl
