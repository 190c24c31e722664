// SPDX-License-Identifier: Apache-2.0
// The table.
#include "cli/qorCtlWireKinds.h"

#include <algorithm>

namespace orvix::ctl {

namespace {

using Kind = comm::ClientRequest;
using enum ReplyShape;

constexpr WireKind KINDS[] = {
    {Kind::CREATE_COLLECTION, "create-collection", "createCollection", "", "", NOTHING},
    {Kind::DROP_COLLECTION, "drop-collection", "deleteCollection", "", "", NOTHING},
    {Kind::ADD_DOCUMENT, "add-document", "addDocument", "", "", NOTHING},
    {Kind::UPDATE_INDEX, "update-index", "updateIndex", "", "", NOTHING},
    {Kind::DELETE_DOCUMENT, "delete-document", "deleteDocument", "", "", NOTHING},
    {Kind::STREAM_SEARCH, "stream-search", "search", "streaming", "", HITS},
    {Kind::ASYNC_ADD_DOCUMENT, "async-add-document", "asyncAddDocument", "", "", NO_REPLY},
    {Kind::LAST_DOC_SENT, "last-doc-sent", "asyncAddDocument", "", "", NO_REPLY},
    {Kind::PARSE_RESULT, "parse-result", "getParseResult", "", "", OUTCOMES},
    {Kind::OPEN_COLLECTION, "open-collection", "openCollection", "", "update", NOTHING},
    {Kind::CLOSE_COLLECTION, "close-collection", "closeCollection", "", "", NOTHING},
    {Kind::SELECTIVITY, "selectivity", "selectivity", "", "", ESTIMATE},
    {Kind::GET_STATUS, "get-status", "getStatus", "", "", NOTHING},
    {Kind::BACKUP, "backup", "backup", "", "", NOTHING},
    {Kind::RESTORE, "restore", "restore", "", "", NOTHING},
    {Kind::TAKEOVER, "takeover", "takeover", "", "", NOTHING},
    {Kind::SHUTDOWN, "shutdown", "shutdown", "", "", NOTHING},
    {Kind::SCALAR_SEARCH, "scalar-search", "search", "scalar", "", HITS},
    {Kind::OPEN_COLLECTION_ALT, "open-collection-alt", "openCollection", "", "unknown", NOTHING},
    {Kind::GET_SERVER_VERSION, "get-server-version", "getServerVersion", "", "", TEXT},
    {Kind::SET_CONSTRUCTOR_CONFIGURATION, "set-constructor-configuration",
     "setConstructorConfiguration", "", "", NOTHING},
    {Kind::VERSIONS_VALIDATION, "versions-validation", "versionsValidation", "", "", NOTHING},
    {Kind::COLLECTION_STATUS, "collection-status", "collectionStatus", "", "", CHUNKS},
};

char plainLetter(char letter) {
  if (letter == '_') return '-';
  return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

}  // namespace

std::span<const WireKind> wireKinds() { return KINDS; }

std::vector<std::string> wireKindNames() {
  std::vector<std::string> names;
  for (const WireKind& kind : KINDS) names.emplace_back(kind.name);
  return names;
}

const WireKind* findWireKind(std::string_view name) {
  std::string plain(name);
  std::transform(plain.begin(), plain.end(), plain.begin(), plainLetter);
  for (const WireKind& kind : KINDS) {
    if (kind.name == plain) return &kind;
  }
  return nullptr;
}

}  // namespace orvix::ctl
