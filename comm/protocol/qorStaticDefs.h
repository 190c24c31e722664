// SPDX-License-Identifier: Apache-2.0
// The words that callers, library and server share: property keys, values and error identifiers.
#pragma once

#include <unicode/unistr.h>

#include "comm/qorExport.h"

namespace orvix::comm {

/// Constant strings of the interface. Built when the library is loaded, destroyed when it is
/// unloaded, never modified; any thread may read them. Comparisons are exact and case-sensitive.
/// The comments begin with the texts; "for other servers": the companion server does not read it.
class QORCOMM_EXPORT StaticDefs {
 public:
  // Property keys and values that callers put into a request.
  static const icu::UnicodeString PARAM_COLLECTION_ID;  ///< "index": the collection's name
  /// "docId": a document's key
  static const icu::UnicodeString PARAM_DOCUMENT_ID;
  /// "collectionName": its name for people
  static const icu::UnicodeString PARAM_DISPLAY_NAME;
  /// "dataDir": for backups and restores, the name of the copy
  static const icu::UnicodeString PARAM_COLLECTION_DIR;
  static const icu::UnicodeString
      PARAM_AUTHENTICATION_TOKEN;  ///< "authToken" here, "Authorization" on the wire
  /// "opcode": read where "dataDir" is not given
  static const icu::UnicodeString PARAM_OPCODE;
  /// "scope"; for other servers
  static const icu::UnicodeString PARAM_SCOPE;
  /// "incremental": whether a restore replaces collections that are there ("false") or leaves them
  static const icu::UnicodeString PARAM_INCREMENTAL;
  /// "checkVersion"; for other servers
  static const icu::UnicodeString PARAM_CHECK_VER;
  /// "dbName"; for other servers
  static const icu::UnicodeString PARAM_DB_NAME;
  /// "tabName"; for other servers
  static const icu::UnicodeString PARAM_TAB_NAME;
  /// "tabUID": never kept by the server
  static const icu::UnicodeString PARAM_TAB_UID;
  /// "tabPassword": never kept by the server
  static const icu::UnicodeString PARAM_TAB_PASSWORD;
  /// "dbHost"; for other servers
  static const icu::UnicodeString PARAM_DB_HOST;
  /// "dbPort"; for other servers
  static const icu::UnicodeString PARAM_DB_PORT;
  /// "start": hits to leave out
  static const icu::UnicodeString PARAM_START_OFFSET;
  /// "size": hits at most
  static const icu::UnicodeString PARAM_SEARCH_SIZE;
  /// "query": what to search for
  static const icu::UnicodeString PARAM_QUERY;
  /// "fallbackLanguage": of the content, when none is known
  static const icu::UnicodeString PARAM_FALLBACK_LANGUAGE;
  static const icu::UnicodeString PARAM_KNOWN_LANGUAGE;  ///< "KnownLanguage", with a capital K.
  static const icu::UnicodeString
      PARAM_KNOWN_DOCUMENT_TYPE;  ///< "KnownContentType": the text differs from the name. Kept:
                                  ///< peers know it so.
  /// "KnownCharset": of the content
  static const icu::UnicodeString PARAM_KNOWN_CHARSET;
  /// "UTF-8": a character set
  static const icu::UnicodeString PARAM_KNOWN_CHARSET_UTF8;
  /// "mimeType": of the content; must name text
  static const icu::UnicodeString PARAM_MIME_TYPE;
  /// "extension"; for other servers
  static const icu::UnicodeString PARAM_EXTENSION;
  /// "ContentTypeNotDefined": a content type, as the next four
  static const icu::UnicodeString PARAM_CONTENT_TYPE_UNDEF;
  /// "text/plain"
  static const icu::UnicodeString PARAM_CONTENT_TYPE_TEXT;
  /// "text/xml"
  static const icu::UnicodeString PARAM_CONTENT_TYPE_XML;
  /// "application/*"
  static const icu::UnicodeString PARAM_CONTENT_TYPE_BIN;
  /// "unknown"
  static const icu::UnicodeString PARAM_CONTENT_TYPE_UNKNOWN;
  /// "dataSourceType"; for other servers
  static const icu::UnicodeString PARAM_DATA_SOURCE_TYPE;
  /// "dataSourceName"; for other servers
  static const icu::UnicodeString PARAM_DATA_SOURCE_NAME;
  /// "locale": of a new collection
  static const icu::UnicodeString PARAM_CLIENT_LOCALE;
  static const icu::UnicodeString
      PARAM_INDEXABLE_METADATA_PREFIX;  ///< prefix of a searchable field's name
  static const icu::UnicodeString
      PARAM_SORTABLE_METADATA_PREFIX;  ///< prefix of a field's name that hits can be sorted by
  /// "queryLang": of the query's words
  static const icu::UnicodeString PARAM_QUERY_LANGUAGE;
  /// "resultLimit": hits at most, too
  static const icu::UnicodeString PARAM_RESULT_LIMIT;
  /// "scoreWanted": STRING_false for hits without scores
  static const icu::UnicodeString PARAM_SCORE_WANTED;
  /// "sortField": how hits are ordered
  static const icu::UnicodeString PARAM_SORT_FIELD;
  static const icu::UnicodeString PARAM_SORT_BY_SCORE;  ///< value of PARAM_SORT_FIELD, and the key
                                                        ///< of a score in a property record
  /// "UNSORTED": value of PARAM_SORT_FIELD, hits in the order of indexing
  static const icu::UnicodeString PARAM_UNSORTED;
  /// "pageNumber"; for other servers
  static const icu::UnicodeString PARAM_PAGE_NUMBER;
  /// "collection"; for other servers
  static const icu::UnicodeString PARAM_COLLECTION_SCOPE;
  /// "system"; for other servers
  static const icu::UnicodeString PARAM_SYSTEM_SCOPE;
  /// "structured"; for other servers
  static const icu::UnicodeString PARAM_STRUCTURED;
  static const icu::UnicodeString
      PARAM_STOP_INDEX_AFTER_TASK_ERROR;  ///< "supportWarningAndTaskError". Kept: peers know it so.

