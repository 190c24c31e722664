// SPDX-License-Identifier: Apache-2.0
// What a query may cost: its text is weighed before the engine's parser sees it, its run is stopped
// when it has used up its time.
#pragma once

#include <chrono>
#include <cstddef>
#include <string_view>
#include <xapian.h>

namespace orvix::server {

inline constexpr std::size_t MAX_QUERY_WORDS = 1000;
inline constexpr std::size_t MAX_QUERY_DEPTH = 100;
/// Words that all wildcards of a query together may stand for.
inline constexpr Xapian::termcount MAX_EXPANSION = 10000;

/// Runs of letters and digits count as words; of Chinese, Japanese and Korean text, which has no
/// blanks and is searched by pairs of characters, each character does.
/// Throws: QUERY_INVALID for too many words or parentheses within each other.
void checkQueryText(std::string_view query);
/// The number of words that one of the query's wildcards may stand for.
[[nodiscard]] Xapian::termcount expansionsPerWildcard(std::string_view query) noexcept;
/// True for a few plain words: no wildcard, no phrase, no distance.
[[nodiscard]] bool isLightQuery(std::string_view query) noexcept;

class QueryTooLong {};

/// When its thread has used `limit` of processor time since this was made. A search that is begun
/// again has one for all its tries.
class ProcessorDeadline {
 public:
  explicit ProcessorDeadline(std::chrono::milliseconds limit);
  [[nodiscard]] bool passed() const noexcept;

 private:
  std::chrono::nanoseconds end_;
};

/// Throws QueryTooLong when asked after the deadline.
class Stopwatch {
 public:
  /// Reading the clock takes longer than most steps.
  explicit Stopwatch(ProcessorDeadline end, unsigned stepsALook = 256)
      : end_(end), stepsALook_(stepsALook) {}
  /// Looks at the clock with every so many steps only.
  void step();

 private:
  ProcessorDeadline end_;
  unsigned stepsALook_;
  unsigned steps_ = 0;
};

/// The query, but matching throws QueryTooLong after the deadline. Changes neither which documents
/// match nor their order or weights, but for the engine's percentages. A light query is asked about
/// as it passes some document numbers, any other at every candidate, before the places of its words
/// are looked at.
[[nodiscard]] Xapian::Query withTimeLimit(const Xapian::Query& query, ProcessorDeadline end,
                                          bool light);

/// The same for a match whose percentages count and whose estimates do not: a decider that takes
/// all. It is not asked about documents that only the places of their words rule out, so it may
/// stop later.
class PatientDecider : public Xapian::MatchDecider {
 public:
  explicit PatientDecider(ProcessorDeadline end) : watch_(end) {}
  bool operator()(const Xapian::Document&) const override {
    watch_.step();
    return true;
  }

 private:
  mutable Stopwatch watch_;
};

}  // namespace orvix::server
