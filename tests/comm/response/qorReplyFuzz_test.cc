// SPDX-License-Identifier: Apache-2.0
// Nearly right and plainly wrong bytes through both parsers, for every kind: nothing is read beyond
// a piece (each stands in memory of exactly its size), and nothing but the documented errors comes
// out.
#include <gtest/gtest.h>
#include <random>
#include <set>
#include <string>

#include "tests/comm/response/qorReplyDriver.h"

namespace orvix::comm {
namespace {

using wirelit::BinaryReply;
using wirelit::ExactBytes;
using wirelit::u16;
using wirelit::u32;
using wirelit::utf8;

constexpr int PIECES = 100000;  // for each parser

class Bytes {
 public:
  explicit Bytes(unsigned int seed) : random_(seed) {}

  unsigned int below(unsigned int limit) { return static_cast<unsigned int>(random_()) % limit; }
  bool oneIn(unsigned int count) { return below(count) == 0; }

  std::string any(std::size_t length) {
    std::string bytes(length, '\0');
    for (char& byte : bytes) byte = static_cast<char>(below(256));
    return bytes;
  }

  /// Mostly pairs that some record wants, with lengths that are now and then wrong.
  std::string payload() {
    static const char* const WORDS[] = {"Doc",   "MsgId",       "MsgText", "URI",
                                        "SCORE", "STATUS_CODE", "7",       ""};
    std::string bytes;
    for (unsigned int i = below(4); i > 0; --i) {
      const std::string word = WORDS[below(8)];
      bytes += u16(oneIn(10) ? below(65536) : static_cast<unsigned int>(word.size())) + word;
    }
    if (oneIn(4)) bytes += any(below(20));
    if (oneIn(300)) bytes += any(1000 + below(3000));
    if (oneIn(3)) bytes.resize(bytes.size() - below(static_cast<unsigned int>(bytes.size()) + 1));
    return bytes;
  }

  std::string binaryPiece() {
    static const unsigned int STATUSES[] = {1, 1, 1, 5, 6, 9, 14, 15, 19, 7, 401};
    std::string bytes;
    for (unsigned int i = below(5); i > 0; --i) {
      const std::string body = oneIn(5) ? std::string() : payload();
      const unsigned int claimed = oneIn(8) ? below(65536) : static_cast<unsigned int>(body.size());
      bytes += u16(STATUSES[below(11)]) + u16(claimed) + body;
    }
    return cut(bytes);
  }

  std::string textPiece() {
    if (oneIn(3)) return cut(header());
    std::string bytes = oneIn(2) ? "????" : "";
    for (unsigned int i = below(4); i > 0; --i) {
      const std::string body = payload();
      const unsigned int real = static_cast<unsigned int>(body.size());
      bytes += u32(oneIn(8) ? static_cast<std::uint32_t>(random_()) : real) + body;
    }
    return cut(bytes);
  }

  std::string header() {
    static const char* const LINES[] = {"HTTP/1.1 200 OK",
                                        "HTTP/1.1 500 no",
                                        "HTTP/1.1 401",
                                        "Content-Length: 40",
                                        "Content-Length",
                                        "Content-Length: 99999999999",
                                        "Content-Length:-3",
                                        "Transfer-Encoding: x",
                                        "",
                                        "1a",
                                        "ffffffffffffffffffff",
                                        " ",
                                        "\r"};
    static const char* const ENDS[] = {"\r\n", "\r\n", "\r\n", "\r", "\n", ""};
    std::string bytes = LINES[below(3)];
    for (unsigned int i = below(6); i > 0; --i)
      bytes += ENDS[below(6)] + std::string(LINES[below(13)]);
    return bytes + (oneIn(3) ? "" : "\r\n\r\n");
  }

 private:
  std::string cut(std::string bytes) {
    if (oneIn(3)) bytes.resize(below(static_cast<unsigned int>(bytes.size()) + 1));
    if (oneIn(10) && !bytes.empty())
      bytes[below(static_cast<unsigned int>(bytes.size()))] = any(1)[0];
    return bytes;
  }

  std::mt19937 random_;
};

/// Runs `feed`; whether the reply can go on.
template <class Feed>
bool survives(Feed feed) {
  static const std::set<std::string> IDS = {"ERR_SERVER_PROTOCOL", "ERR_SERVER_INVALID_AUTH",
                                            "ERR_SERVER_APP", "ERR_CLIENT_RESP_PARSING"};
  try {
    feed();
    return true;
  } catch (const RESTException& error) {
    const std::string id = utf8(error.getMessages().getFirstMessage().getMessageID());
    EXPECT_TRUE(error.isServerReported() || IDS.count(id) != 0) << error.what();
    return false;
  }
}

TEST(ReplyFuzz, BinaryRepliesStayInBoundsAndRaiseOnlyWhatIsDocumented) {
  Bytes bytes(20240601);
  for (int pieces = 0; pieces < PIECES;) {
    const std::uint32_t kind = bytes.below(27);
    static const unsigned int HEADERS[] = {1, 1, 1, 1, 1, 6, 6, 5, 401, 19};
    BinaryReply reply(kind);
    std::string piece = u16(HEADERS[bytes.below(10)]);
    bool alive = true;
    for (int i = 0; alive && i < 5; ++i, ++pieces) {
      alive = survives([&] {
        const std::int32_t left =
            reply.feed(piece, bytes.oneIn(4), static_cast<std::uint16_t>(bytes.below(20)));
        ASSERT_LE(left, static_cast<std::int32_t>(piece.size()));
        ASSERT_GE(left, -65536);
      });
      if (testing::Test::HasFailure())
        FAIL() << "kind " << kind << ' ' << testing::PrintToString(piece);
      piece = bytes.binaryPiece();
    }
  }
}

TEST(ReplyFuzz, TextRepliesStayInBoundsAndRaiseOnlyWhatIsDocumented) {
  Bytes bytes(20240602);
  testing::internal::CaptureStderr();  // the warnings about empty pieces
  for (int pieces = 0; pieces < PIECES && !testing::Test::HasFailure();) {
    const std::uint32_t kind = bytes.below(27);
    RESTResponse parser(kind, bytes.oneIn(3));
    ClientResponse response;
    bool end = false;
    bool alive = true;
    for (int i = 0; alive && i < 5; ++i, ++pieces) {
      const std::string piece = i == 0 ? bytes.header() : bytes.textPiece();
      const ExactBytes held(piece);
      alive = survives(
          [&] { ASSERT_LE(parser.parse(held.data(), held.size(), response, end), held.size()); });
    }
  }
  const std::string warnings = testing::internal::GetCapturedStderr();
  EXPECT_EQ(warnings.find("ERROR"), std::string::npos) << warnings;
}

}  // namespace
}  // namespace orvix::comm
