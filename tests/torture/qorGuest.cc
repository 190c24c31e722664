// SPDX-License-Identifier: Apache-2.0
// torture-guest: the library inside a process that is not its own. A host that does not link it
// loads it through a plug-in, under conditions that hosts bring with them, and finds afterwards
// that nothing of its own was touched. Three processes: a peer, the host, and this
// one, which judges.
#include <atomic>
#include <chrono>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <pthread.h>
#include <string>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "tests/torture/qorHostState.h"
#include "tests/torture/qorOptions.h"
#include "tests/torture/qorResponder.h"

namespace orvix::torture {
namespace {

constexpr std::size_t STACK = 128U << 10U;
constexpr int ABOVE = 1024;  // descriptors that select() could not watch
constexpr char COMMA_LOCALE[] = "de_DE.UTF-8";
constexpr unsigned int WARM_UP = 20;  // cycles after which nothing may grow
constexpr long SLACK = 16L << 10L;    // bytes of heap that come and go with chance

/// What the host has found; shared with the process that judges.
struct Found {
  char step[64];
  int situations, failed, highest, loads, unloaded;
  long stackUsed, heapOfLoads, heapOfRequests;
  bool locale;
};

struct Host {
  unsigned int port;
  const char* plugin;
  unsigned int cycles;
  Found& found;
};

/// The guest, from dlopen to dlclose.
class Guest {
 public:
  explicit Guest(const char* path) : handle_(::dlopen(path, RTLD_NOW | RTLD_LOCAL)) {
    if (handle_ == nullptr) std::fprintf(stderr, "%s\n", ::dlerror());
  }
  Guest(const Guest&) = delete;
  Guest& operator=(const Guest&) = delete;
  ~Guest() { ::dlclose(handle_); }
  template <class Function>
  Function* get(const char* name) const {
    return reinterpret_cast<Function*>(::dlsym(handle_, name));
  }
  int request(unsigned int port) const { return get<int(unsigned int)>("guestRequest")(port); }

