// SPDX-License-Identifier: Apache-2.0
// A real server under mixed load, as it would run for months, in little time.
//   soak SERVER SECONDS [CORES [SEED]]
// Writers, readers, an administrator, hostile connections and those that fetch metrics press it,
// and a filter reads some documents; in the first half of the time it is killed or ended and started
// again every now and then, the second half is one life, of which memory, descriptors and threads
// are compared. Exit code 0 and a line of figures when nothing that was acknowledged is lost, nothing
// wrong was answered, nothing hung and nothing grew.
#include <array>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iomanip>
#include <memory>
#include <sstream>
#include <sys/resource.h>
#include <unistd.h>

#include "tests/durability/qorWatchedServer.h"
#include "tests/soak/qorLoad.h"
#include "tests/soak/qorVitals.h"

namespace orvix::soak {
namespace {

namespace fs = std::filesystem;
using durability::WatchedServer;
using std::chrono::duration;
using std::chrono::seconds;

constexpr std::size_t WRITERS = 2;
constexpr std::size_t COLLECTIONS_A_WRITER = 2;
constexpr std::size_t READERS = 2;
constexpr double MEMORY_JUDGED_FROM = 600;  // seconds: less says little about memory
constexpr const char* TOKEN = "a-token-for-all";
constexpr const char* OTHER_TOKEN = "a-token-now-and-then";

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool SANITIZED = true;  // keeps freed memory for a while, or a record of what was used
#else
constexpr bool SANITIZED = false;
#endif

struct Settings {
  std::string program;
  double time = 30;
  double cores = 0.5;
  std::uint32_t seed = 1;
};

double secondsSince(Clock::time_point start) {
  return duration<double>(Clock::now() - start).count();
}

double ownProcessorSeconds() {
  rusage used{};
  ::getrusage(RUSAGE_SELF, &used);
  const auto inSeconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
  };
  return inSeconds(used.ru_utime) + inSeconds(used.ru_stime);
}

class Soak {
 public:
  Soak(Settings settings, fs::path folder)
      : settings_(std::move(settings)),
        folder_(std::move(folder)),
        dice_(settings_.seed),
        caller_(world_, TOKEN) {}

  bool run();

 private:
  [[nodiscard]] std::string lineFor(const char* token) const;
  void writeSettings() const;
  [[nodiscard]] unsigned metricsPort() const;
  bool start();
  void prepare();
  void startThreads();
  template <typename Load>
  void work(Load& load);
  void watch();
  void tick();
  void pace(double elapsed);
  void interrupt(bool kill);
  void compareAll(const std::string& when);
  void compareRestored();
  void finish();
  void checkLog();
  [[nodiscard]] bool judge();
  [[nodiscard]] std::string minuteLine() const;

