// SPDX-License-Identifier: Apache-2.0
// Makes the stored sort key of a field's value: byte order of keys is the order that users expect.
#pragma once

#include <string>
#include <string_view>

namespace orvix::server {

/// Numbers sort by value and before texts; texts sort by the language's collation. `value` is
/// UTF-8.
[[nodiscard]] std::string sortKeyOf(std::string_view value, std::string_view language);

/// Bounds of the keys of all numbers, or of all texts, and which of the two a key belongs to.
[[nodiscard]] bool isNumberKey(std::string_view key) noexcept;
[[nodiscard]] std::string leastSortKey(bool numbers);
[[nodiscard]] std::string greatestSortKey(bool numbers);

/// Sorts behind every key: stands for a document without the field.
[[nodiscard]] const std::string& lastSortKey();

}  // namespace orvix::server
