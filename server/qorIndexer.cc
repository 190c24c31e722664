// SPDX-License-Identifier: Apache-2.0
// Words are indexed as they stand, with positions, and once more stemmed: a query in double quotes
// meets the former, a plain one the latter.
#include "server/qorIndexer.h"

#include <algorithm>
#include <utility>

#include "server/qorDocumentTerm.h"
#include "server/qorLanguages.h"
#include "server/qorRefusal.h"
#include "server/qorServerWords.h"
#include "server/qorSortKey.h"
#include "server/qorTextDecoder.h"
#include "server/qorTextExtraction.h"

namespace orvix::server {

namespace {

/// Keeps a phrase from matching across two fields, or a field and the content.
constexpr Xapian::termcount FIELD_GAP = 100;
/// The engine's limit; it counts a zero byte as two.
constexpr std::size_t MAX_TERM = 245;

void indexField(const DocumentField& field, const TextSettings& settings, FieldRegistry& registry,
                Xapian::TermGenerator& generator, Xapian::Document& document) {
  const std::string name = toUtf8(field.name, {});
  const FieldName split = splitFieldName(name);
  if (!split.searchable && !split.sortable) return;
  const FieldRegistry::Field& known = registry.add(split);
  const std::string value = toUtf8(field.value, {});
  if (split.searchable) {
    generator.index_text(value, 1, FieldRegistry::prefixOf(known));
    generator.increase_termpos(FIELD_GAP);
  }
  if (split.sortable && document.get_value(FieldRegistry::slotOf(known)).empty()) {
    document.add_value(FieldRegistry::slotOf(known), sortKeyOf(value, settings.language));
  }
}

/// The engine notices a term that is too long only when it stores the document, and then drops the
/// whole batch.
void checkTerms(const Xapian::Document& document) {
  for (auto term = document.termlist_begin(); term != document.termlist_end(); ++term) {
    const std::string text = *term;
    const auto zeros = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\0'));
    if (text.size() + zeros <= MAX_TERM) continue;
    refuse(MessageId::TERM_TOO_LONG,
           "The document gives the term " + inQuotes(text) + " of " + std::to_string(text.size()) +
               " bytes, more than the engine takes; shorten the word or its field's name");
  }
}

}  // namespace

TextSettings textSettingsOf(const Properties& properties, const std::string& collectionLanguage) {
  ContentType type = contentTypeOf(properties);
  std::string_view charset = valueOf(properties, words().knownCharset);
  if (charset.empty()) charset = valueOf(properties, words().charset);
  if (charset.empty()) charset = type.charset;
  std::string name(charset);
  return {languageOfDocument(properties, collectionLanguage), std::move(name), std::move(type)};
}

Xapian::Document buildDocument(const DocumentBody& body, const TextSettings& settings,
                               FieldRegistry& registry) {
  Xapian::Document document;
  document.set_data(std::string(body.key));
  document.add_boolean_term(documentTermOf(body.key));
  Xapian::TermGenerator generator;
  generator.set_document(document);
  generator.set_stemmer(stemmerOf(settings.language));
  generator.set_stemming_strategy(Xapian::TermGenerator::STEM_SOME);
  generator.set_flags(Xapian::TermGenerator::FLAG_CJK_NGRAM);
  generator.index_text(body.contentIsText
                           ? toUtf8(body.content, {})
                           : extractText(body.content, settings.type, settings.charset));
  generator.increase_termpos(FIELD_GAP);
  for (const DocumentField& field : body.fields) {
    indexField(field, settings, registry, generator, document);
  }
  checkTerms(document);
  return document;
}

}  // namespace orvix::server
