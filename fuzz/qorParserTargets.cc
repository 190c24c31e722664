// SPDX-License-Identifier: Apache-2.0
// The parsers that are driven directly: plain-text replies, key/value records, text conversion.
#include <array>
#include <cstdint>
#include <cstring>
#include <map>
#include <string>
#include <utility>

#include <unicode/unistr.h>

#include "comm/protocol/qorRequestKind.h"
#include "comm/response/internal/qorRESTResponse.h"
#include "comm/results/internal/qorServerMessage.h"
#include "comm/support/internal/qorConverter.h"
#include "comm/support/internal/qorRaiseSites.h"
#include "fuzz/qorFuzz.h"
#include "fuzz/qorTargets.h"
#include "infra/oss/qorBaseException.h"

namespace orvix::torture {

using icu::UnicodeString;

namespace {

/// Feeds a fresh parser piece by piece; each piece stands in memory of its own, with `behind` after
/// it, which must change nothing.
std::string readText(std::uint32_t kind, bool streaming, const Segments& pieces,
                     std::string_view behind) {
  std::string line;
  comm::RESTResponse parser(kind, streaming);
  comm::ClientResponse response;
  bool end = false;
  try {
    for (const std::string_view piece : pieces) {
      const ExactBytes held(std::string(piece).append(behind));
      const auto length = static_cast<std::uint32_t>(piece.size());
      Meter::given(length);
      Meter::on();
      const std::uint32_t left = parser.parse(held.view().data(), length, response, end);
      Meter::off();
      require(left <= length, "more bytes left than were given");
      for (const std::uint32_t value :
           {left, static_cast<std::uint32_t>(parser.getState()), parser.getStatusCode(),
            parser.getContentLength(), static_cast<std::uint32_t>(parser.isChunked()),
            static_cast<std::uint32_t>(parser.hasError()), static_cast<std::uint32_t>(end)}) {
        line += std::to_string(value) + ' ';
      }
    }
  } catch (const comm::RESTException& error) {
    Meter::off();
    line += told(error);
  }
  return line + told(response, kind);
}

/// Reads hits with what one piece leaves in front of the next, as a receiver does.
std::string readHits(const Segments& pieces) {
  comm::RESTResponse parser(comm::kinds::STREAM_SEARCH, true);
  comm::ClientResponse response;
  bool end = false;
  std::string held;
  for (const std::string_view piece : pieces) {
    held += piece;
    const auto length = static_cast<std::uint32_t>(held.size());
    const auto left = parser.parseStreamSearch(held.data(), length, response, end);
    if (end) break;
    held.erase(0, held.size() - left);
  }
  return told(response, comm::kinds::STREAM_SEARCH) + (end ? " end" : " open");
}

/// The pairs of a record by plain arithmetic, and the offset that its lengths claim.
std::pair<std::map<UnicodeString, UnicodeString>, std::size_t> modelPairs(std::string_view bytes) {
  std::map<UnicodeString, UnicodeString> pairs;
  std::size_t at = 0;
  const auto byteAt = [&](std::size_t i) {
    return i < bytes.size() ? static_cast<unsigned char>(bytes[i]) : 0U;
  };
  while (at < bytes.size()) {
    std::array<UnicodeString, 2> texts;
    for (UnicodeString& text : texts) {
      const std::size_t claimed = byteAt(at) * 256U + byteAt(at + 1);
      std::string run;
      for (std::size_t i = at + 2; i < at + 2 + claimed && byteAt(i) != 0; ++i) {
        run += static_cast<char>(byteAt(i));
      }
      text = UnicodeString::fromUTF8(run);
      at += 2 + claimed;
    }
    pairs[texts[0]] = texts[1];
  }
  return {pairs, at};
}

/// Decodes `bytes` into a record and checks the map that it keeps.
template <class Record>
void decodePairsInto(Record& record, const ExactBytes& bytes,
                     const std::pair<std::map<UnicodeString, UnicodeString>, std::size_t>& model) {
  const auto* data = reinterpret_cast<const unsigned char*>(bytes.view().data());
  const unsigned int consumed =
      record.decode(data, static_cast<unsigned short>(bytes.view().size()), 1);
  require(consumed == model.second, "the decoder consumed other bytes than the lengths claim");
  auto at = record.getProperties()->begin();
  for (const auto& [key, value] : model.first) {
    require(at != record.getProperties()->end() && at->first == key && at->second == value,
            "a pair differs from what the bytes say");
    ++at;
  }
  require(at == record.getProperties()->end(), "a pair that the bytes do not say");
}

UnicodeString valueOf(const std::map<UnicodeString, UnicodeString>& pairs, const char* key) {
  const auto found = pairs.find(UnicodeString(key, ""));
  return found == pairs.end() ? UnicodeString() : found->second;
}

/// Converts into a buffer that starts with `length` in use and may not grow beyond `limit`.
template <std::size_t N>
void convertInto(const UnicodeString& text, const std::string& expected, std::uint64_t length,
                 std::uint64_t limit) {
  oss::SizeableBuffer<char, N> buffer(limit);
  buffer.resize(length);
  Meter::on();
  const char* bytes = oss::Converter::convert(text, buffer);
  Meter::off();
  const std::size_t room =
      limit == 0 || expected.size() < buffer.capacity() ? expected.size() : buffer.capacity() - 1;
  std::size_t same = 0;
  while (same < room && bytes[same] == expected[same]) ++same;
  const bool whole = room == expected.size();
  require(whole ? same == room : room - same < 4, "the converted text is wrong");
  for (; same <= room; ++same) require(bytes[same] == '\0', "no NUL behind the converted text");
}

}  // namespace

void fuzzPlainText(std::string_view bytes) {
  Input input(bytes);
  const std::uint32_t kind = input.byte() % 27U;
  const bool streaming = input.byte() % 2 != 0;
  const Segments pieces = input.segments();
  const Meter meter;
  const std::string exact = readText(kind, streaming, pieces, "");
  const std::string slack =
      readText(kind, streaming, pieces, "\n1f\r\n\r\nHTTP/1.1 200 OK\r\n\r\n");
  requireSame(exact, slack, "bytes behind the piece change its meaning");
  const std::string whole = joined(pieces);
  if (!whole.empty()) requireSame(readHits({whole}), readHits(pieces), "cut hits differ");
}

void fuzzPairs(std::string_view input) {
  const ExactBytes bytes(input.substr(0, 65535));
  const auto model = modelPairs(bytes.view());
  const Meter meter;
  Meter::given(bytes.view().size());
  Meter::on();
  {
    comm::RESTException failure = comm::detail::serverFailure();
    decodePairsInto(failure, bytes, model);
    const UnicodeString id = valueOf(model.first, "MsgId");
    const oss::Message& first = failure.getErrorMessage();
    require(first.getMessageID() == (id.isEmpty() ? UnicodeString("ERR_SERVER_APP", "") : id),
            "the failure's id is not the record's");
    require(id.isEmpty() || first.getMessageText() == valueOf(model.first, "MsgText"),
            "the failure's text is not the record's");
    const comm::RESTException copy(failure);
    require(copy.getMessages().size() == (id.isEmpty() ? 2 : 1), "messages lost or gained");
  }
  comm::ParseResult outcome(true);
  try {
    decodePairsInto(outcome, bytes, model);
    require(outcome.getText() == valueOf(model.first, "Doc"), "the outcome's key is wrong");
  } catch (const oss::BaseException&) {
    require(model.first.count(UnicodeString("Doc", "")) == 0, "an outcome with a key was refused");
  }
}

void fuzzConverter(std::string_view bytes) {
  Input input(bytes);
  const std::uint64_t length = input.byte() % 40U;
  const std::uint64_t limit = input.byte() % 80U;
  const std::string_view rest = input.rest();
  const Meter meter;
  Meter::given(rest.size());
  UnicodeString units;  // any UTF-16, lone surrogates included
  for (std::size_t i = 0; i + 1 < rest.size(); i += 2) {
    units.append(static_cast<char16_t>(static_cast<std::uint8_t>(rest[i]) * 256U +
                                       static_cast<std::uint8_t>(rest[i + 1])));
  }
  std::string expected;
  units.toUTF8String(expected);
  convertInto<16>(units, expected, length, 0);
  convertInto<1>(units, expected, length, 0);
  if (limit >= length) convertInto<16>(units, expected, length, limit);
  require(oss::wireLength(units) == expected.size(), "the length of the converted text is wrong");

  const ExactBytes wire(rest);
  const UnicodeString text = oss::textFromWire(wire.view());
  const std::string again = oss::utf8(text);
  require(text == UnicodeString::fromUTF8(std::string(rest.substr(0, rest.find('\0')))),
          "text from the wire differs from its bytes");
  require(text == oss::textFromWire(again), "written text is read differently");
}

}  // namespace orvix::torture
