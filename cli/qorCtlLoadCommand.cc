// SPDX-License-Identifier: Apache-2.0
// The load command: from options to sources, and from counts to the last row.
#include <algorithm>
#include <filesystem>
#include <optional>
#include <string>

#include "cli/qorCtlContext.h"
#include "cli/qorCtlInput.h"
#include "cli/qorCtlInterrupt.h"
#include "cli/qorCtlLoad.h"
#include "cli/qorCtlText.h"

namespace orvix::ctl {

namespace {

namespace fs = std::filesystem;

SourceOptions sourceOptions(const Settings& settings) {
  SourceOptions options;
  if (!settings.keyMember.empty()) options.keyMember = settings.keyMember;
  if (!settings.contentMember.empty()) options.contentMember = settings.contentMember;
  for (const Field& mapping : parseFields(settings.mappings)) {
    if (mapping.name == KEY_FIELD) {
      options.keyMember = mapping.value;
    } else if (mapping.name == CONTENT_FIELD) {
      options.contentMember = mapping.value;
    } else {
      options.mappings.push_back({mapping.name, mapping.value});
    }
  }
  options.namedFilesAreNdjson =
      !settings.keyMember.empty() || !settings.contentMember.empty() || !settings.mappings.empty();
  const auto* const form = std::find(INPUT_FORMS.begin(), INPUT_FORMS.end(), settings.inputForm);
  if (form != INPUT_FORMS.end()) options.form = static_cast<InputForm>(form - INPUT_FORMS.begin());
  return options;
}

bool liesIn(const fs::path& file, const fs::path& path) {
  std::error_code error;
  const fs::path whole = fs::weakly_canonical(file, error);
  const fs::path start = fs::weakly_canonical(path, error);
  if (error) return false;
  return std::mismatch(start.begin(), start.end(), whole.begin(), whole.end()).first == start.end();
}

/// Opening it empties it, so it must not be one of the files that are to be read.
void requireNoInput(const std::string& rejects, const std::vector<std::string>& paths) {
  for (const std::string& path : paths) {
    if (path == STANDARD_INPUT || !liesIn(rejects, path)) continue;
    throw CtlFailure(ExitCode::USAGE, "--rejects: '" + printable(rejects) +
                                          "' is one of the files to load; name another one");
  }
}

bool readsStandardInput(const Settings& settings) {
  return std::find(settings.paths.begin(), settings.paths.end(), STANDARD_INPUT) !=
         settings.paths.end();
}

/// Unknown, hence 0, when standard input is among the paths.
std::uint64_t totalBytes(const Settings& settings) {
  return readsStandardInput(settings) ? 0 : measurePaths(settings.paths);
}

void noteOmitted(const Context& context, std::uint64_t omitted) {
  if (omitted == 0) return;
  context.note(
      "members left out of their documents, for they are neither text nor numbers, or have "
      "no name: " +
      std::to_string(omitted));
}

void writeSummary(const Context& context, const LoadCounts& counts, double seconds) {
  context.writeRow({{"sent", 0, true},
                    {"accepted", 0, true},
                    {"rejected", 0, true},
                    {"unconfirmed", 0, true},
                    {"unreadable", 0, true},
                    {"bytes", 0, true},
                    {"seconds", 0, true}},
                   {counts.sent, counts.accepted, counts.rejected, counts.unconfirmed(),
                    counts.problems, counts.bytes, seconds});
}

/// "title (searchable), year": what becomes of the fields.
std::string fieldsText(const Document& document, const FieldMarks& marks) {
  std::string text;
  for (const Field& field : document.fields) {
    if (!text.empty()) text += ", ";
    text += printable(toUtf8(marks.wireName(field.name)));
  }
  return text.empty() ? "no fields" : "fields " + text;
}

/// Reads everything as a load would, and tells of the first document what would be sent.
ExitCode dryRun(const Context& context, DocumentSource& source, const FieldMarks& marks) {
  const Settings& settings = context.settings();
  Progress progress(context.terminal().err, context.terminal().errIsTerminal,
                    context.terminal().errIsTerminal ? totalBytes(settings) : 0);
  LoadCounts counts;
  while (const auto item = source.next()) {
    if (interrupt::requested()) break;
    counts.bytes += item->bytes;
    if (const auto* problem = std::get_if<SourceProblem>(&item->what)) {
      ++counts.problems;
      progress.say(problem->text);
    } else {
      const auto& document = std::get<Document>(item->what);
      counts.omittedMembers += document.omittedMembers;
      if (++counts.sent == 1) {
        progress.say("the first document: key " + inQuotes(document.key) + ", content of " +
                     std::to_string(document.content.size()) + " bytes, " +
                     fieldsText(document, marks));
      }
    }
    progress.update({counts.sent, 0, counts.bytes});
  }
  progress.wipe();
  noteOmitted(context, counts.omittedMembers);
  context.writeRow({{"documents", 0, true}, {"unreadable", 0, true}, {"bytes", 0, true}},
                   {counts.sent, counts.problems, counts.bytes});
  if (interrupt::requested()) return ExitCode::INTERRUPTED;
  if (counts.problems == 0) return ExitCode::DONE;
  return counts.sent == 0 ? ExitCode::LOCAL_FILE : ExitCode::DONE_IN_PART;
}

ExitCode loadAll(Context& context, DocumentSource& source, const FieldMarks& marks,
                 RejectLog* rejects) {
  const Settings& settings = context.settings();
  const bool bar = context.terminal().errIsTerminal;
  Progress progress(context.terminal().err, bar, bar ? totalBytes(settings) : 0);
  Loader loader(context.connection(), toUnicode(settings.collection), documentProperties(context),
                marks, progress);
  if (rejects != nullptr) loader.keepRejects(*rejects);
  const LoadResult result = loader.run(source);
  if (result.failure) progress.say(result.failure->text);
  progress.wipe();
  noteOmitted(context, result.counts.omittedMembers);
  writeSummary(context, result.counts, progress.elapsed().count());
  return exitCodeOf(result);
}

}  // namespace

ExitCode loadDocuments(Context& context) {
  const Settings& settings = context.settings();
  requirePaths(settings.paths);
  const SourceOptions options = sourceOptions(settings);
  const FieldMarks marks(settings.indexedFields, settings.sortableFields);
  if (!settings.dryRun) static_cast<void>(context.connection());  // reads the token first of all
  std::optional<RejectLog> rejects;
  if (!settings.rejectsFile.empty() && !settings.dryRun) {
    requireNoInput(settings.rejectsFile, settings.paths);
    rejects.emplace(settings.rejectsFile, options);
  }
  interrupt::catchFirst();
  const auto source = openPaths(settings.paths, options);
  if (settings.dryRun) return dryRun(context, *source, marks);
  return loadAll(context, *source, marks, rejects ? &*rejects : nullptr);
}

}  // namespace orvix::ctl
