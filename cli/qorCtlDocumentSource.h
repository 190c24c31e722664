// SPDX-License-Identifier: Apache-2.0
// Local paths to documents, one at a time: the files of folders, single files, the lines of NDJSON
// files and the rows of CSV files. Touches files only; knows nothing of servers.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
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

/// How a named path is read. Files in folders are always documents of their own.
enum class InputForm : std::uint32_t {
  BY_NAME = 0,  ///< NDJSON for .ndjson and .jsonl, CSV for .csv, else one document
  FILE = 1,     ///< one document
  NDJSON = 2,
  CSV = 3
};

/// Row n is the name of enumerator n.
inline constexpr std::array<std::string_view, 4> INPUT_FORMS{"auto", "file", "ndjson", "csv"};

/// Fields that a mapping may name but that are no fields: the document's key and its text.
inline constexpr char KEY_FIELD[] = "key";
inline constexpr char CONTENT_FIELD[] = "content";

/// Takes the field `field` from the column, or member, `column`.
struct FieldMapping {
  std::string field;
  std::string column;
};

struct SourceOptions {
  std::string keyMember = KEY_FIELD;
  std::string contentMember = CONTENT_FIELD;
  std::vector<FieldMapping> mappings;
  InputForm form = InputForm::BY_NAME;
  bool namedFilesAreNdjson = false;  ///< by name: all that are not CSV
  std::size_t maxBytes = MAX_DOCUMENT_BYTES;
};

/// The member in which rejected documents carry the reason. Loading passes over it.
inline constexpr char REJECTED_MEMBER[] = "_rejected";
/// {"base64": "..."} in the place of a key or a content that is not UTF-8.
inline constexpr char BASE64_MEMBER[] = "base64";

/// The fields that a column feeds: those that are mapped to it, else the one of its own name.
[[nodiscard]] std::vector<std::string> fieldsOf(const std::string& column,
                                                const SourceOptions& options);

/// The lines of one NDJSON file. Members that are text or numbers become fields, the rest is left
/// out.
[[nodiscard]] std::unique_ptr<DocumentSource> openNdjson(const std::string& path,
                                                         const SourceOptions& options);

/// The rows of one CSV file behind its header row. Cells become fields, empty ones are left out.
[[nodiscard]] std::unique_ptr<DocumentSource> openCsv(const std::string& path,
                                                      const SourceOptions& options);

/// All paths in turn. A folder is walked with everything below it, names in byte order; the key of
/// a file is its path below the folder. Links to folders are not followed, and what is neither file
/// nor folder is passed over. A named file's key is its name. "-" is standard input, read as NDJSON
/// unless the options say CSV.
[[nodiscard]] std::unique_ptr<DocumentSource> openPaths(const std::vector<std::string>& paths,
                                                        const SourceOptions& options);

/// Throws CtlFailure LOCAL_FILE for the first path that does not exist; "-" always does.
void requirePaths(const std::vector<std::string>& paths);

/// Bytes of all files at and below the paths, as far as they can be seen.
[[nodiscard]] std::uint64_t measurePaths(const std::vector<std::string>& paths);

}  // namespace orvix::ctl
