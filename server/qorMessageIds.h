// SPDX-License-Identifier: Apache-2.0
// The one table of the server's own message identifiers: what "MsgId" may say in an error reply or
// a rejected outcome. Callers match on these texts, so a row is added, never renamed;
// docs/server.md lists the same rows for them.
#pragma once

#include <array>
#include <cstddef>
#include <string_view>

namespace orvix::server {

enum class MessageId : std::size_t {
  REQUEST_MALFORMED,
  ACTION_UNKNOWN,
  BODY_MALFORMED,
  DOCUMENT_TOO_LARGE,
  DOCUMENT_KEY_INVALID,
  CONTENT_TYPE_UNSUPPORTED,
  CHARSET_UNKNOWN,
  CONTENT_MALFORMED,
  FILTER_FAILED,
  FIELD_INVALID,
  TERM_TOO_LONG,
  COLLECTION_NAME_INVALID,
  COLLECTION_EXISTS,
  COLLECTION_UNKNOWN,
  QUERY_INVALID,
  NUMBER_INVALID,
  SORT_FIELD_UNKNOWN,
  BACKUP_NAME_INVALID,
  BACKUP_UNKNOWN,
  BACKUP_DAMAGED,
  VERSION_UNSUPPORTED,
  ACCESS_DENIED,
  ACCESS_INVALID,
  READ_ONLY,
  TOO_BUSY,
  STORAGE_FAILED,
  ENGINE_FAILED,
  INTERNAL_FAILURE
};

/// Row n is the text of enumerator n.
inline constexpr std::array<std::string_view, 28> MESSAGE_ID_TEXTS{
    "SRV_REQUEST_MALFORMED",  "SRV_ACTION_UNKNOWN",       "SRV_BODY_MALFORMED",
    "SRV_DOCUMENT_TOO_LARGE", "SRV_DOCUMENT_KEY_INVALID", "SRV_CONTENT_TYPE_UNSUPPORTED",
    "SRV_CHARSET_UNKNOWN",    "SRV_CONTENT_MALFORMED",    "SRV_FILTER_FAILED",
    "SRV_FIELD_INVALID",      "SRV_TERM_TOO_LONG",        "SRV_COLLECTION_NAME_INVALID",
    "SRV_COLLECTION_EXISTS",  "SRV_COLLECTION_UNKNOWN",   "SRV_QUERY_INVALID",
    "SRV_NUMBER_INVALID",     "SRV_SORT_FIELD_UNKNOWN",   "SRV_BACKUP_NAME_INVALID",
    "SRV_BACKUP_UNKNOWN",     "SRV_BACKUP_DAMAGED",       "SRV_VERSION_UNSUPPORTED",
    "SRV_ACCESS_DENIED",      "SRV_ACCESS_INVALID",       "SRV_READ_ONLY",
    "SRV_TOO_BUSY",           "SRV_STORAGE_FAILED",       "SRV_ENGINE_FAILED",
    "SRV_INTERNAL_FAILURE",
};
static_assert(MESSAGE_ID_TEXTS.size() == static_cast<std::size_t>(MessageId::INTERNAL_FAILURE) + 1);

[[nodiscard]] constexpr std::string_view messageIdText(MessageId id) noexcept {
  return MESSAGE_ID_TEXTS.at(static_cast<std::size_t>(id));
}

/// The inverse, for what was stored; INTERNAL_FAILURE for a text that is no row.
[[nodiscard]] constexpr MessageId messageIdOf(std::string_view text) noexcept {
  for (std::size_t i = 0; i < MESSAGE_ID_TEXTS.size(); ++i) {
    if (MESSAGE_ID_TEXTS.at(i) == text) return static_cast<MessageId>(i);
  }
  return MessageId::INTERNAL_FAILURE;
}

}  // namespace orvix::server
