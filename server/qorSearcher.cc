// SPDX-License-Identifier: Apache-2.0
// Queries are parsed against the field list and matched on the last committed state. Document
// numbers are stable and never reused, so a list of them survives later commits.
#include "server/qorSearcher.h"

#include <algorithm>
#include <chrono>
#include <numeric>
#include <optional>
#include <utility>

#include "server/qorFieldRegistry.h"
#include "server/qorLanguages.h"
#include "server/qorQueryLimits.h"
#include "server/qorRefusal.h"
#include "server/qorServerWords.h"
#include "server/qorSortKey.h"
#include "server/qorTextDecoder.h"

namespace orvix::server {

namespace {

constexpr unsigned QUERY_FLAGS =
    Xapian::QueryParser::FLAG_BOOLEAN | Xapian::QueryParser::FLAG_PHRASE |
    Xapian::QueryParser::FLAG_LOVEHATE | Xapian::QueryParser::FLAG_WILDCARD |
    Xapian::QueryParser::FLAG_PURE_NOT | Xapian::QueryParser::FLAG_CJK_NGRAM;
constexpr const char* EVERYTHING = "*";
constexpr std::chrono::seconds TIME_LIMIT{10};
/// Light queries in so few documents are over long before the time is.
constexpr Xapian::doccount UNWATCHED = 200000;
/// Estimates look at this many matches at least, which makes small ones exact.
constexpr Xapian::doccount CHECKED_FOR_ESTIMATE = 1000;
constexpr double PERCENT = 100.0;

bool isQueryWordByte(char byte) noexcept {
  return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
         (byte >= '0' && byte <= '9') || byte == '_' || static_cast<unsigned char>(byte) >= 0x80;
}

/// The parser takes only word characters before the colon: others are written as '_'.
std::string queryNameOf(std::string name) {
  std::replace_if(
      name.begin(), name.end(), [](char byte) { return !isQueryWordByte(byte); }, '_');
  return name;
}

/// BM25 with the customary b and the upper end of the customary k1; lengths count in full.
Xapian::BM25Weight weighting() {
  constexpr double K1 = 2;
  constexpr double B = 0.75;
  return Xapian::BM25Weight(K1, /*k2=*/0, /*k3=*/1, B, /*min_normlen=*/0);
}

/// field:low..high over the stored sort keys, ends included. Without one end the range holds
/// whatever is of the other end's kind, numbers or texts; without both, whatever has the field.
class FieldRange : public Xapian::RangeProcessor {
 public:
  FieldRange(Xapian::valueno field, const std::string& prefix, std::string language)
      : RangeProcessor(field, prefix), language_(std::move(language)) {}

  Xapian::Query operator()(const std::string& low, const std::string& high) override {
    const bool open = low.empty() && high.empty();
    const bool numbers = isNumberKey(sortKeyOf(low.empty() ? high : low, language_));
    return {Xapian::Query::OP_VALUE_RANGE, slot,
            low.empty() ? leastSortKey(open || numbers) : sortKeyOf(low, language_),
            high.empty() ? greatestSortKey(!open && numbers) : sortKeyOf(high, language_)};
  }

