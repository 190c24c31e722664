// SPDX-License-Identifier: Apache-2.0
// Requests as a client lays them out, and replies taken apart, for tests of the server.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "infra/bytes/internal/qorByteReader.h"
#include "tests/support/qorWire.h"

namespace orvix::server::testing {

using test::bodyOf;
using test::requestFrame;
using test::run;
using test::TERMINATOR;
using test::u16;
using test::u32;

inline std::string bodyRecord(std::string_view name, std::string_view value) {
  return run(name) + run(value);
}

using NamedValues = std::vector<std::pair<std::string, std::string>>;

inline std::string documentOf(std::string_view key, std::string_view content = {},
                              const NamedValues& fields = {}) {
  std::string records;
  for (const auto& [name, value] : fields) records += bodyRecord(name, value);
  records += bodyRecord("rowId", key);
  if (!content.empty()) records += bodyRecord("data", content);
  return bodyOf(records);
}

inline std::map<std::string, std::string> pairsOf(std::string_view bytes) {
  std::map<std::string, std::string> pairs;
  oss::ByteReader reader(bytes);
  while (reader.remaining() != 0) {
    const auto key = reader.bytes(reader.u16().value_or(0)).value_or("");
    pairs[std::string(key)] = reader.bytes(reader.u16().value_or(0)).value_or("");
  }
  return pairs;
}

/// The "MsgId" of an error reply; the status as "status N" for any other.
inline std::string verdictOf(std::string_view reply) {
  oss::ByteReader reader(reply);
  const auto status = reader.u16().value_or(0);
  if (status != 6) return "status " + std::to_string(status);
  return pairsOf(reader.bytes(reader.u16().value_or(0)).value_or(""))["MsgId"];
}

}  // namespace orvix::server::testing
