// SPDX-License-Identifier: Apache-2.0
// The narrow door through which a list of hits fills its records without copying keys one by one.
// Inline, for it is all that is done for a hit among millions.
#pragma once

#include <cstdint>
#include <string_view>

#include "comm/protocol/internal/qorWireStatus.h"
#include "comm/results/qorSearchResponse.h"
#include "infra/bytes/internal/qorByteReader.h"

namespace orvix::comm::detail {

struct HitAccess {
  static constexpr double SCORE_UNIT = 1000.0;  // scores travel in thousandths

  /// Decodes the record of a hit in place: its raw key stays in `payload`, the list's.
  static void borrow(SearchResult& hit, std::string_view payload, std::uint16_t status) {
    rename(hit, takeScore(hit, payload, status));
    hit.keyIsDue_ = true;
  }

  /// Appends to `list` the hit whose record has `payload`, a part of what it keeps.
  static void append(SearchResponse& list, std::string_view payload, std::uint16_t status) {
    borrow(list.RecordCursor::append(), payload, status);
  }

  /// Takes status and score; returns the rest of the payload, which is the key.
  static std::string_view takeScore(SearchResult& hit, std::string_view payload,
                                    std::uint16_t status) {
    hit.status_ = status;
    if (status != wire::WITH_SCORE) return payload;
    oss::ByteReader reader(payload);
    if (const auto thousandths = reader.u16()) hit.score_ = *thousandths / SCORE_UNIT;
    return payload.substr(reader.consumed());
  }

  /// Names `key`, equal bytes that belong to the list, instead of those that the hit
  /// was copied with.
  static void rename(SearchResult& hit, std::string_view key) {
    hit.rawKey_ = bytesOf(key);
    hit.rawKeyLength_ = static_cast<unsigned int>(key.size());
    hit.ownsRawKey_ = false;
  }

  /// As a record names them. Never written through: owned bytes are freed, and none are changed.
  static unsigned char* bytesOf(std::string_view key) {
    return reinterpret_cast<unsigned char*>(const_cast<char*>(key.data()));
  }

  [[nodiscard]] static std::string_view rawKey(const SearchResult& hit) {
    return {reinterpret_cast<const char*>(hit.rawKey_), hit.rawKeyLength_};
  }

  [[nodiscard]] static bool ownsRawKey(const SearchResult& hit) { return hit.ownsRawKey_; }

  /// From now on `hit` only names its bytes: another owns them.
  static void disown(const SearchResult& hit) { hit.ownsRawKey_ = false; }
};

}  // namespace orvix::comm::detail
