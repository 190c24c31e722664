// SPDX-License-Identifier: Apache-2.0
#include "comm/results/internal/qorServerMessage.h"

#include <algorithm>
#include <cstdint>

#include <unicode/unistr.h>

#include "comm/protocol/internal/qorWords.h"
#include "infra/bytes/internal/qorByteReader.h"
#include "infra/oss/internal/qorTextConversion.h"

namespace orvix::comm::detail {

namespace {

/// The text of a counted run at `at`, as much of it as there is; `at` moves by what was claimed.
icu::UnicodeString takeText(std::string_view bytes, std::size_t& at) {
  const std::size_t claimed = oss::paddedU16(bytes, static_cast<std::int64_t>(at));
  at += sizeof(std::uint16_t);
  const std::string_view rest = bytes.substr(std::min(at, bytes.size()));
  at += claimed;
  return oss::textFromWire(rest.substr(0, claimed));
}

}  // namespace

void extractServerMessage(const util::ExtendedProperties& properties, oss::Message& message,
                          [[maybe_unused]] unsigned int code, [[maybe_unused]] bool flag) {
  const icu::UnicodeString& id = properties.getProperty(words::MSG_ID, words::EMPTY);
  if (id.isEmpty()) return;
  const icu::UnicodeString& text = properties.getProperty(words::MSG_TEXT, words::EMPTY);
  message = oss::Message(id, text, oss::Message::LEVEL_ERROR);
}

std::size_t decodePairs(std::string_view bytes, util::ExtendedProperties& properties) {
  std::size_t at = 0;
  while (at < bytes.size()) {
    const icu::UnicodeString key = takeText(bytes, at);
    const icu::UnicodeString value = takeText(bytes, at);
    properties.putProperty(key, value);
  }
  return at;
}

}  // namespace orvix::comm::detail
