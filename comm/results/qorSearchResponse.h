// SPDX-License-Identifier: Apache-2.0
// The caller's cursor over the hits of a search.
#pragma once

#include "comm/qorExport.h"
#include "comm/results/qorRecordCursor.h"
#include "comm/results/qorSearchResult.h"

namespace orvix::comm {

/// Search hits. Owns the records and their raw key bytes; copies are deep.
/// Loop: while (list.hasMore()) use(list.getNext());
class QORCOMM_EXPORT SearchResponse : public RecordCursor<SearchResult> {
 public:
  SearchResponse();
  SearchResponse(const SearchResponse& other);
  SearchResponse& operator=(const SearchResponse& other);
  ~SearchResponse();

  /// Appends a copy of `record` and takes over its raw key bytes; when it throws, it has not.
  void append(const SearchResult& record) { RecordCursor::append(record); }
  /// Empties the list and frees every raw key.
  void reset();
  /// reset() and append() in one; when it throws, the list is as it was.
  void restart(const SearchResult& record);

 private:
  void copyRawKeys();
};

}  // namespace orvix::comm
