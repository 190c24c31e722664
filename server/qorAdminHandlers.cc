// SPDX-License-Identifier: Apache-2.0
// Requests about the server as a whole.
#include <xapian.h>

#include <unicode/uvernum.h>

#include "comm/protocol/internal/qorWireStatus.h"
#include "server/qorHandlers.h"
#include "server/qorLog.h"
#include "server/qorReplyWriter.h"
#include "server/qorServerVersion.h"
#include "server/qorServerWords.h"
#include "server/qorVersionRanges.h"

namespace orvix::server {

namespace wire = comm::detail::wire;

namespace {

std::string_view backupNameOf(const Frame& request) noexcept {
  const std::string_view name = valueOf(request.properties, words().collectionDir);
  return name.empty() ? valueOf(request.properties, words().opcode) : name;
}

OnExisting onExistingOf(const Frame& request) {
  const std::string_view incremental = valueOf(request.properties, words().incremental);
  if (incremental == words().stringFalse) return OnExisting::REPLACE;
  return incremental == words().stringTrue ? OnExisting::KEEP : OnExisting::REFUSE;
}

}  // namespace

std::string nameAndVersion() { return std::string("qorserver ") + QORSERVER_VERSION; }

std::string versionText() {
  return nameAndVersion() + ", protocol " + words().protocolVersion + ", Xapian " +
         Xapian::version_string() + ", ICU " + U_ICU_VERSION;
}

Reply serverStatus(ServerContext& context, const Frame& request) {
  if (!collectionNameOf(request).empty()) {
    context.store.requireExisting(collectionNameOf(request));
  }
  Reply reply;
  const Board& board = context.readers.board();
  if (const auto fault = board.lastError()) {
    putError(reply.bytes, *fault);
  } else {
    putStatus(reply.bytes, board.busy() ? wire::WITH_SCORE : wire::OK);
  }
  return reply;
}

Reply serverVersion(ServerContext&, const Frame&) {
  Reply reply = plainSuccess();
  putRecord(reply.bytes, wire::OK, versionText());
  return reply;
}

Reply validateVersions(ServerContext&, const Frame& request) {
  const ServerWords& w = words();
  std::string_view wanted = valueOf(request.properties, w.supportedServerVersions);
  if (wanted.empty()) wanted = valueOf(request.properties, w.version);
  if (!versionListContains(wanted, w.protocolVersion)) {
    refuse(MessageId::VERSION_UNSUPPORTED, "The client takes protocol versions " +
                                               inQuotes(wanted) + "; this server speaks " +
                                               w.protocolVersion);
  }
  return plainSuccess();
}

Reply backup(ServerContext& context, const Frame& request) {
  context.backups.take(backupNameOf(request), collectionNameOf(request));
  return plainSuccess();
}

Reply restore(ServerContext& context, const Frame& request) {
  context.backups.restore(backupNameOf(request), collectionNameOf(request), onExistingOf(request));
  return plainSuccess();
}

/// Of a server that had lost the role, what was not committed is gone, and every view is old.
Reply takeover(ServerContext& context, const Frame&) {
  Board& board = context.readers.board();
  try {
    context.store.closeAll();
  } catch (...) {
    if (!board.roleLost()) throw;
    logFault(LogLevel::WARNING, "changes_lost", currentFault("Taking over again"));
  }
  context.role.take();
  board.rearranged();
  return plainSuccess();
}

Reply shutdown(ServerContext& context, const Frame&) {
  context.store.closeAll();
  Reply reply = plainSuccess();
  reply.stop = true;
  return reply;
}

}  // namespace orvix::server
