// SPDX-License-Identifier: Apache-2.0
// Requests about one collection as a whole.
#include <utility>

#include "comm/protocol/internal/qorWireStatus.h"
#include "server/qorHandlers.h"
#include "server/qorLanguages.h"
#include "server/qorReplyWriter.h"
#include "server/qorServerWords.h"
#include "server/qorStatusText.h"

namespace orvix::server {

namespace wire = comm::detail::wire;

Reply plainSuccess() {
  Reply reply;
  putStatus(reply.bytes, wire::OK);
  return reply;
}

Reply successAfterCommit(Collection& collection) {
  Reply reply = plainSuccess();
  reply.ticket = CommitTicket{&collection, collection.losses()};
  return reply;
}

std::string_view collectionNameOf(const Frame& request) noexcept {
  return valueOf(request.properties, words().collection);
}

Collection& collectionOf(ServerContext& context, const Frame& request) {
  return context.store.open(collectionNameOf(request));
}

Reply createCollection(ServerContext& context, const Frame& request) {
  const std::string_view name = collectionNameOf(request);
  const std::string_view display = valueOf(request.properties, words().displayName);
  CollectionConfig config;
  config.displayName = display.empty() ? name : display;
  config.language = languageOfCollection(request.properties);
  context.store.create(name, config);
  return plainSuccess();
}

Reply dropCollection(ServerContext& context, const Frame& request) {
  context.store.drop(collectionNameOf(request));
  return plainSuccess();
}

Reply openCollection(ServerContext& context, const Frame& request) {
  static_cast<void>(context.readers.take(collectionNameOf(request)));
  return plainSuccess();
}

Reply closeCollection(ServerContext& context, const Frame& request) {
  context.store.close(collectionNameOf(request));
  return plainSuccess();
}

Reply updateIndex(ServerContext& context, const Frame& request) {
  return successAfterCommit(collectionOf(context, request));
}

Reply configureCollection(ServerContext& context, const Frame& request) {
  const Properties& given = request.properties;
  const std::string language = primaryLanguage(valueOf(given, words().documentLanguage));
  collectionOf(context, request).configure(configurationOf(given), language);
  return plainSuccess();
}

Reply collectionStatus(ServerContext& context, const Frame& request) {
  Reply reply = plainSuccess();
  putChunks(reply.bytes, statusTextOf(collectionOf(context, request)));
  return reply;
}

}  // namespace orvix::server
