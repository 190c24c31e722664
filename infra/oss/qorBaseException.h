// SPDX-License-Identifier: Apache-2.0
// The root of all exceptions of this system: a standard exception that carries messages.
#pragma once

#include <exception>
#include <string>

#include <unicode/unistr.h>

#include "infra/oss/qorMessage.h"
#include "infra/qorExport.h"

namespace orvix::oss {

/// A failure with its messages; the first message carries the id by which callers tell it.
/// Threads: one thread at a time, what() included.
class QORINFRA_EXPORT BaseException : public std::exception {
 public:
  BaseException();
  /// One message with `id`, detected in `file` (null: not said) at `line`.
  BaseException(const icu::UnicodeString& id, const char* file, unsigned int line);
  BaseException(const BaseException& other);
  BaseException& operator=(const BaseException& other);
  ~BaseException() override;

  /// The first message in one line of UTF-8: id, text, arguments, file and line, so that a log line
  /// says which host and port. Valid until the next call, change or destruction.
  [[nodiscard]] const char* what() const noexcept override;
  /// The class's name.
  [[nodiscard]] virtual const char* name() const noexcept;

  /// Appends a copy.
  void addMessage(const Message& message) { messages_.addMessage(message); }
  /// The first message; an exception without one gets an empty one first.
  Message& getErrorMessage();
  [[nodiscard]] const MessageList& getMessages() const { return messages_; }

 protected:
  /// For derived classes that replace their messages.
  MessageList& messageList() { return messages_; }

 private:
  MessageList messages_;
  mutable std::string rendered_;  // what() must return memory that outlives the call
};

}  // namespace orvix::oss
