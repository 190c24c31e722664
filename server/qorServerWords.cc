// SPDX-License-Identifier: Apache-2.0
// Converts the shared protocol words to UTF-8.
#include "server/qorServerWords.h"

#include <unicode/unistr.h>

#include "comm/protocol/internal/qorWords.h"
#include "comm/protocol/qorStaticDefs.h"

namespace orvix::server {

namespace {

using Defs = comm::StaticDefs;
namespace shared = comm::detail::words;

std::string utf8Of(const icu::UnicodeString& word) {
  std::string bytes;
  return word.toUTF8String(bytes);
}

void fillRequestKeys(ServerWords& all) {
  all.action = utf8Of(shared::ACTION);
  all.actionType = utf8Of(shared::ACTION_TYPE);
  all.mode = utf8Of(shared::MODE);
  all.authorization = utf8Of(shared::AUTHORIZATION);
  all.authToken = utf8Of(Defs::PARAM_AUTHENTICATION_TOKEN);
  all.contentLength = utf8Of(shared::CONTENT_LENGTH);
  all.version = utf8Of(shared::VER);
  all.supportedServerVersions = utf8Of(Defs::SUPPORTED_SERVER_VERSIONS);
  all.tablePassword = utf8Of(Defs::PARAM_TAB_PASSWORD);
  all.tableUser = utf8Of(Defs::PARAM_TAB_UID);
  all.collection = utf8Of(Defs::PARAM_COLLECTION_ID);
  all.displayName = utf8Of(Defs::PARAM_DISPLAY_NAME);
  all.documentKey = utf8Of(Defs::PARAM_DOCUMENT_ID);
  all.collectionDir = utf8Of(Defs::PARAM_COLLECTION_DIR);
  all.opcode = utf8Of(Defs::PARAM_OPCODE);
  all.incremental = utf8Of(Defs::PARAM_INCREMENTAL);
}

void fillSearchKeys(ServerWords& all) {
  all.query = utf8Of(Defs::PARAM_QUERY);
  all.queryLanguage = utf8Of(Defs::PARAM_QUERY_LANGUAGE);
  all.start = utf8Of(Defs::PARAM_START_OFFSET);
  all.size = utf8Of(Defs::PARAM_SEARCH_SIZE);
  all.resultLimit = utf8Of(Defs::PARAM_RESULT_LIMIT);
  all.scoreWanted = utf8Of(Defs::PARAM_SCORE_WANTED);
  all.scoreType = utf8Of(shared::SCORE_TYPE);
  all.sortField = utf8Of(Defs::PARAM_SORT_FIELD);
}

void fillTextKeys(ServerWords& all) {
  all.documentLanguage = utf8Of(shared::DOC_LANG);
  all.knownLanguage = utf8Of(Defs::PARAM_KNOWN_LANGUAGE);
  all.fallbackLanguage = utf8Of(Defs::PARAM_FALLBACK_LANGUAGE);
  all.locale = utf8Of(Defs::PARAM_CLIENT_LOCALE);
  all.charset = utf8Of(shared::CHARSET);
  all.knownCharset = utf8Of(Defs::PARAM_KNOWN_CHARSET);
  all.mimeType = utf8Of(Defs::PARAM_MIME_TYPE);
  all.knownDocumentType = utf8Of(Defs::PARAM_KNOWN_DOCUMENT_TYPE);
  all.indexable = utf8Of(Defs::PARAM_INDEXABLE_METADATA_PREFIX);
  all.sortable = utf8Of(Defs::PARAM_SORTABLE_METADATA_PREFIX);
}

void fillValues(ServerWords& all) {
  all.scalar = utf8Of(shared::SCALAR);
  all.sortByScore = utf8Of(Defs::PARAM_SORT_BY_SCORE);
  all.unsorted = utf8Of(Defs::PARAM_UNSORTED);
  all.stringTrue = utf8Of(Defs::STRING_true);
  all.stringFalse = utf8Of(Defs::STRING_false);
  all.normalized = utf8Of(shared::NORMALIZED);
  all.protocolVersion = utf8Of(shared::PROTOCOL_VERSION);
  all.utf8 = utf8Of(Defs::PARAM_KNOWN_CHARSET_UTF8);
  all.defaultLanguage = utf8Of(shared::DEFAULT_LANGUAGE);
  all.versionRange = utf8Of(shared::VERSION_RANGE);
  all.versionList = utf8Of(shared::VERSION_LIST);
  all.typeText = utf8Of(Defs::PARAM_CONTENT_TYPE_TEXT);
  all.typeXml = utf8Of(Defs::PARAM_CONTENT_TYPE_XML);
  all.typeUndefined = utf8Of(Defs::PARAM_CONTENT_TYPE_UNDEF);
  all.typeUnknown = utf8Of(Defs::PARAM_CONTENT_TYPE_UNKNOWN);
  all.separator = utf8Of(shared::HEADER_SEPARATOR);
  all.headerEnd = utf8Of(shared::HEADER_END);
}

void fillRecordWords(ServerWords& all) {
  all.rowId = utf8Of(shared::ROW_ID);
  all.data = utf8Of(shared::DATA);
  all.doc = utf8Of(shared::DOC);
  all.messageId = utf8Of(shared::MSG_ID);
  all.messageText = utf8Of(shared::MSG_TEXT);
}

ServerWords build() {
  ServerWords all;
  fillRequestKeys(all);
  fillSearchKeys(all);
  fillTextKeys(all);
  fillValues(all);
  fillRecordWords(all);
  return all;
}

}  // namespace

const ServerWords& words() {
  static const ServerWords all = build();
  return all;
}

}  // namespace orvix::server
