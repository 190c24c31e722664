// SPDX-License-Identifier: Apache-2.0
// What a request holds after it was filled, filled again, and copied.
#include "comm/request/qorClientRequest.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <list>
#include <memory>
#include <string>

#include "tests/support/qorBytes.h"

namespace orvix::test {
namespace {

using comm::ClientRequest;
using comm::KVPair;

util::ExtendedProperties given(const char16_t* key, const char16_t* value) {
  util::ExtendedProperties all;
  all.putProperty(key, value);
  return all;
}

KVPair binaryPair(std::string_view bytes) {
  KVPair pair(u"k", u"v");
  pair.attribute = 3;
  pair.extra = 4;
  pair.binLength = static_cast<std::uint32_t>(bytes.size());
  pair.binValue = new unsigned char[bytes.size()];
  std::copy(bytes.begin(), bytes.end(), pair.binValue);
  return pair;
}

std::string bytesOf(const KVPair& pair) { return {pair.binValue, pair.binValue + pair.binLength}; }

TEST(ClientRequest, PutsVersionIndexAndModeOnACollectionAndTheVersionOnTheServer) {
  util::ExtendedProperties properties = given(u"ver", u"9");
  properties.putProperty(u"index", u"i");
  properties.putProperty(u"mode", u"m");
  ClientRequest request;
  request.buildRequest(u"docs", ClientRequest::STREAM_SEARCH, properties);
  EXPECT_EQ(lines(request.getProperties()), "index=docs;mode=streaming;ver=1.1;");
  EXPECT_EQ(text(request.getCollectionName()), "docs");
  request.buildRequest(u"docs", ClientRequest::CREATE_COLLECTION, properties);
  EXPECT_EQ(lines(request.getProperties()), "index=docs;mode=m;ver=1.1;");
  request.buildRequest(ClientRequest::SCALAR_SEARCH, properties);
  EXPECT_EQ(lines(request.getProperties()), "index=i;mode=m;ver=1.1;");
  EXPECT_TRUE(request.getCollectionName().isEmpty());
}

TEST(ClientRequest, FilledAgainKeepsKeyContentFieldsAndANameThatTheNewKindLacks) {
  ClientRequest request;
  request.buildRequest(u"docs", ClientRequest::ADD_DOCUMENT, given(u"a", u"1"));
  request.setDocKey("key", 3);
  request.setContent({KVPair(u"k", u"v")}, "content", 7);
  // A name out of its own properties may be handed back to it, and those properties, too.
  request.buildRequest(request.getProperties().requireProperty(u"index"),
                       ClientRequest::OPEN_COLLECTION_ALT, given(u"b", u"2"));
  request.buildRequest(u"docs", ClientRequest::OPEN_COLLECTION_ALT, request.getProperties());
  EXPECT_EQ(lines(request.getProperties()), "b=2;index=docs;ver=1.1;");
  EXPECT_EQ(text(request.getOperationName()), "CreateCollection");
  EXPECT_STREQ(request.getContent(), "content");
  EXPECT_EQ(request.getFields().size(), 1U);
}

/// A request that is built again as it was keeps its map; one that differs anywhere must not.
TEST(ClientRequest, FilledAgainHasExactlyWhatItWasGivenLast) {
  const util::ExtendedProperties maps[] = {
      given(u"b", u"1"), given(u"b", u"2"),    given(u"bb", u"1"),        given(u"z", u"1"),
      given(u"a", u"1"), given(u"mode", u"m"), util::ExtendedProperties()};
  for (const auto& first : maps) {
    for (const auto& second : maps) {
      for (const auto kind : {ClientRequest::STREAM_SEARCH, ClientRequest::GET_STATUS}) {
        ClientRequest request;
        request.buildRequest(u"docs", ClientRequest::SCALAR_SEARCH, first);
        request.buildRequest(u"docs", kind, second);
        ClientRequest fresh;
        fresh.buildRequest(u"docs", kind, second);
        EXPECT_EQ(lines(request.getProperties()), lines(fresh.getProperties()));
      }
    }
  }
}

TEST(ClientRequest, OwnsDeepCopiesOfItsFields) {
  struct Final final : ClientRequest {};  // the destructor is not virtual
  auto original = std::make_unique<Final>();
  std::list<KVPair> fields{binaryPair("ab"), KVPair(u"t", u"w"), binaryPair("c")};
  original->setContent(fields, "abc", 3);
  fields.front().binValue[0] = '!';
  original->setContent(original->getFields(), "de", 2);
  EXPECT_EQ(original->getFields().size(), 3U);
  const ClientRequest copy(*original);
  ClientRequest assigned;
  assigned = *original;
  fields.pop_back();
  fields.back() = binaryPair("efg");
  original->setContent(fields, "f", 1);
  EXPECT_EQ(original->getFields().size(), 2U);
  EXPECT_EQ(bytesOf(original->getFields().back()), "efg");
  original->setContent({}, "ghij", 4);
  EXPECT_TRUE(original->getFields().empty());
  EXPECT_EQ(original->getContentLength(), 4U);
  original.reset();
  EXPECT_EQ(bytesOf(copy.getFields().front()), "ab");
  EXPECT_EQ(bytesOf(assigned.getFields().back()), "c");
}

TEST(KVPair, CopiesEveryMemberAndItsOwnBytes) {
  const KVPair original = binaryPair("xy");
  KVPair assigned = binaryPair("z");
  assigned = original;
  KVPair& itself = assigned;
  assigned = itself;
  for (const KVPair& copy : {KVPair(original), assigned}) {
    EXPECT_EQ(text(copy.key) + text(copy.value) + bytesOf(copy), "kvxy");
    EXPECT_EQ(copy.attribute * 10 + copy.extra, 34U);
    EXPECT_NE(copy.binValue, original.binValue);
  }
  KVPair without(u"k", u"v");
  without.binLength = 4000000000U;  // whatever the length says
  EXPECT_EQ(KVPair(without).binValue, nullptr);
}

}  // namespace
}  // namespace orvix::test
