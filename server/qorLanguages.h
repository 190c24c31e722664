// SPDX-License-Identifier: Apache-2.0
// Chooses the stemmer of a text from the language tags and locales that requests carry.
#pragma once

#include <string>
#include <string_view>
#include <xapian.h>

#include "server/qorProperties.h"

namespace orvix::server {

/// "en_US", "en-us" or "EN" -> "en": the first subtag, in lower case.
[[nodiscard]] std::string primaryLanguage(std::string_view tag);

/// The stemmer of the tag's language; one that changes nothing where the engine has none.
[[nodiscard]] Xapian::Stem stemmerOf(std::string_view tag);

/// The language that a create request gives its collection.
[[nodiscard]] std::string languageOfCollection(const Properties& properties);

/// The language of a document, or of a query, else the collection's.
[[nodiscard]] std::string languageOfDocument(const Properties& properties,
                                             const std::string& collectionLanguage);
[[nodiscard]] std::string languageOfQuery(const Properties& properties,
                                          const std::string& collectionLanguage);

}  // namespace orvix::server
