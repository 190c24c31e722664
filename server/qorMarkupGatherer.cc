// SPDX-License-Identifier: Apache-2.0
#include "server/qorMarkupGatherer.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include "server/qorMarkupText.h"
#include "server/qorRefusal.h"

namespace orvix::server {

namespace {

constexpr unsigned EVENTS_BETWEEN_LOOKS = 16;
constexpr std::size_t MAX_GROWTH = 4;
constexpr std::size_t ALWAYS_GRANTED = 64U << 10U;

/// What is set within a line. All others, those of later days among them, separate words.
constexpr std::array<std::string_view, 37> INLINE{
    "a",    "abbr", "acronym", "b",    "basefont", "bdi",   "bdo",    "big",    "blink", "cite",
    "code", "data", "del",     "dfn",  "em",       "font",  "i",      "ins",    "kbd",   "mark",
    "nobr", "q",    "s",       "samp", "small",    "span",  "strike", "strong", "sub",   "sup",
    "time", "tt",   "u",       "var",  "wbr",      "label", "output"};
constexpr std::array<std::string_view, 3> LEFT_OUT{"script", "style", "template"};

template <std::size_t N>
bool isOneOf(const std::array<std::string_view, N>& names, std::string_view name) noexcept {
  return std::find(names.begin(), names.end(), name) != names.end();
}

std::time_t processorSeconds() noexcept {
  timespec now{};
  ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return now.tv_sec;
}

[[noreturn]] void fail(const std::string& what) {
  refuse(MessageId::CONTENT_MALFORMED, "The document's markup " + what);
}

}  // namespace

bool AttributeWatch::see(std::string_view piece) noexcept {
  for (const char c : piece) {
    ++sinceBracket_;
    if (c == '<') {
      *this = {};
    } else if (sinceBracket_ == 1) {
      declaration_ = c == '!';
    } else if (sinceBracket_ == 2 && declaration_ && (c == '[' || c == '-')) {
      section_ = true;
    }
    if (c == '=' && !section_ && ++count_ > MAX_XML_ATTRIBUTES) return false;
  }
  return true;
}

MarkupGatherer::MarkupGatherer(std::string_view source, bool isXml, unsigned seconds)
    : source_(source),
      isXml_(isXml),
      longest_(source.size() * MAX_GROWTH + ALWAYS_GRANTED),
      seconds_(seconds),
      end_(processorSeconds() + seconds) {}

void MarkupGatherer::start(std::string_view name, bool html) {
  if (html && isOneOf(LEFT_OUT, name)) ++leftOut_;
  if (!html || !isOneOf(INLINE, name)) add("\n");
}

void MarkupGatherer::end(std::string_view name, bool html) {
  if (html && leftOut_ != 0 && isOneOf(LEFT_OUT, name)) --leftOut_;
  if (!html || !isOneOf(INLINE, name)) add("\n");
}

void MarkupGatherer::enter() {
  started_ = true;
  if (++depth_ > MAX_XML_DEPTH) {
    fail("has more than " + std::to_string(MAX_XML_DEPTH) + " elements within each other");
  }
}

void MarkupGatherer::add(std::string_view text) {
  attributes_.pass();
  if (leftOut_ != 0) return;
  if (text.size() > longest_ - text_.size()) fail("grows beyond measure by its entities");
  text_.append(text);
}

void MarkupGatherer::lookAtTimes() {
  if (++events_ % EVENTS_BETWEEN_LOOKS == 0) look();
}

int MarkupGatherer::read(char* buffer, int room) {
  const std::size_t count = std::min(source_.size(), static_cast<std::size_t>(room));
  look();
  if (isXml_) watch(source_.substr(0, count));
  std::memcpy(buffer, source_.data(), count);
  source_.remove_prefix(count);
  return static_cast<int>(count);
}

void MarkupGatherer::raiseFailure() const {
  if (failure_) std::rethrow_exception(failure_);
}

void MarkupGatherer::keepError(std::string text) {
  if (error_.empty()) error_ = std::move(text);
}

void MarkupGatherer::look() const {
  if (processorSeconds() >= end_) {
    fail("takes more than " + std::to_string(seconds_) + " seconds of processor time to read");
  }
}

void MarkupGatherer::watch(std::string_view piece) {
  before_ += piece.size();
  if (!started_ && before_ > MAX_XML_PROLOGUE) {
    fail("has more than " + std::to_string(MAX_XML_PROLOGUE) + " bytes before its first element");
  }
  if (!attributes_.see(piece)) {
    fail("has an element of more than " + std::to_string(MAX_XML_ATTRIBUTES) + " attributes");
  }
}

}  // namespace orvix::server
