// SPDX-License-Identifier: Apache-2.0
#include "infra/oss/qorMessage.h"

#include "infra/oss/internal/qorTextConversion.h"

namespace orvix::oss {

using icu::UnicodeString;

Message::Message() = default;
Message::Message(const Message&) = default;
Message::Message(Message&&) noexcept = default;
Message& Message::operator=(const Message&) = default;
Message& Message::operator=(Message&&) noexcept = default;
Message::~Message() = default;

Message::Message(const UnicodeString& id, const UnicodeString& text, Level level)
    : id_(copyOf(id)), text_(copyOf(text)), level_(level) {}

void Message::setMessageID(const UnicodeString& id) { id_ = copyOf(id); }
void Message::setMessageText(const UnicodeString& text) { text_ = copyOf(text); }

void Message::setFileName(const char* name) {
  if (name == nullptr) {
    file_.reset();
  } else {
    file_ = std::string(name);
  }
}

void Message::clear() {
  id_.remove();
  text_.remove();
  level_ = LEVEL_NONE;
  file_.reset();
  line_ = 0;
  arguments_.clear();
}

void Message::addArgument(const UnicodeString& text) { arguments_.push_back(copyOf(text)); }

void Message::addArgument(unsigned int number) {
  addArgument(std::to_string(number).c_str(), nullptr);
}

void Message::addArgument(const char* text, const char* codePage) {
  if (codePage == nullptr) {
    addArgument(messageText(text == nullptr ? "" : text));
  } else {
    addArgument(UnicodeString(text == nullptr ? "" : text, codePage));
  }
}

MessageList::MessageList() = default;
MessageList::MessageList(const Message& message) { addMessage(message); }
MessageList::MessageList(const MessageList&) = default;
MessageList::MessageList(MessageList&&) noexcept = default;
MessageList& MessageList::operator=(const MessageList&) = default;
MessageList& MessageList::operator=(MessageList&&) noexcept = default;
MessageList::~MessageList() = default;

void MessageList::join(const MessageList& other) {
  const std::vector<Message> copies = other.messages_;
  messages_.insert(messages_.end(), copies.begin(), copies.end());
}

}  // namespace orvix::oss
