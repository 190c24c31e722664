// SPDX-License-Identifier: Apache-2.0
// One search hit.
#pragma once

#include <cstddef>

#include <unicode/unistr.h>

#include "comm/qorExport.h"
#include "comm/results/qorGenRespRecord.h"

namespace orvix::comm {

/// A hit: score, document key, and the key's bytes as the server sent them.
/// Shape:   { score: u16 in thousandths }? (status 5 only), key bytes.
/// Borrows: the raw key bytes, when it was copied: they belong to the SearchResponse that holds the
///          original and are valid until that list is reset or destroyed. A record that was given
///          its bytes itself (setRawKey, adoptRawKey, decode) must be released by releaseRawKey().
class QORCOMM_EXPORT SearchResult : public GenRespRecord {
 public:
  explicit SearchResult(bool withProperties = false);
  /// Copies score, key and status; names the same raw key bytes; carries no map.
  SearchResult(const SearchResult& other);
  SearchResult& operator=(const SearchResult& other);
  ~SearchResult() override;

  unsigned int decode(const unsigned char* data, unsigned short length, short format) override;
  /// The property form: key from "URI" (required), score from "SCORE" (0.0 when absent).
  void postParse() override;

  [[nodiscard]] double getScore() const { return score_; }
  /// The document key as text: "base64:" and its bytes in Base64, or the "URI" of a property
  /// record.
  [[nodiscard]] const icu::UnicodeString& getKey() const { return key_; }
  [[nodiscard]] const unsigned char* getRawKey() const { return rawKey_; }
  [[nodiscard]] unsigned int getRawKeyLength() const { return rawKeyLength_; }
  /// The record's status on the wire; 6 marks a server error that travels as a result.
  [[nodiscard]] unsigned short getStatus() const { return status_; }

  /// Takes a copy of `length` bytes.
  void setRawKey(const unsigned char* bytes, unsigned int length);
  /// Takes an array-allocated run as it is.
  void adoptRawKey(unsigned char* bytes, unsigned int length);
  /// Frees the raw key bytes.
  void releaseRawKey();
  /// The key text of any byte run: "base64:" and Base64.
  static icu::UnicodeString keyText(const unsigned char* bytes, std::size_t length);

 private:
  double score_ = 0.0;
  icu::UnicodeString key_;
  unsigned char* rawKey_ = nullptr;
  unsigned int rawKeyLength_ = 0;
  unsigned short status_ = 0;
};

}  // namespace orvix::comm
