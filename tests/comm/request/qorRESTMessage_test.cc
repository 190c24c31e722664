// SPDX-License-Identifier: Apache-2.0
// The bytes of requests: header text, bodies, the end-of-batch marker, and the limits of lengths.
#include "comm/request/internal/qorRESTMessage.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <list>
#include <string>
#include <vector>

#include "comm/request/qorClientRequest.h"
#include "tests/support/qorBytes.h"

namespace orvix::test {
namespace {

using comm::ClientRequest;
using comm::KVPair;
using comm::RESTMessage;
using icu::UnicodeString;

/// A request whose collection, if any, stands among the properties.
ClientRequest request(ClientRequest::REQUEST kind,
                      std::initializer_list<std::pair<UnicodeString, UnicodeString>> pairs = {}) {
  util::ExtendedProperties properties;
  for (const auto& [key, value] : pairs) properties.putProperty(key, value);
  ClientRequest built;
  built.buildRequest(kind, properties);
  return built;
}

std::string header(ClientRequest& request) { return RESTMessage(request).getHeaderText(); }

std::string body(ClientRequest& request) {
  const RESTMessage message(request);
  return {message.getBody(), message.getBodyLength()};
}

TEST(HeaderText, HasALinePerPropertyInKeyOrderAndEndsWithABlankLine) {
  const struct {
    ClientRequest request;
    const char* expected;
    // clang-format off
  } cases[] = {
      {request(ClientRequest::GET_SERVER_VERSION),
       "Content-Length  : \naction: getServerVersion\nactionType: monitor\nver: 1.1\n\r\n"},
      // The token travels under another name, at its own place.
      {request(ClientRequest::STREAM_SEARCH, {{u"query", u"x"}, {u"authToken", u"tok"}}),
       "Content-Length  : \naction: search\nactionType: select\nAuthorization: tok\n"
       "query: x\nver: 1.1\n\r\n"},
      // Only that key, not its value, nor another case.
      {request(ClientRequest::GET_STATUS, {{u"AuthToken", u"a"}, {u"query", u"authToken"}}),
       "AuthToken: a\nContent-Length  : \naction: getStatus\nactionType: monitor\n"
       "query: authToken\nver: 1.1\n\r\n"},
      // The kind's words replace the caller's. Text is UTF-8 and nothing is escaped.
      {request(ClientRequest::TAKEOVER, {{u"action", u"x"}, {u"actionType", u"y"},
       {u"Content-Length  ", u"9"}, {u"a: b", u"1\n2"}, {u"index", u"d\u00f6"}}),
       "Content-Length  : \na: b: 1\n2\naction: takeover\nactionType: monitor\nindex: d\xc3\xb6\n"
       "ver: 1.1\n\r\n"},
      {request(static_cast<ClientRequest::REQUEST>(6)),  // without a path word
       "Content-Length  : \nactionType: unknown\nver: 1.1\n\r\n"},
  };
  // clang-format on
  for (const auto& c : cases) {
    ClientRequest copy(c.request);
    RESTMessage message(copy);
    EXPECT_STREQ(message.getHeaderText(), c.expected);
    EXPECT_STREQ(message.getHeaderText(), c.expected) << "the second time";
    EXPECT_EQ(message.getBodyLength(), 0U);
  }
}

KVPair field(const UnicodeString& key, const UnicodeString& value, std::uint32_t extra = 0) {
  KVPair made(key, value);
  made.extra = extra;
  return made;
}

KVPair binary(const UnicodeString& key, const std::string& bytes, std::uint32_t extra = 0) {
  KVPair made = field(key, u"not sent", extra);
  made.binLength = static_cast<std::uint32_t>(bytes.size());
  made.binValue = new unsigned char[bytes.size()];
  std::copy(bytes.begin(), bytes.end(), made.binValue);
  return made;
}

TEST(Body, HasFieldsKeyAndContentRecords) {
  const struct {
    std::list<KVPair> fields;
    std::string key, content, expected;  // the content bytes themselves are not part of it
    const char* bodyLength;              // as the header says it, content included
    // clang-format off
  } cases[] = {
      {{}, "k", "", "\0\0\0\0" "\0\0\0\x0e" "\0\0\0\5rowId" "\0\0\0\1k"_bytes, "22"},
      {{field(u"f", u"v")}, "", "abc", "", ""},
      {{}, "k", "abc",
       "\0\0\0\0" "\0\0\0\x1d" "\0\0\0\5rowId" "\0\0\0\1k" "\0\0\0\4data" "\0\0\0\3"_bytes, "37"},
      // Text fields: plain, with extra, empty, and words that are cached.
      {{field(u"t", u"\u00e4"), field(u"e", u"v", 0x80000001U), field(u"", u""),
        field(u"data", u"system")}, "k", "",
       "\0\0\0\0" "\0\0\0\x41" "\0\0\0\1t" "\0\0\0\2\xc3\xa4" "\0\0\0\1e" "\0\0\0\1v" "\x80\0\0\1"
       "\0\0\0\0" "\0\0\0\0" "\0\0\0\4data" "\0\0\0\6system" "\0\0\0\5rowId" "\0\0\0\1k"_bytes,
       "73"},
      // Binary fields never carry extra; one of length 0 is not a text.
      {{binary(u"b", "\0\xff"_bytes, 7), binary(u"z", "")}, "k", "",
       "\0\0\0\0" "\0\0\0\x22" "\0\0\0\1b" "\0\0\0\2\0\xff" "\0\0\0\1z" "\0\0\0\0"
       "\0\0\0\5rowId" "\0\0\0\1k"_bytes, "42"},
      // A lone surrogate is substituted and a NUL counts.
      {{field(u"k", UnicodeString(u"\xd800\0", 2))}, "\0k"_bytes, "",
       "\0\0\0\0" "\0\0\0\x1c" "\0\0\0\1k" "\0\0\0\4\xef\xbf\xbd\0" "\0\0\0\5rowId"
       "\0\0\0\2\0k"_bytes, "36"},
  };
  // clang-format on
  for (const auto& c : cases) {
    ClientRequest built = request(ClientRequest::ADD_DOCUMENT);
    const ExactBytes key(c.key);
    const ExactBytes content(c.content);
    built.setDocKey(key.data(), key.size());
    built.setContent(c.fields, content.data(), content.size());
    EXPECT_EQ(testing::PrintToString(body(built)), testing::PrintToString(c.expected));
    EXPECT_EQ(header(built), std::string("Content-Length  : ") + c.bodyLength +
                                 "\naction: addDocument\nactionType: unknown\nver: 1.1\n\r\n");
    if (c.key.empty()) continue;
    RESTMessage message(built);
    EXPECT_EQ(message.getContentLength(), c.content.size());
    EXPECT_EQ(message.getContent(), content.data());  // borrowed, not copied
  }
}

TEST(RESTMessage, GrowsBeyondItsInlineStorage) {
  const std::string before = "\naction: asyncAddDocument\nactionType: update\nq: ";
  for (const int length : {8140, 16300, 16304, 16305, 16306, 16307, 16346, 16347, 16384, 70000}) {
    const UnicodeString value(length, length % 2 == 0 ? u'v' : u'\u00e4', length);
    ClientRequest built = request(ClientRequest::ASYNC_ADD_DOCUMENT, {{u"q", value}});
    built.setDocKey("k", 1);
    built.setContent({field(u"f", value), binary(u"b", text(value))}, nullptr, 0);
    const std::string sized = run(text(value));
    const std::string records =
        "\0\0\0\1f"_bytes + sized + "\0\0\0\1b"_bytes + sized + "\0\0\0\5rowId\0\0\0\1k"_bytes;
    const auto rest = static_cast<std::uint32_t>(records.size());
    EXPECT_EQ(body(built), "\0\0\0\0"_bytes + u32(rest) + records) << length;
    EXPECT_EQ(header(built), "Content-Length  : " + std::to_string(rest + 8) + before +
                                 text(value) + "\nver: 1.1\n\r\n");
  }
}

TEST(Body, OfTheEndOfBatchIsEightZeros) {
  ClientRequest built = request(ClientRequest::LAST_DOC_SENT);
  built.setDocKey("k", 1);
  const RESTMessage message(built);
  EXPECT_EQ(message.getBodyLength(), 0U);
  EXPECT_EQ(std::string(message.getTerminator(), message.getTerminatorLength()), u32(0) + u32(0));
  EXPECT_EQ(header(built),
            "Content-Length  : 8\naction: asyncAddDocument\nactionType: update\nver: 1.1\n\r\n");
}

/// Supplies key and content in its own way.
class DerivedRequest : public ClientRequest {
 public:
  const char* getContent() override { return content; }
  const char* getDocKey(unsigned int& length) override {
    length = keyLength;
    return key;
  }
  const char* key = "supplied";
  unsigned int keyLength = 8;
  const char* content = "xyz";
};

TEST(Body, OfADerivedRequestUsesTheLengthThatItsKeyCameWith) {
  DerivedRequest derived;
  derived.buildRequest(ClientRequest::ADD_DOCUMENT, {});
  derived.setDocKey("ab", 2);
  derived.setContent({}, "unused", 3);
  EXPECT_EQ(body(derived), hex("00000000 00000024 00000005") + "rowId" + hex("00000008") +
                               "supplied" + hex("00000004") + "data" + hex("00000003"));
  RESTMessage message(derived);
  EXPECT_EQ(std::string(message.getContent(), message.getContentLength()), "xyz");
  message.getHeaderText();
  EXPECT_TRUE(message.getQueryString().startsWith(u"?Content-Length  =44&action=addDocument&"));
  derived.content = nullptr;  // for absent, whatever the lengths are
  EXPECT_EQ(body(derived).size(), 29U);
  derived.key = nullptr;
  EXPECT_EQ(body(derived), "");
}

TEST(Body, RefusesLengthsThatTheMasksOrTheLengthFieldWouldCut) {
  constexpr unsigned int LIMIT = 1U << 30U;
  const struct {
    unsigned int key, content;
    std::vector<std::uint32_t> fields;  // lengths that binary fields claim
  } cases[] = {{LIMIT, 1, {}},  {0xffffffffU, 1, {}},
               {1, LIMIT, {}},  {1, 0xffffffffU, {}},
               {1, 1, {LIMIT}}, {1, LIMIT - 1, {LIMIT - 1, LIMIT - 1, LIMIT - 1}}};
  for (const auto& c : cases) {
    const ExactBytes one("k");  // a read of what the lengths claim would not go unseen
    DerivedRequest derived;
    derived.buildRequest(ClientRequest::ADD_DOCUMENT, {});
    derived.key = one.data();
    derived.keyLength = c.key;
    derived.content = one.data();
    derived.setContent(std::list<KVPair>(c.fields.size(), binary(u"b", "x")), one.data(),
                       c.content);
    auto length = c.fields.begin();
    for (const KVPair& claiming : derived.getFields()) {
      const_cast<KVPair&>(claiming).binLength = *length++;  // not copied any more from here on
    }
    EXPECT_EQ(raisedBy([&] { RESTMessage message(derived); }), "ERR_CLIENT_INTERNAL")
        << c.key << ' ' << c.content;
  }
}

}  // namespace
}  // namespace orvix::test