 private:
  std::string language_;
};

/// Comes last: says what is wrong with a range that no field took.
class UnknownRange : public Xapian::RangeProcessor {
 public:
  Xapian::Query operator()(const std::string& low, const std::string& high) override {
    throw Xapian::QueryParserError("the range " + low + ".." + high +
                                   " does not start with a sortable field and a colon; give "
                                   "field:low..high, or a blank between the dots");
  }
};

/// Two dots in a word that has a colon before them. Others, as the dots of a pause, are no range.
bool hasRange(std::string_view text) noexcept {
  for (std::size_t at = text.find(".."); at != text.npos; at = text.find("..", at + 1)) {
    const std::size_t colon = text.substr(0, at).find_last_of(": \t\r\n");
    if (colon != text.npos && text[colon] == ':') return true;
  }
  return false;
}

void addRanges(Xapian::QueryParser& parser, const FieldRegistry& fields,
               const std::string& language) {
  for (const auto& [name, field] : fields.all()) {
    if (!field.sortable) continue;
    const std::string prefix = queryNameOf(name) + ':';
    auto* range = new FieldRange(FieldRegistry::slotOf(field), prefix, language);
    parser.add_rangeprocessor(range->release(), &prefix);  // the parser counts and frees them
  }
  parser.add_rangeprocessor((new UnknownRange)->release());
}

Xapian::Query parseQuery(const Xapian::Database& database, const FieldRegistry& fields,
                         const std::string& text, const std::string& language) {
  if (text == EVERYTHING) return Xapian::Query::MatchAll;
  Xapian::QueryParser parser;
  parser.set_database(database);
  parser.set_stemmer(stemmerOf(language));
  parser.set_stemming_strategy(Xapian::QueryParser::STEM_SOME);
  parser.set_max_expansion(expansionsPerWildcard(text));
  for (const auto& [name, field] : fields.all()) {
    if (field.searchable) parser.add_prefix(queryNameOf(name), FieldRegistry::prefixOf(field));
  }
  checkQueryText(text);
  if (hasRange(text)) addRanges(parser, fields, language);
  return parser.parse_query(text, QUERY_FLAGS);
}

/// The time of one search, however often commits overtake it. Runs from when it is first needed:
/// what cannot take long is spared the asking for the time.
class SearchClock {
 public:
  ProcessorDeadline end() {
    if (!end_) end_.emplace(TIME_LIMIT);
    return *end_;
  }
  Xapian::Query watch(const Xapian::Query& query, std::string_view text,
                      Xapian::doccount documents) {
    const bool light = isLightQuery(text);
    return light && documents <= UNWATCHED ? query : withTimeLimit(query, end(), light);
  }

