// SPDX-License-Identifier: Apache-2.0
// A refusal is as grave as its cause: the server's own failure, somebody without the right to ask
// or who does not speak the protocol, or an ordinary mistake of a client.
#include "server/qorRequestLog.h"

#include "comm/protocol/internal/qorRequestKinds.h"
#include "infra/bytes/internal/qorByteReader.h"
#include "server/qorDispatcher.h"
#include "server/qorLog.h"
#include "server/qorServerWords.h"

namespace orvix::server {

namespace {

namespace kinds = comm::kinds;

bool isAboutBackups(std::uint32_t kind) noexcept {
  return kind == kinds::BACKUP || kind == kinds::RESTORE;
}

/// Requests that are logged though nothing is wrong: they change more than documents.
bool isAdministration(std::optional<std::uint32_t> kind) noexcept {
  return kind == kinds::CREATE_COLLECTION || kind == kinds::DROP_COLLECTION ||
         kind == kinds::SET_CONSTRUCTOR_CONFIGURATION || kind == kinds::TAKEOVER ||
         kind == kinds::SHUTDOWN || (kind && isAboutBackups(*kind));
}

std::string_view nameOf(std::optional<std::uint32_t> kind) noexcept {
  if (!kind) return "unknown";
  if (kind == kinds::LAST_DOC_SENT) return "lastDocSent";
  return comm::detail::requestKind(*kind).pathWord;
}

LogLevel gravityOf(MessageId id) noexcept {
  if (id == MessageId::STORAGE_FAILED || id == MessageId::ENGINE_FAILED ||
      id == MessageId::INTERNAL_FAILURE || id == MessageId::BACKUP_DAMAGED) {
    return LogLevel::ERROR;
  }
  const bool suspicious = id == MessageId::ACCESS_DENIED || id == MessageId::REQUEST_MALFORMED ||
                          id == MessageId::BODY_MALFORMED;
  return suspicious ? LogLevel::WARNING : LogLevel::INFO;
}

/// The header's status; 0 when nothing is answered.
std::uint16_t statusOf(const Reply& reply) noexcept {
  return oss::ByteReader(reply.bytes).u16().value_or(0);
}

}  // namespace

RequestRecord::RequestRecord(const Frame& request)
    : kind_(kindOf(request)), collection_(valueOf(request.properties, words().collection)) {
  if (!kind_ || !isAboutBackups(*kind_)) return;
  backup_ = valueOf(request.properties, words().collectionDir);
  if (backup_.empty()) backup_ = valueOf(request.properties, words().opcode);
}

bool RequestRecord::isLogged(const Reply& reply) const noexcept {
  return reply.fault || isAdministration(kind_) || logs(LogLevel::DEBUG);
}

void RequestRecord::log(const Reply& reply, const std::string& peer) const {
  if (reply.fault) logRefusal(*reply.fault, peer);
  const bool done = isAdministration(kind_) && !reply.fault;
  const auto taken = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start_);
  const auto microseconds = static_cast<std::uint64_t>(taken.count());
  if (done) {
    server::log(LogLevel::INFO, "administration",
                {{"kind", nameOf(kind_)},
                 {"collection", collection_},
                 {"backup", backup_},
                 {"peer", peer},
                 {"microseconds", microseconds}});
  }
  server::log(LogLevel::DEBUG, "request",
              {{"kind", nameOf(kind_)},
               {"collection", collection_},
               {"status", statusOf(reply)},
               {"microseconds", microseconds},
               {"peer", peer}});
}

void RequestRecord::logRefusal(const Fault& fault, const std::string& peer) const {
  const LogLevel level = gravityOf(fault.id);
  logFault(level, level == LogLevel::ERROR ? "request_failed" : "request_refused", fault,
           {{"kind", nameOf(kind_)}, {"collection", collection_}, {"peer", peer}});
}

}  // namespace orvix::server
