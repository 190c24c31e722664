// SPDX-License-Identifier: Apache-2.0
#include "bench/server/qorEngine.h"

#include <iterator>

namespace orvix::bench {

namespace {

constexpr const char* LANGUAGE = "en";
constexpr unsigned SERVER_FLAGS =
    Xapian::QueryParser::FLAG_BOOLEAN | Xapian::QueryParser::FLAG_PHRASE |
    Xapian::QueryParser::FLAG_LOVEHATE | Xapian::QueryParser::FLAG_WILDCARD |
    Xapian::QueryParser::FLAG_PURE_NOT | Xapian::QueryParser::FLAG_CJK_NGRAM;
constexpr unsigned WORDS_ONLY = 0;

constexpr const char* STOP_WORDS[] = {
    "a",    "an",   "and",   "any",   "are",   "as",    "at",   "be",   "been", "but",
    "by",   "can",  "do",    "does",  "for",   "from",  "has",  "have", "how",  "if",
    "in",   "into", "is",    "it",    "no",    "not",   "of",   "on",   "or",   "such",
    "that", "the",  "their", "then",  "there", "these", "they", "this", "to",   "was",
    "were", "what", "when",  "where", "which", "who",   "will", "with"};

const Xapian::Stopper& stopper() {
  static const Xapian::SimpleStopper STOPPER(std::begin(STOP_WORDS), std::end(STOP_WORDS));
  return STOPPER;
}

}  // namespace

EngineSettings serverSettings() { return {"engine, the server's settings", 2, 0.75}; }

EngineSettings plainSettings(double k1) {
  return {"plain BM25", k1, 0.75, 0, /*everyWordStemmed=*/true};
}

std::string contentOf(const Abstract& abstract, unsigned titles) {
  std::string content;
  for (unsigned i = 0; i < titles; ++i) content += abstract.title + ' ';
  return content + abstract.text;
}

Engine::Engine(EngineSettings settings, const std::vector<Abstract>& abstracts)
    : settings_(std::move(settings)), database_("", Xapian::DB_BACKEND_INMEMORY) {
  for (const Abstract& abstract : abstracts) index(abstract);
}

void Engine::index(const Abstract& abstract) {
  Xapian::Document document;
  document.set_data(abstract.key);
  Xapian::TermGenerator generator;
  generator.set_document(document);
  generator.set_stemmer(Xapian::Stem(LANGUAGE));
  generator.set_stemming_strategy(settings_.everyWordStemmed ? Xapian::TermGenerator::STEM_ALL
                                                             : Xapian::TermGenerator::STEM_SOME);
  generator.index_text(contentOf(abstract, settings_.titles));
  database_.add_document(document);
}

Xapian::Query Engine::parsed(const std::string& query) const {
  Xapian::QueryParser parser;
  parser.set_database(database_);
  parser.set_stemmer(Xapian::Stem(LANGUAGE));
  parser.set_stemming_strategy(settings_.everyWordStemmed ? Xapian::QueryParser::STEM_ALL
                                                          : Xapian::QueryParser::STEM_SOME);
  if (settings_.stopWords) parser.set_stopper(&stopper());
  return parser.parse_query(query, settings_.everyWordStemmed ? WORDS_ONLY : SERVER_FLAGS);
}

Ranking Engine::search(const std::string& query, unsigned wanted) const {
  Xapian::Enquire enquire(database_);
  enquire.set_query(parsed(query));
  enquire.set_weighting_scheme(
      Xapian::BM25Weight(settings_.k1, 0, 1, settings_.b, settings_.leastLength));
  const Xapian::MSet matches = enquire.get_mset(0, wanted);
  Ranking ranking;
  for (auto match = matches.begin(); match != matches.end(); ++match) {
    ranking.push_back(match.get_document().get_data());
  }
  return ranking;
}

}  // namespace orvix::bench
