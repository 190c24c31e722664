// SPDX-License-Identifier: Apache-2.0
// The table of handlers, by kind. Kinds that share an action are told apart here and nowhere else.
#include "server/qorDispatcher.h"

#include <algorithm>
#include <array>
#include <string>
#include <utility>

#include "comm/protocol/internal/qorRequestKinds.h"
#include "comm/protocol/internal/qorWireStatus.h"
#include "infra/bytes/internal/qorByteReader.h"
#include "server/qorDocumentBody.h"
#include "server/qorQueryLimits.h"
#include "server/qorReplyWriter.h"
#include "server/qorServerWords.h"
#include "server/qorTextAhead.h"

namespace orvix::server {

namespace {

namespace kinds = comm::kinds;
namespace wire = comm::detail::wire;

/// What a handler touches: the writer's objects, a reader, or nothing that anybody else changes.
enum class Place : std::uint32_t { WRITER = 1, SEARCH = 2, ANYWHERE = 3 };

struct Row {
  kinds::REQUEST kind;
  Handler handler;
  Place place;
};

constexpr std::array<Row, 22> HANDLERS{{
    {kinds::CREATE_COLLECTION, createCollection, Place::WRITER},
    {kinds::DROP_COLLECTION, dropCollection, Place::WRITER},
    {kinds::ADD_DOCUMENT, addDocument, Place::WRITER},
    {kinds::UPDATE_INDEX, updateIndex, Place::WRITER},
    {kinds::DELETE_DOCUMENT, deleteDocument, Place::WRITER},
    {kinds::STREAM_SEARCH, search, Place::SEARCH},
    {kinds::SCALAR_SEARCH, search, Place::SEARCH},
    {kinds::ASYNC_ADD_DOCUMENT, addDocumentUnanswered, Place::WRITER},
    {kinds::LAST_DOC_SENT, endBatch, Place::WRITER},
    {kinds::PARSE_RESULT, fetchOutcomes, Place::WRITER},
    {kinds::OPEN_COLLECTION, openCollection, Place::ANYWHERE},
    {kinds::CLOSE_COLLECTION, closeCollection, Place::WRITER},
    {kinds::SELECTIVITY, estimateSelectivity, Place::SEARCH},
    {kinds::GET_STATUS, serverStatus, Place::ANYWHERE},
    {kinds::BACKUP, backup, Place::WRITER},
    {kinds::RESTORE, restore, Place::WRITER},
    {kinds::TAKEOVER, takeover, Place::WRITER},
    {kinds::SHUTDOWN, shutdown, Place::WRITER},
    {kinds::GET_SERVER_VERSION, serverVersion, Place::ANYWHERE},
    {kinds::SET_CONSTRUCTOR_CONFIGURATION, configureCollection, Place::WRITER},
    {kinds::VERSIONS_VALIDATION, validateVersions, Place::ANYWHERE},
    {kinds::COLLECTION_STATUS, collectionStatus, Place::WRITER},
}};

/// The action of each kind. Kinds are asked for several times a request, and texts of known lengths
/// are soon compared.
constexpr auto ACTIONS = [] {
  std::array<std::string_view, comm::detail::REQUEST_KINDS.size()> actions;
  for (const comm::detail::RequestKind& row : comm::detail::REQUEST_KINDS) {
    if (row.pathWord != nullptr) actions[row.kind] = row.pathWord;
  }
  return actions;
}();

/// Searches in collections of up to this many documents take about as long as a switch of threads.
constexpr Xapian::doccount SMALL_COLLECTION = 20000;

constexpr auto rowOf(std::uint32_t kind) noexcept {
  return std::find_if(HANDLERS.begin(), HANDLERS.end(),
                      [kind](const Row& each) { return each.kind == kind; });
}

/// Every kind that kindOf() answers has a row. Kind 21 it answers as 12, whose action it shares.
const Row& handlerOf(std::uint32_t kind) noexcept { return *rowOf(kind); }
static_assert(std::all_of(comm::detail::REQUEST_KINDS.begin(), comm::detail::REQUEST_KINDS.end(),
                          [](const comm::detail::RequestKind& each) {
                            return each.pathWord == nullptr ||
                                   each.kind == kinds::OPEN_COLLECTION_ALT ||
                                   rowOf(each.kind) != HANDLERS.end();
                          }),
              "a request kind has no handler");

/// Kinds that write something, as against those that only run on the writer's thread.
bool changesData(std::uint32_t kind) noexcept {
  const AccessSet::Class needed = accessClassOf(kind);
  const bool changing = needed == AccessSet::ADMIN || needed == AccessSet::UPDATE;
  return changing && kind != kinds::BACKUP && kind != kinds::PARSE_RESULT &&
         kind != kinds::OPEN_COLLECTION && kind != kinds::CLOSE_COLLECTION;
}

bool isTerminator(const Frame& request) noexcept {
  return request.bodyLength == wire::TERMINATOR_SIZE &&
         request.body == std::string_view("\0\0\0\0\0\0\0\0", wire::TERMINATOR_SIZE);
}

Reply errorReply(const Fault& fault) {
  Reply reply;
  putError(reply.bytes, fault);
  reply.fail(fault);
  return reply;
}

/// A kind that is never answered stays so.
void failLate(Reply& reply, const Fault& fault) {
  reply.failed = true;
  if (reply.bytes.empty()) return;
  const std::uint32_t kind = reply.kind;
  reply = errorReply(fault);
  reply.kind = kind;
}

Reply unauthorised(bool answered) {
  Reply reply;
  if (answered) putStatus(reply.bytes, wire::INVALID_AUTH);
  reply.fail({MessageId::ACCESS_DENIED, "The request carries no token that is known here"});
  reply.close = true;
  return reply;
}

/// A document's body states its length, and so does the header. Where they differ, nobody knows
/// where the next request starts.
std::optional<Fault> disagreement(std::optional<std::uint32_t> kind, const Frame& request) {
  const bool hasBody = kind == kinds::ADD_DOCUMENT || kind == kinds::ASYNC_ADD_DOCUMENT ||
                       kind == kinds::DELETE_DOCUMENT;
  if (!hasBody || request.body.empty()) return std::nullopt;
  oss::ByteReader reader(request.body);
  static_cast<void>(reader.u32());
  const auto rest = reader.u32();
  if (rest && *rest == reader.remaining()) return std::nullopt;
  return Fault{MessageId::BODY_MALFORMED,
               "The header states " + std::to_string(request.bodyLength) +
                   " bytes of body, the body another length; the connection is closed"};
}

Fault unknownAction(const Frame& request) {
  const std::string_view action = valueOf(request.properties, words().action);
  return {MessageId::ACTION_UNKNOWN,
          action.empty() ? "The request has no " + inQuotes(words().action) + " line"
                         : "The action " + inQuotes(action) + " is not known to this server"};
}

}  // namespace

std::optional<std::uint32_t> kindOf(const Frame& request) noexcept {
  const std::string_view action = valueOf(request.properties, words().action);
  const auto found = std::find(ACTIONS.begin(), ACTIONS.end(), action);
  if (action.empty() || found == ACTIONS.end()) return std::nullopt;
  const auto kind = static_cast<std::uint32_t>(found - ACTIONS.begin());
  if (kind == kinds::STREAM_SEARCH && valueOf(request.properties, words().mode) == words().scalar) {
    return kinds::SCALAR_SEARCH;
  }
  if (kind == kinds::ASYNC_ADD_DOCUMENT && isTerminator(request)) return kinds::LAST_DOC_SENT;
  return kind;
}

void Dispatcher::screen(Frame& request) const {
  const AccessSet granted = tokens_.accessOf(valueOf(request.properties, words().authorization));
  if (granted.empty()) {
    metrics().authenticationFailures.add();
    request.admission = Admission::NO_TOKEN;
    request.positionLost = true;
    return;
  }
  request.admission = Admission::ADMITTED;
  const auto kind = kindOf(request);
  if (!kind) return;
  const AccessSet::Class needed = accessClassOf(*kind);
  if (!granted.has(needed)) {
    request.admission = Admission::FORBIDDEN;
    request.fault =
        Fault{MessageId::ACCESS_DENIED,
              "The token does not allow requests of the class " + inQuotes(nameOf(needed))};
  } else if (readOnly_ && (changesData(*kind) || kind == kinds::TAKEOVER)) {
    request.admission = Admission::FORBIDDEN;
    request.fault = Fault{MessageId::READ_ONLY, "This server only reads its data at present"};
  }
}

Lane Dispatcher::laneOf(const Frame& request) const {
  const auto kind = kindOf(request);
  if (!kind || request.admission != Admission::ADMITTED) return Lane::SHORT;
  if (handlerOf(*kind).place == Place::WRITER) return Lane::WRITER;
  if (request.fault || handlerOf(*kind).place == Place::ANYWHERE) return Lane::SHORT;
  const bool small = context_.readers.documentsIn(collectionNameOf(request)) <= SMALL_COLLECTION &&
                     isLightQuery(valueOf(request.properties, words().query));
  return small ? Lane::SHORT : Lane::LONG;
}

bool Dispatcher::isSlowToRead(const Frame& request) const {
  const auto kind = kindOf(request);
  return (kind == kinds::ADD_DOCUMENT || kind == kinds::ASYNC_ADD_DOCUMENT) && !request.fault &&
         request.admission == Admission::ADMITTED && !request.text &&
         isReadAhead(context_.filters, request.properties, request.body.size());
}

void Dispatcher::readAhead(Frame& request) const {
  if (disagreement(kindOf(request), request)) return;  // refused where it is run
  try {
    const DocumentBody body = decodeDocumentBody(request.body);
    request.text = textAhead(context_.filters, request.properties, body.content);
  } catch (...) {
    request.fault = currentFault("Reading the document failed");
  }
}

Reply Dispatcher::handle(const Frame& request) {
  Reply reply = begin(request);
  settle({&reply});
  return reply;
}

Reply Dispatcher::begin(const Frame& given) {
  if (given.admission == Admission::NOT_SCREENED) {
    Frame screened = given;
    screen(screened);
    if (isSlowToRead(screened)) readAhead(screened);
    return begin(screened);
  }
  const auto kind = kindOf(given);
  Reply reply = replyTo(kind, given);
  reply.kind = kind.value_or(0);
  return reply;
}

Reply Dispatcher::replyTo(std::optional<std::uint32_t> kind, const Frame& given) {
  const bool answered = !kind || !comm::detail::isUnanswered(*kind);
  if (given.admission == Admission::NO_TOKEN) return unauthorised(answered);
  Reply reply;
  const auto fault = given.fault ? given.fault : disagreement(kind, given);
  if (!fault) {
    reply = kind ? run(*kind, given) : errorReply(unknownAction(given));
  } else if (answered) {
    reply = errorReply(*fault);
  } else if (given.admission == Admission::ADMITTED) {
    rejectUnanswered(context_, given, *fault);
    reply.failed = true;
    if (given.positionLost) reply.fault = fault;  // else the batch tells it
  } else {
    reply.fail(*fault);
    // Nobody may leave outcomes without the right to; the close is the only sign.
    reply.close = true;
  }
  const bool disagrees = fault && !given.fault;
  reply.close = reply.close || given.positionLost || disagrees;
  return reply;
}

void Dispatcher::settle(const std::vector<Reply*>& replies) {
  for (Reply* reply : replies) {
    if (!reply->ticket) continue;
    const auto [collection, losses] = *std::exchange(reply->ticket, std::nullopt);
    std::optional<Fault> fault;
    try {
      collection->commit();
      if (collection->losses() != losses) fault = collection->lastLoss();
    } catch (...) {
      fault = currentFault("Committing the collection " + inQuotes(collection->name()) + " failed");
    }
    if (fault) failLate(*reply, *fault);
  }
}

Reply Dispatcher::run(std::uint32_t kind, const Frame& request) {
  const char* action = comm::detail::requestKind(kind).pathWord;
  try {
    return handlerOf(kind).handler(context_, request);
  } catch (...) {
    const Fault fault = currentFault("The request " + inQuotes(action) + " failed");
    if (!comm::detail::isUnanswered(kind)) return errorReply(fault);
    Reply reply;
    reply.fail(fault);
    return reply;
  }
}

}  // namespace orvix::server
