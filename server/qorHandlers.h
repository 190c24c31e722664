// SPDX-License-Identifier: Apache-2.0
// What the server does for each kind of request. A handler either returns the whole reply or
// throws; the dispatcher turns what is thrown into the error reply. Kinds 9 and 10 return an empty
// reply. Handlers that use the store or the backups run on the thread of the writer.
#pragma once

#include <string_view>
#include <vector>

#include "server/qorBackup.h"
#include "server/qorCollectionStore.h"
#include "server/qorFrameReader.h"
#include "server/qorReaders.h"
#include "server/qorReply.h"
#include "server/qorRole.h"
#include "server/qorTextFilter.h"

namespace orvix::server {

/// What handlers work on. Borrows everything.
struct ServerContext {
  CollectionStore& store;
  Backups& backups;
  Readers& readers;
  Role& role;
  std::vector<TextFilter> filters = {};  ///< for documents that the server does not read itself
};

using Handler = Reply (*)(ServerContext& context, const Frame& request);

/// The reply of a kind without results: success and nothing else.
[[nodiscard]] Reply plainSuccess();
/// Success once the collection's changes are on disk.
[[nodiscard]] Reply successAfterCommit(Collection& collection);
/// The collection that the request names, opened.
[[nodiscard]] Collection& collectionOf(ServerContext& context, const Frame& request);
[[nodiscard]] std::string_view collectionNameOf(const Frame& request) noexcept;

// qorCollectionHandlers.cc
Reply createCollection(ServerContext& context, const Frame& request);
Reply dropCollection(ServerContext& context, const Frame& request);
Reply openCollection(ServerContext& context, const Frame& request);
Reply closeCollection(ServerContext& context, const Frame& request);
Reply updateIndex(ServerContext& context, const Frame& request);
Reply configureCollection(ServerContext& context, const Frame& request);
Reply collectionStatus(ServerContext& context, const Frame& request);

// qorDocumentHandlers.cc
Reply addDocument(ServerContext& context, const Frame& request);
Reply deleteDocument(ServerContext& context, const Frame& request);
Reply addDocumentUnanswered(ServerContext& context, const Frame& request);
Reply endBatch(ServerContext& context, const Frame& request);
Reply fetchOutcomes(ServerContext& context, const Frame& request);
/// Notes the refusal of an asynchronous document whose frame could not even be read.
void rejectUnanswered(ServerContext& context, const Frame& request, const Fault& fault);

// qorSearchHandlers.cc
Reply search(ServerContext& context, const Frame& request);
Reply estimateSelectivity(ServerContext& context, const Frame& request);

// qorAdminHandlers.cc
Reply serverStatus(ServerContext& context, const Frame& request);
Reply serverVersion(ServerContext& context, const Frame& request);
Reply validateVersions(ServerContext& context, const Frame& request);
Reply backup(ServerContext& context, const Frame& request);
Reply restore(ServerContext& context, const Frame& request);
Reply takeover(ServerContext& context, const Frame& request);
Reply shutdown(ServerContext& context, const Frame& request);

}  // namespace orvix::server
