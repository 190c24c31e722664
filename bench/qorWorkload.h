// SPDX-License-Identifier: Apache-2.0
// The payloads that all contenders carry: the search and its ten hits, documents, long lists
// of hits.
#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <unicode/unistr.h>

#include "comm/request/qorClientRequest.h"
#include "infra/util/qorExtendedProperties.h"

namespace orvix::bench {

inline constexpr std::size_t KEY_SIZE = 16;
inline constexpr std::size_t RECORD_SIZE = 2 + 2 + 2 + KEY_SIZE;  // status, length, score, key
inline constexpr std::size_t REQUEST_SIZE = 254;                  // of the search, on the wire
inline constexpr std::size_t REPLY_HITS = 10;
inline constexpr std::size_t REPLY_SIZE = 2 + REPLY_HITS * RECORD_SIZE + 4;
inline constexpr std::size_t PIECE_HITS = 186;  // whole records in 4096 bytes

/// What every reader of hits does with one, so that none can leave the work out.
class Sink {
 public:
  void take(std::string_view key) {
    if (key.empty()) return;
    sum_ += key.size() + static_cast<unsigned char>(key.front()) +
            static_cast<unsigned char>(key.back());
  }
  void take(double score) { score_ += score; }
  void take(std::uint64_t value) { sum_ += value; }
  ~Sink() {
    asm volatile("" : : "r,m"(sum_) : "memory");
    asm volatile("" : : "r,m"(score_) : "memory");
  }
  Sink() = default;
  Sink(const Sink&) = delete;
  Sink& operator=(const Sink&) = delete;

 private:
  std::uint64_t sum_ = 0;
  double score_ = 0;
};

/// Throws unless `found` is `wanted`: a reader that lost hits would look fast.
void requireCount(const char* what, std::size_t found, std::size_t wanted);

/// Before a list of `elements` that is long: gives free memory back to the system. Otherwise it
/// hangs on what ran before whether a contender finds memory that it need not fault in again, and
/// that is half of its time.
void startCold(std::size_t elements);

/// A search with eight properties, its texts ready for the caller to put.
struct Search {
  Search();
  /// Fills a map as a caller does.
  void fill(util::ExtendedProperties& properties) const;
  void fill(comm::ClientRequest& request) const;

  icu::UnicodeString collection;
  std::vector<std::pair<icu::UnicodeString, icu::UnicodeString>> properties;
};
/// The same properties as bytes, in the same order.
std::vector<std::pair<std::string, std::string>> searchPairs();

/// The `index`th key: 16 bytes.
std::string keyOf(std::size_t index);
/// The score of every hit, and what it is on the wire.
inline constexpr double SCORE = 1.234;
/// Records of hits with a score, without header and end.
std::string records(std::size_t first, std::size_t count);
std::string endMarker();
/// A whole reply.
std::string searchReply(std::size_t hits);
std::string base64(std::string_view bytes);
/// {"hits":[{"key":"<Base64>","score":1.234},...]}
std::string jsonReply(std::size_t hits);

/// A document with three fields and `size` bytes of content.
struct Document {
  explicit Document(std::size_t size);
  /// Fills a request from a map and a list that the caller keeps.
  void fill(comm::ClientRequest& request) const;
  void setKey(comm::ClientRequest& request) const;

  icu::UnicodeString collection;
  util::ExtendedProperties properties;
  std::list<comm::KVPair> fields;
  std::vector<std::pair<std::string, std::string>> fieldBytes;
  std::string key;
  std::string content;
};

/// Keys for documents that follow each other.
std::vector<std::string> documentKeys();

/// What the client writes for the search, and for one document; read from a connection of its own.
/// Throws when the search does not have the size that it must have.
std::string searchFrame();
std::string documentFrame(const Document& document);

}  // namespace orvix::bench
