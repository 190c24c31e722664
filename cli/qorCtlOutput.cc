// SPDX-License-Identifier: Apache-2.0
// The writers for programs, and texts.
#include "cli/qorCtlOutput.h"

#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <utility>

#include "cli/qorCtlExit.h"
#include "cli/qorCtlText.h"

namespace orvix::ctl {

namespace {

using Json = nlohmann::ordered_json;

constexpr int LAID_OUT = 2;
constexpr int ON_ONE_LINE = -1;

template <class... Ts>
struct Overload : Ts... {
  using Ts::operator()...;
};
template <class... Ts>
Overload(Ts...) -> Overload<Ts...>;

std::string threePlaces(double number) {
  char text[64];
  std::snprintf(text, sizeof text, "%.3f", number);
  return text;
}

std::string jsonText(const Json& object, int indent) {
  // Replace: a server's text that is not UTF-8 must not end the output.
  return object.dump(indent, ' ', false, Json::error_handler_t::replace);
}

/// What the writers for programs share.
class ColumnWriter : public RowWriter {
 public:
  ColumnWriter(std::ostream& stream, std::vector<Column> columns)
      : out_(stream), columns_(std::move(columns)) {}

 protected:
  [[nodiscard]] Json object(const std::vector<Cell>& cells) const {
    Json object = Json::object();
    for (std::size_t at = 0; at < columns_.size(); ++at) {
      std::visit(Overload{[](std::monostate) {},
                          [&](const auto& value) { object[columns_[at].name] = value; }},
                 cells[at]);
    }
    return object;
  }
  [[nodiscard]] const std::vector<Column>& columns() const { return columns_; }
  [[nodiscard]] std::ostream& out() const { return out_; }

 private:
  std::ostream& out_;
  std::vector<Column> columns_;
};

class NdjsonWriter : public ColumnWriter {
 public:
  using ColumnWriter::ColumnWriter;
  void write(const std::vector<Cell>& cells) override {
    out() << jsonText(object(cells), ON_ONE_LINE) << '\n';
  }
};

class JsonObjectWriter : public ColumnWriter {
 public:
  using ColumnWriter::ColumnWriter;
  void write(const std::vector<Cell>& cells) override {
    out() << jsonText(object(cells), LAID_OUT) << '\n';
  }
};

/// A list that a failure leaves open, so that nobody takes it for whole.
class JsonListWriter : public ColumnWriter {
 public:
  using ColumnWriter::ColumnWriter;
  void write(const std::vector<Cell>& cells) override {
    out() << (std::exchange(begun_, true) ? ",\n" : "[\n") << jsonText(object(cells), ON_ONE_LINE);
  }
  void finish() override { out() << (begun_ ? "\n]\n" : "[]\n"); }

 private:
  bool begun_ = false;
};

class CsvWriter : public ColumnWriter {
 public:
  using ColumnWriter::ColumnWriter;
  void write(const std::vector<Cell>& cells) override {
    writeHead();
    for (std::size_t at = 0; at < cells.size(); ++at) writeCell(at, cellText(cells[at]));
    out() << '\n';
  }
  void finish() override { writeHead(); }

 private:
  void writeHead() {
    if (std::exchange(headWritten_, true)) return;
    for (std::size_t at = 0; at < columns().size(); ++at) writeCell(at, columns()[at].name);
    out() << '\n';
  }

  void writeCell(std::size_t at, const std::string& text) {
    if (at != 0) out() << ',';
    if (text.find_first_of(",\"\r\n") == std::string::npos) {
      out() << text;
      return;
    }
    out() << '"';
    for (const char byte : text) out() << (byte == '"' ? "\"\"" : std::string(1, byte));
    out() << '"';
  }

  bool headWritten_ = false;
};

/// A row a line, a tab between values, no heading.
class PlainWriter : public ColumnWriter {
 public:
  using ColumnWriter::ColumnWriter;
  void write(const std::vector<Cell>& cells) override {
    for (std::size_t at = 0; at < cells.size(); ++at) {
      out() << (at == 0 ? "" : "\t") << printable(cellText(cells[at]));
    }
    out() << '\n';
  }
};

void writeLines(std::ostream& out, std::string_view text) {
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    out << printable(text.substr(0, end)) << '\n';
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  }
}

}  // namespace

std::string cellText(const Cell& cell) {
  return std::visit(Overload{[](std::monostate) { return std::string(); },
                             [](const std::string& text) { return text; },
                             [](std::uint64_t number) { return std::to_string(number); },
                             [](double number) { return threePlaces(number); },
                             [](bool flag) { return std::string(flag ? "yes" : "no"); }},
                    cell);
}

std::unique_ptr<RowWriter> makeRowWriter(OutputFormat format, std::ostream& out,
                                         std::vector<Column> columns, RowStyle style) {
  switch (format) {
    case OutputFormat::TABLE:
      return makeTableWriter(out, std::move(columns), style.colour);
    case OutputFormat::JSON:
      if (style.single) return std::make_unique<JsonObjectWriter>(out, std::move(columns));
      return std::make_unique<JsonListWriter>(out, std::move(columns));
    case OutputFormat::NDJSON:
      break;
    case OutputFormat::CSV:
      return std::make_unique<CsvWriter>(out, std::move(columns));
    case OutputFormat::PLAIN:
      return std::make_unique<PlainWriter>(out, std::move(columns));
  }
  return std::make_unique<NdjsonWriter>(out, std::move(columns));
}

void writeText(OutputFormat format, std::ostream& out, const char* member, std::string_view text) {
  const Json parsed = Json::parse(text, nullptr, false);  // discarded when it is no JSON
  const Json object = parsed.is_object() ? parsed : Json{{member, std::string(text)}};
  switch (format) {
    case OutputFormat::JSON:
      out << jsonText(object, LAID_OUT) << '\n';
      return;
    case OutputFormat::NDJSON:
      out << jsonText(object, ON_ONE_LINE) << '\n';
      return;
    case OutputFormat::CSV: {
      const auto rows = makeRowWriter(format, out, {{member}});
      rows->write({std::string(text.substr(0, text.find_last_not_of('\n') + 1))});
      return;
    }
    case OutputFormat::TABLE:
    case OutputFormat::PLAIN:
      break;
  }
  writeLines(out, parsed.is_object() ? jsonText(parsed, LAID_OUT) : std::string(text));
}

OutputFormat outputFormat(const std::string& wanted, bool onTerminal) {
  const auto* const found = std::find(OUTPUT_FORMATS.begin(), OUTPUT_FORMATS.end(), wanted);
  if (found != OUTPUT_FORMATS.end()) {
    return static_cast<OutputFormat>(found - OUTPUT_FORMATS.begin());
  }
  return onTerminal ? OutputFormat::TABLE : OutputFormat::NDJSON;
}

void finishOutput(std::ostream& out) {
  out.flush();
  if (!out)
    throw CtlFailure(ExitCode::LOCAL_FILE, "standard output cannot be written; is it full?");
}

}  // namespace orvix::ctl
