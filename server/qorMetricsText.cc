// SPDX-License-Identifier: Apache-2.0
// The numbers are given to the client library of Prometheus only here: its own counters and
// histograms take locks, which has no place on the road of a request, but its text is right.
#include "server/qorMetricsText.h"

#include <cctype>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <prometheus/metric_family.h>
#include <prometheus/text_serializer.h>
#include <sys/resource.h>
#include <unistd.h>
#include <utility>
#include <vector>
#include <xapian.h>

#include "server/qorDispatcher.h"

namespace orvix::server {

namespace {

namespace kinds = comm::kinds;
using prometheus::ClientMetric;
using prometheus::MetricFamily;
using prometheus::MetricType;
using Label = ClientMetric::Label;

class Page {
 public:
  MetricFamily& family(const char* name, MetricType type, const char* help) {
    families_.push_back({name, help, type, {}});
    return families_.back();
  }
  void counter(const char* name, const char* help, double value) {
    addCount(family(name, MetricType::Counter, help), {}, value);
  }
  void gauge(const char* name, const char* help, double value) {
    ClientMetric metric;
    metric.gauge.value = value;
    family(name, MetricType::Gauge, help).metric.push_back(std::move(metric));
  }
  static void addCount(MetricFamily& family, std::vector<Label> labels, double value) {
    ClientMetric metric;
    metric.label = std::move(labels);
    metric.counter.value = value;
    family.metric.push_back(std::move(metric));
  }
  static void addDurations(MetricFamily& family, std::vector<Label> labels, const Durations& from) {
    ClientMetric metric;
    metric.label = std::move(labels);
    std::uint64_t below = 0;
    for (std::size_t i = 0; i < Durations::BOUNDS.size(); ++i) {
      below += from.inBucket(i);
      metric.histogram.bucket.push_back({below, Durations::BOUNDS[i]});
    }
    metric.histogram.sample_count = below + from.inBucket(Durations::BOUNDS.size());
    metric.histogram.sample_sum = from.seconds();
    family.metric.push_back(std::move(metric));
  }
  [[nodiscard]] std::string text() const {
    return prometheus::TextSerializer().Serialize(families_);
  }

