// SPDX-License-Identifier: Apache-2.0
// UTF-8 copies of the shared protocol words, made once: the server compares bytes, not UTF-16.
// No word is spelled here; all come from the tables that the client library uses.
#pragma once

#include <string>

namespace orvix::server {

struct ServerWords {
  // Keys of header lines.
  std::string action, mode, authorization, contentLength, version, supportedServerVersions;
  std::string actionType, authToken, tablePassword, tableUser;
  std::string collection, displayName, documentKey, collectionDir, opcode, incremental;
  std::string query, queryLanguage, start, size, resultLimit, scoreWanted, scoreType, sortField;
  std::string documentLanguage, knownLanguage, fallbackLanguage, locale;
  std::string charset, knownCharset, mimeType, knownDocumentType;
  // Values.
  std::string scalar, sortByScore, unsorted, stringTrue, stringFalse, normalized, protocolVersion;
  std::string utf8, defaultLanguage, versionRange, versionList;
  std::string typeText, typeXml, typeUndefined, typeUnknown;
  // Punctuation of the header text.
  std::string separator, headerEnd;
  // Records of bodies and replies.
  std::string rowId, data, doc, messageId, messageText;
  // Prefixes of field names.
  std::string indexable, sortable;
};

/// Built on the first call, which may come from any thread; read-only afterwards.
[[nodiscard]] const ServerWords& words();

}  // namespace orvix::server
