// SPDX-License-Identifier: Apache-2.0
// The caller's cursor over the hits of a search.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "comm/qorExport.h"
#include "comm/results/qorByteArena.h"
#include "comm/results/qorRecordCursor.h"
#include "comm/results/qorSearchResult.h"

namespace orvix::comm {

/// Search hits. Owns the records and their raw key bytes; copies are deep.
/// Threads: one at a time, for reading too: a hit makes its key's text when first asked for it.
/// Loop: while (list.hasMore()) use(list.getNext());
class QORCOMM_EXPORT SearchResponse : public RecordCursor<SearchResult> {
 public:
  SearchResponse();
  SearchResponse(const SearchResponse& other);
  SearchResponse& operator=(const SearchResponse& other);
  ~SearchResponse();

  /// Appends a copy of `record` and takes over its raw key bytes; when it throws, it has not.
  void append(const SearchResult& record);
  /// A copy of a piece of a reply, in which hits may name their keys. With `restart` the list is
  /// emptied as well; when it throws, the list is as it was.
  std::string_view keep(std::string_view piece, bool restart);
  /// Empties the list and frees every raw key.
  void reset();
  /// reset() and append() in one; when it throws, the list is as it was.
  void restart(const SearchResult& record);

 private:
  friend struct detail::HitAccess;

  void copyRawKeys();
  void swap(SearchResponse& other) noexcept;

  ByteArena keys_;   // the pieces that hits name their keys in
  ByteArena spare_;  // takes the next piece before a restart drops the others
  std::vector<std::unique_ptr<unsigned char[]>> adoptedKeys_;
};

}  // namespace orvix::comm
