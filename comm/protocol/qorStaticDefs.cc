// SPDX-License-Identifier: Apache-2.0
// Builds every protocol word once, at load. The one file of the library with dynamic
// initialisation: the words are plain ASCII, and the empty code-page name selects ICU's invariant
// conversion.
#include "comm/protocol/qorStaticDefs.h"

#include "comm/protocol/internal/qorWords.h"

namespace orvix::comm {

using icu::UnicodeString;

const UnicodeString StaticDefs::PARAM_COLLECTION_ID("index", "");
const UnicodeString StaticDefs::PARAM_DOCUMENT_ID("docId", "");
const UnicodeString StaticDefs::PARAM_DISPLAY_NAME("collectionName", "");
const UnicodeString StaticDefs::PARAM_COLLECTION_DIR("dataDir", "");
const UnicodeString StaticDefs::PARAM_AUTHENTICATION_TOKEN("authToken", "");
const UnicodeString StaticDefs::PARAM_OPCODE("opcode", "");
const UnicodeString StaticDefs::PARAM_SCOPE("scope", "");
const UnicodeString StaticDefs::PARAM_INCREMENTAL("incremental", "");
const UnicodeString StaticDefs::PARAM_CHECK_VER("checkVersion", "");
const UnicodeString StaticDefs::PARAM_DB_NAME("dbName", "");
const UnicodeString StaticDefs::PARAM_TAB_NAME("tabName", "");
const UnicodeString StaticDefs::PARAM_TAB_UID("tabUID", "");
const UnicodeString StaticDefs::PARAM_TAB_PASSWORD("tabPassword", "");
const UnicodeString StaticDefs::PARAM_DB_HOST("dbHost", "");
const UnicodeString StaticDefs::PARAM_DB_PORT("dbPort", "");
const UnicodeString StaticDefs::PARAM_START_OFFSET("start", "");
const UnicodeString StaticDefs::PARAM_SEARCH_SIZE("size", "");
const UnicodeString StaticDefs::PARAM_QUERY("query", "");
const UnicodeString StaticDefs::PARAM_FALLBACK_LANGUAGE("fallbackLanguage", "");
const UnicodeString StaticDefs::PARAM_KNOWN_LANGUAGE("KnownLanguage", "");
const UnicodeString StaticDefs::PARAM_KNOWN_DOCUMENT_TYPE("KnownContentType", "");
const UnicodeString StaticDefs::PARAM_KNOWN_CHARSET("KnownCharset", "");
const UnicodeString StaticDefs::PARAM_KNOWN_CHARSET_UTF8("UTF-8", "");
const UnicodeString StaticDefs::PARAM_MIME_TYPE("mimeType", "");
const UnicodeString StaticDefs::PARAM_EXTENSION("extension", "");
const UnicodeString StaticDefs::PARAM_CONTENT_TYPE_UNDEF("ContentTypeNotDefined", "");
const UnicodeString StaticDefs::PARAM_CONTENT_TYPE_TEXT("text/plain", "");
const UnicodeString StaticDefs::PARAM_CONTENT_TYPE_XML("text/xml", "");
const UnicodeString StaticDefs::PARAM_CONTENT_TYPE_BIN("application/*", "");
const UnicodeString StaticDefs::PARAM_CONTENT_TYPE_UNKNOWN("unknown", "");
const UnicodeString StaticDefs::PARAM_DATA_SOURCE_TYPE("dataSourceType", "");
const UnicodeString StaticDefs::PARAM_DATA_SOURCE_NAME("dataSourceName", "");
const UnicodeString StaticDefs::PARAM_CLIENT_LOCALE("locale", "");
const UnicodeString StaticDefs::PARAM_INDEXABLE_METADATA_PREFIX("Indexable:", "");
const UnicodeString StaticDefs::PARAM_SORTABLE_METADATA_PREFIX("[sortable]", "");
const UnicodeString StaticDefs::PARAM_QUERY_LANGUAGE("queryLang", "");
const UnicodeString StaticDefs::PARAM_RESULT_LIMIT("resultLimit", "");
const UnicodeString StaticDefs::PARAM_SCORE_WANTED("scoreWanted", "");
const UnicodeString StaticDefs::PARAM_SORT_FIELD("sortField", "");
const UnicodeString StaticDefs::PARAM_SORT_BY_SCORE("SCORE", "");
const UnicodeString StaticDefs::PARAM_UNSORTED("UNSORTED", "");
const UnicodeString StaticDefs::PARAM_PAGE_NUMBER("pageNumber", "");
const UnicodeString StaticDefs::PARAM_COLLECTION_SCOPE("collection", "");
const UnicodeString StaticDefs::PARAM_SYSTEM_SCOPE("system", "");
const UnicodeString StaticDefs::PARAM_STRUCTURED("structured", "");
const UnicodeString StaticDefs::PARAM_STOP_INDEX_AFTER_TASK_ERROR("supportWarningAndTaskError", "");
const UnicodeString StaticDefs::IMPLEMENTATION_VERSION("Implementation-Version", "");
const UnicodeString StaticDefs::SUPPORTED_SERVER_VERSIONS("Supported-Server-Versions", "");
const UnicodeString StaticDefs::STRING_true("true", "");
const UnicodeString StaticDefs::STRING_false("false", "");
const UnicodeString StaticDefs::NEWLINE("\n", "");
const UnicodeString StaticDefs::TAB("\t", "");
const UnicodeString StaticDefs::ERR_CONNECT_SERVER("ERR_CONNECT_SERVER", "");
const UnicodeString StaticDefs::ERR_SERVER_COMM_RECV("ERR_SERVER_COMM_RECV", "");
const UnicodeString StaticDefs::ERR_SERVER_COMM_SEND("ERR_SERVER_COMM_SEND", "");
const UnicodeString StaticDefs::ERR_SERVER_COMM_TIMEOUT("ERR_SERVER_COMM_TIMEOUT", "");
const UnicodeString StaticDefs::ERR_SERVER_PROTOCOL("ERR_SERVER_PROTOCOL", "");
const UnicodeString StaticDefs::ERR_SERVER_INVALID_AUTH("ERR_SERVER_INVALID_AUTH", "");
const UnicodeString StaticDefs::ERR_SERVER_APP("ERR_SERVER_APP", "");
const UnicodeString StaticDefs::WAR_SERVER_APP("WAR_SERVER_APP", "");
const UnicodeString StaticDefs::ERR_CLIENT_RESP_PARSING("ERR_CLIENT_RESP_PARSING", "");
const UnicodeString StaticDefs::ERR_CLIENT_INTERNAL("ERR_CLIENT_INTERNAL", "");
const UnicodeString StaticDefs::ERR_INVALID_STATE("ERR_INVALID_STATE", "");

namespace detail::words {

const UnicodeString ROW_ID("rowId", "");
const UnicodeString DATA("data", "");
const UnicodeString COLLECTION_NAME("collectionName", "");
const UnicodeString ACTION("action", "");
const UnicodeString ACTION_TYPE("actionType", "");
const UnicodeString CON_PERSIST("conPersist", "");
const UnicodeString USE_QUEUE("useQueue", "");
const UnicodeString MODE("mode", "");
const UnicodeString OUTPUT("output", "");
const UnicodeString AUTHORIZATION("Authorization", "");
const UnicodeString DOC_TYPE("docType", "");
const UnicodeString COL_CONFIG("colConfig", "");
const UnicodeString COL_DATA("colData", "");
const UnicodeString VER("ver", "");
const UnicodeString PROTOCOL_VERSION("1.1", "");
const UnicodeString VERSION_RANGE("-", "");
const UnicodeString VERSION_LIST(",", "");
const UnicodeString SUPPORTED_CLIENT_VERSIONS("Supported-Client-Versions", "");
const UnicodeString DOC_LANG("docLang", "");
const UnicodeString CHARSET("charset", "");
const UnicodeString DEFAULT_LANGUAGE("en", "");
const UnicodeString SCORE_TYPE("scoreType", "");
const UnicodeString SCALAR("scalar", "");
const UnicodeString SELECTIVITY("selectivity", "");
const UnicodeString STREAMING("streaming", "");
const UnicodeString DATA_SOURCE_HOST("vek", "");
const UnicodeString BASIC("Basic", "");
const UnicodeString RAW("raw", "");
const UnicodeString NORMALIZED("normalized", "");
const UnicodeString TRANSFER_ENCODING("Transfer-Encoding", "");
const UnicodeString CHUNKED("chunked", "");
const UnicodeString CONTENT_LENGTH_REPLY("Content-Length", "");
const UnicodeString HOST("host ", "");
const UnicodeString HTTP_1_1(" HTTP/1.1\n", "");
const UnicodeString HTTP_1_0(" HTTP/1.0\n", "");
const UnicodeString POST("POST  ", "");
const UnicodeString GET("GET  ", "");
const UnicodeString DELETE("DELETE  ", "");
const UnicodeString CONTENT_LENGTH("Content-Length  ", "");
const UnicodeString HEADER_END("\r\n", "");
const UnicodeString EMPTY("", "");
const UnicodeString DOC("Doc", "");
const UnicodeString UNKNOWN("unknown", "");
const UnicodeString UPDATE("update", "");
const UnicodeString MONITOR("monitor", "");
const UnicodeString SELECT("select", "");
const UnicodeString ADMIN("admin", "");
const UnicodeString HEADER_SEPARATOR(": ", "");
const UnicodeString QUERY_OPEN("?", "");
const UnicodeString QUERY_NEXT("&", "");
const UnicodeString QUERY_VALUE("=", "");
const UnicodeString MSG_ID("MsgId", "");
const UnicodeString MSG_TEXT("MsgText", "");
const UnicodeString URI("URI", "");
const UnicodeString STATUS_CODE("STATUS_CODE", "");

}  // namespace detail::words

}  // namespace orvix::comm
