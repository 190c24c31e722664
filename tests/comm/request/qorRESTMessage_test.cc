// SPDX-License-Identifier: Apache-2.0
// The bytes of requests: header text, bodies, the end-of-batch marker, and the limits of lengths.
#include "comm/request/internal/qorRESTMessage.h"

#include <cstring>
#include <gtest/gtest.h>
#include <string>

#include "comm/request/qorClientRequest.h"
#include "tests/support/qorWireLiterals.h"

namespace orvix::comm {
namespace {

using wirelit::ExactBytes;
using wirelit::text;
using wirelit::u32;
using wirelit::utf8;
using wirelit::operator""_bytes;
using util::ExtendedProperties;

ClientRequest request(const char* collection, ClientRequest::REQUEST kind,
                      std::initializer_list<std::pair<std::string, std::string>> pairs) {
  ExtendedProperties properties;
  for (const auto& [key, value] : pairs) properties.putProperty(text(key), text(value));
  ClientRequest built;
  if (collection != nullptr) {
    built.buildRequest(text(collection), kind, properties);
  } else {
    built.buildRequest(kind, properties);
  }
  return built;
}

std::string header(ClientRequest& request) { return RESTMessage(request).getHeaderText(); }

std::string body(ClientRequest& request) {
  const RESTMessage message(request);
  return {message.getBody(), message.getBodyLength()};
}

TEST(HeaderText, HasALinePerPropertyInKeyOrderAndEndsWithABlankLine) {
  const auto gap = static_cast<ClientRequest::REQUEST>(6);
  const struct {
    const char* name;
    ClientRequest request;
    const char* expected;
    // clang-format off
  } cases[] = {
      {"no collection, no properties", request(nullptr, ClientRequest::GET_SERVER_VERSION, {}),
       "Content-Length  : \naction: getServerVersion\nactionType: monitor\nver: 1.1\n\r\n"},
      {"the token travels under another name, at its own place", request("docs",
       ClientRequest::STREAM_SEARCH, {{"query", "x"}, {"authToken", "tok"}}),
       "Content-Length  : \naction: search\nactionType: select\nAuthorization: tok\n"
       "index: docs\nmode: streaming\nquery: x\nver: 1.1\n\r\n"},
      {"only that key, not its value, nor another case", request(nullptr, ClientRequest::GET_STATUS,
       {{"AuthToken", "a"}, {"query", "authToken"}}),
       "AuthToken: a\nContent-Length  : \naction: getStatus\nactionType: monitor\n"
       "query: authToken\nver: 1.1\n\r\n"},
      {"the kind's words replace the caller's", request(nullptr, ClientRequest::TAKEOVER,
       {{"action", "x"}, {"actionType", "y"}, {"Content-Length  ", "9"}}),
       "Content-Length  : \naction: takeover\nactionType: monitor\nver: 1.1\n\r\n"},
      {"a kind without a path word", request("c", gap, {}),
       "Content-Length  : \nactionType: unknown\nindex: c\nver: 1.1\n\r\n"},
      {"text is UTF-8 and nothing is escaped", request("d\xc3\xb6" "cs", ClientRequest::BACKUP,
       {{"a: b", "1\n2"}}), "Content-Length  : \na: b: 1\n2\naction: backup\nactionType: admin\n"
       "index: d\xc3\xb6" "cs\nver: 1.1\n\r\n"},
  };
  // clang-format on
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    ClientRequest copy(c.request);
    RESTMessage message(copy);
    EXPECT_STREQ(message.getHeaderText(), c.expected);
    EXPECT_STREQ(message.getHeaderText(), c.expected) << "the second time";
    EXPECT_EQ(message.getBodyLength(), 0U);
  }
}

TEST(HeaderText, GrowsBeyondItsInlineStorage) {
  const std::string before = "Content-Length  : \naction: getStatus\nactionType: monitor\nquery: ";
  const std::string behind = "\nver: 1.1\n\r\n";
  for (const std::size_t whole : {16382U, 16383U, 16384U, 16385U, 32768U, 100000U}) {
    const std::string value(whole - before.size() - behind.size(), 'q');
    ClientRequest built = request(nullptr, ClientRequest::GET_STATUS, {{"query", value}});
    EXPECT_EQ(header(built), before + value + behind) << whole;
  }
  std::string umlauts;
  for (int i = 0; i < 10000; ++i) umlauts += "\xc3\xa4";
  ClientRequest built = request(nullptr, ClientRequest::GET_STATUS, {{"query", umlauts}});
  EXPECT_EQ(header(built), before + umlauts + behind);
}

TEST(QueryString, JoinsThePropertiesUnescaped) {
  ClientRequest built = request(nullptr, ClientRequest::GET_STATUS, {{"authToken", "a&b"}});
  RESTMessage message(built);
  message.getHeaderText();
  EXPECT_EQ(utf8(message.getQueryString()),
            "?Content-Length  =&action=getStatus&actionType=monitor&Authorization=a&b&ver=1.1");
}

KVPair pair(const char* key, const icu::UnicodeString& value, std::uint32_t extra = 0) {
  KVPair field(text(key), value);
  field.extra = extra;
  return field;
}

KVPair binary(const char* key, const std::string& bytes, std::uint32_t extra = 0) {
  KVPair field = pair(key, text("not sent"), extra);
  field.binLength = static_cast<std::uint32_t>(bytes.size());
  field.binValue = new unsigned char[bytes.size()];
  std::memcpy(field.binValue, bytes.data(), bytes.size());
  return field;
}

const std::string ROW_ID = "\x00\x00\x00\x05rowId"_bytes;

TEST(Body, HasFieldsKeyAndContentRecords) {
  const struct {
    const char* name;
    std::list<KVPair> fields;
    std::string key;
    std::string content;
    std::string expected;    // the content bytes themselves are not part of it
    const char* bodyLength;  // as the header says it, content included
    // clang-format off
  } cases[] = {
      {"key only", {}, "k", "", "\0\0\0\0" "\0\0\0\x0e" "\0\0\0\5rowId" "\0\0\0\1k"_bytes, "22"},
      {"content", {}, "k", "abc", "\0\0\0\0" "\0\0\0\x1d" "\0\0\0\5rowId" "\0\0\0\1k" "\0\0\0\4data"
       "\0\0\0\3"_bytes, "37"},
      {"text fields: plain, with extra, empty, and words that are cached", {pair("t", u"\u00e4"),
       pair("e", u"v", 0x80000001U), pair("", u""), pair("data", u"system")}, "k", "", "\0\0\0\0"
       "\0\0\0\x41" "\0\0\0\1t" "\0\0\0\2\xc3\xa4" "\0\0\0\1e" "\0\0\0\1v" "\x80\0\0\1" "\0\0\0\0"
       "\0\0\0\0" "\0\0\0\4data" "\0\0\0\6system" "\0\0\0\5rowId" "\0\0\0\1k"_bytes, "73"},
      {"binary fields never carry extra; one of length 0 is not a text", {binary("b",
       "\0\xff"_bytes, 7), binary("z", "")}, "k", "", "\0\0\0\0" "\0\0\0\x22" "\0\0\0\1b"
       "\0\0\0\2\0\xff" "\0\0\0\1z" "\0\0\0\0" "\0\0\0\5rowId" "\0\0\0\1k"_bytes, "42"},
      {"a lone surrogate is substituted and a NUL counts", {pair("k",
       icu::UnicodeString(u"\xd800\0", 2))}, "\0k"_bytes, "", "\0\0\0\0" "\0\0\0\x1c" "\0\0\0\1k"
       "\0\0\0\4\xef\xbf\xbd\0" "\0\0\0\5rowId" "\0\0\0\2\0k"_bytes, "36"},
  };
  // clang-format on
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    ClientRequest built = request("c", ClientRequest::ADD_DOCUMENT, {});
    const ExactBytes key(c.key);
    const ExactBytes content(c.content);
    built.setDocKey(key.data(), key.size());
    built.setContent(c.fields, content.data(), content.size());
    EXPECT_EQ(testing::PrintToString(body(built)), testing::PrintToString(c.expected));
    EXPECT_EQ(header(built),
              std::string("Content-Length  : ") + c.bodyLength +
                  "\naction: addDocument\nactionType: unknown\nindex: c\nver: 1.1\n\r\n");
    RESTMessage message(built);
    EXPECT_EQ(message.getContentLength(), c.content.size());
    EXPECT_EQ(message.getContent(), content.data());  // borrowed, not copied
  }
}

