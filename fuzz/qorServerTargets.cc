// SPDX-License-Identifier: Apache-2.0
// The server's readers, and the way of a request from the client's writer to them.
#include <algorithm>
#include <cstdint>
#include <list>
#include <string>
#include <utility>
#include <vector>

#include <unicode/unistr.h>

#include "comm/protocol/internal/qorRequestKinds.h"
#include "comm/transport/qorTamberPerfClient.h"
#include "fuzz/qorFuzz.h"
#include "fuzz/qorTargets.h"
#include "infra/oss/internal/qorTextConversion.h"
#include "server/qorDocumentBody.h"
#include "server/qorFrameReader.h"
#include "server/qorMessageIds.h"
#include "server/qorRefusal.h"
#include "tests/torture/qorVirtualNet.h"

namespace orvix::torture {

using comm::ClientRequest;
using icu::UnicodeString;

namespace {

std::string told(const server::Frame& frame) {
  std::string line;
  for (const auto& [key, value] : frame.properties)
    line.append(key).append("=").append(value).append(";");
  line += " body " + frame.body + ' ' + std::to_string(frame.bodyLength);
  if (frame.fault) line += std::string(messageIdText(frame.fault->id)) + frame.fault->text;
  return line + (frame.positionLost ? " lost\n" : "\n");
}

void checkFrame(const server::Frame& frame) {
  const std::size_t most = server::FrameReader::KEPT_HEAD;
  const std::size_t length = frame.bodyLength;
  require(frame.body.size() == (frame.fault ? std::min(most, length) : length),
          "a body of another length than announced");
  require(!frame.positionLost || frame.fault.has_value(), "a lost position without a fault");
}

std::string readFrames(const Segments& segments) {
  std::string line;
  const Meter meter;
  Meter::on();
  server::FrameReader reader;
  bool lost = false;
  for (const std::string_view segment : segments) {
    Meter::given(segment.size());
    reader.feed(segment);
    while (const auto frame = reader.next()) {
      const Unmetered own;
      require(!lost, "a frame behind a lost position");
      checkFrame(*frame);
      lost = frame->positionLost;
      line += told(*frame);
    }
  }
  return line;
}

/// What a document body reads as, written again by plain arithmetic.
std::string writtenAgain(const server::DocumentBody& body, bool withContent) {
  std::string records;
  for (const server::DocumentField& field : body.fields) {
    records += test::run(field.name) + test::run(field.value);
  }
  records += test::run("rowId") + test::run(body.key);
  if (withContent) records += test::run("data") + test::run(body.content);
  return test::bodyOf(records);
}

/// Text without what a header line cannot carry.
UnicodeString lineText(std::string_view bytes) {
  std::string clean(bytes);
  for (char& c : clean) {
    if (c == '\n' || c == ':' || c == '\0') c = '_';
  }
  return UnicodeString::fromUTF8(clean);
}

/// Of that, what a key can carry: the server takes no control characters there.
UnicodeString keyText(std::string_view bytes) {
  std::string clean(bytes);
  for (char& c : clean) {
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) c = '_';
  }
  return lineText(clean);
}

/// A request made from an input. Owns what the request borrows.
struct Asked {
  explicit Asked(Input& input) : kind(KINDS[input.byte() % 6]) {
    util::ExtendedProperties properties;
    for (unsigned int count = input.byte() % 4U; count != 0; --count) {
      properties.putProperty("p" + keyText(input.take(input.byte() % 8U)),
                             lineText(input.take(input.byte())));
    }
    request.buildRequest(UnicodeString("c", ""), static_cast<ClientRequest::REQUEST>(kind),
                         properties);
    for (unsigned int count = input.byte() % 4U; count != 0; --count) {
      const bool binary = input.byte() % 2 != 0;
      const UnicodeString name =
          UnicodeString::fromUTF8(std::string(input.take(input.byte() % 8U)));
      const std::string_view value = input.take(input.byte());
      comm::KVPair& field = fields.emplace_back(name, UnicodeString::fromUTF8(std::string(value)));
      if (binary && !value.empty()) {
        field.binValue = new unsigned char[value.size()];
        std::copy(value.begin(), value.end(), field.binValue);
        field.binLength = static_cast<std::uint32_t>(value.size());
      }
    }
    key = input.take(input.byte());
    const std::size_t times = std::size_t{1} + std::size_t{16} * input.byte();
    const std::string_view piece = input.take(input.byte() % 16U);
    for (std::size_t i = 0; i < times; ++i) content += piece;
    request.setDocKey(key.data(), static_cast<unsigned int>(key.size()));
    request.setContent(fields, content.data(), static_cast<unsigned int>(content.size()));
  }
  Asked(const Asked&) = delete;

