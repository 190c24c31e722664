// SPDX-License-Identifier: Apache-2.0
// The documents that a load did not get in, as an NDJSON file that can be loaded again with the
// same options: every column under its own name, and the reason beside them.
#pragma once

#include <cstddef>
#include <deque>
#include <fstream>
#include <string>

#include "cli/qorCtlDocumentSource.h"
#include "qorcomm.h"

namespace orvix::ctl {

/// Holds the documents of the batch under way until their outcomes are known.
/// Throws: CtlFailure LOCAL_FILE when the file cannot be opened or written.
class RejectLog {
 public:
  /// Makes the file, or empties it.
  RejectLog(const std::string& path, const SourceOptions& options);

  /// Takes over a document that is about to be sent. The reference is valid until endBatch().
  const Document& hold(Document document);
  /// Of the batch's documents, in the order in which they were sent. Those that the server rejected
  /// are written; outcomes that fit none are passed over.
  void settle(const comm::ParseResult& outcome);
  /// Ends the batch: documents without an outcome are written, too.
  void endBatch();

 private:
  struct Held {
    Document document;
    bool settled = false;
  };
  struct Reason {
    std::string id;
    std::string text;
  };

  Held* find(const icu::UnicodeString& key);
  void write(const Document& document, const Reason& reason);

  std::string path_;
  std::string keyMember_;
  std::string contentMember_;
  std::ofstream file_;
  std::deque<Held> held_;
  std::size_t next_ = 0;  // the document whose outcome is due
};

}  // namespace orvix::ctl
