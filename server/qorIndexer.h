// SPDX-License-Identifier: Apache-2.0
// Turns one decoded document into the engine's form: words of the content, words of the searchable
// fields under their prefix, sort keys of the sortable ones, and the key.
#pragma once

#include <string>
#include <xapian.h>

#include "server/qorContentType.h"
#include "server/qorDocumentBody.h"
#include "server/qorFieldRegistry.h"
#include "server/qorProperties.h"

namespace orvix::server {

/// How the text of a document is to be read.
struct TextSettings {
  std::string language;
  std::string charset;  ///< of the content; fields are always UTF-8. Empty: as the document says
  ContentType type = {};
};

/// What the request says about its document's text, with the collection's language behind it.
[[nodiscard]] TextSettings textSettingsOf(const Properties& properties,
                                          const std::string& collectionLanguage);

/// New fields are added to `registry`. Field names and values are cleaned to well-formed UTF-8.
/// Throws: CONTENT_TYPE_UNSUPPORTED, CHARSET_UNKNOWN, CONTENT_MALFORMED, FIELD_INVALID,
///         TERM_TOO_LONG; the registry may have grown by then, which does no harm.
[[nodiscard]] Xapian::Document buildDocument(const DocumentBody& body, const TextSettings& settings,
                                             FieldRegistry& registry);

}  // namespace orvix::server
