// SPDX-License-Identifier: Apache-2.0
// The two writers.
#include "cli/qorCtlOutput.h"

#include <cstdio>
#include <nlohmann/json.hpp>
#include <utility>

#include "cli/qorCtlExit.h"
#include "cli/qorCtlText.h"

namespace orvix::ctl {

namespace {

using Json = nlohmann::ordered_json;

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

std::string cellText(const Cell& cell) {
  return std::visit(Overload{[](std::monostate) { return std::string("-"); },
                             [](const std::string& text) { return printable(text); },
                             [](std::uint64_t number) { return std::to_string(number); },
                             [](double number) { return threePlaces(number); },
                             [](bool flag) { return std::string(flag ? "yes" : "no"); }},
                    cell);
}

void writeJson(std::ostream& out, const Json& object) {
  // Replace: a server's text that is not UTF-8 must not end the output.
  out << object.dump(-1, ' ', false, Json::error_handler_t::replace) << '\n';
}

class TableWriter : public RowWriter {
 public:
  TableWriter(std::ostream& out, std::vector<Column> columns)
      : out_(out), columns_(std::move(columns)) {}

  void write(const std::vector<Cell>& cells) override {
    if (!headWritten_) writeHead();
    std::vector<std::string> texts;
    texts.reserve(cells.size());
    for (const Cell& cell : cells) texts.push_back(cellText(cell));
    writeLine(texts);
  }

 private:
  void writeHead() {
    headWritten_ = true;
    std::vector<std::string> names;
    for (const Column& column : columns_) names.emplace_back(column.name);
    writeLine(names);
  }

  void writeLine(const std::vector<std::string>& texts) {
    std::string line;
    for (std::size_t at = 0; at < columns_.size(); ++at) {
      const bool last = at + 1 == columns_.size();
      const std::size_t width = displayWidth(texts[at]);
      const std::string pad(columns_[at].width > width ? columns_[at].width - width : 0, ' ');
      if (columns_[at].rightAligned) line += pad;
      line += texts[at];
      if (!columns_[at].rightAligned && !last) line += pad;
      if (!last) line += "  ";
    }
    out_ << line << '\n';
  }

  std::ostream& out_;
  std::vector<Column> columns_;
  bool headWritten_ = false;
};

class NdjsonWriter : public RowWriter {
 public:
  NdjsonWriter(std::ostream& out, std::vector<Column> columns)
      : out_(out), columns_(std::move(columns)) {}

  void write(const std::vector<Cell>& cells) override {
    Json object = Json::object();
    for (std::size_t at = 0; at < columns_.size(); ++at) {
      std::visit(Overload{[](std::monostate) {},
                          [&](const auto& value) { object[columns_[at].name] = value; }},
                 cells[at]);
    }
    writeJson(out_, object);
  }

 private:
  std::ostream& out_;
  std::vector<Column> columns_;
};

}  // namespace

std::unique_ptr<RowWriter> makeRowWriter(OutputFormat format, std::ostream& out,
                                         std::vector<Column> columns) {
  if (format == OutputFormat::TABLE) return std::make_unique<TableWriter>(out, std::move(columns));
  return std::make_unique<NdjsonWriter>(out, std::move(columns));
}

void writeText(OutputFormat format, std::ostream& out, const char* member, std::string_view text) {
  const Json object = Json::parse(text, nullptr, false);  // discarded when it is no JSON
  if (format == OutputFormat::NDJSON) {
    writeJson(out, object.is_object() ? object : Json{{member, std::string(text)}});
    return;
  }
  const std::string laidOut = object.is_object() ? object.dump(2) : std::string(text);
  for (std::string_view rest = laidOut; !rest.empty();) {
    const std::size_t end = rest.find('\n');
    out << printable(rest.substr(0, end)) << '\n';
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
  }
}

OutputFormat outputFormat(const std::string& wanted, bool onTerminal) {
  if (wanted.empty()) return onTerminal ? OutputFormat::TABLE : OutputFormat::NDJSON;
  return wanted == "table" ? OutputFormat::TABLE : OutputFormat::NDJSON;
}

void finishOutput(std::ostream& out) {
  out.flush();
  if (!out)
    throw CtlFailure(ExitCode::LOCAL_FILE, "standard output cannot be written; is it full?");
}

}  // namespace orvix::ctl
