// SPDX-License-Identifier: Apache-2.0
// The exact text of every word that peers match on, trailing blanks and odd spellings included, and
// the table of request kinds.
#include "comm/protocol/internal/qorWords.h"

#include <gtest/gtest.h>
#include <string>

#include "comm/protocol/internal/qorRequestKinds.h"
#include "comm/protocol/qorStaticDefs.h"
#include "comm/request/internal/qorCatalogue.h"
#include "comm/request/qorClientRequest.h"
#include "tests/support/qorWireLiterals.h"

namespace orvix::comm {
namespace {

using S = StaticDefs;
namespace words = detail::words;
using wirelit::utf8;

struct Word {
  const icu::UnicodeString& word;
  const char* expected;
};

TEST(PublicWords, HaveTheTextsThatCallersAndServersKnow) {
  // clang-format off
  const Word all[] = {
      {S::PARAM_COLLECTION_ID, "index"}, {S::PARAM_DOCUMENT_ID, "docId"},
      {S::PARAM_DISPLAY_NAME, "collectionName"}, {S::PARAM_COLLECTION_DIR, "dataDir"},
      {S::PARAM_AUTHENTICATION_TOKEN, "authToken"}, {S::PARAM_OPCODE, "opcode"},
      {S::PARAM_SCOPE, "scope"}, {S::PARAM_INCREMENTAL, "incremental"},
      {S::PARAM_CHECK_VER, "checkVersion"}, {S::PARAM_DB_NAME, "dbName"},
      {S::PARAM_TAB_NAME, "tabName"}, {S::PARAM_TAB_UID, "tabUID"},
      {S::PARAM_TAB_PASSWORD, "tabPassword"}, {S::PARAM_DB_HOST, "dbHost"},
      {S::PARAM_DB_PORT, "dbPort"}, {S::PARAM_START_OFFSET, "start"},
      {S::PARAM_SEARCH_SIZE, "size"}, {S::PARAM_QUERY, "query"},
      {S::PARAM_FALLBACK_LANGUAGE, "fallbackLanguage"}, {S::PARAM_KNOWN_LANGUAGE, "KnownLanguage"},
      {S::PARAM_KNOWN_DOCUMENT_TYPE, "KnownContentType"}, {S::PARAM_KNOWN_CHARSET, "KnownCharset"},
      {S::PARAM_KNOWN_CHARSET_UTF8, "UTF-8"}, {S::PARAM_MIME_TYPE, "mimeType"},
      {S::PARAM_EXTENSION, "extension"}, {S::PARAM_CONTENT_TYPE_UNDEF, "ContentTypeNotDefined"},
      {S::PARAM_CONTENT_TYPE_TEXT, "text/plain"}, {S::PARAM_CONTENT_TYPE_XML, "text/xml"},
      {S::PARAM_CONTENT_TYPE_BIN, "application/*"}, {S::PARAM_CONTENT_TYPE_UNKNOWN, "unknown"},
      {S::PARAM_DATA_SOURCE_TYPE, "dataSourceType"}, {S::PARAM_DATA_SOURCE_NAME, "dataSourceName"},
      {S::PARAM_CLIENT_LOCALE, "locale"}, {S::PARAM_INDEXABLE_METADATA_PREFIX, "Indexable:"},
      {S::PARAM_SORTABLE_METADATA_PREFIX, "[sortable]"}, {S::PARAM_QUERY_LANGUAGE, "queryLang"},
      {S::PARAM_RESULT_LIMIT, "resultLimit"}, {S::PARAM_SCORE_WANTED, "scoreWanted"},
      {S::PARAM_SORT_FIELD, "sortField"}, {S::PARAM_SORT_BY_SCORE, "SCORE"},
      {S::PARAM_UNSORTED, "UNSORTED"}, {S::PARAM_PAGE_NUMBER, "pageNumber"},
      {S::PARAM_COLLECTION_SCOPE, "collection"}, {S::PARAM_SYSTEM_SCOPE, "system"},
      {S::PARAM_STRUCTURED, "structured"},
      {S::PARAM_STOP_INDEX_AFTER_TASK_ERROR, "supportWarningAndTaskError"},
      {S::IMPLEMENTATION_VERSION, "Implementation-Version"},
      {S::SUPPORTED_SERVER_VERSIONS, "Supported-Server-Versions"}, {S::STRING_true, "true"},
      {S::STRING_false, "false"}, {S::NEWLINE, "\n"}, {S::TAB, "\t"},
      {S::ERR_CONNECT_SERVER, "ERR_CONNECT_SERVER"},
      {S::ERR_SERVER_COMM_RECV, "ERR_SERVER_COMM_RECV"},
      {S::ERR_SERVER_COMM_SEND, "ERR_SERVER_COMM_SEND"},
      {S::ERR_SERVER_COMM_TIMEOUT, "ERR_SERVER_COMM_TIMEOUT"},
      {S::ERR_SERVER_PROTOCOL, "ERR_SERVER_PROTOCOL"},
      {S::ERR_SERVER_INVALID_AUTH, "ERR_SERVER_INVALID_AUTH"},
      {S::ERR_SERVER_APP, "ERR_SERVER_APP"},
      {S::ERR_CLIENT_RESP_PARSING, "ERR_CLIENT_RESP_PARSING"},
      {S::ERR_CLIENT_INTERNAL, "ERR_CLIENT_INTERNAL"}, {S::ERR_INVALID_STATE, "ERR_INVALID_STATE"},
      {S::WAR_SERVER_APP, "WAR_SERVER_APP"},
  };
  // clang-format on
  for (const Word& c : all) EXPECT_EQ(utf8(c.word), c.expected);
}

TEST(InternalWords, HaveTheTextsThatServersKnow) {
  // clang-format off
  const Word all[] = {
      {words::ROW_ID, "rowId"}, {words::DATA, "data"}, {words::COLLECTION_NAME, "collectionName"},
      {words::ACTION, "action"}, {words::ACTION_TYPE, "actionType"},
      {words::CON_PERSIST, "conPersist"}, {words::USE_QUEUE, "useQueue"}, {words::MODE, "mode"},
      {words::OUTPUT, "output"}, {words::AUTHORIZATION, "Authorization"},
      {words::DOC_TYPE, "docType"}, {words::COL_CONFIG, "colConfig"}, {words::COL_DATA, "colData"},
      {words::VER, "ver"}, {words::PROTOCOL_VERSION, "1.1"}, {words::VERSION_RANGE, "-"},
      {words::VERSION_LIST, ","}, {words::SUPPORTED_CLIENT_VERSIONS, "Supported-Client-Versions"},
      {words::DOC_LANG, "docLang"}, {words::CHARSET, "charset"}, {words::DEFAULT_LANGUAGE, "en"},
      {words::SCORE_TYPE, "scoreType"}, {words::SCALAR, "scalar"},
      {words::SELECTIVITY, "selectivity"}, {words::STREAMING, "streaming"},
      {words::DATA_SOURCE_HOST, "vek"}, {words::BASIC, "Basic"}, {words::RAW, "raw"},
      {words::NORMALIZED, "normalized"}, {words::TRANSFER_ENCODING, "Transfer-Encoding"},
      {words::CHUNKED, "chunked"}, {words::CONTENT_LENGTH_REPLY, "Content-Length"},
      {words::HOST, "host "}, {words::HTTP_1_1, " HTTP/1.1\n"}, {words::HTTP_1_0, " HTTP/1.0\n"},
      {words::POST, "POST  "}, {words::GET, "GET  "}, {words::DELETE, "DELETE  "},
      {words::CONTENT_LENGTH, "Content-Length  "}, {words::HEADER_END, "\r\n"}, {words::EMPTY, ""},
      {words::DOC, "Doc"}, {words::UNKNOWN, "unknown"}, {words::UPDATE, "update"},
      {words::MONITOR, "monitor"}, {words::SELECT, "select"}, {words::ADMIN, "admin"},
      {words::HEADER_SEPARATOR, ": "}, {words::QUERY_OPEN, "?"}, {words::QUERY_NEXT, "&"},
      {words::QUERY_VALUE, "="}, {words::MSG_ID, "MsgId"}, {words::MSG_TEXT, "MsgText"},
      {words::URI, "URI"}, {words::STATUS_CODE, "STATUS_CODE"},
  };
  // clang-format on
  for (const Word& c : all) EXPECT_EQ(utf8(c.word), c.expected);
}

TEST(RequestKinds, CarryTheirWords) {
  const struct {
    std::uint32_t kind;
    const char* displayName;  // empty: none
    const char* pathWord;     // empty: none
    const char* accessClass;
    const char* mode;  // empty: none
    // clang-format off
  } all[] = {
      {1, "CreateCollection", "createCollection", "admin", ""},
      {2, "DropCollection", "deleteCollection", "admin", ""},
      {3, "CreateCollection", "addDocument", "unknown", ""},
      {4, "UpdateIndex", "updateIndex", "admin", ""},
      {5, "DeleteDocument", "deleteDocument", "update", ""}, {6, "", "", "unknown", ""},
      {7, "", "", "unknown", ""}, {8, "StreamSearch", "search", "select", "streaming"},
      {9, "AsyncAddDocument", "asyncAddDocument", "update", ""},
      {10, "LastDocSent", "asyncAddDocument", "update", ""},
      {11, "ParseResult", "getParseResult", "update", ""},
      {12, "OpenCollection", "openCollection", "update", ""},
      {13, "CloseCollection", "closeCollection", "update", ""},
      {14, "Selectivity", "selectivity", "select", "selectivity"},
      {15, "GetStatus", "getStatus", "monitor", ""}, {16, "Backup", "backup", "admin", ""},
      {17, "Restore", "restore", "admin", ""}, {18, "Takeover", "takeover", "monitor", ""},
      {19, "Shutdown", "shutdown", "monitor", ""},
      {20, "ScalarSearch", "search", "select", "scalar"}, {21, "", "openCollection", "unknown", ""},
      {22, "GetServerVersion", "getServerVersion", "monitor", ""},
      {23, "", "setConstructorConfiguration", "update", ""},
      {24, "", "versionsValidation", "monitor", ""},
      {25, "collectionStatus", "collectionStatus", "monitor", ""}, {0, "", "", "unknown", ""},
      {26, "", "", "unknown", ""}, {0xffffffff, "", "", "unknown", ""},
  };
  // clang-format on
  for (const auto& c : all) {
    SCOPED_TRACE(c.kind);
    ClientRequest request;
    request.buildRequest(icu::UnicodeString(u"docs"), static_cast<ClientRequest::REQUEST>(c.kind),
                         util::ExtendedProperties());
    const auto mode = request.getProperties().getProperty(words::MODE, words::EMPTY);
    EXPECT_EQ(utf8(request.getOperationName()), c.displayName);
    EXPECT_EQ(utf8(mode), c.mode);
    EXPECT_EQ(utf8(detail::Catalogue::get().pathWord(c.kind)), c.pathWord);
    EXPECT_EQ(utf8(detail::Catalogue::get().accessClass(c.kind)), c.accessClass);
  }
}

}  // namespace
}  // namespace orvix::comm
