// SPDX-License-Identifier: Apache-2.0
// UTF-8 forms of the protocol words, so that no request converts them again.
#pragma once

#include <optional>
#include <string_view>

#include <unicode/unistr.h>

namespace orvix::comm::detail {

/// Process-wide. Filled once, by the building of the request catalogue, and read-only afterwards:
/// whoever has built a request message may look words up from any thread without a lock.
class ConversionCache {
 public:
  static void add(const icu::UnicodeString& word);
  /// The UTF-8 bytes of `word`, or nothing when it was not added. Lives until unload.
  [[nodiscard]] static std::optional<std::string_view> find(const icu::UnicodeString& word);
};

}  // namespace orvix::comm::detail