TEST(Body, GrowsBeyondItsInlineStorage) {
  for (const std::size_t length : {16300U, 16346U, 16347U, 16384U, 70000U}) {
    const std::string value(length, 'v');
    ClientRequest built = request("c", ClientRequest::ASYNC_ADD_DOCUMENT, {});
    built.setDocKey("k", 1);
    built.setContent({pair("f", text(value)), binary("b", value)}, nullptr, 0);
    const auto size = static_cast<std::uint32_t>(length);
    const std::string records = "\0\0\0\1f"_bytes + u32(size) + value + "\0\0\0\1b"_bytes +
                                u32(size) + value + ROW_ID + "\0\0\0\1k"_bytes;
    const auto rest = static_cast<std::uint32_t>(records.size());
    EXPECT_EQ(body(built), "\0\0\0\0"_bytes + u32(rest) + records) << length;
  }
}

TEST(Body, OfTheEndOfBatchIsEightZeros) {
  ClientRequest built = request("c", ClientRequest::LAST_DOC_SENT, {});
  built.setDocKey("k", 1);
  built.setContent({pair("f", u"v")}, nullptr, 0);
  RESTMessage message(built);
  EXPECT_EQ(message.getBodyLength(), 0U);
  EXPECT_EQ(std::string(message.getTerminator(), message.getTerminatorLength()),
            "\0\0\0\0\0\0\0\0"_bytes);
  EXPECT_STREQ(message.getHeaderText(),
               "Content-Length  : 8\naction: asyncAddDocument\nactionType: update\nindex: c\n"
               "ver: 1.1\n\r\n");
}

