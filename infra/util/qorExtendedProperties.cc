// SPDX-License-Identifier: Apache-2.0
#include "infra/util/qorExtendedProperties.h"

#include <charconv>
#include <string>

#include "infra/oss/internal/qorTextConversion.h"
#include "infra/oss/qorBaseException.h"

namespace orvix::util {

using icu::UnicodeString;

namespace {

[[noreturn]] void raise(const char* id, const char* what, const UnicodeString& key,
                        const UnicodeString* value) {
  oss::BaseException error(UnicodeString(id, ""), nullptr, 0);
  error.getErrorMessage().setMessageText(oss::messageText(what));
  error.getErrorMessage().addArgument(key);
  if (value != nullptr) error.getErrorMessage().addArgument(*value);
  throw error;
}

/// Takes the pair at `at` out again when there was no memory for the copies of its texts.
template <class Pairs>
void requirePair(Pairs& pairs, typename Pairs::iterator at, const UnicodeString& key,
                 const UnicodeString& value) {
  try {
    oss::requireCopy(at->first, key);
    oss::requireCopy(at->second, value);
  } catch (const std::bad_alloc&) {
    pairs.erase(at);
    throw;
  }
}

}  // namespace

ExtendedProperties::ExtendedProperties()
    : memory_(inPlace_, sizeof inPlace_, std::pmr::new_delete_resource()), pairs_(&memory_) {}

ExtendedProperties::ExtendedProperties(const ExtendedProperties& other) : ExtendedProperties() {
  *this = other;
}

ExtendedProperties& ExtendedProperties::operator=(const ExtendedProperties& other) {
  if (this == &other) return *this;
  pairs_.clear();
  memory_.release();
  for (const auto& [key, value] : other.pairs_) {
    requirePair(pairs_, pairs_.emplace_hint(pairs_.end(), key, value), key, value);
  }
  return *this;
}

ExtendedProperties::~ExtendedProperties() = default;

void ExtendedProperties::putProperty(const UnicodeString& key, const UnicodeString& value) {
  requirePair(pairs_, pairs_.insert_or_assign(key, value).first, key, value);
}

const UnicodeString& ExtendedProperties::getProperty(const UnicodeString& key,
                                                     const UnicodeString& defaultValue) const {
  const auto found = pairs_.find(key);
  return found == pairs_.end() ? defaultValue : found->second;
}

const UnicodeString& ExtendedProperties::requireProperty(const UnicodeString& key) const {
  const auto found = pairs_.find(key);
  if (found == pairs_.end()) {
    raise("PROPERTY_MISSING", "a required property is missing", key, nullptr);
  }
  return found->second;
}

std::uint32_t ExtendedProperties::requirePropertyAsUInt32(const UnicodeString& key) const {
  const UnicodeString& value = requireProperty(key);
  std::string digits;
  value.toUTF8String(digits);
  std::uint32_t number = 0;
  const char* last = digits.data() + digits.size();
  const auto [end, error] = std::from_chars(digits.data(), last, number);
  if (error != std::errc() || end != last) {
    raise("PROPERTY_NOT_A_NUMBER", "a property must be a number from 0 to 4294967295", key, &value);
  }
  return number;
}

}  // namespace orvix::util
