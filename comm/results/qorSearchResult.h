// SPDX-License-Identifier: Apache-2.0
// One search hit.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

#include <unicode/unistr.h>

#include "comm/qorExport.h"
#include "comm/results/qorGenRespRecord.h"

namespace orvix::comm {

namespace detail {
struct HitAccess;
}

/// A hit: score, document key, and the key's bytes as the server sent them.
/// Shape:   { score: u16 in thousandths }? (status 5 only), key bytes.
/// Borrows: the raw key bytes, when it came with a reply or was copied from such a hit: they belong
///          to the SearchResponse and are valid until that list is reset or destroyed. A record
///          that was given its bytes itself (setRawKey, adoptRawKey, decode) must be released by
///          releaseRawKey(), unless it was added to a list, which takes them over. Its copies only
///          name them.
/// Threads: one at a time, for reading too: the key text is made when it is first asked for.
class QORCOMM_EXPORT SearchResult : public GenRespRecord {
 public:
  SearchResult() = default;
  explicit SearchResult(bool withProperties);
  /// Copies score, key and status; names the same raw key bytes; carries no map.
  SearchResult(const SearchResult& other);
  SearchResult& operator=(const SearchResult& other);
  ~SearchResult() override = default;

  unsigned int decode(const unsigned char* data, unsigned short length, short format) override;
  /// The property form: key from "URI" (required), score from "SCORE" (0.0 when absent).
  void postParse() override;

  [[nodiscard]] double getScore() const { return score_; }
  /// The document key as text: "base64:" and its bytes in Base64, or a property record's "URI".
  /// Lives as long as the record. Throws NLSException or bad_alloc when memory for it runs out.
  [[nodiscard]] const icu::UnicodeString& getKey() const;
  [[nodiscard]] const unsigned char* getRawKey() const { return rawKey_; }
  [[nodiscard]] unsigned int getRawKeyLength() const { return rawKeyLength_; }
  /// The record's status on the wire; 6 marks a server error that travels as a result.
  [[nodiscard]] unsigned short getStatus() const { return status_; }

  /// Takes a copy of `length` bytes; bytes of its own that it had before are freed.
  void setRawKey(const unsigned char* bytes, unsigned int length);
  /// Takes an array-allocated run as it is; what it had before is not freed.
  void adoptRawKey(unsigned char* bytes, unsigned int length);
  /// Frees the raw key bytes, unless they are borrowed; either way the record has none then.
  void releaseRawKey();
  /// The key text of any byte run: "base64:" and Base64.
  static icu::UnicodeString keyText(const unsigned char* bytes, std::size_t length);

 private:
  friend struct detail::HitAccess;

  void makeKey() const;
  void setKey(const icu::UnicodeString& text) const;

  // The key's text stands in `key_`, or is empty when that is null; or it is due: then it is that
  // of the raw key, which is borrowed, and is made when it is asked for.
  double score_ = 0.0;
  mutable std::unique_ptr<icu::UnicodeString> key_;
  unsigned char* rawKey_ = nullptr;
  unsigned int rawKeyLength_ = 0;
  unsigned short status_ = 0;
  mutable bool ownsRawKey_ = false;  // until a list takes the bytes over
  mutable bool keyIsDue_ = false;
};

}  // namespace orvix::comm
