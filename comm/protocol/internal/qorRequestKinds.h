// SPDX-License-Identifier: Apache-2.0
// The one table of request kinds: every fact that hangs on a kind alone is a column here.
// A new kind is a new row (and an enumerator in qorRequestKind.h).
#pragma once

#include <array>
#include <cstdint>

#include "comm/protocol/qorRequestKind.h"

namespace orvix::comm::detail {

struct RequestKind {
  std::uint32_t kind = 0;
  const char* displayName = nullptr;  ///< null: the kind has none
  const char* pathWord = nullptr;     ///< sent as "action"; null: not sent
  const char* accessClass = "unknown";
  const char* mode = nullptr;    ///< sent as "mode" by the search kinds
  bool resultsExpected = false;  ///< records or text follow the reply's header
};

inline constexpr std::uint32_t MAX_REQUEST_KIND = 25;

/// Row n is kind n. Kept as they are, though they look like slips: kind 3 shows kind 1's name, kind
/// 10 travels with kind 9's word, kind 21 with kind 12's, and kind 25 starts in lower case.
inline constexpr std::array<RequestKind, MAX_REQUEST_KIND + 1> REQUEST_KINDS{{
    {},
    {1, "CreateCollection", "createCollection", "admin", nullptr, false},
    {2, "DropCollection", "deleteCollection", "admin", nullptr, false},
    {3, "CreateCollection", "addDocument", "unknown", nullptr, false},
    {4, "UpdateIndex", "updateIndex", "admin", nullptr, false},
    {5, "DeleteDocument", "deleteDocument", "update", nullptr, false},
    {6, nullptr, nullptr, "unknown", nullptr, false},
    {7, nullptr, nullptr, "unknown", nullptr, false},
    {8, "StreamSearch", "search", "select", "streaming", true},
    {9, "AsyncAddDocument", "asyncAddDocument", "update", nullptr, false},
    {10, "LastDocSent", "asyncAddDocument", "update", nullptr, false},
    {11, "ParseResult", "getParseResult", "update", nullptr, true},
    {12, "OpenCollection", "openCollection", "update", nullptr, false},
    {13, "CloseCollection", "closeCollection", "update", nullptr, false},
    {14, "Selectivity", "selectivity", "select", "selectivity", true},
    {15, "GetStatus", "getStatus", "monitor", nullptr, false},
    {16, "Backup", "backup", "admin", nullptr, false},
    {17, "Restore", "restore", "admin", nullptr, false},
    {18, "Takeover", "takeover", "monitor", nullptr, false},
    {19, "Shutdown", "shutdown", "monitor", nullptr, false},
    {20, "ScalarSearch", "search", "select", "scalar", true},
    {21, nullptr, "openCollection", "unknown", nullptr, false},
    {22, "GetServerVersion", "getServerVersion", "monitor", nullptr, true},
    {23, nullptr, "setConstructorConfiguration", "update", nullptr, false},
    {24, nullptr, "versionsValidation", "monitor", nullptr, false},
    {25, "collectionStatus", "collectionStatus", "monitor", nullptr, true},
}};

/// The row of `kind`; the nameless row 0 for anything outside the table.
[[nodiscard]] constexpr const RequestKind& requestKind(std::uint32_t kind) noexcept {
  return REQUEST_KINDS[kind <= MAX_REQUEST_KIND ? kind : 0];
}

/// Kinds that the server never answers: the documents of an asynchronous batch and its end.
[[nodiscard]] constexpr bool isUnanswered(std::uint32_t kind) noexcept {
  return kind == kinds::ASYNC_ADD_DOCUMENT || kind == kinds::LAST_DOC_SENT;
}

/// The kinds whose reply is a list of search hits (6 has no name but is read as one).
[[nodiscard]] constexpr bool isSearch(std::uint32_t kind) noexcept {
  return kind == 6 || kind == kinds::STREAM_SEARCH || kind == kinds::SCALAR_SEARCH;
}

}  // namespace orvix::comm::detail
