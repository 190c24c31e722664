// SPDX-License-Identifier: Apache-2.0
// Rows of named values to standard output, in one of five forms: aligned columns for people, JSON,
// CSV and plain text for programs. But for a table's first rows, rows are written as they come.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace orvix::ctl {

enum class OutputFormat : std::uint32_t { TABLE, JSON, NDJSON, CSV, PLAIN };

/// Row n is the name of enumerator n.
inline constexpr std::array<std::string_view, 5> OUTPUT_FORMATS{"table", "json", "ndjson", "csv",
                                                                "plain"};

struct Column {
  const char* name;
  std::size_t width = 0;  ///< of the table, at least; what is wider widens it
  bool rightAligned = false;
  bool verdict = false;  ///< holds one of VERDICTS, which has a colour of its own
  /// The last column only: a table has it under the one before, on a line of its own with its name,
  /// and only where there is something in it. So a long text before it keeps the columns aligned.
  bool below = false;
};

inline constexpr std::array<std::string_view, 3> VERDICTS{"ok", "warn", "fail"};

/// Nothing: "-" in a table, left out of JSON, empty elsewhere. A double has three places, but in
/// JSON.
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
  /// Writes what is kept back.
  virtual void flush() {}
  /// To be called behind the last row: without it the output is not whole.
  virtual void finish() { flush(); }
};

struct RowStyle {
  bool single = false;  ///< always one row: JSON is that object, not a list with it
  bool colour = false;  ///< the table's heading is bold, its verdicts are coloured
};

[[nodiscard]] std::unique_ptr<RowWriter> makeRowWriter(OutputFormat format, std::ostream& out,
                                                       std::vector<Column> columns,
                                                       RowStyle style = {});
[[nodiscard]] std::unique_ptr<RowWriter> makeTableWriter(std::ostream& out,
                                                         std::vector<Column> columns, bool colour);

/// The cell in words, as tables, CSV and plain text have it.
[[nodiscard]] std::string cellText(const Cell& cell);

/// A text of several lines: as it is, or as `member` of one JSON object. A text that is a JSON
/// object itself is written as that object, laid out for people or on one line.
void writeText(OutputFormat format, std::ostream& out, const char* member, std::string_view text);

/// The form that was asked for; without one, a table when standard output is a terminal, else
/// NDJSON.
[[nodiscard]] OutputFormat outputFormat(const std::string& wanted, bool onTerminal);

/// Hands on what is buffered. Throws CtlFailure LOCAL_FILE when it, or anything before, was lost.
void finishOutput(std::ostream& out);

}  // namespace orvix::ctl
