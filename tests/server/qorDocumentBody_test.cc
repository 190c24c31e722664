// SPDX-License-Identifier: Apache-2.0
// Bodies as clients build them, and every way in which one can fail to add up.
#include "server/qorDocumentBody.h"

#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <vector>

#include "server/qorRefusal.h"
#include "tests/server/qorServerFixture.h"

namespace orvix::server {
namespace {

using testing::bodyOf;
using testing::bodyRecord;
using testing::documentOf;
using testing::u32;

std::string told(std::string_view body) {
  const DocumentBody document = decodeDocumentBody(body);
  std::string text;
  for (const DocumentField& field : document.fields) {
    text += std::string(field.name) + "=" + std::string(field.value) + ";";
  }
  return text + "|" + std::string(document.key) + "|" + std::string(document.content);
}

std::optional<MessageId> refusalOf(std::string_view body) {
  try {
    static_cast<void>(decodeDocumentBody(body));
  } catch (const Refusal& refusal) {
    return refusal.fault().id;
  }
  return std::nullopt;
}

TEST(DocumentBody, FieldsMayCarryTheReservedNames) {
  const std::string field = bodyRecord("rowId", "f");
  const std::string data = bodyRecord("data", "g");
  const std::string key = bodyRecord("rowId", "k");
  EXPECT_EQ(told(bodyOf(field + key)), "rowId=f;|k|");
  EXPECT_EQ(told(bodyOf(data + key)), "data=g;|k|");
  EXPECT_EQ(told(bodyOf(field + data + key + data)), "rowId=f;data=g;|k|g");
  EXPECT_EQ(told(bodyOf(bodyRecord("", "") + key)), "=;|k|");
}

TEST(DocumentBody, EveryTruncationAndATrailingByteAreRefused) {
  const std::string whole = documentOf("key", "content", {{"Indexable:f", "v"}});
  ASSERT_FALSE(refusalOf(whole));
  for (std::size_t length = 0; length < whole.size(); ++length) {
    SCOPED_TRACE(length);
    EXPECT_EQ(refusalOf(whole.substr(0, length)), MessageId::BODY_MALFORMED);
  }
  EXPECT_EQ(refusalOf(whole + "x"), MessageId::BODY_MALFORMED);
}

TEST(DocumentBody, RefusesWhatDoesNotAddUp) {
  struct Case {
    const char* name;
    std::string body;
    MessageId id;
  };
  const std::string key = bodyRecord("rowId", "k");
  const std::vector<Case> cases{
      {"another format", u32(1) + u32(key.size()) + key, MessageId::BODY_MALFORMED},
      {"no records", bodyOf(""), MessageId::BODY_MALFORMED},
      {"no key", bodyOf(bodyRecord("f", "v")), MessageId::BODY_MALFORMED},
      {"content without key", bodyOf(bodyRecord("data", "v")), MessageId::BODY_MALFORMED},
      {"key not in its place", bodyOf(key + bodyRecord("f", "v")), MessageId::BODY_MALFORMED},
      {"a number behind a value", bodyOf(bodyRecord("f", "v") + u32(7) + key),
       MessageId::BODY_MALFORMED},
      {"bytes behind the key", bodyOf(key + "xy"), MessageId::BODY_MALFORMED},
      {"a length of all ones", bodyOf(u32(0xffffffffU) + "rowId"), MessageId::BODY_MALFORMED},
      {"empty key", documentOf(""), MessageId::DOCUMENT_KEY_INVALID},
      {"key too long", documentOf(std::string(MAX_DOCUMENT_KEY + 1, 'k')),
       MessageId::DOCUMENT_KEY_INVALID},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(refusalOf(c.body), c.id);
  }
}

TEST(DocumentBody, SalvagesTheKeyOfADamagedBodyWhereItCan) {
  const std::string whole = documentOf("key", "content", {{"f", "v"}});
  EXPECT_EQ(salvageDocumentKey(whole.substr(0, whole.size() - 1)), "key");
  EXPECT_EQ(salvageDocumentKey(whole.substr(0, 12)), "");
  EXPECT_EQ(salvageDocumentKey(""), "");
}

}  // namespace
}  // namespace orvix::server