 private:
  void* handle_;
};

int plain(Host& host) { return Guest(host.plugin).request(host.port); }

int manyDescriptors(Host& host) {
  rlimit limit{};
  ::getrlimit(RLIMIT_NOFILE, &limit);
  const rlimit before = limit;
  limit.rlim_cur = limit.rlim_max;
  ::setrlimit(RLIMIT_NOFILE, &limit);
  std::vector<int> open;
  while (open.empty() || open.back() < ABOVE + 100) {
    open.push_back(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    if (open.back() < 0) break;
  }
  host.found.highest = open.back();
  const int result = plain(host);
  for (const int descriptor : open) ::close(descriptor);
  ::setrlimit(RLIMIT_NOFILE, &before);
  return open.back() > ABOVE ? result : -1;
}

/// On a stack of the host's that is painted, so that what was used can be seen.
int smallStack(Host& host) {
  auto* const stack = static_cast<unsigned char*>(
      ::mmap(nullptr, STACK, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
  std::memset(stack, 0xa5, STACK);
  pthread_attr_t attributes;
  ::pthread_attr_init(&attributes);
  ::pthread_attr_setstack(&attributes, stack, STACK);
  struct Job {
    Host& host;
    int result;
  } job{host, -1};
  pthread_t thread{};
  const auto run = [](void* argument) -> void* {
    auto& mine = *static_cast<Job*>(argument);
    mine.result = plain(mine.host);
    return nullptr;
  };
  if (::pthread_create(&thread, &attributes, run, &job) == 0) ::pthread_join(thread, nullptr);
  ::pthread_attr_destroy(&attributes);
  std::size_t untouched = 0;
  while (untouched < STACK && stack[untouched] == 0xa5) ++untouched;
  host.found.stackUsed = static_cast<long>((STACK - untouched) >> 10U);
  ::munmap(stack, STACK);
  return job.result;
}

/// With a locale in which a half is "0,5".
int commaForPoint(Host& host) {
  host.found.locale = std::setlocale(LC_NUMERIC, COMMA_LOCALE) != nullptr;
  char half[8];
  std::snprintf(half, sizeof half, "%.1f", 0.5);
  if (host.found.locale && std::strcmp(half, "0,5") != 0) return -1;
  const HostState before = hostState();
  const int result = plain(host);
  const bool same = hostState() == before;
  std::setlocale(LC_NUMERIC, "C");
  return same ? result : -2;
}

int brokenPipe(Host& host) {
  const Guest guest(host.plugin);
  return guest.get<int(unsigned int)>("guestSend")(host.port);
}

int forked(Host& host) {
  const Guest guest(host.plugin);
  const auto ask = guest.get<int(void*)>("guestAsk");
  void* const client = guest.get<void*(unsigned int)>("guestOpen")(host.port);
  int result = ask(client);
  const pid_t child = ::fork();
  if (child == 0) ::_exit(guest.request(host.port) == 0 ? 0 : 1);
  for (int i = 0; i < 10; ++i) result += ask(client);
  int status = -1;
  ::waitpid(child, &status, 0);
  result += ask(client);
  guest.get<void(void*)>("guestClose")(client);
  return result + status;
}

bool isLoaded(const char* library) {
  std::ifstream maps("/proc/self/maps");
  const std::string all{std::istreambuf_iterator<char>(maps), {}};
  return all.find(library) != std::string::npos;
}

/// Does `act` over and over; 0 when after the warm-up neither the state nor the heap has grown.
template <class Act>
int repeated(unsigned int times, long& heapGrown, Act act) {
  std::size_t settled = 0;
  HostState state;
  for (unsigned int i = 0; i < times + WARM_UP; ++i) {
    if (i == WARM_UP) state = hostState();
    if (i == WARM_UP) settled = liveHeap();
    if (const int failed = act(); failed != 0) return failed;
  }
  heapGrown = static_cast<long>(liveHeap()) - static_cast<long>(settled);
  return hostState() == state && heapGrown <= SLACK ? 0 : -1;
}

int manyRequests(Host& host) {
  const Guest guest(host.plugin);
  return repeated(host.cycles, host.found.heapOfRequests, [&] { return guest.request(host.port); });
}

int manyLoads(Host& host) {
  Found& found = host.found;
  long grown = 0;
  const int result = repeated(host.cycles, grown, [&] {
    ++found.loads;
    const int failed = plain(host);
    if (!isLoaded("libqorcomm")) ++found.unloaded;
    return failed;
  });
  found.heapOfLoads = grown;
  // A sanitizer keeps the C library from using its list of exit functions again: not judged there.
  const bool onlyHeap = result == -1 && grown > SLACK && isSanitized();
  if (result != 0 && !onlyHeap) return result;
  return found.unloaded == found.loads ? 0 : -2;
}

/// Memory that this process and those it forks see alike.
void* shared(std::size_t size) {
  return ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
}

constexpr struct {
  const char* name;
  int (*run)(Host&);
} STEPS[] = {{"plain", plain},
             {"descriptors above 1024", manyDescriptors},
             {"128 KiB of stack", smallStack},
             {"comma for point", commaForPoint},
             {"SIGPIPE at its default", brokenPipe},
             {"fork", forked},
             {"many requests", manyRequests},
             {"load and unload", manyLoads}};

int runHost(Host host) {
  ::signal(SIGPIPE, SIG_DFL);
  static_cast<void>(std::setlocale(LC_ALL, "C"));
  for (const auto& step : STEPS) {
    std::snprintf(host.found.step, sizeof host.found.step, "%s", step.name);
    const HostState before = hostState();
    const int result = step.run(host);
    const std::string changed = differences(before, hostState());
    ++host.found.situations;
    if (result == 0 && changed.empty()) continue;
    ++host.found.failed;
    std::fprintf(stderr, "FAILED %s: %d\n%s", step.name, result, changed.c_str());
  }
  return 0;
}

/// Runs the peer in a process of its own; gives its port.
unsigned int startPeer(pid_t& peer) {
  auto* const port = static_cast<std::atomic<unsigned int>*>(shared(sizeof(unsigned int)));
  peer = ::fork();
  if (peer == 0) {
    *port = startResponder();
    for (;;) ::pause();
  }
  while (*port == 0) ::usleep(1000);
  return *port;
}

/// Makes the locale in `folder` where the system has only what it is made of.
void provideLocale(const std::string& folder) {
  if (std::setlocale(LC_NUMERIC, COMMA_LOCALE) != nullptr) return;
  const std::string make = "localedef -i de_DE -f UTF-8 " + folder + '/' + COMMA_LOCALE;
  if (std::system((make + " >/dev/null 2>&1").c_str()) == 0) ::setenv("LOCPATH", folder.c_str(), 1);
}

std::string contentOf(int descriptor) {
  std::string all(static_cast<std::size_t>(::lseek(descriptor, 0, SEEK_END)), '\0');
  return ::pread(descriptor, all.data(), all.size(), 0) < 0 ? "unreadable" : all;
}

int torture(const Options& options) {
  const auto start = std::chrono::steady_clock::now();
  const std::string plugin =
      std::filesystem::read_symlink("/proc/self/exe").parent_path() / "torture-guest-plugin.so";
  char folder[] = "/tmp/torture-guest-XXXXXX";
  if (::mkdtemp(folder) != nullptr) provideLocale(folder);
  pid_t peer = 0;
  const unsigned int port = startPeer(peer);
  auto* const found = static_cast<Found*>(shared(sizeof(Found)));
  const int out = ::memfd_create("out", MFD_CLOEXEC);
  const int err = ::memfd_create("err", MFD_CLOEXEC);
  const pid_t child = ::fork();
  if (child == 0) {
    ::dup2(out, STDOUT_FILENO);
    ::dup2(err, STDERR_FILENO);
    std::exit(runHost({port, plugin.c_str(), options.quick ? 100U : 1000U, *found}));
  }
  int status = -1;
  ::waitpid(child, &status, 0);
  ::kill(peer, SIGKILL);
  ::waitpid(peer, nullptr, 0);
  std::filesystem::remove_all(folder);

  const std::string written = contentOf(out);
  // The library has two lines of diagnostics; nothing here gives a reason for either.
  const std::string complained = contentOf(err);
  const bool good = status == 0 && found->failed == 0 && written.empty() && complained.empty();
  if (!written.empty()) std::fprintf(stderr, "on standard output: %s\n", written.c_str());
  if (!complained.empty()) std::fprintf(stderr, "on standard error: %s\n", complained.c_str());
  if (status != 0)
    std::fprintf(stderr, "the host ended with %#x in: %s\n", unsigned(status), found->step);
  const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
  std::printf(
      "torture-guest: %d situations, %d failed, highest descriptor %d, %ld of 128 KiB stack, "
      "de_DE %s, %d loads, %d unloads, heap %+ld bytes by loads%s, %+ld by requests, %.1f s\n",
      found->situations, found->failed, found->highest, found->stackUsed,
      found->locale ? "seen" : "skipped", found->loads, found->unloaded, found->heapOfLoads,
      isSanitized() ? " (sanitizer: not judged)" : "", found->heapOfRequests, took.count());
  return good ? 0 : 1;
}

}  // namespace
}  // namespace orvix::torture

int main(int argc, char** argv) { return orvix::torture::torture({argc, argv}); }
