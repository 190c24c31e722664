// SPDX-License-Identifier: Apache-2.0
// A value is a number when the whole of it is one; anything else is a text. Only the first
// characters of a text count, to bound what is stored.
#include "server/qorSortKey.h"

#include <array>
#include <charconv>
#include <cmath>
#include <map>
#include <memory>
#include <optional>
#include <xapian.h>

#include <unicode/coll.h>
#include <unicode/unistr.h>

#include "server/qorRefusal.h"

namespace orvix::server {

namespace {

constexpr char NUMBER_MARK = 'n';
constexpr char TEXT_MARK = 't';
constexpr std::int32_t COLLATED_UNITS = 128;
constexpr std::size_t KEPT_KEY = 1024;
constexpr std::size_t MAX_COLLATORS = 64;

std::optional<double> wholeNumber(std::string_view text) noexcept {
  if (text.starts_with('+')) text.remove_prefix(1);
  double number = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || stop != end || !std::isfinite(number)) return std::nullopt;
  return number;
}

/// One thread only. Languages come from requests, hence the bound.
icu::Collator& collatorOf(std::string_view language) {
  thread_local std::map<std::string, std::unique_ptr<icu::Collator>, std::less<>> made;
  const auto found = made.find(language);
  if (found != made.end()) return *found->second;
  if (made.size() == MAX_COLLATORS) made.clear();
  UErrorCode status = U_ZERO_ERROR;
  const std::string name(language);
  std::unique_ptr<icu::Collator> collator(
      icu::Collator::createInstance(icu::Locale(name.c_str()), status));
  if (U_FAILURE(status) != 0 || !collator) {
    refuse(MessageId::INTERNAL_FAILURE, "No collation for the language " + inQuotes(name));
  }
  return *made.emplace(name, std::move(collator)).first->second;
}

}  // namespace

std::string sortKeyOf(std::string_view value, std::string_view language) {
  if (const auto number = wholeNumber(value)) {
    return NUMBER_MARK + Xapian::sortable_serialise(*number);
  }
  icu::UnicodeString text = icu::UnicodeString::fromUTF8(
      icu::StringPiece(value.data(), static_cast<std::int32_t>(value.size())));
  text.truncate(COLLATED_UNITS);
  std::array<std::uint8_t, KEPT_KEY> key{};
  const std::int32_t made =
      collatorOf(language).getSortKey(text, key.data(), static_cast<std::int32_t>(key.size()));
  const auto kept = std::min(key.size(), static_cast<std::size_t>(made));
  return TEXT_MARK + std::string(key.begin(), key.begin() + static_cast<std::ptrdiff_t>(kept));
}

bool isNumberKey(std::string_view key) noexcept { return key.starts_with(NUMBER_MARK); }

std::string leastSortKey(bool numbers) { return std::string(1, numbers ? NUMBER_MARK : TEXT_MARK); }

std::string greatestSortKey(bool numbers) {
  return leastSortKey(numbers) + std::string(KEPT_KEY, '\xff');
}

const std::string& lastSortKey() {
  static const std::string last(1, '\xff');
  return last;
}

}  // namespace orvix::server
