// SPDX-License-Identifier: Apache-2.0
// Messages, lists of them, and the exceptions that carry them.
#include "infra/oss/qorMessage.h"

#include <gtest/gtest.h>
#include <string>

#include "infra/oss/qorBaseException.h"
#include "tests/support/qorWireLiterals.h"

namespace orvix::oss {
namespace {

using wirelit::text;
using wirelit::utf8;

Message full() {
  Message message(text("ID"), text("words"), Message::ERROR_TEXT);
  message.setFileName("qorFile");
  message.setLineNumber(4294967295U);
  message.addArgument(text("h\xc3\xb6st"));
  message.addArgument(4294967295U);
  message.addArgument("plain", nullptr);
  return message;
}

void expectFull(const Message& message) {
  EXPECT_EQ(utf8(message.getMessageID()), "ID");
  EXPECT_EQ(utf8(message.getMessageText()), "words");
  EXPECT_EQ(message.getMessageLevel(), 4U);
  EXPECT_STREQ(message.getFileName(), "qorFile");
  EXPECT_EQ(message.getLineNumber(), 4294967295U);
  ASSERT_EQ(message.getArguments().size(), 3U);
  EXPECT_EQ(utf8(message.getArguments()[0]), "h\xc3\xb6st");
  EXPECT_EQ(utf8(message.getArguments()[1]), "4294967295");
  EXPECT_EQ(utf8(message.getArguments()[2]), "plain");
}

void expectEmpty(const Message& message) {
  EXPECT_TRUE(message.getMessageID().isEmpty());
  EXPECT_TRUE(message.getMessageText().isEmpty());
  EXPECT_EQ(message.getMessageLevel(), 0U);
  EXPECT_EQ(message.getFileName(), nullptr);
  EXPECT_EQ(message.getLineNumber(), 0U);
  EXPECT_TRUE(message.getArguments().empty());
}

TEST(Message, CopiesEveryFieldDeeplyAndClearsEveryField) {
  Message original = full();
  const Message copy(original);
  Message assigned;
  assigned.setMessage(original);
  assigned.setMessage(assigned);
  original.clear();
  expectEmpty(original);
  expectFull(copy);
  expectFull(assigned);
}

TEST(MessageList, JoinsInOrderEvenWithItself) {
  MessageList list(Message(text("1"), text(""), Message::NONE));
  MessageList other;
  EXPECT_TRUE(other.isEmpty());
  other.addMessage(Message(text("2"), text(""), Message::NONE));
  list.join(other);
  list.join(list);
  list.addMessage(list.getFirstMessage());
  std::string ids;
  for (const Message& message : list) ids += utf8(message.getMessageID());
  EXPECT_EQ(ids, "12121");
  EXPECT_EQ(other.size(), 1U);
}

TEST(BaseException, SaysEverythingOfItsFirstMessageInOneLine) {
  BaseException error(text("ERR_X"), "qorFile", 42);
  error.getErrorMessage().setMessageText(text("broke\r\nbadly"));
  error.getErrorMessage().addArgument(text("h\xc3\xb6st\n"));
  error.getErrorMessage().addArgument(8080U);
  error.addMessage(Message(text("SECOND"), text(""), Message::NONE));
  const std::string line = error.what();
  for (const char* part : {"ERR_X", "broke", "badly", "h\xc3\xb6st", "8080", "qorFile", "42"}) {
    EXPECT_NE(line.find(part), std::string::npos) << part << " not in: " << line;
  }
  EXPECT_EQ(line.find_first_of("\r\n"), std::string::npos) << line;
  EXPECT_EQ(line.find("SECOND"), std::string::npos) << line;
}

TEST(BaseException, WithoutAMessageStillSaysSomethingAndGetsAnEmptyOneFirst) {
  BaseException error;
  EXPECT_STRNE(error.what(), "");
  error.getErrorMessage().addArgument(7U);
  ASSERT_EQ(error.getMessages().size(), 1U);
  error.addMessage(Message(text("LATER"), text(""), Message::NONE));
  EXPECT_EQ(utf8(error.getErrorMessage().getArguments().at(0)), "7");
  EXPECT_TRUE(error.getErrorMessage().getMessageID().isEmpty());
}

}  // namespace
}  // namespace orvix::oss
