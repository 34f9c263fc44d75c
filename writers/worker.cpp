#include "writers/worker.h"

#include <sched.h>

#include <utility>

#include "libibis/src/guard.h"

namespace tarn {
namespace {

// The processors the calling thread may run on: a process pinned to one, or a container given
// one, has one whatever the machine holds.
unsigned usable_processors() {
#ifdef __linux__
  cpu_set_t set;
  if (::sched_getaffinity(0, sizeof set, &set) == 0) return static_cast<unsigned>(CPU_COUNT(&set));
#endif
  return std::thread::hardware_concurrency();
}

}  // namespace

OrderedWorker::OrderedWorker(size_t max_pending) : max_pending_(max_pending > 0 ? max_pending : 1) {
  // A second thread on a single processor only adds switches.
  if (usable_processors() > 1) thread_ = std::thread([this] { Run(); });
}

OrderedWorker::~OrderedWorker() {
  if (!thread_.joinable()) return;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    stopping_ = true;
  }
  changed_.notify_all();
  thread_.join();
}

void OrderedWorker::Post(std::function<void()> job) {
  if (!thread_.joinable()) {
    job();
    return;
  }
  std::unique_lock<std::mutex> lock(mutex_);
  changed_.wait(lock, [this] { return jobs_.size() < max_pending_; });
  jobs_.push_back(std::move(job));
  lock.unlock();
  changed_.notify_all();
}

void OrderedWorker::Drain() {
  if (!thread_.joinable()) return;
  std::unique_lock<std::mutex> lock(mutex_);
  changed_.wait(lock, [this] { return jobs_.empty() && !running_job_; });
}

void OrderedWorker::Run() {
  // The jobs format numbers, which must not follow the host program's locale.
  CLocaleScope c_locale;
  std::unique_lock<std::mutex> lock(mutex_);
  for (;;) {
    changed_.wait(lock, [this] { return stopping_ || !jobs_.empty(); });
    if (jobs_.empty()) return;  // stopping, nothing left
    std::function<void()> job = std::move(jobs_.front());
    jobs_.pop_front();
    running_job_ = true;
    lock.unlock();
    changed_.notify_all();
    job();
    lock.lock();
    running_job_ = false;
    changed_.notify_all();
  }
}

}  // namespace tarn
