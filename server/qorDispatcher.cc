// SPDX-License-Identifier: Apache-2.0
// The table of handlers, by kind. Kinds that share an action are told apart here and nowhere else.
#include "server/qorDispatcher.h"

#include <algorithm>
#include <array>
#include <string>

#include "comm/protocol/internal/qorRequestKinds.h"
#include "comm/protocol/internal/qorWireStatus.h"
#include "server/qorLog.h"
#include "server/qorReplyWriter.h"
#include "server/qorServerWords.h"

namespace orvix::server {

namespace {

namespace kinds = comm::kinds;
namespace wire = comm::detail::wire;

struct Row {
  kinds::REQUEST kind;
  Handler handler;
};

constexpr std::array<Row, 22> HANDLERS{{
    {kinds::CREATE_COLLECTION, createCollection},
    {kinds::DROP_COLLECTION, dropCollection},
    {kinds::ADD_DOCUMENT, addDocument},
    {kinds::UPDATE_INDEX, updateIndex},
    {kinds::DELETE_DOCUMENT, deleteDocument},
    {kinds::STREAM_SEARCH, search},
    {kinds::SCALAR_SEARCH, search},
    {kinds::ASYNC_ADD_DOCUMENT, addDocumentUnanswered},
    {kinds::LAST_DOC_SENT, endBatch},
    {kinds::PARSE_RESULT, fetchOutcomes},
    {kinds::OPEN_COLLECTION, openCollection},
    {kinds::CLOSE_COLLECTION, closeCollection},
    {kinds::SELECTIVITY, estimateSelectivity},
    {kinds::GET_STATUS, serverStatus},
    {kinds::BACKUP, backup},
    {kinds::RESTORE, restore},
    {kinds::TAKEOVER, takeover},
    {kinds::SHUTDOWN, shutdown},
    {kinds::GET_SERVER_VERSION, serverVersion},
    {kinds::SET_CONSTRUCTOR_CONFIGURATION, configureCollection},
    {kinds::VERSIONS_VALIDATION, validateVersions},
    {kinds::COLLECTION_STATUS, collectionStatus},
}};

Handler handlerOf(std::uint32_t kind) noexcept {
  const auto row = std::find_if(HANDLERS.begin(), HANDLERS.end(),
                                [kind](const Row& each) { return each.kind == kind; });
  return row == HANDLERS.end() ? nullptr : row->handler;
}

bool isTerminator(const Frame& request) noexcept {
  return request.bodyLength == wire::TERMINATOR_SIZE &&
         request.body == std::string_view("\0\0\0\0\0\0\0\0", wire::TERMINATOR_SIZE);
}

Reply errorReply(const Fault& fault) {
  Reply reply;
  putError(reply.bytes, fault);
  return reply;
}

Reply unauthorised(bool answered) {
  Reply reply;
  if (answered) putStatus(reply.bytes, wire::INVALID_AUTH);
  reply.close = true;
  return reply;
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
  const bool scalar = valueOf(request.properties, words().mode) == words().scalar;
  for (const comm::detail::RequestKind& row : comm::detail::REQUEST_KINDS) {
    if (row.pathWord == nullptr || action != row.pathWord) continue;
    if (row.kind == kinds::STREAM_SEARCH && scalar) return kinds::SCALAR_SEARCH;
    if (row.kind == kinds::ASYNC_ADD_DOCUMENT && isTerminator(request)) return kinds::LAST_DOC_SENT;
    return row.kind;
  }
  return std::nullopt;
}

Reply Dispatcher::handle(const Frame& request) {
  const auto kind = kindOf(request);
  const bool answered = !kind || !comm::detail::isUnanswered(*kind);
  if (!tokens_.admit(valueOf(request.properties, words().authorization))) {
    return unauthorised(answered);
  }
  Reply reply;
  if (request.fault) {
    if (answered) {
      reply = errorReply(*request.fault);
    } else {
      rejectUnanswered(context_, request, *request.fault);
    }
  } else {
    reply = kind ? run(*kind, request) : errorReply(unknownAction(request));
  }
  reply.close = reply.close || request.positionLost;
  return reply;
}

Reply Dispatcher::run(std::uint32_t kind, const Frame& request) {
  const char* action = comm::detail::requestKind(kind).pathWord;
  try {
    return handlerOf(kind)(context_, request);
  } catch (...) {
    const Fault fault = currentFault("The request " + inQuotes(action) + " failed");
    if (!comm::detail::isUnanswered(kind)) return errorReply(fault);
    logLine(fault.text);
    return {};
  }
}

}  // namespace orvix::server