  void checkRead(const server::Frame& frame) const {
    require(!frame.fault, "a written frame is refused");
    const comm::detail::RequestKind& row = comm::detail::requestKind(kind);
    std::vector<std::pair<std::string, std::string>> lines{
        {"action", row.pathWord},
        {"actionType", row.accessClass},
        {"Content-Length  ", frame.bodyLength == 0 ? "" : std::to_string(frame.bodyLength)}};
    for (const auto& [name, value] : request.getProperties()) {
      lines.emplace_back(oss::utf8(name), oss::utf8(value));
    }
    require(lines.size() == frame.properties.size(), "header lines lost or gained");
    for (const auto& [name, value] : lines) {
      const auto found = frame.properties.find(name);
      require(found != frame.properties.end() && found->second == value, "line " + name);
    }
    if (kind == comm::kinds::LAST_DOC_SENT) {
      require(frame.body == std::string(8, '\0'), "the end of a batch reads otherwise");
    } else if (key.empty()) {
      require(frame.body.empty(), "a body that was not asked for");
    } else {
      checkBody(server::decodeDocumentBody(frame.body));
    }
  }

  void checkBody(const server::DocumentBody& body) const {
    require(body.key == key && body.content == content, "key or content read otherwise");
    require(body.fields.size() == fields.size(), "fields lost or gained");
    auto read = body.fields.begin();
    for (const comm::KVPair& field : fields) {
      const std::string value =
          field.binValue == nullptr
              ? oss::utf8(field.value)
              : std::string(reinterpret_cast<const char*>(field.binValue), field.binLength);
      require(read->name == oss::utf8(field.key) && read->value == value, "a field read otherwise");
      ++read;
    }
  }

  static constexpr std::uint32_t KINDS[] = {
      comm::kinds::ASYNC_ADD_DOCUMENT, comm::kinds::ASYNC_ADD_DOCUMENT, comm::kinds::LAST_DOC_SENT,
      comm::kinds::STREAM_SEARCH,      comm::kinds::ADD_DOCUMENT,       comm::kinds::GET_STATUS};
  std::uint32_t kind;
  ClientRequest request;
  std::list<comm::KVPair> fields;
  std::string key;
  std::string content;
};

}  // namespace

void fuzzFrames(std::string_view bytes) {
  Input input(bytes);
  const Segments segments = input.segments();
  const std::string whole = joined(segments);
  requireSame(readFrames({whole}), readFrames(segments), "cut frames differ from whole ones");
}

void fuzzBodies(std::string_view input) {
  const ExactBytes bytes(input);
  const Meter meter;
  Meter::given(input.size());
  Meter::on();
  const std::string_view key = server::salvageDocumentKey(bytes.view());
  require(key.size() <= server::MAX_DOCUMENT_KEY, "a salvaged key is too long");
  try {
    const server::DocumentBody body = server::decodeDocumentBody(bytes.view());
    const Unmetered own;
    require(key == body.key, "the salvaged key is another");
    const std::string again = writtenAgain(body, body.content.data() != nullptr);
    requireSame(again, std::string(input), "a body that is read is not what was written");
  } catch (const server::Refusal& refusal) {
    require(refusal.fault().id == server::MessageId::BODY_MALFORMED ||
                refusal.fault().id == server::MessageId::DOCUMENT_KEY_INVALID,
            "refused as something else");
  }
}

void fuzzRoundTrip(std::string_view bytes) {
  Input input(bytes);
  const bool buffered = input.byte() % 2 != 0;
  const std::size_t step = std::size_t{1} + std::size_t{64} * input.byte();
  std::list<Asked> asked;
  while (!input.rest().empty() && asked.size() < 60) asked.emplace_back(input);
  Input end(std::string_view("\2", 1));
  asked.emplace_back(end);  // the end of the batch writes what is still gathered

  std::string written;
  {
    auto next = asked.cbegin();
    Net net([&](std::string_view, std::size_t) {
      const bool answered = next != asked.cend() && !comm::detail::isUnanswered((next++)->kind);
      return Answer{answered ? std::string("\0\6\0\0", 4) : std::string()};
    });
    comm::TamberPerfClient client(UnicodeString("peer", ""), 1);
    client.useBufferedConnection(buffered);
    for (Asked& one : asked) {
      comm::ClientResponse response;
      try {
        client.sendAndRecvMesg(one.request, response);
      } catch (const comm::RESTException& error) {
        require(error.isServerReported(), error.what());
      }
    }
    require(net.problem.empty(), net.problem);
    for (const Connection& connection : net.connections) written += connection.written;
  }
  server::FrameReader reader;
  auto next = asked.cbegin();
  for (std::size_t at = 0; at < written.size(); at += step) {
    reader.feed(std::string_view(written).substr(at, step));
    while (const auto frame = reader.next()) {
      require(next != asked.cend(), "more frames than requests");
      (next++)->checkRead(*frame);
    }
  }
  require(next == asked.cend(), "fewer frames than requests");
}

}  // namespace orvix::torture