TEST(Body, IsAbsentWithoutAKeyWhateverElseThereIs) {
  for (const bool nullKey : {true, false}) {
    ClientRequest built = request("c", ClientRequest::ADD_DOCUMENT, {});
    built.setDocKey(nullKey ? nullptr : "k", nullKey ? 5 : 0);
    built.setContent({pair("f", u"v")}, "abc", 3);
    EXPECT_EQ(body(built), "");
    EXPECT_EQ(header(built).substr(0, 19), "Content-Length  : \n");
  }
}

TEST(Body, TakesANullContentPointerForNoContent) {
  ClientRequest built = request("c", ClientRequest::ADD_DOCUMENT, {});
  built.setDocKey("k", 1);
  built.setContent({}, nullptr, 4000000000U);
  EXPECT_EQ(body(built),
            "\0\0\0\0"
            "\0\0\0\x0e"
            "\0\0\0\5rowId"
            "\0\0\0\1k"_bytes);
  EXPECT_EQ(RESTMessage(built).getContentLength(), 0U);
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
  const char* content = nullptr;
};

TEST(Body, OfADerivedRequestUsesTheLengthThatItsKeyCameWith) {
  DerivedRequest derived;
  derived.buildRequest(ClientRequest::ADD_DOCUMENT, ExtendedProperties());
  derived.setDocKey("ab", 2);
  derived.setContent({}, "unused", 3);
  derived.content = "xyz";
  EXPECT_EQ(body(derived),
            "\0\0\0\0"
            "\0\0\0\x24"
            "\0\0\0\5rowId"
            "\0\0\0\x08supplied"
            "\0\0\0\4data"
            "\0\0\0\3"_bytes);
  RESTMessage message(derived);
  EXPECT_EQ(std::string(message.getContent(), message.getContentLength()), "xyz");
}

TEST(Body, RefusesLengthsThatTheMasksOrTheLengthFieldWouldCut) {
  constexpr unsigned int LIMIT = 1U << 30U;
  const struct {
    const char* name;
    unsigned int key, content;
    std::vector<std::uint32_t> fields;  // lengths that binary fields claim
  } cases[] = {
      {"key", LIMIT, 1, {}},     {"largest key", 0xffffffffU, 1, {}},
      {"content", 1, LIMIT, {}}, {"largest content", 1, 0xffffffffU, {}},
      {"field", 1, 1, {LIMIT}},  {"whole body", 1, LIMIT - 1, {LIMIT - 1, LIMIT - 1, LIMIT - 1}}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const ExactBytes one("k");  // a read of what the lengths claim would not go unseen
    DerivedRequest derived;
    derived.buildRequest(ClientRequest::ADD_DOCUMENT, ExtendedProperties());
    derived.key = one.data();
    derived.keyLength = c.key;
    derived.content = one.data();
    derived.setContent(std::list<KVPair>(c.fields.size(), binary("b", "x")), one.data(), c.content);
    auto length = c.fields.begin();
    for (const KVPair& field : derived.getFields()) {
      const_cast<KVPair&>(field).binLength = *length++;  // not copied any more from here on
    }
    wirelit::expectRaises([&] { RESTMessage message(derived); }, {"ERR_CLIENT_INTERNAL"});
  }
}

}  // namespace
}  // namespace orvix::comm
