// SPDX-License-Identifier: Apache-2.0
// Walks folders. A folder's names are sorted, hence held, one folder per level at a time.
#include "cli/qorCtlDocumentSource.h"

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <system_error>
#include <utility>

#include "cli/qorCtlExit.h"
#include "cli/qorCtlInput.h"
#include "cli/qorCtlText.h"

namespace orvix::ctl {

namespace {

namespace fs = std::filesystem;

SourceItem problem(const std::string& text) { return {SourceProblem{text}, 0}; }

SourceItem problem(const fs::path& path, const std::error_code& error) {
  return problem("'" + printable(path.string()) + "' cannot be read: " + error.message());
}

SourceItem fileDocument(const fs::path& path, std::string key, std::size_t maxBytes) {
  try {
    Document document;
    document.key = std::move(key);
    document.content = readFile(path.string(), maxBytes);
    const std::uint64_t bytes = document.content.size();
    return {std::move(document), bytes};
  } catch (const CtlFailure& failure) {
    return problem(failure.what());
  }
}

/// One file as one document.
class FileSource : public DocumentSource {
 public:
  FileSource(const std::string& path, std::size_t maxBytes) : path_(path), maxBytes_(maxBytes) {}

  std::optional<SourceItem> next() override {
    if (std::exchange(done_, true)) return std::nullopt;
    const fs::path path(path_);
    return fileDocument(path, path.filename().string(), maxBytes_);
  }

 private:
  std::string path_;
  std::size_t maxBytes_;
  bool done_ = false;
};

class FolderSource : public DocumentSource {
 public:
  FolderSource(const std::string& root, std::size_t maxBytes) : maxBytes_(maxBytes) {
    enter(root, "");
  }

  std::optional<SourceItem> next() override {
    while (!levels_.empty() || failed_) {
      if (failed_) return std::exchange(failed_, std::nullopt);
      Level& level = levels_.back();
      if (level.names.empty()) {
        levels_.pop_back();
        continue;
      }
      const std::string name = std::move(level.names.back());
      level.names.pop_back();
      auto item = visit(level.folder / name, level.prefix + name);
      if (item) return item;
    }
    return std::nullopt;
  }

 private:
  struct Level {
    fs::path folder;
    std::string prefix;              // of the keys below it
    std::vector<std::string> names;  // still to visit, the next one last
  };

  void enter(const fs::path& folder, const std::string& prefix) {
    Level level{folder, prefix, {}};
    std::error_code error;
    for (fs::directory_iterator at(folder, error), end; !error && at != end; at.increment(error)) {
      level.names.push_back(at->path().filename().string());
    }
    if (error) failed_ = problem(folder, error);  // what was seen before is still visited
    std::sort(level.names.begin(), level.names.end(), std::greater<>());
    levels_.push_back(std::move(level));
  }

  std::optional<SourceItem> visit(const fs::path& path, const std::string& key) {
    std::error_code error;
    const bool link = fs::is_symlink(fs::symlink_status(path, error));
    const fs::file_status status = fs::status(path, error);
    if (status.type() == fs::file_type::none || status.type() == fs::file_type::not_found) {
      return problem(path, error ? error : make_error_code(std::errc::no_such_file_or_directory));
    }
    if (fs::is_directory(status)) {
      if (!link) enter(path, key + '/');
      return std::nullopt;
    }
    if (!fs::is_regular_file(status)) return std::nullopt;
    return fileDocument(path, key, maxBytes_);
  }

  std::size_t maxBytes_;
  std::vector<Level> levels_;
  std::optional<SourceItem> failed_;
};

InputForm formOf(const std::string& path, const SourceOptions& options) {
  if (options.form != InputForm::BY_NAME) return options.form;
  const std::string extension = fs::path(path).extension().string();
  if (extension == ".csv") return InputForm::CSV;
  const bool ndjson = options.namedFilesAreNdjson || extension == ".ndjson" ||
                      extension == ".jsonl" || path == STANDARD_INPUT;
  return ndjson ? InputForm::NDJSON : InputForm::FILE;
}

class PathsSource : public DocumentSource {
 public:
  PathsSource(std::vector<std::string> paths, SourceOptions options)
      : paths_(std::move(paths)), options_(std::move(options)) {}

  std::optional<SourceItem> next() override {
    for (;;) {
      if (current_ != nullptr) {
        auto item = current_->next();
        if (item) return item;
        current_ = nullptr;
      }
      if (at_ == paths_.size()) return std::nullopt;
      current_ = open(paths_[at_++]);
    }
  }

 private:
  std::unique_ptr<DocumentSource> open(const std::string& path) const {
    std::error_code error;
    if (fs::is_directory(path, error)) {
      return std::make_unique<FolderSource>(path, options_.maxBytes);
    }
    switch (formOf(path, options_)) {
      case InputForm::NDJSON:
        return openNdjson(path, options_);
      case InputForm::CSV:
        return openCsv(path, options_);
      case InputForm::BY_NAME:
      case InputForm::FILE:
        break;
    }
    return std::make_unique<FileSource>(path, options_.maxBytes);
  }

  std::vector<std::string> paths_;
  SourceOptions options_;
  std::size_t at_ = 0;
  std::unique_ptr<DocumentSource> current_;
};

std::uint64_t sizeOf(const fs::directory_entry& entry) {
  std::error_code error;
  if (!entry.is_regular_file(error)) return 0;
  const std::uint64_t bytes = entry.file_size(error);
  return error ? 0 : bytes;
}

}  // namespace

std::vector<std::string> fieldsOf(const std::string& column, const SourceOptions& options) {
  std::vector<std::string> fields;
  for (const FieldMapping& mapping : options.mappings) {
    if (mapping.column == column) fields.push_back(mapping.field);
  }
  if (fields.empty()) fields.push_back(column);
  return fields;
}

std::unique_ptr<DocumentSource> openPaths(const std::vector<std::string>& paths,
                                          const SourceOptions& options) {
  return std::make_unique<PathsSource>(paths, options);
}

void requirePaths(const std::vector<std::string>& paths) {
  for (const std::string& path : paths) {
    std::error_code error;
    if (path == STANDARD_INPUT || fs::exists(path, error)) continue;
    throw CtlFailure(ExitCode::LOCAL_FILE, "'" + printable(path) + "' cannot be read: " +
                                               (error ? error.message() : "there is no such file"));
  }
}

std::uint64_t measurePaths(const std::vector<std::string>& paths) {
  std::uint64_t bytes = 0;
  for (const std::string& path : paths) {
    std::error_code error;
    const fs::directory_entry named(path, error);
    bytes += sizeOf(named);
    if (!named.is_directory(error)) continue;
    const auto options = fs::directory_options::skip_permission_denied;
    for (fs::recursive_directory_iterator at(path, options, error), end; !error && at != end;
         at.increment(error)) {
      bytes += sizeOf(*at);
    }
  }
  return bytes;
}

}  // namespace orvix::ctl