 private:
  std::optional<ProcessorDeadline> end_;
};

/// Calls `work`; what the engine says about the query itself becomes a refusal that quotes it.
template <typename Work>
auto judgingQuery(const std::string& query, const Work& work) {
  std::string complaint;
  try {
    return work();
  } catch (const Xapian::QueryParserError& error) {
    complaint = error.get_msg();
  } catch (const Xapian::WildcardError& error) {
    complaint = error.get_msg();
  } catch (const QueryTooLong&) {
    complaint = "it takes more than " + std::to_string(TIME_LIMIT.count()) +
                " seconds of processor time; ask for less";
  }
  refuse(MessageId::QUERY_INVALID, "The query " + inQuotes(query) + " cannot be run: " + complaint);
}

void sortByField(Xapian::Enquire& enquire, Xapian::MultiValueKeyMaker& keys,
                 const FieldRegistry::Field& field) {
  keys.add_value(FieldRegistry::slotOf(field), false, lastSortKey());
  enquire.set_sort_by_key_then_relevance(&keys, false);
}

void setOrder(Xapian::Enquire& enquire, Xapian::MultiValueKeyMaker& keys,
              const SearchOptions& options, const FieldRegistry& fields, bool empty) {
  if (options.unsorted) {
    enquire.set_sort_by_value(Xapian::BAD_VALUENO - 1,
                              false);  // no document has it: order of number
    return;
  }
  if (options.sortField.empty()) return;
  const FieldRegistry::Field* field = fields.find(options.sortField);
  if (field != nullptr && field->sortable) {
    sortByField(enquire, keys, *field);
  } else if (!empty) {
    refuse(MessageId::SORT_FIELD_UNKNOWN,
           "No document has the sortable field " + inQuotes(options.sortField) +
               "; send it with the prefix " + inQuotes(words().sortable));
  }
}

std::vector<Hit> hitsOf(const CollectionView& view, const SearchOptions& options,
                        SearchClock& clock) {
  const Xapian::doccount documents = view.database.get_doccount();
  Xapian::MultiValueKeyMaker keys;
  Xapian::Enquire enquire(view.database);
  std::optional<PatientDecider> decider;
  const Xapian::Query query =
      parseQuery(view.database, view.fields, options.query, options.language);
  if (options.normalized) {
    decider.emplace(clock.end());
    enquire.set_query(query);
  } else {
    enquire.set_query(clock.watch(query, options.query, documents));
  }
  enquire.set_weighting_scheme(weighting());
  setOrder(enquire, keys, options, view.fields, documents == 0);
  const Xapian::doccount start = std::min(options.start, documents);
  const Xapian::MSet matches = enquire.get_mset(start, std::min(options.wanted, documents - start),
                                                0, nullptr, decider ? &*decider : nullptr);
  std::vector<Hit> hits;
  hits.reserve(matches.size());
  for (auto match = matches.begin(); match != matches.end(); ++match) {
    const double score = options.normalized ? match.get_percent() / PERCENT : match.get_weight();
    hits.push_back({*match, static_cast<float>(score)});
  }
  return hits;
}

/// The work on the view, which is made current before every further try.
template <typename Work>
auto onSteadyView(Board& board, CollectionView& view, const Work& work) {
  bool overtaken = false;
  return steadily(board, [&] {
    if (std::exchange(overtaken, true)) view.refresh();
    return work();
  });
}

std::string requiredQuery(const Properties& request) {
  const std::string_view query = valueOf(request, words().query);
  if (query.empty()) refuse(MessageId::QUERY_INVALID, "The request carries no query; give one");
  return toUtf8(query, {});
}

}  // namespace

SearchOptions searchOptionsOf(const Properties& request, const CollectionView& collection) {
  const ServerWords& w = words();
  SearchOptions options;
  options.query = requiredQuery(request);
  options.language = languageOfQuery(request, collection.config.language);
  options.start = numberOf(request, w.start).value_or(0);
  const std::uint32_t most = UINT32_MAX;
  options.wanted = std::min(numberOf(request, w.size).value_or(most),
                            numberOf(request, w.resultLimit).value_or(most));
  options.normalized = valueOf(request, w.scoreType) == w.normalized;
  const std::string_view sort = valueOf(request, w.sortField);
  options.unsorted = sort == w.unsorted;
  if (!options.unsorted && sort != w.sortByScore) options.sortField = splitFieldName(sort).bare;
  return options;
}

/// Reads in the order of the documents' numbers: neighbours share a block, which is read once then.
std::vector<std::string> SearchRun::keysFrom(std::size_t first, std::size_t count) {
  std::vector<std::size_t> order(std::min(count, hits_.size() - first));
  std::iota(order.begin(), order.end(), std::size_t{0});
  const auto documentAt = [this, first](std::size_t at) { return hits_[first + at].document; };
  std::sort(order.begin(), order.end(), [&](std::size_t left, std::size_t right) {
    return documentAt(left) < documentAt(right);
  });
  std::vector<std::string> keys(order.size());
  for (const std::size_t at : order) keys[at] = keyOf(hits_[first + at]);
  return keys;
}

std::string SearchRun::keyOf(const Hit& hit) {
  if (const auto known = view_->keys.find(hit.document)) return std::string(*known);
  std::string key = readKeyOf(hit);
  view_->keys.add(hit.document, key);
  return key;
}

std::string SearchRun::readKeyOf(const Hit& hit) {
  bool overtaken = false;
  for (;;) {
    try {
      if (overtaken) {  // the current revision has the same numbers
        view_->stale = true;
        view_->database.reopen();
      }
      // Without a look whether it is there: one that is gone has no data, the others are faster.
      return view_->database.get_document(hit.document, Xapian::DOC_ASSUME_VALID).get_data();
    } catch (const Xapian::DatabaseModifiedError&) {
      overtaken = true;
    } catch (const Xapian::DocNotFoundError&) {
      return {};
    }
  }
}

SearchRun runSearch(Readers& readers, std::string_view collection, const Properties& request) {
  Readers::Lease view = readers.take(collection);
  SearchClock clock;
  std::vector<Hit> hits = onSteadyView(readers.board(), *view, [&] {
    const SearchOptions options = searchOptionsOf(request, *view);
    return judgingQuery(options.query, [&] { return hitsOf(*view, options, clock); });
  });
  return {std::move(view), std::move(hits)};
}

Estimate estimateMatches(Readers& readers, std::string_view collection, const Properties& request) {
  const std::string query = requiredQuery(request);
  const Readers::Lease view = readers.take(collection);
  SearchClock clock;
  return onSteadyView(readers.board(), *view, [&] {
    const std::string language = languageOfQuery(request, view->config.language);
    return judgingQuery(query, [&] {
      Xapian::Enquire enquire(view->database);
      const Xapian::doccount documents = view->database.get_doccount();
      enquire.set_query(clock.watch(parseQuery(view->database, view->fields, query, language),
                                    query, documents));
      const Xapian::MSet matches = enquire.get_mset(0, 0, CHECKED_FOR_ESTIMATE);
      return Estimate{matches.get_matches_estimated(), matches.get_matches_lower_bound(),
                      documents};
    });
  });
}

}  // namespace orvix::server
