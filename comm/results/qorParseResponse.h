// SPDX-License-Identifier: Apache-2.0
// The caller's cursor over what became of the documents of a batch.
#pragma once

#include "comm/qorExport.h"
#include "comm/results/qorParseResult.h"
#include "comm/results/qorRecordCursor.h"

namespace orvix::comm {

/// Outcomes of documents. Owns the records; copies are deep.
class QORCOMM_EXPORT ParseResponse : public RecordCursor<ParseResult> {
 public:
  ParseResponse();
  ParseResponse(const ParseResponse& other);
  ParseResponse& operator=(const ParseResponse& other);
  ~ParseResponse();

  /// Appends a copy of `record`.
  void append(const ParseResult& record) { RecordCursor::append(record); }
  /// Empties the list.
  void reset() { clear(); }
  /// reset() and append() in one; when it throws, the list is as it was.
  void restart(const ParseResult& record);
};

}  // namespace orvix::comm
