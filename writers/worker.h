// One worker that runs a writer's jobs in the order they were posted, beside the reading, so that
// formatting the output of one model overlaps reading the next.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace tarn {

class OrderedWorker {
 public:
  /// At most `max_pending` jobs wait at once: a post beyond that waits for the worker, which
  /// bounds the memory held by jobs not yet run. On a machine with a single processor the jobs
  /// run on the posting thread, at once.
  explicit OrderedWorker(size_t max_pending);
  ~OrderedWorker();  // drains
  OrderedWorker(const OrderedWorker&) = delete;
  OrderedWorker& operator=(const OrderedWorker&) = delete;

  void Post(std::function<void()> job);
  /// Whether jobs run beside the posting thread, rather than on it as they are posted.
  bool Concurrent() const { return thread_.joinable(); }
  /// Returns once every job posted so far has run.
  void Drain();

 private:
  void Run();

  const size_t max_pending_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::function<void()>> jobs_;
  bool running_job_ = false;
  bool stopping_ = false;
  std::thread thread_;  // not started when the jobs run inline
};

/// What a worker's jobs are done with, handed back for the posting thread to let go of: memory
/// is then freed by the thread that allocated it, so the allocator's lock does not bounce
/// between the two threads and the memory is used again while it is still in the cache.
template <typename T>
class HandBack {
 public:
  /// On the worker.
  void Give(T thing) {
    std::lock_guard<std::mutex> lock(mutex_);
    things_.push_back(std::move(thing));
  }
  /// On the posting thread: lets go of everything given so far.
  void Release() {
    std::vector<T> things;
    std::lock_guard<std::mutex> lock(mutex_);
    things.swap(things_);
  }  // `things` goes once the lock is released

 private:
  std::mutex mutex_;
  std::vector<T> things_;
};

}  // namespace tarn
