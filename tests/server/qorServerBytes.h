// SPDX-License-Identifier: Apache-2.0
// Requests as a client lays them out, and replies taken apart, for tests of the server.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "infra/bytes/internal/qorByteReader.h"
#include "infra/bytes/internal/qorByteWriter.h"

namespace orvix::server::testing {

inline constexpr std::string_view TERMINATOR("\0\0\0\0\0\0\0\0", 8);

inline std::string u16Bytes(std::size_t value) {
  std::string out(2, '\0');
  oss::storeU16(out.data(), oss::cutToU16(value));
  return out;
}

inline std::string u32Bytes(std::size_t value) {
  std::string out(4, '\0');
  oss::storeU32(out.data(), oss::cutToU32(value));
  return out;
}

inline std::string bodyRecord(std::string_view name, std::string_view value) {
  return u32Bytes(name.size()) + std::string(name) + u32Bytes(value.size()) + std::string(value);
}

inline std::string bodyOf(const std::string& records) {
  return u32Bytes(0) + u32Bytes(records.size()) + records;
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

inline std::string frameOf(const std::string& lines, std::string_view body = {}) {
  const std::string length = body.empty() ? "" : std::to_string(body.size());
  const std::string header = "Content-Length  : " + length + "\n" + lines + "\r\n";
  return u16Bytes(header.size()) + header + std::string(body);
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
