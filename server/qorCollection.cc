// SPDX-License-Identifier: Apache-2.0
// Field list and configuration are metadata of the engine's database, so that one commit, copy or
// rename covers them and the documents alike. Changes are made in a transaction: without one the
// engine commits by itself after some number of them, and when its writer goes away.
#include "server/qorCollection.h"

#include <chrono>
#include <ctime>
#include <fstream>
#include <mutex>
#include <shared_mutex>
#include <thread>
#include <utility>

#include "server/qorDocumentTerm.h"
#include "server/qorIndexer.h"
#include "server/qorLog.h"
#include "server/qorRefusal.h"
#include "server/qorSync.h"

namespace orvix::server {

namespace {

constexpr const char* CONFIG_KEY = "config";
constexpr const char* FIELDS_KEY = "fields";
constexpr std::uint64_t MAX_PENDING_BYTES = 128ULL << 20U;
constexpr std::uint64_t BYTES_OF_A_DOCUMENT = 1024;  // whatever it holds
constexpr std::chrono::seconds LOCK_PATIENCE{2};

/// Of the engine's memory, roughly.
std::uint64_t costOf(const DocumentBody& body) {
  std::uint64_t bytes = BYTES_OF_A_DOCUMENT + body.key.size() + body.content.size();
  for (const DocumentField& field : body.fields) bytes += field.value.size();
  return bytes;
}

/// The lock of a writer that was closed lasts until a process that was forked meanwhile, for a
/// filter, has let go of the server's descriptors. Any other lock is somebody else's.
Xapian::WritableDatabase openToWrite(const std::string& folder) {
  const auto end = std::chrono::steady_clock::now() + LOCK_PATIENCE;
  for (;;) {
    try {
      return Xapian::WritableDatabase(folder, Xapian::DB_OPEN);
    } catch (const Xapian::DatabaseLockError&) {
      if (std::chrono::steady_clock::now() > end) throw;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

void logBatch(const std::string& collection, const Outcomes::Settled& batch) {
  if (!batch.first) return;
  logFault(
      LogLevel::WARNING, "batch_with_rejects", *batch.first,
      {{"collection", collection}, {"documents", batch.documents}, {"rejected", batch.rejected}});
}

}  // namespace

Collection::Collection(std::string name, std::filesystem::path folder, Board* board)
    : name_(std::move(name)),
      folder_(std::move(folder)),
      board_(board),
      reader_(folder_.string()),
      outcomes_(folder_ / OUTCOMES_FILE, board) {
  loadMetadata();
}

void Collection::write(const std::filesystem::path& folder, const CollectionConfig& config) {
  Xapian::WritableDatabase fresh(folder.string(), Xapian::DB_CREATE | Xapian::DB_BACKEND_GLASS);
  fresh.set_metadata(CONFIG_KEY, config.store());
  fresh.commit();
  fresh.close();
  complete(folder);
}

/// The file's name is synced with the folder, so that later only its bytes have to be.
void Collection::complete(const std::filesystem::path& folder) {
  std::ofstream(folder / OUTCOMES_FILE).close();
}

void Collection::add(const DocumentBody& body, const Properties& request) {
  if (pendingBytes_ >= MAX_PENDING_BYTES) commit();  // what the engine holds in memory is bounded
  const TextSettings settings = textSettingsOf(request, config_.language);
  const Xapian::Document document = build(body, settings);
  change([&](Xapian::WritableDatabase& database) {
    if (fields_.changed()) database.set_metadata(FIELDS_KEY, fields_.store());
    const Xapian::docid known = findDocument(database, body.key);
    if (known != 0) {
      database.replace_document(known, document);
    } else {
      database.add_document(document);
    }
  });
  pendingBytes_ += costOf(body);
}

/// Fields that a refused document brought along do not count.
Xapian::Document Collection::build(const DocumentBody& body, const TextSettings& settings) {
  try {
    return buildDocument(body, settings, fields_);
  } catch (...) {
    if (fields_.changed()) fields_ = fieldsIn(writer());
    throw;
  }
}

void Collection::remove(std::string_view key) {
  change([&](Xapian::WritableDatabase& database) {
    const Xapian::docid known = findDocument(database, key);
    if (known != 0) database.delete_document(known);
  });
}

void Collection::configure(Properties configuration, const std::string& language) {
  config_.configuration = std::move(configuration);
  if (!language.empty()) config_.language = language;
  change([&](Xapian::WritableDatabase& database) {
    database.set_metadata(CONFIG_KEY, config_.store());
  });
  commit();
}

void Collection::commit() {
  if (pending_ != 0) {
    const auto begun = std::chrono::steady_clock::now();
    try {
      publish();
      if (board_ != nullptr)
        board_->metrics().commits.add(std::chrono::steady_clock::now() - begun);
    } catch (...) {
      if (board_ != nullptr) board_->metrics().commitFailures.add();
      abandon();
      throw;
    }
    pending_ = 0;
    pendingBytes_ = 0;
    lastError_.reset();
  }
  logBatch(name_, outcomes_.settle(std::time(nullptr)));
  report();
}

void Collection::report() {
  if (board_ != nullptr) board_->report(name_, pending_ != 0, lastError_);
}

void Collection::publish() {
  if (board_ != nullptr) board_->requireRole();
  folderUnsynced_ = true;
  {
    std::unique_lock<std::shared_mutex> alone;
    if (board_ != nullptr) alone = std::unique_lock(board_->publishing());
    writer().commit_transaction();
  }
  if (board_ != nullptr) board_->committed();
  settleFolder();
}

void Collection::settleFolder() {
  if (!folderUnsynced_) return;
  syncFolder(folder_);
  folderUnsynced_ = false;
}

Xapian::Database Collection::reader() {
  reader_.reopen();
  return reader_;
}

Xapian::WritableDatabase& Collection::writer() {
  if (!writer_) writer_ = openToWrite(folder_.string());
  return *writer_;
}

void Collection::loadMetadata() {
  config_ = configIn(reader_);
  fields_ = fieldsIn(reader_);
}

CollectionConfig Collection::configIn(const Xapian::Database& database) {
  return CollectionConfig::load(database.get_metadata(CONFIG_KEY));
}

FieldRegistry Collection::fieldsIn(const Xapian::Database& database) {
  return FieldRegistry::load(database.get_metadata(FIELDS_KEY));
}

/// Called while an exception is handled. The engine's writer has dropped its changes or is in an
/// unknown state; a new one starts from what is on disk.
void Collection::abandon() {
  const Fault fault = currentFault("Writing the collection " + inQuotes(name_) +
                                   " failed, and what was not committed is lost; send it again");
  lastError_ = fault;
  lastLoss_ = fault;
  ++losses_;
  logFault(LogLevel::ERROR, "write_failed", fault, {{"collection", name_}});
  if (board_ != nullptr) board_->metrics().changesLost.add(pending_);
  logBatch(name_, outcomes_.failUnsettled(fault, std::time(nullptr)));
  pending_ = 0;
  pendingBytes_ = 0;
  report();
  writer_.reset();
  try {
    reader_.reopen();
    loadMetadata();
  } catch (...) {
    // The disk cannot even be read: what is in memory is as good as anything, and the first failure
    // is the one to report.
  }
}

template <typename Change>
void Collection::change(const Change& apply) {
  try {
    if (board_ != nullptr && pending_ == 0) board_->requireRole();
    settleFolder();
    if (pending_ == 0) writer().begin_transaction();
    apply(writer());
  } catch (...) {
    abandon();
    throw;
  }
  if (++pending_ == 1) report();
}

}  // namespace orvix::server
