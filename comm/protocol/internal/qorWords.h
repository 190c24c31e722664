// SPDX-License-Identifier: Apache-2.0
// The protocol words that callers do not need: keys of headers and records, values, separators.
// Operation names, path words and access classes hang on the request kind: see qorRequestKinds.h.
#pragma once

#include <unicode/unistr.h>

/// Read-only from load to unload, like StaticDefs.
namespace orvix::comm::detail::words {

extern const icu::UnicodeString ROW_ID;
extern const icu::UnicodeString DATA;
extern const icu::UnicodeString COLLECTION_NAME;
extern const icu::UnicodeString ACTION;
extern const icu::UnicodeString ACTION_TYPE;
extern const icu::UnicodeString CON_PERSIST;
extern const icu::UnicodeString USE_QUEUE;
extern const icu::UnicodeString MODE;
extern const icu::UnicodeString OUTPUT;
extern const icu::UnicodeString AUTHORIZATION;
extern const icu::UnicodeString DOC_TYPE;
extern const icu::UnicodeString COL_CONFIG;
extern const icu::UnicodeString COL_DATA;
extern const icu::UnicodeString VER;
extern const icu::UnicodeString PROTOCOL_VERSION;
extern const icu::UnicodeString VERSION_RANGE;
extern const icu::UnicodeString VERSION_LIST;
extern const icu::UnicodeString SUPPORTED_CLIENT_VERSIONS;
extern const icu::UnicodeString DOC_LANG;
extern const icu::UnicodeString CHARSET;
extern const icu::UnicodeString DEFAULT_LANGUAGE;
extern const icu::UnicodeString SCORE_TYPE;
extern const icu::UnicodeString SCALAR;
extern const icu::UnicodeString SELECTIVITY;
extern const icu::UnicodeString STREAMING;
extern const icu::UnicodeString
    DATA_SOURCE_HOST;  // Data-source type that names the host database product.
extern const icu::UnicodeString BASIC;
extern const icu::UnicodeString RAW;
extern const icu::UnicodeString NORMALIZED;
extern const icu::UnicodeString TRANSFER_ENCODING;
extern const icu::UnicodeString CHUNKED;
extern const icu::UnicodeString CONTENT_LENGTH_REPLY;  // In a plain-text reply.
extern const icu::UnicodeString
    HOST;  // This and the next five belong to request lines, which no request carries.
extern const icu::UnicodeString HTTP_1_1;
extern const icu::UnicodeString HTTP_1_0;
extern const icu::UnicodeString POST;
extern const icu::UnicodeString GET;
extern const icu::UnicodeString DELETE;
extern const icu::UnicodeString
    CONTENT_LENGTH;  // The trailing blanks are part of the key and go on the wire.
extern const icu::UnicodeString HEADER_END;
extern const icu::UnicodeString EMPTY;
extern const icu::UnicodeString DOC;
extern const icu::UnicodeString UNKNOWN;
extern const icu::UnicodeString UPDATE;
extern const icu::UnicodeString MONITOR;
extern const icu::UnicodeString SELECT;
extern const icu::UnicodeString ADMIN;
extern const icu::UnicodeString HEADER_SEPARATOR;
extern const icu::UnicodeString QUERY_OPEN;
extern const icu::UnicodeString QUERY_NEXT;
extern const icu::UnicodeString QUERY_VALUE;
extern const icu::UnicodeString MSG_ID;
extern const icu::UnicodeString MSG_TEXT;
extern const icu::UnicodeString URI;
extern const icu::UnicodeString STATUS_CODE;

}  // namespace orvix::comm::detail::words
