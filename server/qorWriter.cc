// SPDX-License-Identifier: Apache-2.0
// A group is what waits at one moment. There is no timer: while one group is committed, the next
// one gathers.
#include "server/qorWriter.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "comm/protocol/qorRequestKind.h"

namespace orvix::server {

namespace {

namespace kinds = comm::kinds;

/// Bounds how long the first of a group waits for the others.
constexpr std::size_t MAX_GROUP = 256;

/// Changes of documents wait for a common commit; before any other request it is made.
bool sharesCommit(const Frame& request) noexcept {
  const auto kind = kindOf(request);
  return kind == kinds::ADD_DOCUMENT || kind == kinds::DELETE_DOCUMENT ||
         kind == kinds::UPDATE_INDEX || kind == kinds::ASYNC_ADD_DOCUMENT ||
         kind == kinds::LAST_DOC_SENT;
}

}  // namespace

void Writer::start() {
  thread_ = std::thread([this] { work(); });
}

void Writer::post(Frame request, Done done) { add({std::move(request), std::move(done), {}, {}}); }

void Writer::post(std::function<void()> task) { add({{}, {}, std::move(task), {}}); }

void Writer::add(Job job) {
  queuedBytes_ += job.request.size();
  ++queuedRequests_;
  {
    const std::scoped_lock lock(mutex_);
    waiting_.push_back(std::move(job));
  }
  arrived_.notify_one();
}

void Writer::finish() {
  if (!thread_.joinable()) return;
  {
    const std::scoped_lock lock(mutex_);
    finishing_ = true;
  }
  arrived_.notify_one();
  thread_.join();
}

void Writer::work() {
  for (;;) {
    std::vector<Job> group = nextGroup();
    if (group.empty()) return;
    board_.working(true);
    run(group);
    board_.working(false);
    queuedRequests_ -= group.size();
    deliver(group);
  }
}

/// Empty at the end of the thread's life.
std::vector<Writer::Job> Writer::nextGroup() {
  std::unique_lock lock(mutex_);
  arrived_.wait(lock, [this] { return finishing_ || !waiting_.empty(); });
  std::vector<Job> group;
  while (!waiting_.empty() && group.size() < MAX_GROUP) {
    group.push_back(std::move(waiting_.front()));
    waiting_.pop_front();
  }
  return group;
}

void Writer::run(std::vector<Job>& group) {
  std::vector<Reply*> unsettled;
  for (Job& job : group) {
    if (job.task || !sharesCommit(job.request)) {
      Dispatcher::settle(unsettled);
      unsettled.clear();
    }
    board_.progressed();
    if (job.task) {
      job.task();
      continue;
    }
    job.reply = dispatcher_.begin(job.request);
    queuedBytes_ -= job.request.size();
    job.request = Frame();
    unsettled.push_back(&job.reply);
  }
  board_.progressed();
  Dispatcher::settle(unsettled);
  board_.progressed();
  dispatcher_.tidy();
}

/// All replies of a group cross over to the io_context at once.
void Writer::deliver(std::vector<Job>& group) {
  const auto ready = std::make_shared<std::vector<Job>>(std::move(group));
  asio::post(loop_, [ready] {
    for (Job& job : *ready) {
      if (job.done) job.done(std::move(job.reply));
    }
  });
}

}  // namespace orvix::server