  // Header names of a peer's versions, booleans and separators.
  static const icu::UnicodeString IMPLEMENTATION_VERSION;  ///< header name of the server's version
  /// header name of a list such as "1.0-1.2,2.0"
  static const icu::UnicodeString SUPPORTED_SERVER_VERSIONS;
  // Kept: callers link to these spellings.
  // NOLINTBEGIN(readability-identifier-naming)
  /// "true"
  static const icu::UnicodeString STRING_true;
  /// "false"
  static const icu::UnicodeString STRING_false;
  // NOLINTEND(readability-identifier-naming)
  static const icu::UnicodeString NEWLINE;  ///< one line feed
  /// one tabulator
  static const icu::UnicodeString TAB;

  // Error identifiers: the message id of every exception of this library. Text equals name.
  /// no connection; retried
  static const icu::UnicodeString ERR_CONNECT_SERVER;
  /// lost while receiving; retried
  static const icu::UnicodeString ERR_SERVER_COMM_RECV;
  /// lost while sending; retried
  static const icu::UnicodeString ERR_SERVER_COMM_SEND;
  /// a wait took too long; retried
  static const icu::UnicodeString ERR_SERVER_COMM_TIMEOUT;
  /// the reply breaks the protocol
  static const icu::UnicodeString ERR_SERVER_PROTOCOL;
  /// the token was refused
  static const icu::UnicodeString ERR_SERVER_INVALID_AUTH;
  /// the server refused and gave no id
  static const icu::UnicodeString ERR_SERVER_APP;
  static const icu::UnicodeString WAR_SERVER_APP;  ///< never thrown by this library
  /// a record lacks what it must have
  static const icu::UnicodeString ERR_CLIENT_RESP_PARSING;
  /// too large a request, no memory, a fault
  static const icu::UnicodeString ERR_CLIENT_INTERNAL;
  /// a pull without a stream
  static const icu::UnicodeString ERR_INVALID_STATE;
};

}  // namespace orvix::comm
