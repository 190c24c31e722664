// SPDX-License-Identifier: Apache-2.0
// The words that callers, library and server share: property keys, values and error identifiers.
#pragma once

#include <unicode/unistr.h>

#include "comm/qorExport.h"

namespace orvix::comm {

/// Constant strings of the interface. Built when the library is loaded, destroyed when it is
/// unloaded, never modified; any thread may read them. Comparisons are exact and case-sensitive.
class QORCOMM_EXPORT StaticDefs {
 public:
  // Property keys and values that callers put into a request.
  static const icu::UnicodeString PARAM_COLLECTION_ID;  ///< the collection's name
  static const icu::UnicodeString PARAM_DOCUMENT_ID;
  static const icu::UnicodeString PARAM_DISPLAY_NAME;
  static const icu::UnicodeString PARAM_COLLECTION_DIR;
  static const icu::UnicodeString
      PARAM_AUTHENTICATION_TOKEN;  ///< "authToken" here, "Authorization" on the wire
  static const icu::UnicodeString PARAM_OPCODE;
  static const icu::UnicodeString PARAM_SCOPE;
  static const icu::UnicodeString PARAM_INCREMENTAL;
  static const icu::UnicodeString PARAM_CHECK_VER;
  static const icu::UnicodeString PARAM_DB_NAME;
  static const icu::UnicodeString PARAM_TAB_NAME;
  static const icu::UnicodeString PARAM_TAB_UID;
  static const icu::UnicodeString PARAM_TAB_PASSWORD;
  static const icu::UnicodeString PARAM_DB_HOST;
  static const icu::UnicodeString PARAM_DB_PORT;
  static const icu::UnicodeString PARAM_START_OFFSET;
  static const icu::UnicodeString PARAM_SEARCH_SIZE;
  static const icu::UnicodeString PARAM_QUERY;
  static const icu::UnicodeString PARAM_FALLBACK_LANGUAGE;
  static const icu::UnicodeString PARAM_KNOWN_LANGUAGE;  ///< "KnownLanguage", with a capital K.
  static const icu::UnicodeString
      PARAM_KNOWN_DOCUMENT_TYPE;  ///< "KnownContentType": the text differs from the name. Kept:
                                  ///< peers know it so.
  static const icu::UnicodeString PARAM_KNOWN_CHARSET;
  static const icu::UnicodeString PARAM_KNOWN_CHARSET_UTF8;
  static const icu::UnicodeString PARAM_MIME_TYPE;
  static const icu::UnicodeString PARAM_EXTENSION;
  static const icu::UnicodeString PARAM_CONTENT_TYPE_UNDEF;
  static const icu::UnicodeString PARAM_CONTENT_TYPE_TEXT;
  static const icu::UnicodeString PARAM_CONTENT_TYPE_XML;
  static const icu::UnicodeString PARAM_CONTENT_TYPE_BIN;
  static const icu::UnicodeString PARAM_CONTENT_TYPE_UNKNOWN;
  static const icu::UnicodeString PARAM_DATA_SOURCE_TYPE;
  static const icu::UnicodeString PARAM_DATA_SOURCE_NAME;
  static const icu::UnicodeString PARAM_CLIENT_LOCALE;
  static const icu::UnicodeString
      PARAM_INDEXABLE_METADATA_PREFIX;  ///< prefix of a searchable field's name
  static const icu::UnicodeString
      PARAM_SORTABLE_METADATA_PREFIX;  ///< prefix of a field's name that hits can be sorted by
  static const icu::UnicodeString PARAM_QUERY_LANGUAGE;
  static const icu::UnicodeString PARAM_RESULT_LIMIT;
  static const icu::UnicodeString PARAM_SCORE_WANTED;
  static const icu::UnicodeString PARAM_SORT_FIELD;
  static const icu::UnicodeString PARAM_SORT_BY_SCORE;  ///< value of PARAM_SORT_FIELD, and the key
                                                        ///< of a score in a property record
  static const icu::UnicodeString PARAM_UNSORTED;
  static const icu::UnicodeString PARAM_PAGE_NUMBER;
  static const icu::UnicodeString PARAM_COLLECTION_SCOPE;
  static const icu::UnicodeString PARAM_SYSTEM_SCOPE;
  static const icu::UnicodeString PARAM_STRUCTURED;
  static const icu::UnicodeString
      PARAM_STOP_INDEX_AFTER_TASK_ERROR;  ///< "supportWarningAndTaskError". Kept: peers know it so.

  // Header names of a peer's versions, booleans and separators.
  static const icu::UnicodeString IMPLEMENTATION_VERSION;  ///< header name of the server's version
  static const icu::UnicodeString SUPPORTED_SERVER_VERSIONS;
  static const icu::UnicodeString STRING_true;
  static const icu::UnicodeString STRING_false;
  static const icu::UnicodeString NEWLINE;  ///< one line feed
  static const icu::UnicodeString TAB;

  // Error identifiers: the message id of every exception of this library. Text equals name.
  static const icu::UnicodeString ERR_CONNECT_SERVER;
  static const icu::UnicodeString ERR_SERVER_COMM_RECV;
  static const icu::UnicodeString ERR_SERVER_COMM_SEND;
  static const icu::UnicodeString ERR_SERVER_COMM_TIMEOUT;
  static const icu::UnicodeString ERR_SERVER_PROTOCOL;
  static const icu::UnicodeString ERR_SERVER_INVALID_AUTH;
  static const icu::UnicodeString ERR_SERVER_APP;
  static const icu::UnicodeString WAR_SERVER_APP;  ///< never thrown by this library
  static const icu::UnicodeString ERR_CLIENT_RESP_PARSING;
  static const icu::UnicodeString ERR_CLIENT_INTERNAL;
  static const icu::UnicodeString ERR_INVALID_STATE;
};

}  // namespace orvix::comm
