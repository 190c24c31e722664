// SPDX-License-Identifier: Apache-2.0
// Rows of a CSV file as RFC 4180 has them: commas between cells, quotes around cells with commas,
// quotes or line ends, quotes in them doubled, rows ended by CR LF or LF.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "cli/qorCtlInput.h"

namespace orvix::ctl {

struct CsvRow {
  std::vector<std::string> cells;
  std::uint64_t line = 0;   ///< on which it starts
  std::uint64_t bytes = 0;  ///< of input, with the blank lines before it
  std::string problem;      ///< why it is no row; empty: it is one
};

struct CsvLimits {
  std::size_t rowBytes;
  std::size_t cells = 10000;
};

/// Hands out rows, blank lines left out. What is no row is handed out with its problem, and reading
/// goes on behind it. Holds one row, and of that no more than the limits. Borrows the input.
class CsvReader {
 public:
  CsvReader(ByteInput& input, CsvLimits limits) : input_(input), limits_(limits) {}

  /// Nothing at the end.
  std::optional<CsvRow> next();

 private:
  /// What has been consumed of the row; each waits for the next byte.
  enum class State : std::uint32_t {
    CELL_START = 1,  ///< nothing, or a comma
    PLAIN = 2,       ///< some of a cell without quotes
    QUOTED = 3,      ///< an opening quote and some of the cell
    QUOTE = 4,       ///< a quote within quotes: the first of two, or the closing one
    RETURN = 5,      ///< a cell and a carriage return
    SKIPPING = 6     ///< a fault: all up to the line's end is passed over
  };

  void startRow();
  bool readRow();
  bool take(char byte);
  bool takePlain(char byte);
  bool takeBehindQuote(char byte);
  bool endCellAt(char separator);
  void openQuotes();
  void append(char byte);
  void endCell();
  void setProblem(const std::string& why);
  void skipLine(const std::string& why);
  [[nodiscard]] bool isBlank() const;

  ByteInput& input_;
  CsvLimits limits_;
  std::uint64_t line_ = 1;
  std::uint64_t quoteLine_ = 0;  // on which the open quotes started
  State state_ = State::CELL_START;
  CsvRow row_;
  std::string cell_;
  std::size_t held_ = 0;  // bytes of the row's cells
  bool quoted_ = false;   // some cell of the row was
  bool firstRow_ = true;
};

}  // namespace orvix::ctl