  Settings settings_;
  fs::path folder_;
  Dice dice_;
  World world_;
  Caller caller_;
  std::deque<Owned> owned_;
  std::vector<std::unique_ptr<WriterLoad>> writers_;
  std::vector<std::unique_ptr<ReaderLoad>> readers_;
  std::unique_ptr<AdminLoad> admin_;
  std::unique_ptr<HostileLoad> hostile_;
  std::vector<std::thread> threads_;
  std::unique_ptr<WatchedServer> server_;
  Clock::time_point begun_;
  std::vector<Vitals> samples_;
  double peakMiB_ = 0;
  std::uint64_t kills_ = 0;
  std::uint64_t ends_ = 0;
  double nextInterrupt_ = 0;
  double nextSample_ = 0;
  double nextPace_ = 0;
  double nextLine_ = 60;
  double processorSeconds_ = 0;
};

std::string Soak::lineFor(const char* token) const {
  const std::string made = (folder_ / "line").string();
  const std::string command = std::string("printf %s ") + token + " | '" + settings_.program +
                              "' token --stdin >'" + made + "'";
  if (std::system(command.c_str()) != 0) std::abort();
  std::string line;
  std::getline(std::ifstream(made), line);
  return line;
}

/// Documents of the type that it names are read by a program, on threads of their own.
void Soak::writeSettings() const {
  std::ofstream(folder_ / "settings")
      << "idle_timeout = 15\ntoken_file = '" << (folder_ / "tokens").string()
      << "'\nbackup.roots = ['" << folder_.string() << "']\nmetrics.listen = '127.0.0.1:0'\n"
      << "[[filter]]\ncontent_type = '" << FILTERED_TYPE << "'\ncommand = ['/bin/cat']\n";
}

/// As the newest server told in the log, before it said on standard output where it listens.
unsigned Soak::metricsPort() const {
  const std::string sign = " metrics=127.0.0.1:";
  std::ifstream log(folder_ / "log");
  unsigned port = 0;
  for (std::string line; std::getline(log, line);) {
    const std::size_t at = line.find(sign);
    if (at != line.npos) port = static_cast<unsigned>(std::stoul(line.substr(at + sign.size())));
  }
  return port;
}

/// The shell adds what the options are missing and becomes the server.
bool Soak::start() {
  const std::string words = "exec \"$0\" \"$@\" --config '" + (folder_ / "settings").string() +
                            "' 2>>'" + (folder_ / "log").string() + "'";
  server_ = std::make_unique<WatchedServer>(settings_.program, (folder_ / "data").string(),
                                            std::vector<std::string>{"sh", "-c", words});
  if (server_->port() == 0) {
    world_.wrong("the server does not start");
    return false;
  }
  world_.up(server_->port(), metricsPort(), server_->process());
  return true;
}

void Soak::prepare() {
  writeSettings();
  std::vector<std::string> lines{lineFor(TOKEN), lineFor(OTHER_TOKEN)};
  std::ofstream(folder_ / "tokens") << lines[0] << '\n';
  fs::permissions(folder_ / "tokens", fs::perms::owner_read | fs::perms::owner_write);
  for (std::size_t i = 0; i < WRITERS * COLLECTIONS_A_WRITER; ++i) {
    owned_.emplace_back().name = "owned" + std::to_string(i);
  }
  const std::uint32_t seed = settings_.seed * 100;
  for (std::size_t i = 0; i < WRITERS; ++i) {
    const std::size_t first = i * COLLECTIONS_A_WRITER;
    writers_.push_back(std::make_unique<WriterLoad>(world_, TOKEN, owned_, first,
                                                    first + COLLECTIONS_A_WRITER,
                                                    seed + static_cast<std::uint32_t>(i)));
  }
  for (std::size_t i = 0; i < READERS; ++i) {
    readers_.push_back(std::make_unique<ReaderLoad>(world_, TOKEN, owned_,
                                                    seed + 10 + static_cast<std::uint32_t>(i)));
  }
  admin_ = std::make_unique<AdminLoad>(world_, TOKEN, OTHER_TOKEN, std::move(lines),
                                       folder_ / "tokens", owned_, seed + 20);
  hostile_ = std::make_unique<HostileLoad>(world_, TOKEN, seed + 30);
}

template <typename Load>
void Soak::work(Load& load) {
  threads_.emplace_back([this, &load] {
    while (!world_.ended()) {
      if (world_.step([&load] { load.step(); })) world_.pause(Load::PAUSES);
    }
  });
}

void Soak::startThreads() {
  for (const auto& writer : writers_) work(*writer);
  for (const auto& reader : readers_) work(*reader);
  work(*admin_);
  work(*hostile_);
}

/// Presses harder or less, so that both programs together use the cores that they may.
void Soak::pace(double elapsed) {
  const double now = ownProcessorSeconds() + processorSecondsOf(server_->process());
  const double busy = (now - processorSeconds_) / elapsed;
  processorSeconds_ = now;
  if (busy <= 0) return;  // another life
  world_.slowDown(std::clamp(busy / settings_.cores, 0.5, 2.0));
}

void Soak::interrupt(bool kill) {
  world_.down();
  if (kill) {
    ++kills_;
    server_.reset();
  } else {
    ++ends_;
    if (!server_->terminate()) world_.wrong("the server does not end properly");
  }
  if (!start()) {
    world_.end();
    return;
  }
  compareAll(kill ? "after a kill" : "after an end");
}

void Soak::compareAll(const std::string& when) {
  world_.alone([&] {
    for (Owned& owned : owned_) {
      std::string problem;
      const auto found = caller_.everything(owned.name, problem);
      if (!found) problem = "it cannot be searched";
      if (problem.empty()) problem = owned.ledger.compare(*found);
      if (!problem.empty()) world_.lost(when + ", in " + owned.name + ": " + problem);
    }
    const std::string problem = admin_->compare(caller_);
    if (!problem.empty()) world_.lost(when + ", in " + AdminLoad::COLLECTION + ": " + problem);
  });
}

std::string Soak::minuteLine() const {
  const Vitals& now = samples_.back();
  std::uint64_t operations = 0;
  for (std::size_t i = 0; i < OPERATION_NAMES.size(); ++i) operations += world_.counted(i);
  std::ostringstream line;
  line << std::fixed << std::setprecision(1) << "minute " << std::lround(nextLine_ / 60) << ": "
       << operations << " operations, " << kills_ << " kills, " << ends_ << " ends, "
       << now.residentMiB << " MiB, " << now.descriptors << " descriptors, " << now.threads
       << " threads, lost " << world_.losses() << ", wrong " << world_.wrongs();
  return line.str();
}

void Soak::tick() {
  const double now = secondsSince(begun_);
  const double sampleEvery = std::clamp(settings_.time / 60, 0.5, 10.0);
  const double interruptEvery = std::clamp(settings_.time / 8, 4.0, 60.0);
  if (now >= nextPace_) {
    pace(1 + now - nextPace_);
    nextPace_ = now + 1;
  }
  if (now >= nextSample_) {
    samples_.push_back(vitalsOf(server_->process()));
    samples_.back().life = world_.life();
    peakMiB_ = std::max(peakMiB_, samples_.back().peakMiB);
    nextSample_ = now + sampleEvery;
  }
  if (now >= nextLine_) {
    world_.say(minuteLine());
    nextLine_ += 60;
  }
  if (now >= nextInterrupt_ && now < settings_.time / 2) {
    interrupt((kills_ + ends_) % 3 != 2);
    nextInterrupt_ = secondsSince(begun_) + interruptEvery * (50 + dice_.below(100)) / 100;
  }
}

void Soak::watch() {
  begun_ = Clock::now();
  nextInterrupt_ = std::clamp(settings_.time / 10, 2.0, 60.0);
  while (!world_.ended() && secondsSince(begun_) < settings_.time) {
    if (!isRunning(server_->process())) {
      world_.wrong("the server has crashed");
      return;
    }
    tick();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
}

/// Everything into one backup outside the data directory, away with it, and back.
void Soak::compareRestored() {
  const std::string outside = (folder_ / "outside" / "everything").string();
  const Pairs where{
      {comm::StaticDefs::PARAM_COLLECTION_DIR, icu::UnicodeString::fromUTF8(outside)}};
  if (!caller_.ask(Request::BACKUP, "", where).done()) world_.wrong("the last backup failed");
  for (const Owned& owned : owned_) {
    if (!caller_.ask(Request::DROP_COLLECTION, owned.name).done()) world_.wrong("a drop failed");
  }
  for (const Owned& owned : owned_) {
    if (!caller_.ask(Request::RESTORE, owned.name, where).done()) world_.wrong("a restore failed");
  }
  compareAll("after all was restored");
}

void Soak::finish() {
  world_.end();
  for (std::thread& thread : threads_) thread.join();
  hostile_.reset();
  if (!server_ || server_->port() == 0 || !isRunning(server_->process())) return;
  compareAll("at the end");
  compareRestored();
  interrupt(false);
}

void Soak::checkLog() {
  std::ifstream log(folder_ / "log");
  for (std::string line; std::getline(log, line);) {
    const bool report = line.find("Sanitizer") != std::string::npos ||
                        line.find("runtime error") != std::string::npos;
    if (report) world_.wrong("the server said: " + line);
  }
}

bool Soak::judge() {
  const Growth growth(samples_);
  const bool memoryJudged = !SANITIZED && settings_.time >= MEMORY_JUDGED_FROM;
  const std::string problem = growth.problem(memoryJudged);
  if (!problem.empty()) world_.say("GROWTH: " + problem);
  std::ostringstream line;
  line << std::fixed << std::setprecision(1) << "soak: " << settings_.time / 60 << " minutes";
  for (std::size_t i = 0; i < OPERATION_NAMES.size(); ++i) {
    line << ", " << world_.counted(i) << ' ' << OPERATION_NAMES.at(i);
  }
  line << "; " << kills_ << " kills, " << ends_ << " ends, each with a restart; lost "
       << world_.losses() << ", wrong " << world_.wrongs() << ", over 30 s " << world_.hangs()
       << "; resident " << growth.start().residentMiB << " -> " << growth.end().residentMiB
       << " MiB" << (memoryJudged ? "" : " (not judged)") << ", peak " << peakMiB_
       << " MiB; descriptors " << growth.start().descriptors << " -> " << growth.end().descriptors
       << ", threads " << growth.start().threads << " -> " << growth.end().threads
       << "; searches p99 " << world_.p99() << " ms";
  world_.say(line.str());
  return problem.empty() && world_.losses() == 0 && world_.wrongs() == 0;
}

bool Soak::run() {
  prepare();
  if (!start()) return false;
  for (const Owned& owned : owned_) {
    const Pairs english{{u"docLang", u"en"}};
    if (!caller_.ask(Request::CREATE_COLLECTION, owned.name, english).done()) return false;
  }
  startThreads();
  watch();
  finish();
  checkLog();
  return judge();
}

int run(const std::vector<std::string>& words) {
  if (words.size() < 2 || words.size() > 4) {
    std::cerr << "usage: soak SERVER SECONDS [CORES [SEED]]\n";
    return 2;
  }
  Settings settings;
  settings.program = words[0];
  settings.time = std::stod(words[1]);
  if (words.size() > 2) settings.cores = std::stod(words[2]);
  if (words.size() > 3) settings.seed = static_cast<std::uint32_t>(std::stoul(words[3]));
  std::string folder = (fs::temp_directory_path() / "qorsoak-XXXXXX").string();
  if (::mkdtemp(folder.data()) == nullptr) return 2;
  if (!Soak(settings, folder).run()) {
    std::cout << "what is left is in " << folder << std::endl;
    return 1;
  }
  fs::remove_all(folder);
  return 0;
}

}  // namespace
}  // namespace orvix::soak

int main(int argc, char** argv) {
  return orvix::soak::run(std::vector<std::string>(argv + 1, argv + argc));
}
