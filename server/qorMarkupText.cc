// SPDX-License-Identifier: Apache-2.0
// libxml2 as a stream of events: no tree is built, and nothing recurses with the document's depth.
// It reads through a callback, so that the time can be watched within a single tag, too:
// attributes, given or declared with a default, cost it their square. Of XML it takes that cost
// at the tag's end, where nobody is asked, so there they are counted as they come in.
#include "server/qorMarkupText.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <ctime>
#include <exception>
#include <libxml/HTMLparser.h>
#include <libxml/SAX2.h>
#include <libxml/parser.h>
#include <libxml/parserInternals.h>
#include <memory>
#include <mutex>
#include <utility>

#include "server/qorRefusal.h"

namespace orvix::server {

namespace {

constexpr unsigned EVENTS_BETWEEN_LOOKS = 16;
constexpr std::size_t MAX_GROWTH = 4;
constexpr std::size_t ALWAYS_GRANTED = 64U << 10U;
constexpr std::string_view XHTML = "http://www.w3.org/1999/xhtml";

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

std::string_view viewOf(const xmlChar* text) noexcept {
  return text == nullptr ? std::string_view() : reinterpret_cast<const char*>(text);
}

std::time_t processorSeconds() noexcept {
  timespec now{};
  ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return now.tv_sec;
}

/// Counts the attributes of a tag of XML before there is a tag: the signs of equality since its
/// first bracket, of which it can have no other. Sections of text are passed over, and whatever the
/// parser has come past.
class AttributeWatch {
 public:
  /// Answers whether there are few enough.
  bool see(std::string_view piece) noexcept {
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
  void pass() noexcept { count_ = 0; }

 private:
  std::size_t sinceBracket_ = 0;
  unsigned count_ = 0;
  bool declaration_ = false;
  bool section_ = false;
};

/// Collects the text of one document. Its failure is kept and the parser stopped: no exception may
/// pass through it.
class Gatherer {
 public:
  Gatherer(std::string_view source, bool isXml, unsigned seconds)
      : source_(source),
        isXml_(isXml),
        longest_(source.size() * MAX_GROWTH + ALWAYS_GRANTED),
        seconds_(seconds),
        end_(processorSeconds() + seconds) {}

  void start(std::string_view name, bool html) {
    if (html && isOneOf(LEFT_OUT, name)) ++leftOut_;
    if (!html || !isOneOf(INLINE, name)) add("\n");
  }
  void end(std::string_view name, bool html) {
    if (html && leftOut_ != 0 && isOneOf(LEFT_OUT, name)) --leftOut_;
    if (!html || !isOneOf(INLINE, name)) add("\n");
  }
  void enter() {
    started_ = true;
    if (++depth_ > MAX_XML_DEPTH) {
      fail("has more than " + std::to_string(MAX_XML_DEPTH) + " elements within each other");
    }
  }
  void leave() noexcept { --depth_; }
  void add(std::string_view text) {
    attributes_.pass();
    if (leftOut_ != 0) return;
    if (text.size() > longest_ - text_.size()) fail("grows beyond measure by its entities");
    text_.append(text);
  }
  void look() {
    if (processorSeconds() >= end_) {
      fail("takes more than " + std::to_string(seconds_) + " seconds of processor time to read");
    }
  }
  void lookAtTimes() {
    if (++events_ % EVENTS_BETWEEN_LOOKS == 0) look();
  }
  int read(char* buffer, int room) {
    const std::size_t count = std::min(source_.size(), static_cast<std::size_t>(room));
    look();
    if (isXml_) watch(source_.substr(0, count));
    std::memcpy(buffer, source_.data(), count);
    source_.remove_prefix(count);
    return static_cast<int>(count);
  }
  void keepFailure() noexcept { failure_ = std::current_exception(); }
  [[nodiscard]] bool failed() const noexcept { return failure_ != nullptr; }
  void keepError(std::string text) {
    if (error_.empty()) error_ = std::move(text);
  }

  void raiseFailure() const {
    if (failure_) std::rethrow_exception(failure_);
  }
  [[nodiscard]] const std::string& error() const noexcept { return error_; }
  [[nodiscard]] std::string& text() noexcept { return text_; }

