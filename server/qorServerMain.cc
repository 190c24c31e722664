// SPDX-License-Identifier: Apache-2.0
// The program: the data directory, the threads, signals. Standard output carries one line, where it
// listens; everything else goes to standard error.
#include <algorithm>
#include <asio.hpp>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <vector>

#include "server/qorAccess.h"
#include "server/qorBackup.h"
#include "server/qorCollectionStore.h"
#include "server/qorConnections.h"
#include "server/qorDataDirectory.h"
#include "server/qorDispatcher.h"
#include "server/qorListener.h"
#include "server/qorLog.h"
#include "server/qorMetricsServer.h"
#include "server/qorMetricsText.h"
#include "server/qorReaders.h"
#include "server/qorRefusal.h"
#include "server/qorReload.h"
#include "server/qorServerOptions.h"
#include "server/qorServerVersion.h"
#include "server/qorServiceManager.h"
#include "server/qorWatchdog.h"
#include "server/qorWriter.h"

namespace orvix::server {

namespace {

/// Descriptors that connections must leave to the engine's files: of the writer, of idle handles,
/// and of each search whose hits wait to be read.
constexpr std::size_t RESERVED_DESCRIPTORS = 1024;
constexpr std::size_t DESCRIPTORS_OF_A_SEARCH = 6;

/// The line for the file goes to standard output, a fresh token, this once, to standard error.
void makeToken(const CommandLine& line) {
  std::string token;
  if (line.tokenFromInput()) {
    std::getline(std::cin, token);
    if (token.empty()) refuse(MessageId::ACCESS_INVALID, "There is no token on standard input");
  } else {
    token = Tokens::freshToken();
  }
  const std::string row = Tokens::lineFor(token, line.access());
  if (!line.tokenFromInput()) std::cerr << "token: " << token << std::endl;
  std::cout << row << std::endl;
}

/// A file that may not grow and a reader that has left are errors of the call at hand.
void ignoreDeadlySignals() {
  std::signal(SIGXFSZ, SIG_IGN);
  std::signal(SIGPIPE, SIG_IGN);
}

/// As many descriptors as the system grants, and no more connections than they suffice for.
void raiseDescriptorLimit(Limits& limits) {
  rlimit granted{};
  if (::getrlimit(RLIMIT_NOFILE, &granted) != 0) return;
  granted.rlim_cur = granted.rlim_max;
  ::setrlimit(RLIMIT_NOFILE, &granted);
  const auto most = static_cast<std::size_t>(granted.rlim_cur);
  limits.searches = std::min(Readers::MAX_LENT, most / 16);
  const std::size_t reserved =
      std::min(RESERVED_DESCRIPTORS + limits.searches * DESCRIPTORS_OF_A_SEARCH, most / 2);
  limits.connections = std::min(limits.connections, most - reserved);
}

Limits limitsOf(const ServerConfig& config) {
  Limits limits;
  limits.connections = config.maxConnections;
  limits.idle = std::chrono::seconds(config.idleSeconds);
  raiseDescriptorLimit(limits);
  return limits;
}

/// SIGTERM and SIGINT end the server gently, SIGHUP makes it read its files again.
class Signals {
 public:
  Signals(asio::io_context& loop, std::function<void()> end, std::function<void()> reload)
      : signals_(loop, SIGTERM, SIGINT, SIGHUP), end_(std::move(end)), reload_(std::move(reload)) {
    await();
  }

 private:
  void await() {
    signals_.async_wait([this](const std::error_code& error, int number) {
      if (error) return;
      if (number == SIGHUP) {
        reload_();
      } else {
        log(LogLevel::INFO, "ending", {{"text", number == SIGTERM ? "SIGTERM" : "SIGINT"}});
        end_();
      }
      await();
    });
  }

