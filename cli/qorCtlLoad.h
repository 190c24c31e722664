// SPDX-License-Identifier: Apache-2.0
// Documents to the server in batches. After every batch its outcomes are fetched, so that a failure
// leaves no more than one batch in doubt, and counted against what was sent.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "cli/qorCtlConnection.h"
#include "cli/qorCtlDocumentSource.h"
#include "cli/qorCtlExit.h"
#include "cli/qorCtlProgress.h"
#include "cli/qorCtlRejects.h"

namespace orvix::ctl {

struct BatchLimits {
  std::uint64_t documents = 1000;
  std::uint64_t bytes = std::uint64_t{32} << 20U;
};

struct LoadCounts {
  std::uint64_t sent = 0;
  std::uint64_t accepted = 0;
  std::uint64_t rejected = 0;
  std::uint64_t problems = 0;        ///< of local files: not sent
  std::uint64_t omittedMembers = 0;  ///< of NDJSON lines that were sent
  std::uint64_t bytes = 0;           ///< of input, sent or not
  [[nodiscard]] std::uint64_t unconfirmed() const {
    const std::uint64_t known = accepted + rejected;
    return known < sent ? sent - known : 0;
  }
};

struct LoadResult {
  LoadCounts counts;
  std::optional<Failure> failure;  ///< what ended it early
  bool interrupted = false;        ///< by Ctrl-C: what was read until then is in `counts`
};

/// How a load ends: the failure's code, or one for documents that did not get in, DONE_IN_PART as
/// soon as some did; INTERRUPTED when nothing but Ctrl-C ended it early.
[[nodiscard]] ExitCode exitCodeOf(const LoadResult& result);

/// Loads one source into one collection. Borrows connection, source, progress and log. A wish to
/// end (Ctrl-C) ends reading; the batch is still brought to its end.
/// Errors: nothing is thrown once the first document is under way; the result says what happened.
class Loader {
 public:
  Loader(Connection& connection, icu::UnicodeString collection,
         const util::ExtendedProperties& properties, FieldMarks marks, Progress& progress,
         BatchLimits limits = {});

  /// Where documents go that did not get in; without one, nowhere.
  void keepRejects(RejectLog& log) { rejects_ = &log; }
  [[nodiscard]] LoadResult run(DocumentSource& source);

 private:
  void clearEarlierOutcomes();
  void loadAll(DocumentSource& source);
  void sendDocument(Document document);
  void endBatch();
  void fetchOutcomes();
  void checkOutcomes() const;
  void keepUnconfirmed();
  void countOutcome(const comm::ParseResult& outcome);

  Connection& connection_;
  icu::UnicodeString collection_;
  util::ExtendedProperties properties_;
  FieldMarks marks_;
  Progress& progress_;
  RejectLog* rejects_ = nullptr;
  BatchLimits limits_;
  LoadCounts counts_;
  std::uint64_t batchDocuments_ = 0;
  std::uint64_t batchBytes_ = 0;
  std::uint64_t batchOutcomes_ = 0;
  comm::ClientRequest request_;
};

}  // namespace orvix::ctl
