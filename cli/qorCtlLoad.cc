// SPDX-License-Identifier: Apache-2.0
// The batches. Documents of a batch are not answered one by one: only its outcomes say what
// arrived.
#include "cli/qorCtlLoad.h"

#include <utility>

#include "cli/qorCtlInterrupt.h"
#include "cli/qorCtlText.h"

namespace orvix::ctl {

namespace {

std::string rejectionText(const comm::ParseResult& outcome) {
  const oss::Message& message = outcome.getMessage();
  return "document " + inQuotes(toUtf8(outcome.getText())) +
         " was rejected: " + printable(toUtf8(message.getMessageID())) + ": " +
         printable(toUtf8(message.getMessageText()));
}

bool isRejected(const comm::ParseResult& outcome) {
  return !outcome.getMessage().getMessageID().isEmpty();
}

}  // namespace

ExitCode exitCodeOf(const LoadResult& result) {
  const LoadCounts& counts = result.counts;
  if (result.interrupted && !result.failure) return ExitCode::INTERRUPTED;
  ExitCode code = ExitCode::DONE;
  if (result.failure) {
    code = result.failure->code;
  } else if (counts.rejected != 0) {
    code = ExitCode::REFUSED;
  } else if (counts.problems != 0) {
    code = ExitCode::LOCAL_FILE;
  }
  return code != ExitCode::DONE && counts.accepted != 0 ? ExitCode::DONE_IN_PART : code;
}

Loader::Loader(Connection& connection, icu::UnicodeString collection,
               const util::ExtendedProperties& properties, FieldMarks marks, Progress& progress,
               BatchLimits limits)
    : connection_(connection),
      collection_(std::move(collection)),
      properties_(properties),
      marks_(std::move(marks)),
      progress_(progress),
      limits_(limits) {
  connection_.client().useBufferedConnection(true);
}

LoadResult Loader::run(DocumentSource& source) {
  LoadResult result;
  try {
    clearEarlierOutcomes();
    loadAll(source);
    if (rejects_ != nullptr) rejects_->endBatch();
  } catch (const std::exception&) {
    result.failure = currentFailure(connection_.triedText());
    keepUnconfirmed();
  }
  result.counts = counts_;
  result.interrupted = interrupt::requested();
  return result;
}

/// Documents under way when all failed are kept too. One failure is enough to tell.
void Loader::keepUnconfirmed() {
  try {
    if (rejects_ != nullptr) rejects_->endBatch();
  } catch (const std::exception& failure) {
    progress_.say(failure.what());
  }
}

/// Outcomes of an earlier batch would be counted as ours. Asking for them first also shows whether
/// server, token and collection are there, before documents go where nobody answers.
void Loader::clearEarlierOutcomes() {
  std::uint64_t earlier = 0;
  connection_.forEachOutcome(collection_, [&](const comm::ParseResult& outcome) {
    ++earlier;
    if (isRejected(outcome)) progress_.say("of an earlier batch: " + rejectionText(outcome));
  });
  if (earlier != 0) {
    progress_.say("set aside " + std::to_string(earlier) +
                  " outcomes of an earlier batch that nobody had fetched");
  }
}

void Loader::loadAll(DocumentSource& source) {
  while (auto item = source.next()) {
    if (interrupt::requested()) break;  // the item may be half of one
    counts_.bytes += item->bytes;
    if (const auto* problem = std::get_if<SourceProblem>(&item->what)) {
      ++counts_.problems;
      progress_.say(problem->text);
    } else {
      sendDocument(std::get<Document>(std::move(item->what)));
    }
    if (batchDocuments_ >= limits_.documents || batchBytes_ >= limits_.bytes) endBatch();
    progress_.update({counts_.sent, counts_.rejected, counts_.bytes});
  }
  if (interrupt::requested()) {
    progress_.say("interrupted: the documents read so far are brought in; Ctrl-C ends at once");
  }
  if (batchDocuments_ != 0) endBatch();
}

void Loader::sendDocument(Document document) {
  const Document& sent = rejects_ == nullptr ? document : rejects_->hold(std::move(document));
  request_.buildRequest(collection_, comm::ClientRequest::ASYNC_ADD_DOCUMENT, properties_);
  fillRequest(request_, sent, marks_);
  ++batchDocuments_;
  batchBytes_ += sent.content.size();
  ++counts_.sent;
  counts_.omittedMembers += sent.omittedMembers;
  comm::ClientResponse none;
  connection_.send(request_, none);
}

void Loader::endBatch() {
  fetchOutcomes();
  checkOutcomes();
  if (rejects_ != nullptr) rejects_->endBatch();
  batchDocuments_ = 0;
  batchBytes_ = 0;
}

void Loader::fetchOutcomes() {
  comm::ClientRequest last;
  last.buildRequest(collection_, comm::ClientRequest::LAST_DOC_SENT, connection_.properties());
  comm::ClientResponse none;
  connection_.send(last, none);
  batchOutcomes_ = 0;
  connection_.forEachOutcome(collection_,
                             [this](const comm::ParseResult& outcome) { countOutcome(outcome); });
}

void Loader::checkOutcomes() const {
  if (batchOutcomes_ == batchDocuments_) return;
  throw CtlFailure(ExitCode::PROTOCOL,
                   connection_.where() + ": " + std::to_string(batchDocuments_) +
                       " documents were sent in the last batch but the server has " +
                       std::to_string(batchOutcomes_) +
                       " outcomes; its log says why if it refused them, as a server does that "
                       "only reads its data; loading them again does no harm");
}

void Loader::countOutcome(const comm::ParseResult& outcome) {
  ++batchOutcomes_;
  if (rejects_ != nullptr) rejects_->settle(outcome);
  if (isRejected(outcome)) {
    ++counts_.rejected;
    progress_.say(rejectionText(outcome));
  } else {
    ++counts_.accepted;
  }
}

}  // namespace orvix::ctl
