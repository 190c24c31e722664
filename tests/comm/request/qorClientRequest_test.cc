// SPDX-License-Identifier: Apache-2.0
// What a request holds after it was filled, filled again, and copied.
#include "comm/request/qorClientRequest.h"

#include <gtest/gtest.h>
#include <string>

#include "tests/support/qorWireLiterals.h"

namespace orvix::comm {
namespace {

using util::ExtendedProperties;
using wirelit::text;
using wirelit::utf8;

ExtendedProperties properties(std::initializer_list<std::pair<const char*, const char*>> pairs) {
  ExtendedProperties all;
  for (const auto& [key, value] : pairs) all.putProperty(text(key), text(value));
  return all;
}

std::string lines(const ClientRequest& request) {
  std::string all;
  for (const auto& [key, value] : request.getProperties()) {
    all += utf8(key) + '=' + utf8(value) + ';';
  }
  return all;
}

KVPair binaryPair(std::initializer_list<unsigned char> bytes) {
  KVPair pair(text("k"), text("v"));
  pair.attribute = 3;
  pair.extra = 4;
  pair.binLength = static_cast<std::uint32_t>(bytes.size());
  pair.binValue = new unsigned char[bytes.size()];
  std::copy(bytes.begin(), bytes.end(), pair.binValue);
  return pair;
}

TEST(ClientRequest, OnACollectionPutsVersionIndexAndMode) {
  const auto given =
      properties({{"ver", "9"}, {"index", "other"}, {"mode", "mine"}, {"query", "x"}});
  const struct {
    ClientRequest::REQUEST kind;
    const char* expected;
  } cases[] = {
      {ClientRequest::STREAM_SEARCH, "index=docs;mode=streaming;query=x;ver=1.1;"},
      {ClientRequest::SCALAR_SEARCH, "index=docs;mode=scalar;query=x;ver=1.1;"},
      {ClientRequest::SELECTIVITY, "index=docs;mode=selectivity;query=x;ver=1.1;"},
      {ClientRequest::CREATE_COLLECTION, "index=docs;mode=mine;query=x;ver=1.1;"},
  };
  for (const auto& c : cases) {
    ClientRequest request;
    request.buildRequest(text("docs"), c.kind, given);
    EXPECT_EQ(lines(request), c.expected);
    EXPECT_EQ(utf8(request.getCollectionName()), "docs");
    EXPECT_EQ(request.getRequestType(), c.kind);
  }
}

TEST(ClientRequest, OnTheServerPutsTheVersionOnly) {
  ClientRequest request;
  request.buildRequest(text("docs"), ClientRequest::STREAM_SEARCH, properties({{"query", "x"}}));
  request.buildRequest(ClientRequest::SCALAR_SEARCH, properties({{"index", "i"}, {"ver", "2"}}));
  EXPECT_EQ(lines(request), "index=i;ver=1.1;");
  EXPECT_TRUE(request.getCollectionName().isEmpty());
  EXPECT_EQ(utf8(request.getOperationName()), "ScalarSearch");
}

TEST(ClientRequest, FilledAgainKeepsKeyContentFieldsAndANameThatTheNewKindLacks) {
  ClientRequest request;
  request.buildRequest(text("docs"), ClientRequest::ADD_DOCUMENT, properties({{"a", "1"}}));
  request.setDocKey("key", 3);
  request.setContent({KVPair(text("k"), text("v"))}, "content", 7);
  // A name out of its own properties may be handed back to it, and those properties, too.
  request.buildRequest(request.getProperties().requireProperty(text("index")),
                       ClientRequest::OPEN_COLLECTION_ALT, properties({{"b", "2"}}));
  EXPECT_EQ(lines(request), "b=2;index=docs;ver=1.1;");
  request.buildRequest(text("docs"), ClientRequest::OPEN_COLLECTION_ALT, request.getProperties());
  EXPECT_EQ(lines(request), "b=2;index=docs;ver=1.1;");
  EXPECT_EQ(utf8(request.getOperationName()), "CreateCollection");
  EXPECT_EQ(request.getDocKeyLength(), 3U);
  EXPECT_STREQ(request.getContent(), "content");
  EXPECT_EQ(request.getFields().size(), 1U);
}

TEST(ClientRequest, SetContentReplacesTheFieldsByDeepCopies) {
  ClientRequest request;
  std::list<KVPair> fields{binaryPair({1, 2}), KVPair(text("t"), text("w")), binaryPair({3})};
  request.setContent(fields, "abc", 3);
  fields.front().binValue[0] = 9;
  EXPECT_EQ(request.getFields().front().binValue[0], 1);
  request.setContent(request.getFields(), "de", 2);
  EXPECT_EQ(request.getFields().size(), 3U);
  EXPECT_EQ(request.getContentLength(), 2U);
  fields.pop_back();
  fields.back() = binaryPair({5, 6, 7});
  request.setContent(fields, "f", 1);
  ASSERT_EQ(request.getFields().size(), 2U);
  EXPECT_EQ(request.getFields().back().binLength, 3U);
  EXPECT_EQ(request.getFields().back().binValue[2], 7);
  request.setContent({}, "ghij", 4);
  EXPECT_TRUE(request.getFields().empty());
  EXPECT_EQ(request.getContentLength(), 4U);
}

TEST(ClientRequest, CopiesOwnTheirFields) {
  auto original = std::make_unique<ClientRequest>();
  original->setContent({binaryPair({1, 2})}, nullptr, 0);
  const ClientRequest copy(*original);
  ClientRequest assigned;
  assigned = *original;
  original.reset();
  EXPECT_EQ(copy.getFields().front().binValue[1], 2);
  EXPECT_EQ(assigned.getFields().front().binValue[1], 2);
  EXPECT_NE(assigned.getFields().front().binValue, copy.getFields().front().binValue);
}

TEST(KVPair, CopiesEveryMemberAndItsOwnBytes) {
  KVPair original = binaryPair({7, 8});
  KVPair assigned = binaryPair({1});
  assigned = original;
  KVPair& itself = assigned;
  assigned = itself;
  for (const KVPair& copy : {KVPair(original), assigned}) {
    EXPECT_EQ(utf8(copy.key) + utf8(copy.value), "kv");
    EXPECT_EQ(copy.attribute, 3U);
    EXPECT_EQ(copy.extra, 4U);
    EXPECT_EQ(copy.binLength, 2U);
    EXPECT_NE(copy.binValue, original.binValue);
    EXPECT_EQ(copy.binValue[1], 8);
  }
}

TEST(KVPair, WithoutBytesIsCopiedWithoutWhateverItsLengthSays) {
  KVPair original(text("k"), text("v"));
  original.binLength = 4000000000U;
  const KVPair copy(original);
  EXPECT_EQ(copy.binValue, nullptr);
  EXPECT_EQ(copy.binLength, 4000000000U);
}

}  // namespace
}  // namespace orvix::comm
