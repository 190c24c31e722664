// SPDX-License-Identifier: Apache-2.0
// Documents in and out. An answered change is committed before its answer; the documents of an
// asynchronous batch wait for its end, or for whoever asks what became of them.
#include <ctime>
#include <utility>

#include "comm/protocol/internal/qorWireStatus.h"
#include "server/qorDocumentBody.h"
#include "server/qorHandlers.h"
#include "server/qorLog.h"
#include "server/qorReplyWriter.h"
#include "server/qorServerWords.h"

namespace orvix::server {

namespace {

constexpr std::size_t PIECE = 64U << 10U;

/// The collection keeps its outcomes until the peer is known to have got them.
class OutcomeStream : public ReplyStream {
 public:
  explicit OutcomeStream(OutcomeReader outcomes) : outcomes_(std::move(outcomes)) {}

  bool next(std::string& out) override {
    const std::size_t enough = out.size() + PIECE;
    const bool more = outcomes_.read([&out, enough](const Outcome& outcome) {
      if (out.size() >= enough) return false;
      putOutcome(out, outcome.key, outcome.fault ? &*outcome.fault : nullptr);
      return true;
    });
    if (!more) putEndMarker(out);
    return more;
  }

 private:
  OutcomeReader outcomes_;
};

/// From the body, or from the property when the request has none.
std::string keyToDelete(const Frame& request) {
  if (!request.body.empty()) return std::string(decodeDocumentBody(request.body).key);
  const std::string_view key = valueOf(request.properties, words().documentKey);
  checkDocumentKey(key);
  return std::string(key);
}

DocumentBody documentIn(const Frame& request) {
  DocumentBody body = decodeDocumentBody(request.body);
  if (request.text) {
    body.content = *request.text;
    body.contentIsText = true;
  }
  return body;
}

/// The collection may be gone or another one by now; then there is nothing to forget.
void forgetOutcomes(ServerContext& context, const std::string& name, std::uint64_t upTo) {
  try {
    context.store.open(name).outcomes().fetched(upTo);
  } catch (...) {
    logFault(LogLevel::ERROR, "outcomes_not_forgotten",
             currentFault("Forgetting fetched outcomes failed"), {{"collection", name}});
  }
}

std::string whereOf(const Frame& request) {
  return "Indexing into the collection " + inQuotes(collectionNameOf(request));
}

}  // namespace

Reply addDocument(ServerContext& context, const Frame& request) {
  Collection& collection = collectionOf(context, request);
  context.store.makeRoom();
  Reply reply = successAfterCommit(collection);
  collection.add(documentIn(request), request.properties);
  return reply;
}

Reply deleteDocument(ServerContext& context, const Frame& request) {
  Collection& collection = collectionOf(context, request);
  Reply reply = successAfterCommit(collection);
  collection.remove(keyToDelete(request));
  return reply;
}

Reply addDocumentUnanswered(ServerContext& context, const Frame& request) {
  Reply reply;
  try {
    Collection& collection = collectionOf(context, request);
    const DocumentBody body = documentIn(request);
    context.store.makeRoom();
    collection.add(body, request.properties);
    collection.outcomes().indexed(std::string(body.key));
  } catch (...) {
    rejectUnanswered(context, request, currentFault(whereOf(request)));
    reply.failed = true;
  }
  return reply;
}

void rejectUnanswered(ServerContext& context, const Frame& request, const Fault& fault) {
  std::string_view key = salvageDocumentKey(request.body);
  if (key.empty()) key = valueOf(request.properties, words().documentKey);
  try {
    collectionOf(context, request).outcomes().rejected(std::string(key), fault);
  } catch (...) {
    // Without its collection the document has no place where anybody would look for its outcome.
    logFault(LogLevel::WARNING, "document_refused", fault,
             {{"collection", collectionNameOf(request)}});
  }
}

Reply endBatch(ServerContext& context, const Frame& request) {
  Reply reply = successAfterCommit(collectionOf(context, request));
  reply.bytes.clear();  // never answered
  return reply;
}

Reply fetchOutcomes(ServerContext& context, const Frame& request) {
  Collection& collection = collectionOf(context, request);
  try {
    collection.commit();
  } catch (...) {
    // The outcomes say so, document by document.
  }
  Reply reply = plainSuccess();
  OutcomeReader told = collection.outcomes().told(std::time(nullptr));
  if (!told.empty()) {
    reply.received = [&context, name = collection.name(), upTo = told.upTo()] {
      forgetOutcomes(context, name, upTo);
    };
  }
  reply.more = std::make_unique<OutcomeStream>(std::move(told));
  return reply;
}

}  // namespace orvix::server
