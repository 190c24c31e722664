// SPDX-License-Identifier: Apache-2.0
// Both searches are read by one loop: a scalar one arrives whole, a streamed one is pulled.
#include "cli/qorCtlSearch.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <memory>

#include "cli/qorCtlExit.h"
#include "cli/qorCtlText.h"

namespace orvix::ctl {

namespace {

using comm::StaticDefs;

constexpr unsigned short ERROR_STATUS = 6;
constexpr std::size_t RANK_WIDTH = 6;
constexpr std::size_t SCORE_WIDTH = 8;

/// Reads the pairs of a record that the server sent instead of a hit.
class ErrorRecord : public comm::GenRespRecord {
 public:
  ErrorRecord() : GenRespRecord(true) {}
  void postParse() override {}
  [[nodiscard]] std::string text(const char* key) const {
    return toUtf8(getProperties()->getProperty(toUnicode(key), icu::UnicodeString()));
  }
};

util::ExtendedProperties searchProperties(const Connection& connection, const Settings& settings) {
  util::ExtendedProperties properties = connection.properties();
  properties.putProperty(StaticDefs::PARAM_QUERY, toUnicode(settings.query));
  properties.putProperty(StaticDefs::PARAM_SCORE_WANTED,
                         settings.noScore ? StaticDefs::STRING_false : StaticDefs::STRING_true);
  if (settings.limit) {
    properties.putProperty(StaticDefs::PARAM_SEARCH_SIZE,
                           toUnicode(std::to_string(*settings.limit)));
  }
  if (settings.offset) {
    properties.putProperty(StaticDefs::PARAM_START_OFFSET,
                           toUnicode(std::to_string(*settings.offset)));
  }
  if (!settings.sort.empty()) {
    properties.putProperty(StaticDefs::PARAM_SORT_FIELD, toUnicode(settings.sort));
  }
  if (!settings.language.empty()) {
    properties.putProperty(StaticDefs::PARAM_QUERY_LANGUAGE, toUnicode(settings.language));
  }
  return properties;
}

/// Ranks, formats and writes hits.
class HitPrinter {
 public:
  explicit HitPrinter(const Context& context)
      : rank_(context.settings().offset.value_or(0)), scores_(!context.settings().noScore) {
    std::vector<Column> columns{{"rank", RANK_WIDTH, true}};
    if (scores_) columns.push_back({"score", SCORE_WIDTH, true});
    columns.push_back({"key", 0, false});
    writer_ = context.rows(std::move(columns));
  }

  void print(const comm::SearchResult& hit) {
    std::vector<Cell> cells{++rank_};
    if (scores_) cells.emplace_back(hit.getScore());
    cells.emplace_back(keyOf(hit));
    writer_->write(cells);
  }
  RowWriter& writer() { return *writer_; }

 private:
  std::uint64_t rank_;
  bool scores_;
  std::unique_ptr<RowWriter> writer_;
};

}  // namespace

std::string keyOf(const comm::SearchResult& hit) {
  if (hit.getRawKey() == nullptr) return toUtf8(hit.getKey());
  const std::string bytes(reinterpret_cast<const char*>(hit.getRawKey()), hit.getRawKeyLength());
  return isUtf8(bytes) ? bytes : toUtf8(hit.getKey());
}

std::string errorInHit(const comm::SearchResult& hit) {
  constexpr std::size_t MOST = std::numeric_limits<unsigned short>::max();
  ErrorRecord record;
  if (hit.getRawKey() != nullptr) {
    const auto length = std::min<std::size_t>(hit.getRawKeyLength(), MOST);
    record.decode(hit.getRawKey(), static_cast<unsigned short>(length),
                  static_cast<short>(ERROR_STATUS));
  }
  const std::string id = record.text("MsgId");
  return (id.empty() ? toUtf8(StaticDefs::ERR_SERVER_APP) : id) + ": " + record.text("MsgText");
}

std::uint64_t runSearch(Context& context) {
  Connection& connection = context.connection();
  const Settings& settings = context.settings();
  comm::ClientRequest request;
  request.buildRequest(
      toUnicode(settings.collection),
      settings.stream ? comm::ClientRequest::STREAM_SEARCH : comm::ClientRequest::SCALAR_SEARCH,
      searchProperties(connection, settings));
  connection.client().useStreamedResults(settings.stream);
  comm::ClientResponse response;
  connection.send(request, response);
  HitPrinter printer(context);
  std::uint64_t count = 0;
  for (;;) {
    comm::SearchResponse& hits = response.getSearchResponse(connection.client(), true);
    if (!hits.hasMore()) break;
    while (hits.hasMore()) {
      const comm::SearchResult& hit = hits.getNext();
      if (hit.getStatus() == ERROR_STATUS) {
        throw CtlFailure(ExitCode::REFUSED,
                         connection.triedText() + ": " + printable(errorInHit(hit)));
      }
      printer.print(hit);
      ++count;
    }
    printer.writer().flush();
    finishOutput(context.terminal().out);
  }
  connection.requireComplete();
  printer.writer().finish();
  return count;
}

}  // namespace orvix::ctl
