// SPDX-License-Identifier: Apache-2.0
#include "comm/results/qorSearchResult.h"

#include <algorithm>
#include <memory>
#include <string_view>

#include "comm/protocol/internal/qorWireStatus.h"
#include "comm/protocol/internal/qorWords.h"
#include "comm/protocol/qorStaticDefs.h"
#include "infra/bytes/internal/qorByteReader.h"
#include "infra/oss/internal/qorTextConversion.h"
#include "infra/oss/qorFormatter.h"
#include "infra/util/qorBase64.h"

namespace orvix::comm {

using icu::UnicodeString;

namespace {

constexpr std::size_t SHORT_TEXT = 512;  // units that need no heap
constexpr double SCORE_UNIT = 1000.0;

}  // namespace

SearchResult::SearchResult(bool withProperties) : GenRespRecord(withProperties) {}

SearchResult::SearchResult(const SearchResult& other)
    : GenRespRecord(false),
      score_(other.score_),
      key_(other.key_),
      rawKey_(other.rawKey_),
      rawKeyLength_(other.rawKeyLength_),
      status_(other.status_) {}

SearchResult& SearchResult::operator=(const SearchResult& other) {
  score_ = other.score_;
  key_ = other.key_;
  rawKey_ = other.rawKey_;
  rawKeyLength_ = other.rawKeyLength_;
  status_ = other.status_;
  return *this;
}

SearchResult::~SearchResult() = default;

unsigned int SearchResult::decode(const unsigned char* data, unsigned short length, short format) {
  status_ = static_cast<unsigned short>(format);
  oss::ByteReader reader({reinterpret_cast<const char*>(data), length});
  if (status_ == detail::wire::WITH_SCORE) {
    if (const auto thousandths = reader.u16()) score_ = *thousandths / SCORE_UNIT;
  }
  const unsigned char* key = data + reader.consumed();
  setRawKey(key, static_cast<unsigned int>(reader.remaining()));
  key_ = keyText(rawKey_, rawKeyLength_);
  return 0;
}

void SearchResult::postParse() {
  if (getProperties() == nullptr) return;
  const util::ExtendedProperties& properties = *getProperties();
  key_ = properties.requireProperty(detail::words::URI);
  rawKey_ = nullptr;
  rawKeyLength_ = 0;
  const UnicodeString& score =
      properties.getProperty(StaticDefs::PARAM_SORT_BY_SCORE, detail::words::EMPTY);
  score_ = score.isEmpty() ? 0.0 : oss::Formatter::stringToDouble(score);
}

void SearchResult::setRawKey(const unsigned char* bytes, unsigned int length) {
  auto copy = std::make_unique<unsigned char[]>(length);
  std::copy_n(bytes, length, copy.get());
  adoptRawKey(copy.release(), length);
}

void SearchResult::adoptRawKey(unsigned char* bytes, unsigned int length) {
  rawKey_ = bytes;
  rawKeyLength_ = length;
}

void SearchResult::releaseRawKey() {
  delete[] rawKey_;
  rawKey_ = nullptr;
  rawKeyLength_ = 0;
}

UnicodeString SearchResult::keyText(const unsigned char* bytes, std::size_t length) {
  const std::size_t units = util::Base64::encodeSize(length);
  unsigned short inPlace[SHORT_TEXT];
  std::unique_ptr<unsigned short[]> heap;
  if (units > SHORT_TEXT) heap = std::make_unique<unsigned short[]>(units);
  unsigned short* out = heap ? heap.get() : inPlace;
  util::Base64::encode(out, units, reinterpret_cast<const char*>(bytes), length);
  UnicodeString text(u"base64:");
  const UnicodeString digits(out, static_cast<std::int32_t>(units));
  oss::requireText(digits);
  text.append(digits);
  oss::requireText(text);
  return text;
}

}  // namespace orvix::comm
