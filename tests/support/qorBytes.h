// SPDX-License-Identifier: Apache-2.0
// Texts, records and messages of the library as a test compares them, and bytes on the wire.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include <unicode/unistr.h>

#include "comm/results/qorGenRespRecord.h"
#include "comm/support/qorRESTException.h"
#include "infra/oss/qorMessage.h"
#include "infra/util/qorExtendedProperties.h"
#include "tests/support/qorWire.h"

namespace orvix::test {

inline std::string text(const icu::UnicodeString& from) {
  std::string bytes;
  return from.toUTF8String(bytes);
}

inline icu::UnicodeString unicode(std::string_view utf8) {
  return icu::UnicodeString::fromUTF8({utf8.data(), static_cast<std::int32_t>(utf8.size())});
}

/// "key=value;" of each property.
inline std::string lines(const util::ExtendedProperties& properties) {
  std::string all;
  for (const auto& [key, value] : properties) all += text(key) + '=' + text(value) + ';';
  return all;
}

/// Decodes `bytes` into `record`; returns the bytes that this took.
inline unsigned int decode(comm::GenRespRecord& record, std::string_view bytes, short format = 1) {
  const ExactBytes held(bytes);
  return record.decode(reinterpret_cast<const unsigned char*>(held.data()),
                       static_cast<unsigned short>(held.size()), format);
}

/// A message in one line: "ID(text)@file:line[argument|argument]"; what is absent is left out.
inline std::string inOneLine(const oss::Message& message) {
  std::string line = text(message.getMessageID());
  if (!message.getMessageText().isEmpty()) line += '(' + text(message.getMessageText()) + ')';
  if (message.getFileName() != nullptr) line += std::string("@") + message.getFileName();
  if (message.getLineNumber() != 0) line += ':' + std::to_string(message.getLineNumber());
  std::string before = "[";
  for (const auto& argument : message.getArguments()) {
    line += before + text(argument);
    before = "|";
  }
  if (!message.getArguments().empty()) line += ']';
  return line;
}

/// An exception's first message in one line, then "+ID" for each message behind it.
inline std::string inOneLine(const oss::BaseException& error) {
  std::string line;
  for (const oss::Message& message : error.getMessages()) {
    line += line.empty() ? inOneLine(message) : '+' + text(message.getMessageID());
  }
  return line;
}

/// What `act` raises, in one line.
template <class Error = comm::RESTException, class Act>
std::string raisedBy(Act act) {
  try {
    act();
  } catch (const Error& error) {
    return inOneLine(error);
  }
  return "nothing";
}

}  // namespace orvix::test
