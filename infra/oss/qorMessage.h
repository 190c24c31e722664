// SPDX-License-Identifier: Apache-2.0
// One diagnostic, and an ordered list of them: what every exception of this system carries.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <unicode/unistr.h>

#include "infra/qorExport.h"

namespace orvix::oss {

/// A diagnostic: an id that callers match on, a text, where it was detected, and arguments.
/// A value: copies are deep and independent.
class QORINFRA_EXPORT Message {
 public:
  /// How grave it is; the library's own messages leave it at LEVEL_NONE or say LEVEL_ERROR.
  enum Level : std::uint32_t {
    LEVEL_NONE = 0,
    LEVEL_DEBUG = 1,
    LEVEL_INFORMATION = 2,
    LEVEL_WARNING = 3,
    LEVEL_ERROR = 4
  };

  Message();
  Message(const icu::UnicodeString& id, const icu::UnicodeString& text, Level level);
  Message(const Message&);
  Message(Message&&) noexcept;
  Message& operator=(const Message&);
  Message& operator=(Message&&) noexcept;
  ~Message();

  void setMessageID(const icu::UnicodeString& id);
  void setMessageText(const icu::UnicodeString& text);
  void setMessageLevel(Level level) { level_ = level; }
  /// Keeps a copy; null means that there is none.
  void setFileName(const char* name);
  void setLineNumber(unsigned int line) { line_ = line; }
  /// Copies every field of `other`.
  void setMessage(const Message& other) { *this = other; }
  /// Back to the default state: no id, text, file or arguments, level 0, line 0.
  void clear();

  /// Appends a copy.
  void addArgument(const icu::UnicodeString& text);
  /// Appends the decimal text of `number`.
  void addArgument(unsigned int number);
  /// Appends `text`, converted from `codePage` (null: plain ASCII).
  void addArgument(const char* text, const char* codePage);

  [[nodiscard]] const icu::UnicodeString& getMessageID() const { return id_; }
  [[nodiscard]] const icu::UnicodeString& getMessageText() const { return text_; }
  [[nodiscard]] Level getMessageLevel() const { return level_; }
  /// Null when absent; else valid until the next setFileName, assignment or destruction.
  [[nodiscard]] const char* getFileName() const { return file_ ? file_->c_str() : nullptr; }
  [[nodiscard]] unsigned int getLineNumber() const { return line_; }
  [[nodiscard]] const std::vector<icu::UnicodeString>& getArguments() const { return arguments_; }

 private:
  icu::UnicodeString id_;
  icu::UnicodeString text_;
  Level level_ = LEVEL_NONE;
  std::optional<std::string> file_;
  unsigned int line_ = 0;
  std::vector<icu::UnicodeString> arguments_;
};

/// Messages in the order in which they were added; the first one names the failure.
class QORINFRA_EXPORT MessageList {
 public:
  using const_iterator = std::vector<Message>::const_iterator;  ///< in order of addition

  MessageList();
  /// Holding a copy of `message`.
  MessageList(const Message& message);
  MessageList(const MessageList&);
  MessageList(MessageList&&) noexcept;
  MessageList& operator=(const MessageList&);
  MessageList& operator=(MessageList&&) noexcept;
  ~MessageList();

  /// Appends a copy.
  void addMessage(const Message& message) { messages_.push_back(message); }
  /// Appends copies of all of `other`'s messages in order; `other` may be this list.
  void join(const MessageList& other);
  void clear() { messages_.clear(); }

  [[nodiscard]] bool isEmpty() const { return messages_.empty(); }
  [[nodiscard]] std::size_t size() const { return messages_.size(); }
  [[nodiscard]] const_iterator begin() const { return messages_.begin(); }
  [[nodiscard]] const_iterator end() const { return messages_.end(); }
  /// Only on a list that is not empty. Valid until the list changes.
  [[nodiscard]] Message& getFirstMessage() { return messages_.front(); }
  [[nodiscard]] const Message& getFirstMessage() const { return messages_.front(); }

 private:
  std::vector<Message> messages_;
};

}  // namespace orvix::oss
