// SPDX-License-Identifier: Apache-2.0
// Local paths to documents, one at a time: the files of folders, single files, and the lines of
// NDJSON files. Touches files only; knows nothing of servers.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "cli/qorCtlDocument.h"

namespace orvix::ctl {

/// Why a document could not be made: which file, which line, what to do.
struct SourceProblem {
  std::string text;
};

struct SourceItem {
  std::variant<Document, SourceProblem> what;
  std::uint64_t bytes = 0;  ///< of input that went into it
};

/// Hands out documents in a fixed order and holds one at a time. After a problem it goes on.
class DocumentSource {
 public:
  DocumentSource() = default;
  DocumentSource(const DocumentSource&) = delete;
  DocumentSource& operator=(const DocumentSource&) = delete;
  virtual ~DocumentSource() = default;
  /// Nothing at the end.
  virtual std::optional<SourceItem> next() = 0;
};

struct SourceOptions {
  std::string keyMember = "key";
  std::string contentMember = "content";
  bool namedFilesAreNdjson = false;  ///< whatever their names end in; files in folders never are
  std::size_t maxBytes = MAX_DOCUMENT_BYTES;
};

/// The lines of one NDJSON file. Members that are text or numbers become fields, the rest is left
/// out.
[[nodiscard]] std::unique_ptr<DocumentSource> openNdjson(const std::string& path,
                                                         const SourceOptions& options);

/// All paths in turn. A folder is walked with everything below it, names in byte order; the key of
/// a file is its path below the folder. Links to folders are not followed, and what is neither file
/// nor folder is passed over. A named file's key is its name.
[[nodiscard]] std::unique_ptr<DocumentSource> openPaths(const std::vector<std::string>& paths,
                                                        const SourceOptions& options);

/// Throws CtlFailure LOCAL_FILE for the first path that does not exist.
void requirePaths(const std::vector<std::string>& paths);

/// Bytes of all files at and below the paths, as far as they can be seen.
[[nodiscard]] std::uint64_t measurePaths(const std::vector<std::string>& paths);

}  // namespace orvix::ctl
