// SPDX-License-Identifier: Apache-2.0
#include "comm/support/internal/qorConversionCache.h"

#include <string>
#include <unordered_map>

#include "infra/oss/internal/qorTextConversion.h"

namespace orvix::comm::detail {

namespace {

struct HashText {
  std::size_t operator()(const icu::UnicodeString& text) const {
    return static_cast<std::size_t>(text.hashCode());
  }
};

using Words = std::unordered_map<icu::UnicodeString, std::string, HashText>;

Words& cachedWords() {
  static Words all;
  return all;
}

}  // namespace

void ConversionCache::add(const icu::UnicodeString& word) {
  cachedWords().insert_or_assign(word, oss::utf8(word));
}

std::optional<std::string_view> ConversionCache::find(const icu::UnicodeString& word) {
  const Words& all = cachedWords();
  const auto found = all.find(word);
  if (found == all.end()) return std::nullopt;
  return found->second;
}

}  // namespace orvix::comm::detail
