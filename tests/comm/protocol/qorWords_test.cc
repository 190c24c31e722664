// SPDX-License-Identifier: Apache-2.0
// The words that callers put where a well-meant correction would break them, and those that each
// request kind sends.
#include "comm/protocol/internal/qorWords.h"

#include <gtest/gtest.h>
#include <string>

#include "comm/protocol/qorStaticDefs.h"
#include "comm/request/internal/qorCatalogue.h"
#include "comm/request/qorClientRequest.h"
#include "tests/support/qorBytes.h"

namespace orvix::test {
namespace {

using comm::ClientRequest;
using comm::detail::Catalogue;
using S = comm::StaticDefs;
namespace words = comm::detail::words;

TEST(Words, KeepTheirOddities) {
  EXPECT_EQ(text(S::PARAM_DISPLAY_NAME), "collectionName");
  EXPECT_EQ(text(S::PARAM_KNOWN_DOCUMENT_TYPE), "KnownContentType");
  EXPECT_EQ(text(S::PARAM_INDEXABLE_METADATA_PREFIX), "Indexable:");
  EXPECT_EQ(text(S::PARAM_SORTABLE_METADATA_PREFIX), "[sortable]");
  EXPECT_EQ(text(S::PARAM_STOP_INDEX_AFTER_TASK_ERROR), "supportWarningAndTaskError");
}

TEST(RequestKinds, CarryTheirWords) {
  const struct {
    std::uint32_t kind;
    const char *displayName, *pathWord, *accessClass, *mode;  // empty: none
    // clang-format off
  } all[] = {
      {1, "CreateCollection", "createCollection", "admin", ""}, {0, "", "", "unknown", ""},
      {2, "DropCollection", "deleteCollection", "admin", ""}, {6, "", "", "unknown", ""},
      {3, "CreateCollection", "addDocument", "unknown", ""}, {7, "", "", "unknown", ""},
      {4, "UpdateIndex", "updateIndex", "admin", ""}, {26, "", "", "unknown", ""},
      {5, "DeleteDocument", "deleteDocument", "update", ""}, {~0U, "", "", "unknown", ""},
      {8, "StreamSearch", "search", "select", "streaming"},
      {9, "AsyncAddDocument", "asyncAddDocument", "update", ""},
      {10, "LastDocSent", "asyncAddDocument", "update", ""},
      {11, "ParseResult", "getParseResult", "update", ""},
      {12, "OpenCollection", "openCollection", "update", ""},
      {13, "CloseCollection", "closeCollection", "update", ""},
      {14, "Selectivity", "selectivity", "select", "selectivity"},
      {15, "GetStatus", "getStatus", "monitor", ""}, {16, "Backup", "backup", "admin", ""},
      {17, "Restore", "restore", "admin", ""}, {18, "Takeover", "takeover", "monitor", ""},
      {19, "Shutdown", "shutdown", "monitor", ""}, {21, "", "openCollection", "unknown", ""},
      {20, "ScalarSearch", "search", "select", "scalar"},
      {22, "GetServerVersion", "getServerVersion", "monitor", ""},
      {23, "", "setConstructorConfiguration", "update", ""},
      {24, "", "versionsValidation", "monitor", ""},
      {25, "collectionStatus", "collectionStatus", "monitor", ""},
  };
  // clang-format on
  for (const auto& c : all) {
    SCOPED_TRACE(c.kind);
    ClientRequest request;
    request.buildRequest(u"docs", static_cast<ClientRequest::REQUEST>(c.kind), {});
    EXPECT_EQ(text(request.getOperationName()), c.displayName);
    EXPECT_EQ(text(request.getProperties().getProperty(words::MODE, words::EMPTY)), c.mode);
    EXPECT_EQ(text(Catalogue::get().pathWord(c.kind)), c.pathWord);
    EXPECT_EQ(text(Catalogue::get().accessClass(c.kind)), c.accessClass);
  }
}

}  // namespace
}  // namespace orvix::test
