// SPDX-License-Identifier: Apache-2.0
// CSV: the header row names the columns, every further row becomes one document.
#include <algorithm>
#include <set>
#include <utility>

#include "cli/qorCtlCsv.h"
#include "cli/qorCtlDocumentSource.h"
#include "cli/qorCtlText.h"

namespace orvix::ctl {

namespace {

constexpr std::size_t SHOWN_NAMES = 20;

std::string joined(const std::vector<std::string>& names) {
  std::string text;
  for (std::size_t at = 0; at < names.size() && at < SHOWN_NAMES; ++at) {
    text += (at == 0 ? "'" : ", '") + printable(names[at]) + "'";
  }
  return names.size() > SHOWN_NAMES ? text + " ..." : text;
}

/// The header row: which column is the key, which the content, which fields the others feed.
class Header {
 public:
  /// What is wrong with it, or an empty text.
  std::string read(std::vector<std::string> names, const SourceOptions& options) {
    names_ = std::move(names);
    std::set<std::string> seen;
    for (const std::string& name : names_) {
      if (!isUtf8(name)) return "a column's name is not UTF-8; convert the file";
      if (!name.empty() && !seen.insert(name).second) {
        return "two columns are called '" + printable(name) + "'; rename one";
      }
      fields_.push_back(name.empty() ? std::vector<std::string>() : fieldsOf(name, options));
    }
    for (const FieldMapping& mapping : options.mappings) {
      if (seen.count(mapping.column) == 0) return missing(mapping.column, "--map");
    }
    if (seen.count(options.keyMember) == 0) return missing(options.keyMember, "--key");
    if (seen.count(options.contentMember) == 0) return missing(options.contentMember, "--content");
    key_ = indexOf(options.keyMember);
    content_ = indexOf(options.contentMember);
    return "";
  }

  [[nodiscard]] std::size_t size() const { return names_.size(); }
  [[nodiscard]] bool isKey(std::size_t column) const { return column == key_; }
  [[nodiscard]] bool isContent(std::size_t column) const { return column == content_; }
  [[nodiscard]] const std::string& name(std::size_t column) const { return names_[column]; }
  [[nodiscard]] const std::vector<std::string>& fields(std::size_t column) const {
    return fields_[column];
  }

 private:
  [[nodiscard]] std::string missing(const std::string& column, const char* option) const {
    return "there is no column '" + printable(column) + "'; name another one with " + option +
           "; there are " + joined(names_);
  }

  [[nodiscard]] std::size_t indexOf(const std::string& name) const {
    return static_cast<std::size_t>(std::find(names_.begin(), names_.end(), name) - names_.begin());
  }

  std::vector<std::string> names_;
  std::vector<std::vector<std::string>> fields_;
  std::size_t key_ = 0;
  std::size_t content_ = 0;
};

class CsvSource : public DocumentSource {
 public:
  CsvSource(const std::string& path, const SourceOptions& options)
      : options_(options), input_(path), reader_(input_, {options.maxBytes}) {}

  std::optional<SourceItem> next() override {
    std::optional<CsvRow> row = ended_ ? std::nullopt : reader_.next();
    if (row && !headerRead_) {
      headerRead_ = true;
      std::string wrong = row->problem;
      if (wrong.empty()) wrong = header_.read(std::move(row->cells), options_);
      if (!wrong.empty()) {
        ended_ = true;  // without its columns no row is understood
        return problem(*row, wrong);
      }
      headerBytes_ = row->bytes;
      row = reader_.next();
    }
    if (row) return makeItem(*row);
    if (input_.problem().empty() || std::exchange(reported_, true)) return std::nullopt;
    return SourceItem{SourceProblem{input_.problem()}, 0};
  }

 private:
  SourceItem makeItem(CsvRow& row) {
    row.bytes += std::exchange(headerBytes_, 0);
    if (!row.problem.empty()) return problem(row, row.problem);
    if (row.cells.size() != header_.size()) {
      return problem(row, "it has " + std::to_string(row.cells.size()) +
                              " cells, but the header row has " + std::to_string(header_.size()));
    }
    Document document;
    const std::string wrong = fill(document, row);
    return wrong.empty() ? SourceItem{std::move(document), row.bytes} : problem(row, wrong);
  }

  /// What is wrong with the row, or an empty text.
  std::string fill(Document& document, CsvRow& row) const {
    for (std::size_t at = 0; at < row.cells.size(); ++at) {
      std::string& cell = row.cells[at];
      if (header_.isKey(at)) document.key = cell;
      if (header_.isContent(at)) document.content = cell;
      if (header_.isKey(at) || header_.isContent(at) || cell.empty()) continue;
      if (!isUtf8(cell)) {
        return "the cell of '" + printable(header_.name(at)) + "' is not UTF-8; convert the file";
      }
      if (header_.name(at).empty()) ++document.omittedMembers;
      for (const std::string& field : header_.fields(at)) {
        document.fields.push_back({field, cell, header_.name(at)});
      }
    }
    return document.key.empty() ? "the key is empty" : "";
  }

  SourceItem problem(const CsvRow& row, const std::string& why) const {
    return {SourceProblem{input_.name() + " line " + std::to_string(row.line) + ": " + why},
            row.bytes};
  }

  SourceOptions options_;
  ByteInput input_;
  CsvReader reader_;
  Header header_;
  std::uint64_t headerBytes_ = 0;
  bool headerRead_ = false;
  bool ended_ = false;
  bool reported_ = false;
};

}  // namespace

std::unique_ptr<DocumentSource> openCsv(const std::string& path, const SourceOptions& options) {
  return std::make_unique<CsvSource>(path, options);
}

}  // namespace orvix::ctl
