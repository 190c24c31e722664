// SPDX-License-Identifier: Apache-2.0
// Rows of named values to standard output: aligned columns for people, one JSON object per line for
// programs. Rows are written as they come; nothing is kept.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "cli/qorCtlSettings.h"

namespace orvix::ctl {

struct Column {
  const char* name;
  std::size_t width = 0;  ///< of the table; longer values push the rest of their row
  bool rightAligned = false;
};

/// Nothing: "-" in a table, left out of JSON. A double has three places in a table.
using Cell = std::variant<std::monostate, std::string, std::uint64_t, double, bool>;

/// Borrows the stream, which must outlive it.
class RowWriter {
 public:
  RowWriter() = default;
  RowWriter(const RowWriter&) = delete;
  RowWriter& operator=(const RowWriter&) = delete;
  virtual ~RowWriter() = default;
  /// One cell per column.
  virtual void write(const std::vector<Cell>& cells) = 0;
};

[[nodiscard]] std::unique_ptr<RowWriter> makeRowWriter(OutputFormat format, std::ostream& out,
                                                       std::vector<Column> columns);

/// A text of several lines: as it is, or as `member` of one JSON object. A text that is a JSON
/// object itself is written as that object, laid out for people or on one line.
void writeText(OutputFormat format, std::ostream& out, const char* member, std::string_view text);

/// The form that was asked for; without one, a table when standard output is a terminal.
[[nodiscard]] OutputFormat outputFormat(const std::string& wanted, bool onTerminal);

/// Hands on what is buffered. Throws CtlFailure LOCAL_FILE when it, or anything before, was lost.
void finishOutput(std::ostream& out);

}  // namespace orvix::ctl
