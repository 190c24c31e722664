// SPDX-License-Identifier: Apache-2.0
// Fills requests and reads files.
#include "cli/qorCtlDocument.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <system_error>

#include "cli/qorCtlExit.h"
#include "cli/qorCtlInput.h"
#include "cli/qorCtlText.h"

namespace orvix::ctl {

namespace {

using comm::StaticDefs;

constexpr std::size_t READ_STEP = std::size_t{64} << 10U;

struct FileCloser {
  void operator()(std::FILE* file) const noexcept { std::fclose(file); }
};

[[noreturn]] void raiseUnreadable(const std::string& path, int error) {
  throw CtlFailure(ExitCode::LOCAL_FILE,
                   inputName(path) + " cannot be read: " + std::generic_category().message(error));
}

std::string readStream(std::FILE* file, const std::string& path, std::size_t limit) {
  std::string bytes;
  std::size_t got = 0;
  do {
    const std::size_t held = bytes.size();
    bytes.resize(held + READ_STEP);
    errno = 0;
    got = std::fread(bytes.data() + held, 1, READ_STEP, file);
    if (std::ferror(file) != 0) raiseUnreadable(path, errno);
    bytes.resize(held + got);
    if (bytes.size() > limit) {
      throw CtlFailure(ExitCode::LOCAL_FILE, inputName(path) + " has more than " +
                                                 std::to_string(limit) + " bytes; split it");
    }
  } while (got != 0);
  return bytes;
}

}  // namespace

FieldMarks::FieldMarks(const std::vector<std::string>& indexed,
                       const std::vector<std::string>& sortable)
    : indexed_(indexed.begin(), indexed.end()), sortable_(sortable.begin(), sortable.end()) {}

icu::UnicodeString FieldMarks::wireName(const std::string& name) const {
  icu::UnicodeString marked;
  if (indexed_.count(name) != 0) marked += StaticDefs::PARAM_INDEXABLE_METADATA_PREFIX;
  if (sortable_.count(name) != 0) marked += StaticDefs::PARAM_SORTABLE_METADATA_PREFIX;
  return marked + toUnicode(name);
}

std::vector<Field> parseFields(const std::vector<std::string>& texts) {
  std::vector<Field> fields;
  for (const std::string& text : texts) {
    const std::size_t equals = text.find('=');
    fields.push_back({text.substr(0, equals), text.substr(equals + 1)});
  }
  return fields;
}

void fillRequest(comm::ClientRequest& request, const Document& document, const FieldMarks& marks) {
  std::list<comm::KVPair> fields;
  for (const Field& field : document.fields) {
    fields.emplace_back(marks.wireName(field.name), toUnicode(field.value));
  }
  request.setDocKey(document.key.data(), static_cast<unsigned int>(document.key.size()));
  request.setContent(fields, document.content.data(),
                     static_cast<unsigned int>(document.content.size()));
}

std::string readFile(const std::string& path, std::size_t limit) {
  if (path == STANDARD_INPUT) return readStream(stdin, path, limit);
  errno = 0;
  const std::unique_ptr<std::FILE, FileCloser> file(std::fopen(path.c_str(), "rbe"));
  if (file == nullptr) raiseUnreadable(path, errno);
  return readStream(file.get(), path, limit);
}

}  // namespace orvix::ctl
