// SPDX-License-Identifier: Apache-2.0
#include "comm/results/qorSearchResult.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <new>
#include <string_view>

#include "comm/protocol/internal/qorWords.h"
#include "comm/protocol/qorStaticDefs.h"
#include "comm/results/internal/qorHitAccess.h"
#include "infra/oss/internal/qorTextConversion.h"
#include "infra/oss/qorFormatter.h"
#include "infra/util/qorBase64.h"

namespace orvix::comm {

using icu::UnicodeString;

namespace {

constexpr std::size_t MOST_UNITS = std::numeric_limits<std::int32_t>::max();

/// Null for an empty text.
std::unique_ptr<UnicodeString> onHeap(const UnicodeString& text) {
  if (text.isEmpty()) return nullptr;
  auto made = std::make_unique<UnicodeString>(text);
  if (made == nullptr) throw std::bad_alloc();  // ICU's own operator new answers null
  return made;
}

}  // namespace

SearchResult::SearchResult(bool withProperties) : GenRespRecord(withProperties) {}

SearchResult::SearchResult(const SearchResult& other)
    : GenRespRecord(false),
      score_(other.score_),
      key_(onHeap(other.getKey())),
      rawKey_(other.rawKey_),
      rawKeyLength_(other.rawKeyLength_),
      status_(other.status_) {}

SearchResult& SearchResult::operator=(const SearchResult& other) {
  if (this == &other) return *this;
  setKey(other.getKey());
  score_ = other.score_;
  rawKey_ = other.rawKey_;
  rawKeyLength_ = other.rawKeyLength_;
  status_ = other.status_;
  ownsRawKey_ = false;
  return *this;
}

unsigned int SearchResult::decode(const unsigned char* data, unsigned short length, short format) {
  keyIsDue_ = false;  // of whatever it was before
  const std::string_view key = detail::HitAccess::takeScore(
      *this, {reinterpret_cast<const char*>(data), length}, static_cast<std::uint16_t>(format));
  setRawKey(reinterpret_cast<const unsigned char*>(key.data()),
            static_cast<unsigned int>(key.size()));
  setKey(keyText(rawKey_, rawKeyLength_));
  return 0;
}

void SearchResult::postParse() {
  if (getProperties() == nullptr) return;
  const util::ExtendedProperties& properties = *getProperties();
  setKey(properties.requireProperty(detail::words::URI));
  rawKey_ = nullptr;
  rawKeyLength_ = 0;
  ownsRawKey_ = false;
  const UnicodeString& score =
      properties.getProperty(StaticDefs::PARAM_SORT_BY_SCORE, detail::words::EMPTY);
  score_ = score.isEmpty() ? 0.0 : oss::Formatter::stringToDouble(score);
}

const UnicodeString& SearchResult::getKey() const {
  if (keyIsDue_) makeKey();
  return key_ ? *key_ : detail::words::EMPTY;
}

void SearchResult::makeKey() const { setKey(keyText(rawKey_, rawKeyLength_)); }

/// A text that was handed out stays where it is, and changes.
void SearchResult::setKey(const UnicodeString& text) const {
  if (key_ != nullptr) {
    *key_ = text;
  } else {
    key_ = onHeap(text);
  }
  keyIsDue_ = false;
}

void SearchResult::setRawKey(const unsigned char* bytes, unsigned int length) {
  auto copy = std::make_unique<unsigned char[]>(length);
  std::copy_n(bytes, length, copy.get());
  releaseRawKey();
  adoptRawKey(copy.release(), length);
}

void SearchResult::adoptRawKey(unsigned char* bytes, unsigned int length) {
  if (keyIsDue_) makeKey();  // of the bytes that it came with
  rawKey_ = bytes;
  rawKeyLength_ = length;
  ownsRawKey_ = true;
}

void SearchResult::releaseRawKey() {
  if (keyIsDue_) makeKey();
  if (ownsRawKey_) delete[] rawKey_;
  rawKey_ = nullptr;
  rawKeyLength_ = 0;
  ownsRawKey_ = false;
}

UnicodeString SearchResult::keyText(const unsigned char* bytes, std::size_t length) {
  constexpr std::u16string_view PREFIX = u"base64:";
  const std::size_t units = PREFIX.size() + util::Base64::encodeSize(length);
  if (units > MOST_UNITS) oss::raiseOutOfMemory();
  UnicodeString text;
  char16_t* const out = text.getBuffer(static_cast<std::int32_t>(units));
  if (out == nullptr) oss::raiseOutOfMemory();
  std::copy(PREFIX.begin(), PREFIX.end(), out);
  util::Base64::encode(reinterpret_cast<unsigned short*>(out + PREFIX.size()),
                       units - PREFIX.size(), reinterpret_cast<const char*>(bytes), length);
  text.releaseBuffer(static_cast<std::int32_t>(units));
  return text;
}

}  // namespace orvix::comm
