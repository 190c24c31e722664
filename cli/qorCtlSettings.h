// SPDX-License-Identifier: Apache-2.0
// What one call of the command line asks for: the command and the value of every option.
// Filled by the option table, checked once, read-only afterwards.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace orvix::ctl {

enum class Command : std::uint32_t {
  VERSION,
  STATUS,
  PING,
  DOCTOR,
  COLLECTION_CREATE,
  COLLECTION_DROP,
  COLLECTION_OPEN,
  COLLECTION_CLOSE,
  COLLECTION_UPDATE,
  COLLECTION_LIST_STATUS,
  LOAD,
  DOC_ADD,
  DOC_DELETE,
  SEARCH,
  ESTIMATE,
  OUTCOMES,
  BACKUP,
  RESTORE,
  TAKEOVER,
  SHUTDOWN,
  WIRE,
  WIRE_DECODE,
  EXPLAIN,
  COMPLETION,
  MAN
};

struct Settings {
  Command command = Command::VERSION;

  std::string host = "127.0.0.1";
  std::uint32_t port = 8715;
  std::string tokenFile;       ///< "-": standard input
  double connectTimeout = 10;  ///< seconds; 0: no limit
  double timeout = 30;         ///< seconds per reply and per write; 0: no limit
  std::uint32_t retries = 1;
  std::string output;  ///< a form by name, or empty: by what standard output is

  std::string collection;
  std::string displayName;
  std::string language;
  std::string charset;
  std::string query;
  std::optional<std::uint32_t> limit;
  std::optional<std::uint32_t> offset;
  std::string sort;
  bool stream = false;
  bool noScore = false;
  bool replace = false;  ///< what stands where a copy is put back
  std::string backupName;
  std::string documentKey;
  std::string contentFile;
  std::vector<std::string> fields;  ///< NAME=VALUE
  std::vector<std::string> paths;
  std::string keyMember;
  std::string contentMember;
  std::vector<std::string> mappings;  ///< FIELD=COLUMN
  std::string inputForm;              ///< a form by name, or empty: by each path's name
  std::string rejectsFile;
  bool dryRun = false;
  std::vector<std::string> indexedFields;
  std::vector<std::string> sortableFields;

  std::uint32_t count = 5;
  double interval = 1;  ///< seconds
  std::string wireKind;
  std::vector<std::string> wireProperties;  ///< KEY=VALUE
  std::optional<std::string> contentText;
  bool raw = false;
  std::string decodeFile;
  std::string replyKind;
  std::string explainId;
  std::string shell;
};

}  // namespace orvix::ctl
