// SPDX-License-Identifier: Apache-2.0
// The examples of docs/protocol.md: a comment "<!-- bytes: request NAME -->" or "<!-- bytes: reply
// NAME -->" and a block of rows below it, each with hexadecimal bytes, two blanks and what they
// say. Where that begins with a quotation mark, it is their text.
#pragma once

#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/qorBytes.h"

namespace orvix::docs {

/// The bytes behind each name, and the names in their order.
struct ProtocolPage {
  std::map<std::string, std::string> bytes;
  std::vector<std::string> names;
};

/// A text as a row shows it.
inline std::string asShown(std::string_view bytes) {
  std::string shown = "\"";
  for (const char c : bytes) {
    if (c == '\n') {
      shown += "\\n";
    } else if (c == '\r') {
      shown += "\\r";
    } else {
      if (c == '\\') shown += '\\';
      shown += c;
    }
  }
  return shown + '"';
}

inline std::string bytesOfRow(const std::string& row) {
  const std::size_t gap = row.find("  ");
  const std::size_t note = row.find_first_not_of(' ', gap);
  if (gap == row.npos || note == row.npos ||
      row.substr(0, gap).find_first_not_of("0123456789abcdef ") != row.npos) {
    ADD_FAILURE() << "no bytes with a note: " << row;
    return {};
  }
  std::string bytes = test::hex(row.substr(0, gap));
  EXPECT_TRUE(row[note] != '"' || row.substr(note) == asShown(bytes)) << row;
  return bytes;
}

inline ProtocolPage readProtocolPage() {
  constexpr std::string_view MARK = "<!-- bytes: ";
  std::ifstream file(QOR_PROTOCOL_PAGE);
  ProtocolPage page;
  std::string line;
  std::string name;
  bool inside = false;
  while (std::getline(file, line)) {
    if (line.starts_with(MARK)) {
      name = line.substr(MARK.size(), line.find(" -->") - MARK.size());
      EXPECT_TRUE(page.bytes.emplace(name, "").second) << name << " comes twice";
      page.names.push_back(name);
    } else if (!name.empty() && line.starts_with("```")) {
      if (inside) name.clear();
      inside = !inside;
    } else if (inside && !name.empty()) {
      page.bytes[name] += bytesOfRow(line);
    }
  }
  EXPECT_FALSE(page.names.empty()) << "no examples in " << QOR_PROTOCOL_PAGE;
  return page;
}

}  // namespace orvix::docs