 private:
  void watch(std::string_view piece) {
    before_ += piece.size();
    if (!started_ && before_ > MAX_XML_PROLOGUE) {
      fail("has more than " + std::to_string(MAX_XML_PROLOGUE) + " bytes before its first element");
    }
    if (!attributes_.see(piece)) {
      fail("has an element of more than " + std::to_string(MAX_XML_ATTRIBUTES) + " attributes");
    }
  }
  [[noreturn]] static void fail(const std::string& what) {
    refuse(MessageId::CONTENT_MALFORMED, "The document's markup " + what);
  }

  std::string_view source_;  // what is still to be read
  bool isXml_;
  bool started_ = false;    // the first element was seen
  std::size_t before_ = 0;  // bytes read by then
  AttributeWatch attributes_;
  std::string text_;
  std::size_t longest_;
  unsigned seconds_;
  std::time_t end_;
  unsigned events_ = 0;
  unsigned leftOut_ = 0;  // elements that are open and whose text does not count
  unsigned depth_ = 0;
  std::exception_ptr failure_;
  std::string error_;
};

/// Runs `work` for an event. The context may be that of an entity's text, which knows the same
/// gatherer.
template <typename Work>
void onEvent(void* context, const Work& work) noexcept {
  auto* parser = static_cast<xmlParserCtxtPtr>(context);
  auto& gatherer = *static_cast<Gatherer*>(parser->_private);
  try {
    if (!gatherer.failed()) {
      gatherer.lookAtTimes();
      work(gatherer);
    }
  } catch (...) {
    gatherer.keepFailure();
  }
  if (gatherer.failed()) xmlStopParser(parser);
}

int onRead(void* context, char* buffer, int room) noexcept {
  auto& gatherer = *static_cast<Gatherer*>(context);
  try {
    if (!gatherer.failed()) return gatherer.read(buffer, room);
  } catch (...) {
    gatherer.keepFailure();
  }
  return -1;
}

/// The first fatal one. What the parser quotes of the document is shortened.
void onError(void* context, xmlErrorPtr error) noexcept {
  onEvent(context, [error](Gatherer& gatherer) {
    if (error->level != XML_ERR_FATAL) return;
    std::string_view reason = error->message == nullptr ? "unknown fault" : error->message;
    reason = reason.substr(0, std::min(reason.find('\n'), std::size_t{200}));
    gatherer.keepError("at line " + std::to_string(error->line) + ", column " +
                       std::to_string(error->int2) + ": " + std::string(reason));
  });
}

void onCharacters(void* context, const xmlChar* text, int length) noexcept {
  onEvent(context, [=](Gatherer& gatherer) {
    gatherer.add({reinterpret_cast<const char*>(text), static_cast<std::size_t>(length)});
  });
}

/// An entity that the document does not declare itself, for its DTD is elsewhere: most often one of
/// HTML's. Those that it declares have been resolved by now.
void onReference(void* context, const xmlChar* name) noexcept {
  const auto* parser = static_cast<xmlParserCtxtPtr>(context);
  if (xmlGetDocEntity(parser->myDoc, name) != nullptr) return;
  const htmlEntityDesc* known = htmlEntityLookup(name);
  std::array<xmlChar, 8> bytes{' '};
  const int length =
      known == nullptr ? 1 : xmlCopyCharMultiByte(bytes.data(), static_cast<int>(known->value));
  onCharacters(context, bytes.data(), length);
}

void onXmlStart(void* context, const xmlChar* name, const xmlChar* /*prefix*/, const xmlChar* space,
                int /*namespaces*/, const xmlChar** /*declared*/, int /*attributes*/,
                int /*defaulted*/, const xmlChar** /*values*/) noexcept {
  onEvent(context, [=](Gatherer& gatherer) {
    gatherer.enter();
    gatherer.start(viewOf(name), viewOf(space) == XHTML);
  });
}

void onXmlEnd(void* context, const xmlChar* name, const xmlChar* /*prefix*/,
              const xmlChar* space) noexcept {
  onEvent(context, [=](Gatherer& gatherer) {
    gatherer.leave();
    gatherer.end(viewOf(name), viewOf(space) == XHTML);
  });
}

void onHtmlStart(void* context, const xmlChar* name, const xmlChar** attributes) noexcept {
  onEvent(context, [=](Gatherer& gatherer) {
    gatherer.start(viewOf(name), true);
    for (const xmlChar** each = attributes; each != nullptr && *each != nullptr; each += 2) {
      if (viewOf(each[0]) != "alt") continue;
      gatherer.add(" ");
      gatherer.add(viewOf(each[1]));
      gatherer.add(" ");
    }
  });
}

void onHtmlEnd(void* context, const xmlChar* name) noexcept {
  onEvent(context, [=](Gatherer& gatherer) { gatherer.end(viewOf(name), true); });
}

/// What of the parser's own handlers would write to standard error or look outside.
void takeOver(xmlSAXHandler& handler) noexcept {
  handler.characters = onCharacters;
  handler.ignorableWhitespace = onCharacters;
  handler.cdataBlock = onCharacters;
  handler.comment = nullptr;
  handler.processingInstruction = nullptr;
  handler.resolveEntity = nullptr;
  handler.externalSubset = nullptr;
  handler.warning = nullptr;
  handler.error = nullptr;
  handler.fatalError = nullptr;
  handler.initialized = XML_SAX2_MAGIC;  // else `serror` is not called
  handler.serror = onError;
}

/// Its process-wide parts have to be ready before threads meet in it.
void prepareLibrary() {
  static std::once_flag once;
  std::call_once(once, [] {
    xmlInitParser();
    // Nothing should get there; should anything, it finds nothing.
    xmlSetExternalEntityLoader(
        [](const char*, const char*, xmlParserCtxtPtr) -> xmlParserInputPtr { return nullptr; });
  });
}

struct FreeParser {
  void operator()(xmlParserCtxtPtr parser) const noexcept {
    xmlFreeDoc(parser->myDoc);
    parser->myDoc = nullptr;
    xmlFreeParserCtxt(parser);
  }
};
using Parser = std::unique_ptr<xmlParserCtxt, FreeParser>;

Parser parserFor(xmlParserCtxtPtr made, Gatherer& gatherer) {
  if (made == nullptr) throw std::bad_alloc();
  Parser parser(made);
  takeOver(*parser->sax);
  parser->_private = &gatherer;
  return parser;
}

}  // namespace

std::string textOfXml(std::string_view utf8, unsigned seconds) {
  prepareLibrary();
  Gatherer gatherer(utf8, true, seconds);
  const Parser parser = parserFor(xmlNewParserCtxt(), gatherer);
  parser->sax->startElementNs = onXmlStart;
  parser->sax->endElementNs = onXmlEnd;
  parser->sax->reference = onReference;
  xmlFreeDoc(
      xmlCtxtReadIO(parser.get(), onRead, nullptr, &gatherer, nullptr, "UTF-8", XML_PARSE_NONET));
  gatherer.raiseFailure();
  if (parser->wellFormed == 0) {
    refuse(MessageId::CONTENT_MALFORMED, "The document's XML is ill-formed " + gatherer.error());
  }
  return std::move(gatherer.text());
}

std::string textOfHtml(std::string_view utf8, unsigned seconds) {
  prepareLibrary();
  std::string source(utf8);
  std::replace(source.begin(), source.end(), '\0', ' ');  // it would end the document
  Gatherer gatherer(source, false, seconds);
  const Parser parser = parserFor(htmlNewParserCtxt(), gatherer);
  parser->sax->startElement = onHtmlStart;
  parser->sax->endElement = onHtmlEnd;
  xmlFreeDoc(htmlCtxtReadIO(parser.get(), onRead, nullptr, &gatherer, nullptr, "UTF-8",
                            HTML_PARSE_RECOVER | HTML_PARSE_NONET | HTML_PARSE_IGNORE_ENC));
  gatherer.raiseFailure();
  return std::move(gatherer.text());
}

}  // namespace orvix::server
