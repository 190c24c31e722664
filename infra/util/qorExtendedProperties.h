// SPDX-License-Identifier: Apache-2.0
// The named parameters of a request and the pairs of a reply: an ordered map of texts.
#pragma once

#include <cstdint>
#include <map>

#include <unicode/unistr.h>

#include "infra/qorExport.h"

namespace orvix::util {

/// Text to text, keys unique and in ascending UnicodeString order, which is also the order of a
/// request's header lines. A value: copies are deep.
class QORINFRA_EXPORT ExtendedProperties {
 public:
  using Map = std::map<icu::UnicodeString, icu::UnicodeString>;
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

  [[nodiscard]] const_iterator begin() const { return pairs_.begin(); }
  [[nodiscard]] const_iterator end() const { return pairs_.end(); }
  /// The value at `at`; its key is `at->first`.
  [[nodiscard]] const icu::UnicodeString& get(const_iterator at) const { return at->second; }

 private:
  Map pairs_;
};

}  // namespace orvix::util
