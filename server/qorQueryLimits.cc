// SPDX-License-Identifier: Apache-2.0
// The engine's own time limit only makes estimates coarser. A source of "all documents" that is
// asked about every candidate sees the time pass, and may throw.
#include "server/qorQueryLimits.h"

#include <algorithm>
#include <cctype>
#include <string>
#include <time.h>

#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include "server/qorRefusal.h"

namespace orvix::server {

namespace {

constexpr std::size_t LIGHT_QUERY = 200;  // bytes
/// Two such steps, which are what lies between two looks, take a light query some tens of
/// milliseconds at most.
constexpr Xapian::docid WIDE_STEP = 4096;

constexpr UChar32 FIRST_WITHOUT_BLANKS = 0x2e80;  // where scripts begin that have none

constexpr UChar32 ILL_FORMED = 0xfffd;  // the engine takes such a byte for a character of its own

/// What the engine makes words of.
bool isOfWord(UChar32 character) noexcept {
  constexpr auto OF_WORDS = U_GC_L_MASK | U_GC_M_MASK | U_GC_N_MASK | U_GC_PC_MASK;
  return character == ILL_FORMED || (U_GET_GC_MASK(character) & OF_WORDS) != 0;
}

/// Everything else separates words here, also what the engine keeps within one: the full stop of
/// 1.5 makes two of it.
std::size_t wordsIn(std::string_view query) {
  const auto text = icu::UnicodeString::fromUTF8({query.data(), static_cast<int>(query.size())});
  std::size_t words = 0;
  bool inside = false;
  for (std::int32_t at = 0; at < text.length(); at = text.moveIndex32(at, 1)) {
    const UChar32 character = text.char32At(at);
    const bool ofWord = isOfWord(character);
    if (ofWord && (!inside || character >= FIRST_WITHOUT_BLANKS)) ++words;
    inside = ofWord;
  }
  return words;
}

/// Parentheses within phrases count, too: the parser decides what a phrase is, and it is not asked
/// yet.
std::size_t depthOf(std::string_view query) noexcept {
  std::size_t depth = 0;
  std::size_t deepest = 0;
  for (const char byte : query) {
    if (byte == '(') deepest = std::max(deepest, ++depth);
    if (byte == ')' && depth > 0) --depth;
  }
  return deepest;
}

/// Other signs than these ask for phrases, in quotation marks or between the parts of "a-b", for
/// wildcards or for ranges.
bool isPlain(char byte) noexcept {
  const auto number = static_cast<unsigned char>(byte);
  return number >= 0x80 || std::isalnum(number) != 0 || byte == ' ' || byte == '_';
}

std::chrono::nanoseconds processorTime() noexcept {
  timespec now{};
  ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
}

/// The documents whose numbers `step` divides, and a look at the clock now and then. Its weight is
/// 0.
class Watch : public Xapian::PostingSource {
 public:
  Watch(ProcessorDeadline end, Xapian::docid step)
      : watch_(step == 1 ? Stopwatch(end) : Stopwatch(end, 2)), step_(step) {}

  Xapian::doccount get_termfreq_min() const override { return documents_; }
  Xapian::doccount get_termfreq_est() const override { return documents_; }
  Xapian::doccount get_termfreq_max() const override { return documents_; }
  Xapian::docid get_docid() const override { return at_; }
  bool at_end() const override { return at_ > last_; }
  void next(double) override { moveTo(at_ + 1); }
  void skip_to(Xapian::docid to, double) override { moveTo(std::max(to, at_)); }
  bool check(Xapian::docid to, double) override {
    moveTo(std::max(to, at_));
    return true;
  }
  void init(const Xapian::Database& database) override {
    at_ = 0;
    last_ = database.get_lastdocid();
    documents_ = database.get_doccount();
  }
  std::string get_description() const override { return "Watch"; }

 private:
  void moveTo(Xapian::docid to) {
    const Xapian::docid over = to % step_;
    at_ = over == 0 ? to : to - over + step_;
    watch_.step();
  }

  Stopwatch watch_;
  Xapian::docid step_;
  Xapian::docid at_ = 0;
  Xapian::docid last_ = 0;
  Xapian::doccount documents_ = 0;
};

}  // namespace

ProcessorDeadline::ProcessorDeadline(std::chrono::milliseconds limit)
    : end_(processorTime() + limit) {}

bool ProcessorDeadline::passed() const noexcept { return processorTime() > end_; }

void Stopwatch::step() {
  if (++steps_ % stepsALook_ == 0 && end_.passed()) throw QueryTooLong();
}

void checkQueryText(std::string_view query) {
  if (isLightQuery(query)) return;  // too short for either
  if (const std::size_t words = wordsIn(query); words > MAX_QUERY_WORDS) {
    refuse(MessageId::QUERY_INVALID, "The query has " + std::to_string(words) +
                                         " words; this server takes " +
                                         std::to_string(MAX_QUERY_WORDS) + " at most");
  }
  if (const std::size_t depth = depthOf(query); depth > MAX_QUERY_DEPTH) {
    refuse(MessageId::QUERY_INVALID, "The query has " + std::to_string(depth) +
                                         " parentheses within each other; this server takes " +
                                         std::to_string(MAX_QUERY_DEPTH) + " at most");
  }
}

Xapian::termcount expansionsPerWildcard(std::string_view query) noexcept {
  const auto wildcards = std::count(query.begin(), query.end(), '*');
  return std::max<Xapian::termcount>(
      1, MAX_EXPANSION / static_cast<Xapian::termcount>(std::max<std::ptrdiff_t>(1, wildcards)));
}

bool isLightQuery(std::string_view query) noexcept {
  return query.size() <= LIGHT_QUERY && std::all_of(query.begin(), query.end(), isPlain) &&
         query.find("NEAR") == std::string_view::npos &&
         query.find("ADJ") == std::string_view::npos;
}

/// Asking about every candidate costs a light query a sixth of its time.
Xapian::Query withTimeLimit(const Xapian::Query& query, ProcessorDeadline end, bool light) {
  if (query.empty()) return query;
  auto* watch = new Watch(end, light ? WIDE_STEP : 1);  // the query owns it
  return {light ? Xapian::Query::OP_AND_MAYBE : Xapian::Query::OP_FILTER, query,
          Xapian::Query(watch->release())};
}

}  // namespace orvix::server
