// SPDX-License-Identifier: Apache-2.0
#include "infra/oss/qorBaseException.h"

#include "infra/oss/qorNLSException.h"
#include "infra/oss/qorSocketException.h"

namespace orvix::oss {

namespace {

std::string renderMessage(const Message& message) {
  std::string line;
  message.getMessageID().toUTF8String(line);
  if (!message.getMessageText().isEmpty()) {
    line += ": ";
    message.getMessageText().toUTF8String(line);
  }
  const char* before = " [";
  for (const icu::UnicodeString& argument : message.getArguments()) {
    line += before;
    argument.toUTF8String(line);
    before = ", ";
  }
  if (!message.getArguments().empty()) line += ']';
  if (message.getFileName() != nullptr) {
    line += " (";
    line += message.getFileName();
    line += ':' + std::to_string(message.getLineNumber()) + ')';
  }
  for (char& c : line) {
    if (c == '\n' || c == '\r' || c == '\0') c = ' ';
  }
  return line;
}

}  // namespace

BaseException::BaseException() = default;

BaseException::BaseException(const icu::UnicodeString& id, const char* file, unsigned int line) {
  Message message;
  message.setMessageID(id);
  message.setFileName(file);
  message.setLineNumber(line);
  addMessage(message);
}

BaseException::BaseException(const BaseException& other)
    : std::exception(other), messages_(other.messages_) {}

BaseException& BaseException::operator=(const BaseException& other) {
  messages_ = other.messages_;
  return *this;
}

BaseException::~BaseException() = default;

const char* BaseException::name() const noexcept { return "BaseException"; }

const char* BaseException::what() const noexcept {
  if (messages_.isEmpty()) return name();
  try {
    rendered_ = renderMessage(messages_.getFirstMessage());
    return rendered_.c_str();
  } catch (const std::exception&) {
    return name();  // no memory left to say more
  }
}

Message& BaseException::getErrorMessage() {
  if (messages_.isEmpty()) messages_.addMessage(Message());
  return messages_.getFirstMessage();
}

SocketException::SocketException(const SocketException&) = default;
SocketException& SocketException::operator=(const SocketException&) = default;
SocketException::~SocketException() = default;
const char* SocketException::name() const noexcept { return "SocketException"; }

NLSException::NLSException(const NLSException&) = default;
NLSException& NLSException::operator=(const NLSException&) = default;
NLSException::~NLSException() = default;
const char* NLSException::name() const noexcept { return "NLSException"; }

}  // namespace orvix::oss
