// SPDX-License-Identifier: Apache-2.0
// The rows.
#include "cli/qorCtlOptionTable.h"

#include <initializer_list>

namespace orvix::ctl {

namespace {

constexpr std::uint32_t bit(Command command) {
  return std::uint32_t{1} << static_cast<std::uint32_t>(command);
}

constexpr std::uint32_t bits(std::initializer_list<Command> commands) {
  std::uint32_t all = 0;
  for (const Command command : commands) all |= bit(command);
  return all;
}

using enum Command;

constexpr CommandRow COMMANDS[] = {
    {VERSION, nullptr, "version", "Show the versions of qorctl, of its library and of the server"},
    {STATUS, nullptr, "status", "Ask the server whether it is well"},
    {PING, nullptr, "ping", "Measure how long the server takes to answer"},
    {DOCTOR, nullptr, "doctor", "Check host, connection, token, version and collection"},
    {COLLECTION_CREATE, "collection", "create", "Create a collection"},
    {COLLECTION_DROP, "collection", "drop", "Delete a collection with all its documents"},
    {COLLECTION_OPEN, "collection", "open", "Open a collection"},
    {COLLECTION_CLOSE, "collection", "close", "Close a collection"},
    {COLLECTION_UPDATE, "collection", "update", "Make all that was sent to it searchable"},
    {COLLECTION_LIST_STATUS, "collection", "list-status", "Show the state of a collection"},
    {LOAD, nullptr, "load", "Add the files of folders, single files, NDJSON lines or CSV rows"},
    {DOC_ADD, "doc", "add", "Add or replace one document"},
    {DOC_DELETE, "doc", "delete", "Delete one document"},
    {SEARCH, nullptr, "search", "Find documents"},
    {ESTIMATE, nullptr, "estimate", "Estimate how many documents a query finds"},
    {OUTCOMES, nullptr, "outcomes", "Fetch what became of the documents sent last"},
    {BACKUP, nullptr, "backup", "Keep a copy of a collection on the server"},
    {RESTORE, nullptr, "restore", "Put a kept copy of a collection back"},
    {TAKEOVER, nullptr, "takeover", "Tell the server to take over"},
    {SHUTDOWN, nullptr, "shutdown", "Tell the server to end"},
    {WIRE, "wire", "", "Show the bytes of a request without sending it"},
    {WIRE_DECODE, "wire", "decode", "Explain captured bytes of requests or replies"},
    {EXPLAIN, nullptr, "explain", "Explain a message identifier or an exit code"},
    {COMPLETION, nullptr, "completion", "Write the completion script of a shell"},
    {MAN, nullptr, "man", "Write the manual page, in roff"},
};

constexpr GroupRow GROUPS[] = {
    {"collection", "Create, drop and look after collections"},
    {"doc", "Add and delete single documents"},
    {"wire", "Show the bytes of a request without sending it, or explain captured ones"},
};

constexpr std::uint32_t COLLECTION_COMMANDS =
    bits({COLLECTION_CREATE, COLLECTION_DROP, COLLECTION_OPEN, COLLECTION_CLOSE, COLLECTION_UPDATE,
          COLLECTION_LIST_STATUS, LOAD, DOC_ADD, DOC_DELETE, SEARCH, ESTIMATE, OUTCOMES, BACKUP,
          RESTORE});
constexpr std::uint32_t FIELD_COMMANDS = bits({LOAD, DOC_ADD, WIRE});
constexpr std::uint32_t QUERIES = bits({SEARCH, ESTIMATE});

using S = Settings;
using enum Values;

// Arguments by position are filled in the order of their rows.
const OptionRow OPTIONS[] = {
    {ALL_COMMANDS, "--host", "HOST", &S::host, false, checkFilledLine, ANY,
     "Host name or address of the server"},
    {ALL_COMMANDS, "--port", "PORT", &S::port, false, checkPort, ANY, "Port of the server"},
    {ALL_COMMANDS, "--token-file", "FILE", &S::tokenFile, false, checkFilled, PATH,
     "File whose first line is the access token; - reads standard input"},
    {ALL_COMMANDS, "--connect-timeout", "SECONDS", &S::connectTimeout, false, checkSeconds, ANY,
     "Limit for establishing a connection; 0: none"},
    {ALL_COMMANDS, "--timeout", "SECONDS", &S::timeout, false, checkSeconds, ANY,
     "Limit for each step of a reply, and for each write; 0: none"},
    {ALL_COMMANDS, "--retries", "COUNT", &S::retries, false, checkRetries, ANY,
     "How often to repeat a request that failed on its way"},
    {ALL_COMMANDS, "--output", "FORM", &S::output, false, nullptr, OUTPUT_FORM,
     "table, json, ndjson, csv or plain; default: table on a terminal, ndjson otherwise"},

    {COLLECTION_COMMANDS, "collection", "NAME", &S::collection, true, checkFilledLine, ANY,
     "Name of the collection"},
    {bit(DOCTOR), "collection", "NAME", &S::collection, false, checkFilledLine, ANY,
     "A collection to check, too"},
    {QUERIES, "query", "QUERY", &S::query, true, checkFilledLine, ANY, "What to look for"},
    {bits({DOC_ADD, DOC_DELETE}), "key", "KEY", &S::documentKey, true, checkFilled, ANY,
     "Key of the document"},
    {bit(DOC_ADD), "file", "FILE", &S::contentFile, false, checkFilled, PATH,
     "File with the content; - reads standard input; default: no content"},
    {bit(LOAD), "paths", "PATH", &S::paths, true, checkFilled, PATH,
     "Folders, text files, NDJSON files (.ndjson, .jsonl), CSV files (.csv); - is standard input"},
    {bits({BACKUP, RESTORE}), "copy", "COPY", &S::backupName, true, checkFilledLine, ANY,
     "Name of the copy, or its path on the server where the server allows that"},
    {bit(WIRE), "kind", "KIND", &S::wireKind, false, checkKind, KIND,
     "The request, such as add-document"},
    {bit(WIRE), "properties", "KEY=VALUE", &S::wireProperties, false, checkProperty, ANY,
     "Properties of the request, such as index=books"},
    {bit(WIRE_DECODE), "file", "FILE", &S::decodeFile, true, checkFilled, PATH,
     "File with the bytes of one direction; - reads standard input"},
    {bit(EXPLAIN), "id", "ID", &S::explainId, false, checkFilled, MESSAGE_ID,
     "Identifier or exit code; without it, all are listed"},
    {bit(COMPLETION), "shell", "SHELL", &S::shell, true, nullptr, SHELL, "bash, zsh or fish"},

    {bit(PING), "--count", "COUNT", &S::count, false, checkCount, ANY, "Requests to send"},
    {bit(PING), "--interval", "SECONDS", &S::interval, false, checkInterval, ANY,
     "Time from one request to the next"},
    {bit(COLLECTION_CREATE), "--display-name", "TEXT", &S::displayName, false, checkFilledLine, ANY,
     "Name shown to people"},
    {bits({COLLECTION_CREATE, SEARCH, ESTIMATE, LOAD, DOC_ADD}), "--lang", "LANGUAGE", &S::language,
     false, checkFilledLine, ANY,
     "Language of the collection, the documents or the query, such as en"},
    {bits({LOAD, DOC_ADD}), "--charset", "NAME", &S::charset, false, checkFilledLine, ANY,
     "Character set of the content; default: UTF-8"},
    {FIELD_COMMANDS, "--index", "FIELD", &S::indexedFields, false, checkFilled, ANY,
     "Make this field searchable; may be repeated"},
    {FIELD_COMMANDS, "--sortable", "FIELD", &S::sortableFields, false, checkFilled, ANY,
     "Let hits be sorted by this field; may be repeated"},
    {bits({DOC_ADD, WIRE}), "--field", "NAME=VALUE", &S::fields, false, checkField, ANY,
     "A field of the document; may be repeated"},
    {bit(LOAD), "--format", "FORM", &S::inputForm, false, nullptr, INPUT_FORM,
     "How to read named files: auto (by their names), file (one document each), ndjson or csv"},
    {bit(LOAD), "--key", "COLUMN", &S::keyMember, false, checkFilled, ANY,
     "CSV column or NDJSON member that holds the key; default: key"},
    {bit(LOAD), "--content", "COLUMN", &S::contentMember, false, checkFilled, ANY,
     "CSV column or NDJSON member that holds the text; default: content"},
    {bit(LOAD), "--map", "FIELD=COLUMN", &S::mappings, false, checkMapping, ANY,
     "Take this field from that column or member; may be repeated"},
    {bit(LOAD), "--rejects", "FILE", &S::rejectsFile, false, checkOutputFile, PATH,
     "Write documents that did not get in to this file, as NDJSON that can be loaded again"},
    {bit(LOAD), "--dry-run", "", &S::dryRun, false, nullptr, ANY,
     "Read and check everything, but send nothing"},
    {bit(SEARCH), "--limit", "COUNT", &S::limit, false, checkLimit, ANY, "Hits to show at most"},
    {bit(SEARCH), "--offset", "COUNT", &S::offset, false, checkOffset, ANY, "Hits to skip first"},
    {bit(SEARCH), "--sort", "FIELD", &S::sort, false, checkFilledLine, ANY,
     "Sort by this field instead of by score"},
    {bit(SEARCH), "--stream", "", &S::stream, false, nullptr, ANY,
     "Show hits as they arrive, in bounded memory"},
    {bit(SEARCH), "--no-score", "", &S::noScore, false, nullptr, ANY, "Do not ask for scores"},
    {bit(RESTORE), "--replace", "", &S::replace, false, nullptr, ANY,
     "Replace the collection when there is one, with all that it holds now"},
    {bit(WIRE), "--key", "KEY", &S::documentKey, false, checkFilled, ANY, "Key of the document"},
    {bit(WIRE), "--content", "TEXT", &S::contentText, false, nullptr, ANY,
     "Content of the document"},
    {bit(WIRE), "--content-file", "FILE", &S::contentFile, false, checkFilled, PATH,
     "File with the content of the document; - reads standard input"},
    {bit(WIRE), "--raw", "", &S::raw, false, nullptr, ANY, "Write the bytes themselves"},
    {bit(WIRE_DECODE), "--kind", "KIND", &S::replyKind, false, checkKind, KIND,
     "The bytes are replies to this request; without it, they are requests"},
};

static_assert(std::size(COMMANDS) < 32, "a command is a bit of a row, and all bits are no command");

}  // namespace

std::span<const CommandRow> commandTable() { return COMMANDS; }
std::span<const GroupRow> groupTable() { return GROUPS; }
std::span<const OptionRow> optionTable() { return OPTIONS; }

}  // namespace orvix::ctl