  asio::signal_set signals_;
  std::function<void()> end_;
  std::function<void()> reload_;
};

/// Tells every second how many lines the log left out.
asio::awaitable<void> watchLog(asio::io_context& loop) {
  asio::steady_timer timer(loop);
  for (;;) {
    timer.expires_after(std::chrono::seconds(1));
    co_await timer.async_wait(asio::use_awaitable);
    tellLeftOut();
  }
}

/// Nothing when none are asked for.
std::unique_ptr<MetricsServer> metricsServerOf(const ServerConfig& config, Board& board,
                                               const Writer& writer) {
  if (config.metricsListen.empty()) return nullptr;
  return std::make_unique<MetricsServer>(metricsAddressOf(config.metricsListen), [&board, &writer] {
    return metricsText(board.metrics(), {writer.queuedRequests(), writer.queuedBytes()});
  });
}

std::string textOf(const asio::ip::tcp::endpoint& endpoint) {
  std::ostringstream text;
  text << endpoint;
  return text.str();
}

/// Nothing when no service manager watches.
std::unique_ptr<Watchdog> watchdogOf(asio::io_context& loop, Board& board, const Writer& writer,
                                     const Connections& connections, const Listener& listener) {
  const auto patience = servicemanager::patience();
  if (!patience) return nullptr;
  return std::make_unique<Watchdog>(
      loop, *patience,
      [&board, &writer] {
        return Watchdog::WriterState{board.steps(), writer.queuedRequests() != 0};
      },
      [&board, &writer, &connections, where = textOf(listener.endpoint())] {
        return (connections.draining() ? "ending, " : "listening on " + where + ", ") +
               std::to_string(board.metrics().connectionsOpen.value()) + " connections, " +
               std::to_string(writer.queuedRequests()) + " requests wait for the writer";
      });
}

void logStart(const ServerConfig& config, const Limits& limits, const Tokens& tokens) {
  log(LogLevel::INFO, "starting",
      {{"version", versionText()},
       {"data", config.data},
       {"listen", config.listen},
       {"tokens", tokens.count()},
       {"read_only", config.readOnly ? "yes" : "no"},
       {"idle_timeout", config.idleSeconds},
       {"max_connections", limits.connections},
       {"search_threads", config.searchThreads},
       {"log_level", nameOf(config.logLevel)},
       {"backup_roots", listOf(config.backupRoots)},
       {"metrics_listen", config.metricsListen},
       {"filters", config.filters.size()}});
}

/// From here on connections are taken. Standard output is for the one line that scripts read.
void announce(const Listener& listener, const MetricsServer* metrics) {
  const std::string where = textOf(listener.endpoint());
  const std::string page = metrics == nullptr ? "off" : textOf(metrics->endpoint());
  log(LogLevel::INFO, "listening", {{"address", where}, {"metrics", page}});
  std::cout << "listening on " << where << std::endl;
  servicemanager::ready("listening on " + where + ", metrics " + page);
}

void run(const CommandLine& line, const ServerConfig& config) {
  setLogLevel(config.logLevel);
  ignoreDeadlySignals();
  ::umask(077);
  const Limits limits = limitsOf(config);
  Tokens tokens = tokensOf(config);
  logStart(config, limits, tokens);
  DataDirectory directory(config.data, !config.readOnly);
  CollectionStore store(directory);
  Backups backups(directory, store, BackupRoots(config.backupRoots, config.data));
  Readers readers(store, directory.board(), limits.searches);
  ServerContext context{store, backups, readers, directory.role(), config.filters};
  Dispatcher dispatcher(context, tokens, config.readOnly);
  asio::io_context loop(1);
  Writer writer(dispatcher, directory.board(), loop);
  asio::thread_pool pool(config.searchThreads);
  Connections connections(loop, dispatcher, writer, pool, limits);
  Listener listener(loop, listenAddressOf(config.listen), connections);
  connections.onDrain(servicemanager::stopping);
  const auto metricsServer = metricsServerOf(config, directory.board(), writer);
  const auto watchdog = watchdogOf(loop, directory.board(), writer, connections, listener);
  const Signals signals(
      loop,
      [&] {
        listener.stop();
        connections.drain();
      },
      Reload(line, config, tokens));
  asio::co_spawn(loop, watchLog(loop), asio::detached);
  writer.start();
  listener.start();
  announce(listener, metricsServer.get());
  loop.run();
  pool.stop();  // searches that wait have lost their connection
  writer.finish();
  store.closeAll();
  pool.join();
  connections.endReading();
  tellLeftOut();
  log(LogLevel::INFO, "ended");
}

int checkConfig(const Settings& settings) {
  for (const std::string& fault : settings.faults) printLine(fault);
  if (!settings.faults.empty()) return EXIT_FAILURE;
  std::cout << "ok" << std::endl;
  return EXIT_SUCCESS;
}

int serve(const CommandLine& line) {
  const Settings settings = line.settings();
  if (!settings.faults.empty()) return checkConfig(settings);
  try {
    run(line, settings.config);
    return EXIT_SUCCESS;
  } catch (...) {
    const std::string& data = settings.config.data;
    logFault(LogLevel::ERROR, "failed",
             currentFault("Serving " + data + " on " + settings.config.listen));
    return EXIT_FAILURE;
  }
}

int perform(const CommandLine& line) {
  switch (line.task()) {
    case Task::SERVE:
      return serve(line);
    case Task::CHECK_CONFIG:
      return checkConfig(line.settings());
    case Task::MAKE_TOKEN:
      makeToken(line);
      return EXIT_SUCCESS;
  }
  return EXIT_FAILURE;
}

}  // namespace

}  // namespace orvix::server

int main(int argc, char** argv) {
  try {
    return orvix::server::perform(orvix::server::CommandLine(argc, argv));
  } catch (...) {
    orvix::server::printLine(orvix::server::currentFault("Doing so failed").text);
    return EXIT_FAILURE;
  }
}
