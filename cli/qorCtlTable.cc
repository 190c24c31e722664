// SPDX-License-Identifier: Apache-2.0
// The table. Its first rows are kept back to see how wide the columns have to be; later rows that
// are wider still widen what follows them.
#include <algorithm>
#include <utility>

#include "cli/qorCtlOutput.h"
#include "cli/qorCtlText.h"

namespace orvix::ctl {

namespace {

constexpr std::size_t KEPT_ROWS = 256;
constexpr char NOTHING[] = "-";
constexpr char BOLD[] = "\x1b[1m";
constexpr char PLAIN[] = "\x1b[0m";
constexpr std::array<const char*, VERDICTS.size()> VERDICT_COLOURS{"\x1b[32m", "\x1b[33m",
                                                                   "\x1b[31m"};

std::string coloured(const std::string& verdict) {
  const auto at = static_cast<std::size_t>(std::find(VERDICTS.begin(), VERDICTS.end(), verdict) -
                                           VERDICTS.begin());
  return at == VERDICTS.size() ? verdict : VERDICT_COLOURS[at] + verdict + PLAIN;
}

class TableWriter : public RowWriter {
 public:
  TableWriter(std::ostream& out, std::vector<Column> columns, bool colour)
      : out_(out), columns_(std::move(columns)), colour_(colour) {
    if (!columns_.empty() && columns_.back().below) {
      below_ = columns_.back().name;
      columns_.pop_back();
    }
  }

  TableWriter(const TableWriter&) = delete;
  TableWriter& operator=(const TableWriter&) = delete;
  /// Rows that came before a failure are shown.
  ~TableWriter() override { TableWriter::flush(); }

  void write(const std::vector<Cell>& cells) override {
    std::vector<std::string> texts;
    for (const Cell& cell : cells) {
      const auto* text = std::get_if<std::string>(&cell);
      texts.push_back(text != nullptr                                ? printable(*text)
                      : std::holds_alternative<std::monostate>(cell) ? NOTHING
                                                                     : cellText(cell));
    }
    kept_.push_back(std::move(texts));
    if (kept_.size() == KEPT_ROWS) flush();
  }

  void flush() override {
    if (kept_.empty()) return;
    std::vector<std::string> names;
    for (const Column& column : columns_) names.emplace_back(column.name);
    if (!headWritten_) widen(names);
    for (const auto& texts : kept_) widen(texts);
    if (!std::exchange(headWritten_, true)) writeHead(names);
    for (const auto& texts : kept_) {
      writeLine(texts);
      writeBelow(texts);
    }
    kept_.clear();
  }

 private:
  void widen(const std::vector<std::string>& texts) {
    for (std::size_t at = 0; at + 1 < columns_.size() && at < texts.size(); ++at) {
      columns_[at].width = std::max(columns_[at].width, displayWidth(texts[at]));
    }
  }

  void writeHead(const std::vector<std::string>& names) {
    if (colour_) out_ << BOLD;
    writeLine(names, colour_ ? PLAIN : "");
  }

  void writeLine(const std::vector<std::string>& texts, const char* ending = "") {
    std::string line;
    for (std::size_t at = 0; at < columns_.size(); ++at) {
      const bool last = at + 1 == columns_.size();
      const std::size_t width = displayWidth(texts[at]);
      const std::string pad(columns_[at].width > width ? columns_[at].width - width : 0, ' ');
      if (columns_[at].rightAligned) line += pad;
      line += colour_ && columns_[at].verdict ? coloured(texts[at]) : texts[at];
      if (!columns_[at].rightAligned && !last) line += pad;
      if (!last) line += "  ";
    }
    line.erase(line.find_last_not_of(' ') + 1);
    out_ << line << ending << '\n';
  }

  void writeBelow(const std::vector<std::string>& texts) {
    if (texts.size() == columns_.size() || texts.back() == NOTHING) return;
    std::size_t indent = 0;
    for (std::size_t at = 0; at + 1 < columns_.size(); ++at) indent += columns_[at].width + 2;
    out_ << std::string(indent, ' ') << below_ << ": " << texts.back() << '\n';
  }

  std::ostream& out_;
  std::vector<Column> columns_;
  bool colour_;
  std::string below_;  // the name of the column that has lines of its own
  std::vector<std::vector<std::string>> kept_;
  bool headWritten_ = false;
};

}  // namespace

std::unique_ptr<RowWriter> makeTableWriter(std::ostream& out, std::vector<Column> columns,
                                           bool colour) {
  return std::make_unique<TableWriter>(out, std::move(columns), colour);
}

}  // namespace orvix::ctl
