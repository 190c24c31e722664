// SPDX-License-Identifier: Apache-2.0
// A request: frame, header lines, body. The body of a document has a file of its own.
#include <algorithm>
#include <charconv>
#include <map>
#include <string>

#include "cli/qorCtlText.h"
#include "cli/qorCtlWireExplain.h"

namespace orvix::ctl {

namespace {

constexpr std::string_view HEADER_END = "\r\n";
constexpr std::string_view SEPARATOR = ": ";
constexpr std::string_view CONTENT_LENGTH = "Content-Length  ";
constexpr std::size_t TERMINATOR_SIZE = 8;

using Lines = std::map<std::string_view, std::string_view>;

struct LineMeaning {
  std::string_view key;
  const char* meaning;
};

constexpr LineMeaning LINE_MEANINGS[] = {
    {CONTENT_LENGTH, "how many bytes of body and content follow the header; empty: none"},
    {"action", "the operation"},
    {"actionType", "its access class"},
    {"ver", "the version of the protocol"},
    {"index", "the collection"},
    {"mode", "how a search is answered"},
    {"Authorization", "the access token"},
};

std::string lineMeaning(std::string_view key) {
  for (const LineMeaning& line : LINE_MEANINGS) {
    if (line.key == key) return std::string("header line, ") + line.meaning;
  }
  return "header line, a property";
}

void explainLine(WireReader& in, Lines& lines) {
  const std::string_view rest = in.rest();
  const std::size_t end = rest.find('\n');
  const std::size_t separator = rest.substr(0, end).find(SEPARATOR);
  if (end == std::string_view::npos || separator == std::string_view::npos) {
    in.fault("a header line \"key: value\" that ends in a line feed, or CR LF as the header's end");
  }
  const std::string_view line = in.bytes(end + 1, "a header line");
  const std::string_view key = line.substr(0, separator);
  const std::size_t value = separator + SEPARATOR.size();
  lines[key] = line.substr(value, end - value);
  in.tell(lineMeaning(key));
}

void explainHeader(WireReader& in, Lines& lines) {
  while (in.rest() != HEADER_END) {
    if (in.remaining() == 0) in.fault("CR LF, the end of the header text");
    explainLine(in, lines);
  }
  static_cast<void>(in.bytes(HEADER_END.size(), "the header's end"));
  in.tell("the end of the header");
}

std::size_t bodyLength(const WireReader& in, const Lines& lines) {
  const auto found = lines.find(CONTENT_LENGTH);
  if (found == lines.end()) in.fault("a header line \"Content-Length  \" before the header's end");
  const std::string_view text = found->second;
  if (text.empty()) return 0;
  std::size_t length = 0;
  const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), length);
  if (error != std::errc() || stop != text.data() + text.size()) {
    in.fault("a whole number, or nothing, as the header's Content-Length; it is " + inQuotes(text));
  }
  return length;
}

std::string_view valueOf(const Lines& lines, std::string_view key) {
  const auto found = lines.find(key);
  return found == lines.end() ? std::string_view() : found->second;
}

bool isTerminator(std::string_view body) {
  return body.size() == TERMINATOR_SIZE &&
         std::all_of(body.begin(), body.end(), [](char byte) { return byte == 0; });
}

/// The request's kind by its header, and of an asynchronous document by its body.
const WireKind* recognise(const Lines& lines, std::string_view body) {
  for (const WireKind& kind : wireKinds()) {
    const bool last = kind.kind == comm::ClientRequest::LAST_DOC_SENT;
    const bool batch = last || kind.kind == comm::ClientRequest::ASYNC_ADD_DOCUMENT;
    if (kind.action != valueOf(lines, "action")) continue;
    if (!kind.mode.empty() && kind.mode != valueOf(lines, "mode")) continue;
    if (!kind.access.empty() && kind.access != valueOf(lines, "actionType")) continue;
    if (batch && last != isTerminator(body)) continue;
    return &kind;
  }
  return nullptr;
}

void explainRest(WireReader& in, std::size_t length, const Lines& lines) {
  const std::string what = "body and content, as Content-Length says";
  in.within(length, what, [&] {
    const WireKind* const kind = recognise(lines, in.rest());
    if (kind != nullptr && kind->kind == comm::ClientRequest::LAST_DOC_SENT) {
      static_cast<void>(in.bytes(TERMINATOR_SIZE, "zeros"));
      in.tell("body: the end of a batch");
    } else {
      explainBody(in);
    }
  });
}

/// The header's lines name the kind, which is to be told in front of them.
std::string kindText(std::string_view frame, std::size_t headerLength) {
  Lines lines;
  const PartSink nobody = [](const WirePart&) {};
  const WireKind* kind = nullptr;
  try {
    WireReader ahead(frame.substr(0, headerLength), nobody);
    explainHeader(ahead, lines);
    kind = recognise(lines, frame.substr(headerLength, bodyLength(ahead, lines)));
  } catch (const WireFault&) {
    kind = nullptr;  // the fault is told where it stands
  }
  return kind == nullptr ? "of an unknown kind" : std::string(kind->name);
}

void explainRequest(WireReader& in, std::size_t number) {
  const std::size_t length = in.u16("a request's frame, the length of its header text");
  const std::string start = "request " + std::to_string(number);
  const bool whole = length <= in.remaining();
  in.announce(whole ? start + ", " + kindText(in.rest(), length) : start);
  in.tell("frame, " + std::to_string(length) + " bytes of header text follow");
  Lines lines;
  in.within(length, "header text, as the frame says", [&] { explainHeader(in, lines); });
  const std::size_t rest = bodyLength(in, lines);
  if (rest != 0) explainRest(in, rest, lines);
}

}  // namespace

void explainRequests(std::string_view bytes, const PartSink& sink) {
  WireReader in(bytes, sink);
  std::size_t number = 0;
  do {
    explainRequest(in, ++number);
  } while (in.remaining() != 0);
}

}  // namespace orvix::ctl