 private:
  std::vector<MetricFamily> families_;
};

double asDouble(std::uint64_t value) { return static_cast<double>(value); }

/// The kind's action, or its name where the action is also another kind's. Empty: no request is
/// recognised as this kind.
std::string labelOf(std::uint32_t kind) {
  const comm::detail::RequestKind& row = comm::detail::requestKind(kind);
  if (kind == 0) return "unknown";
  if (row.pathWord == nullptr || kind == kinds::OPEN_COLLECTION_ALT) return {};
  std::string label = row.pathWord;
  if (kind == kinds::STREAM_SEARCH || kind == kinds::SCALAR_SEARCH ||
      kind == kinds::LAST_DOC_SENT) {
    label = row.displayName;
    label[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(label[0])));
  }
  return label;
}

void putRequests(Page& page, const Metrics& metrics) {
  MetricFamily& requests = page.family("qorserver_requests_total", MetricType::Counter,
                                       "Requests that came to their reply, or to their end when "
                                       "they are never answered");
  for (std::uint32_t kind = 0; kind < metrics.requests.size(); ++kind) {
    const std::string label = labelOf(kind);
    if (label.empty()) continue;
    const RequestCounts& counts = metrics.requests[kind];
    Page::addCount(requests, {{"kind", label}, {"result", "ok"}}, asDouble(counts.done.value()));
    Page::addCount(requests, {{"kind", label}, {"result", "error"}},
                   asDouble(counts.failed.value()));
  }
  MetricFamily& durations = page.family("qorserver_request_duration_seconds", MetricType::Histogram,
                                        "From a request's last byte to its reply");
  constexpr std::array<std::pair<Lane, const char*>, Metrics::LANES> LANES{
      {{Lane::WRITER, "writer"}, {Lane::SHORT, "short"}, {Lane::LONG, "long"}}};
  for (const auto& [lane, name] : LANES) {
    Page::addDurations(durations, {{"lane", name}},
                       metrics.durations[static_cast<std::uint32_t>(lane) - 1]);
  }
}

/// No counts of their own: one document is one request.
void putDocuments(Page& page, const Metrics& metrics) {
  const RequestCounts& one = metrics.requests[kinds::ADD_DOCUMENT];
  const RequestCounts& unanswered = metrics.requests[kinds::ASYNC_ADD_DOCUMENT];
  MetricFamily& documents = page.family("qorserver_documents_total", MetricType::Counter,
                                        "Documents that were sent to be indexed, and deleted ones");
  Page::addCount(documents, {{"result", "indexed"}},
                 asDouble(one.done.value() + unanswered.done.value()));
  Page::addCount(documents, {{"result", "rejected"}},
                 asDouble(one.failed.value() + unanswered.failed.value()));
  Page::addCount(documents, {{"result", "deleted"}},
                 asDouble(metrics.requests[kinds::DELETE_DOCUMENT].done.value()));
}

void putConnections(Page& page, const Metrics& metrics) {
  page.gauge("qorserver_connections_open", "Connections at this moment",
             asDouble(metrics.connectionsOpen.value()));
  page.counter("qorserver_connections_total", "Connections that were taken",
               asDouble(metrics.connectionsTaken.value()));
  page.counter("qorserver_connections_refused_total",
               "Connections that were closed at once, for there were too many",
               asDouble(metrics.connectionsRefused.value()));
  page.counter("qorserver_authentication_failures_total", "Requests without a right token",
               asDouble(metrics.authenticationFailures.value()));
  page.counter("qorserver_received_bytes_total", "Bytes read from connections",
               asDouble(metrics.bytesIn.value()));
  page.counter("qorserver_sent_bytes_total", "Bytes written to connections",
               asDouble(metrics.bytesOut.value()));
}

void putWriter(Page& page, const Metrics& metrics, const QueueLevels& queue) {
  page.gauge("qorserver_queued_requests", "Requests that wait for the writer or are with it",
             asDouble(queue.requests));
  page.gauge("qorserver_queued_bytes", "Bytes of the requests that wait for the writer",
             asDouble(queue.bytes));
  page.gauge("qorserver_collections_open", "Collections that the writer holds open",
             asDouble(metrics.collectionsOpen.value()));
  Page::addDurations(page.family("qorserver_commit_duration_seconds", MetricType::Histogram,
                                 "Commits that succeeded, syncs included"),
                     {}, metrics.commits);
  page.counter("qorserver_commit_failures_total", "Commits that failed",
               asDouble(metrics.commitFailures.value()));
  page.counter("qorserver_changes_lost_total",
               "Changes that a failed write took before they were committed",
               asDouble(metrics.changesLost.value()));
}

/// Nothing when the system does not tell.
std::uint64_t residentBytes() {
  std::uint64_t whole = 0;
  std::uint64_t resident = 0;
  std::ifstream("/proc/self/statm") >> whole >> resident;
  return resident * static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
}

std::uint64_t openDescriptors() {
  std::uint64_t count = 0;
  std::error_code error;
  std::filesystem::directory_iterator at("/proc/self/fd", error);
  for (; !error && at != std::filesystem::directory_iterator(); at.increment(error)) ++count;
  return count == 0 ? 0 : count - 1;  // the folder itself was open
}

double processorSeconds() {
  rusage used{};
  ::getrusage(RUSAGE_SELF, &used);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
  };
  return seconds(used.ru_utime) + seconds(used.ru_stime);
}

void putProcess(Page& page, const Metrics& metrics) {
  ClientMetric build;
  build.label = {{"version", QORSERVER_VERSION}, {"engine", Xapian::version_string()}};
  build.gauge.value = 1;
  page.family("qorserver_build_info", MetricType::Gauge, "Versions; the value is 1")
      .metric.push_back(std::move(build));
  rlimit descriptors{};
  ::getrlimit(RLIMIT_NOFILE, &descriptors);
  page.gauge(
      "qorserver_uptime_seconds", "Since the server was started",
      std::chrono::duration<double>(std::chrono::steady_clock::now() - metrics.started).count());
  page.gauge("process_resident_memory_bytes", "Memory of the process that is in use",
             asDouble(residentBytes()));
  page.gauge("process_open_fds", "Open descriptors", asDouble(openDescriptors()));
  page.gauge("process_max_fds", "Descriptors at most", asDouble(descriptors.rlim_cur));
  page.counter("process_cpu_seconds_total", "Processor time used", processorSeconds());
}

}  // namespace

std::string metricsText(const Metrics& metrics, const QueueLevels& queue) {
  Page page;
  putRequests(page, metrics);
  putDocuments(page, metrics);
  putConnections(page, metrics);
  putWriter(page, metrics, queue);
  putProcess(page, metrics);
  return page.text();
}

}  // namespace orvix::server
