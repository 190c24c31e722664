// SPDX-License-Identifier: Apache-2.0
// The named parameters of a request and the pairs of a reply: an ordered map of texts.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory_resource>
#include <string_view>

#include <unicode/unistr.h>

#include "infra/qorExport.h"

namespace orvix::util {

/// Ascending order of UTF-16 code units: what UnicodeString::compare() says, without a call.
struct CodeUnitOrder {
  /// Whether `left` comes before `right`.
  bool operator()(const icu::UnicodeString& left, const icu::UnicodeString& right) const;
};

/// Text to text, keys unique and in ascending UnicodeString order, which is also the order of a
/// request's header lines. A value: copies are deep.
/// The first dozen or so of entries stand in the object itself, which has a few KiB for it.
class QORINFRA_EXPORT ExtendedProperties {
 public:
  /// What it is kept in.
  using Map = std::pmr::map<icu::UnicodeString, icu::UnicodeString, CodeUnitOrder>;
  using iterator = Map::const_iterator;
  using const_iterator = Map::const_iterator;

  ExtendedProperties();
  ExtendedProperties(const ExtendedProperties&);
  ExtendedProperties& operator=(const ExtendedProperties&);
  virtual ~ExtendedProperties();

  /// Replaces the contents by those of `other`; a copy from itself changes nothing.
  void copy(const ExtendedProperties& other) { *this = other; }
  /// Inserts the pair or replaces the value of an existing key.
  void putProperty(const icu::UnicodeString& key, const icu::UnicodeString& value);
  /// The value, or `defaultValue` when the key is absent. Lives as long as the entry, or the
  /// default.
  const icu::UnicodeString& getProperty(const icu::UnicodeString& key,
                                        const icu::UnicodeString& defaultValue) const;
  /// The value. Throws BaseException "PROPERTY_MISSING" with the key as argument.
  const icu::UnicodeString& requireProperty(const icu::UnicodeString& key) const;
  /// The value as a decimal number. Throws as requireProperty, and BaseException
  /// "PROPERTY_NOT_A_NUMBER" with key and value when it is no number from 0 to 4294967295.
  std::uint32_t requirePropertyAsUInt32(const icu::UnicodeString& key) const;

  [[nodiscard]] std::size_t size() const { return pairs_.size(); }
  [[nodiscard]] const_iterator begin() const { return pairs_.begin(); }
  [[nodiscard]] const_iterator end() const { return pairs_.end(); }
  /// The value at `at`; its key is `at->first`.
  [[nodiscard]] const icu::UnicodeString& get(const_iterator at) const { return at->second; }

 private:
  static constexpr std::size_t ENTRIES_IN_PLACE = 12;
  static constexpr std::size_t ENTRY_SIZE = sizeof(Map::value_type) + 4 * sizeof(void*);

  alignas(std::max_align_t) std::byte inPlace_[ENTRIES_IN_PLACE * ENTRY_SIZE];  // not filled
  std::pmr::monotonic_buffer_resource memory_;  // nothing is ever taken out of the map by itself
  Map pairs_;
};

inline bool CodeUnitOrder::operator()(const icu::UnicodeString& left,
                                      const icu::UnicodeString& right) const {
  const std::u16string_view a(left.getBuffer(), static_cast<std::size_t>(left.length()));
  const std::u16string_view b(right.getBuffer(), static_cast<std::size_t>(right.length()));
  const int order = a.compare(b);
  return order < 0 || (order == 0 && left.isBogus() && !right.isBogus());
}

}  // namespace orvix::util
