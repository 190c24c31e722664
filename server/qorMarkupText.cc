// SPDX-License-Identifier: Apache-2.0
// libxml2 as a stream of events: no tree is built, and nothing recurses with the document's depth.
// It reads through a callback, so that the time can be watched within a single tag, too:
// attributes, given or declared with a default, cost it their square. Of XML it takes that cost
// at the tag's end, where nobody is asked, so there they are counted as they come in.
#include "server/qorMarkupText.h"

#include <algorithm>
#include <array>
#include <libxml/HTMLparser.h>
#include <libxml/SAX2.h>
#include <libxml/parser.h>
#include <libxml/parserInternals.h>
#include <memory>
#include <mutex>
#include <utility>

#include "server/qorMarkupGatherer.h"
#include "server/qorRefusal.h"

namespace orvix::server {

namespace {

constexpr std::string_view XHTML = "http://www.w3.org/1999/xhtml";

std::string_view viewOf(const xmlChar* text) noexcept {
  return text == nullptr ? std::string_view() : reinterpret_cast<const char*>(text);
}

/// Runs `work` for an event. The context may be that of an entity's text, which knows the same
/// gatherer.
template <typename Work>
void onEvent(void* context, const Work& work) noexcept {
  auto* parser = static_cast<xmlParserCtxtPtr>(context);
  auto& gatherer = *static_cast<MarkupGatherer*>(parser->_private);
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
  auto& gatherer = *static_cast<MarkupGatherer*>(context);
  try {
    if (!gatherer.failed()) return gatherer.read(buffer, room);
  } catch (...) {
    gatherer.keepFailure();
  }
  return -1;
}

/// The first fatal one. What the parser quotes of the document is shortened.
void onError(void* context, xmlErrorPtr error) noexcept {
  onEvent(context, [error](MarkupGatherer& gatherer) {
    if (error->level != XML_ERR_FATAL) return;
    std::string_view reason = error->message == nullptr ? "unknown fault" : error->message;
    reason = reason.substr(0, std::min(reason.find('\n'), std::size_t{200}));
    gatherer.keepError("at line " + std::to_string(error->line) + ", column " +
                       std::to_string(error->int2) + ": " + std::string(reason));
  });
}

void onCharacters(void* context, const xmlChar* text, int length) noexcept {
  onEvent(context, [=](MarkupGatherer& gatherer) {
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
  onEvent(context, [=](MarkupGatherer& gatherer) {
    gatherer.enter();
    gatherer.start(viewOf(name), viewOf(space) == XHTML);
  });
}

void onXmlEnd(void* context, const xmlChar* name, const xmlChar* /*prefix*/,
              const xmlChar* space) noexcept {
  onEvent(context, [=](MarkupGatherer& gatherer) {
    gatherer.leave();
    gatherer.end(viewOf(name), viewOf(space) == XHTML);
  });
}

void onHtmlStart(void* context, const xmlChar* name, const xmlChar** attributes) noexcept {
  onEvent(context, [=](MarkupGatherer& gatherer) {
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
  onEvent(context, [=](MarkupGatherer& gatherer) { gatherer.end(viewOf(name), true); });
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

Parser parserFor(xmlParserCtxtPtr made, MarkupGatherer& gatherer) {
  if (made == nullptr) throw std::bad_alloc();
  Parser parser(made);
  takeOver(*parser->sax);
  parser->_private = &gatherer;
  return parser;
}

}  // namespace

std::string textOfXml(std::string_view utf8, unsigned seconds) {
  prepareLibrary();
  MarkupGatherer gatherer(utf8, true, seconds);
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
  MarkupGatherer gatherer(source, false, seconds);
  const Parser parser = parserFor(htmlNewParserCtxt(), gatherer);
  parser->sax->startElement = onHtmlStart;
  parser->sax->endElement = onHtmlEnd;
  xmlFreeDoc(htmlCtxtReadIO(parser.get(), onRead, nullptr, &gatherer, nullptr, "UTF-8",
                            HTML_PARSE_RECOVER | HTML_PARSE_NONET | HTML_PARSE_IGNORE_ENC));
  gatherer.raiseFailure();
  return std::move(gatherer.text());
}

}  // namespace orvix::server
