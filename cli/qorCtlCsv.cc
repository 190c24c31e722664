// SPDX-License-Identifier: Apache-2.0
// One function per state, or for what two states share; each says whether the row has ended.
#include "cli/qorCtlCsv.h"

#include <string_view>
#include <utility>

#include "cli/qorCtlText.h"

namespace orvix::ctl {

std::optional<CsvRow> CsvReader::next() {
  std::uint64_t blankBytes = 0;
  for (;;) {
    startRow();
    if (!readRow()) return std::nullopt;
    row_.bytes += blankBytes;
    if (!isBlank()) break;
    blankBytes = row_.bytes;
  }
  firstRow_ = false;
  return std::move(row_);
}

void CsvReader::startRow() {
  row_ = CsvRow();
  row_.line = line_;
  cell_.clear();
  held_ = 0;
  quoted_ = false;
  state_ = State::CELL_START;
}

/// False when there is none.
bool CsvReader::readRow() {
  for (int byte = input_.next(); byte != ByteInput::END; byte = input_.next()) {
    ++row_.bytes;
    if (byte == '\n') ++line_;
    if (take(static_cast<char>(byte))) return true;
  }
  if (row_.bytes == 0) return false;
  if (state_ == State::QUOTED) {
    setProblem("the quotes that open on line " + std::to_string(quoteLine_) + " are not closed");
  }
  endCell();
  return true;
}

bool CsvReader::take(char byte) {
  switch (state_) {
    case State::CELL_START:
      if (byte != '"') return takePlain(byte);
      openQuotes();
      return false;
    case State::PLAIN:
      return takePlain(byte);
    case State::QUOTED:
      if (byte == '"') {
        state_ = State::QUOTE;
      } else {
        append(byte);
      }
      return false;
    case State::QUOTE:
      return takeBehindQuote(byte);
    case State::RETURN:
      if (byte == '\n') return endCellAt(byte);
      skipLine("there is a carriage return outside of quotes; end rows with CR LF or LF");
      return false;
    case State::SKIPPING:
      break;
  }
  return byte == '\n';
}

bool CsvReader::takePlain(char byte) {
  if (byte == ',' || byte == '\n' || byte == '\r') return endCellAt(byte);
  const bool behindMark = firstRow_ && row_.cells.empty() && cell_ == BYTE_ORDER_MARK;
  if (byte != '"') {
    state_ = State::PLAIN;
    append(byte);
  } else if (behindMark) {
    cell_.clear();
    openQuotes();
  } else {
    skipLine("there is a quote within a cell without quotes; put the cell in quotes and double it");
  }
  return false;
}

bool CsvReader::takeBehindQuote(char byte) {
  if (byte == ',' || byte == '\n' || byte == '\r') return endCellAt(byte);
  if (byte == '"') {
    append(byte);
    state_ = State::QUOTED;
  } else {
    skipLine("there is text behind the closing quote of a cell; double the quotes within it");
  }
  return false;
}

bool CsvReader::endCellAt(char separator) {
  if (separator == '\r') {
    state_ = State::RETURN;
    return false;
  }
  endCell();
  state_ = State::CELL_START;
  return separator == '\n';
}

void CsvReader::openQuotes() {
  state_ = State::QUOTED;
  quoteLine_ = line_;
  quoted_ = true;
}

void CsvReader::append(char byte) {
  if (held_ < limits_.rowBytes) {
    cell_ += byte;
    ++held_;
  } else {
    setProblem("it has more than " + std::to_string(limits_.rowBytes) + " bytes; split it");
  }
}

void CsvReader::endCell() {
  if (row_.cells.size() == limits_.cells) {
    setProblem("it has more than " + std::to_string(limits_.cells) + " cells");
    return;
  }
  if (firstRow_ && row_.cells.empty() && cell_.starts_with(BYTE_ORDER_MARK)) {
    cell_.erase(0, BYTE_ORDER_MARK.size());
  }
  row_.cells.push_back(std::move(cell_));
  cell_.clear();
}

/// The first problem of a row is the one to tell.
void CsvReader::setProblem(const std::string& why) {
  if (row_.problem.empty()) row_.problem = why;
}

void CsvReader::skipLine(const std::string& why) {
  setProblem(why);
  state_ = State::SKIPPING;
}

bool CsvReader::isBlank() const {
  return row_.problem.empty() && !quoted_ && row_.cells.size() == 1 && row_.cells[0].empty();
}

}  // namespace orvix::ctl
