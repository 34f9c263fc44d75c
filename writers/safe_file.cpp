#include "writers/safe_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <new>
#include <thread>
#include <vector>

namespace tarn {
namespace {

std::atomic<SafeFileHook> g_hook{nullptr};

// How much a large file gathers before the system is asked to start writing it out.
constexpr size_t kWritebackStep = size_t{2} << 20;

std::string directory_of(const std::string& path) {
  const size_t sep = path.find_last_of('/');
  if (sep == std::string::npos) return ".";
  return sep == 0 ? "/" : path.substr(0, sep);
}

// The rename is only durable once the folder's entry is on disk too; a folder that cannot be
// synced (some file systems refuse) changes nothing about the content.
void sync_directory(const std::string& path) {
  const int fd = ::open(directory_of(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return;
  (void)::fsync(fd);
  ::close(fd);
}

// Closes the files replacements let go of, on a thread that lives only while it has some, so
// that the caller does not wait for the file system to free them. The thread is joined before
// the process ends or the library is unloaded, and a child forked meanwhile starts afresh.
class Releaser {
 public:
  static Releaser& Get() {
    static Releaser* const releaser = [] {
      g_instance = new Releaser;  // never destroyed: Finish() leaves nothing running
      (void)::pthread_atfork(&Releaser::BeforeFork, &Releaser::AfterForkInParent,
                             &Releaser::AfterForkInChild);
      return g_instance;
    }();
    return *releaser;
  }

  void Hand(int fd) {
    std::thread ended;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      fds_.push_back(fd);
      if (running_) return;
      running_ = true;
      ended = std::move(thread_);
      thread_ = std::thread([this] { Run(); });
    }
    if (ended.joinable()) ended.join();  // it has left its loop already
  }

  void Await() {
    std::unique_lock<std::mutex> lock(mutex_);
    idle_.wait(lock, [this] { return !running_; });
  }

  // At exit or unload: no thread may run this library's code afterwards.
  void Finish() {
    std::thread last;
    {
      std::unique_lock<std::mutex> lock(mutex_);
      idle_.wait(lock, [this] { return !running_; });
      last = std::move(thread_);
    }
    if (last.joinable()) last.join();
  }

 private:
  void Run() {
    std::unique_lock<std::mutex> lock(mutex_);
    while (!fds_.empty()) {
      std::vector<int> fds;
      fds.swap(fds_);
      lock.unlock();
      for (const int fd : fds) ::close(fd);
      lock.lock();
    }
    running_ = false;
    idle_.notify_all();
  }

  // The lock is held across a fork, so that the child's copy is in a known state.
  static void BeforeFork() { g_instance->mutex_.lock(); }
  static void AfterForkInParent() { g_instance->mutex_.unlock(); }
  // The child has no releasing thread: it closes its copies of the files itself, and forgets
  // the parent's thread, and any waiter on it, without touching threads the child does not have.
  static void AfterForkInChild() {
    Releaser& releaser = *g_instance;
    for (const int fd : releaser.fds_) ::close(fd);
    releaser.fds_.clear();
    releaser.running_ = false;
    new (&releaser.thread_) std::thread();
    new (&releaser.idle_) std::condition_variable();
    releaser.mutex_.unlock();
  }

  static inline Releaser* g_instance = nullptr;

  std::mutex mutex_;
  std::condition_variable idle_;
  std::vector<int> fds_;
  bool running_ = false;
  std::thread thread_;
};

// Runs at exit and at unload, before the code of the releasing thread could go.
struct ReleaserFinish {
  ~ReleaserFinish() { Releaser::Get().Finish(); }
} g_releaser_finish;

}  // namespace

void SFL_SetStepHook(SafeFileHook hook) { g_hook.store(hook); }

void SFL_AwaitReleases() { Releaser::Get().Await(); }

// A device or a pipe (/dev/null, a pipe another program reads) takes the content as it is
// written: it cannot be replaced, and a rename would put a plain file in its place.
bool SFL_Replaces(const std::string& target) {
  struct stat info {};
  return ::stat(target.c_str(), &info) != 0 || S_ISREG(info.st_mode) || S_ISDIR(info.st_mode);
}

SafeFile::SafeFile(std::string target) : target_(std::move(target)) {
  if (!SFL_Replaces(target_)) {
    direct_ = true;
    named_ = false;  // no file of its own to remove
    const int fd = ::open(target_.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY);
    stream_ = fd >= 0 ? ::fdopen(fd, "w") : nullptr;
    if (!stream_) {
      error_ = errno;
      if (fd >= 0) ::close(fd);
    }
    return;
  }
  // Beside the target, so the rename stays within one file system; named after the process so
  // that two processes sharing a folder never write into each other's file.
  temp_ = target_ + "." + std::to_string(static_cast<long>(::getpid())) + ".tmp";
  const int fd = ::open(temp_.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (fd < 0) {
    error_ = errno;
    return;
  }
  stream_ = ::fdopen(fd, "w");
  if (!stream_) {
    error_ = errno;
    ::close(fd);
    (void)::unlink(temp_.c_str());
    return;
  }
  if (!Step(SafeFileStep::kCreated)) {
    std::fclose(stream_);
    stream_ = nullptr;
    (void)::unlink(temp_.c_str());
  }
}

SafeFile::~SafeFile() {
  if (stream_) std::fclose(stream_);
  if (!committed_ && named_) (void)::unlink(temp_.c_str());
}

bool SafeFile::ReadBack(uint64_t offset, size_t size, char* out) {
  if (!stream_ || std::fflush(stream_) != 0) return Fail(errno);
  while (size > 0) {
    const ssize_t got = ::pread(::fileno(stream_), out, size, static_cast<off_t>(offset));
    if (got <= 0) return Fail(got == 0 ? EIO : errno);
    out += got;
    offset += static_cast<uint64_t>(got);
    size -= static_cast<size_t>(got);
  }
  return true;
}

void SafeFile::Abandon() {
  if (named_) (void)::unlink(temp_.c_str());
  named_ = false;
  abandoned_ = true;
}

bool SafeFile::Write(std::string_view data) {
  if (!stream_) return false;
  if (!data.empty() && std::fwrite(data.data(), 1, data.size(), stream_) != data.size())
    return Fail(errno);
  written_ += data.size();
  if (written_ - written_back_ >= kWritebackStep) StartWriteback();
  return true;
}

// The disk writes a large file while the rest is formatted, so the sync at the commit finds
// little left to wait for. Only a start: the sync still decides, and any failure shows there.
void SafeFile::StartWriteback() {
#ifdef __linux__
  if (std::fflush(stream_) == 0) {
    (void)::sync_file_range(::fileno(stream_), static_cast<off_t>(written_back_),
                            static_cast<off_t>(written_ - written_back_), SYNC_FILE_RANGE_WRITE);
  }
#endif
  written_back_ = written_;
}

bool SafeFile::Fail(int error) {
  if (error_ == 0) error_ = error != 0 ? error : EIO;
  return false;
}

bool SafeFile::Step(SafeFileStep step) {
  const SafeFileHook hook = g_hook.load();
  const int injected = hook ? hook(step, target_.c_str()) : 0;
  return injected == 0 || Fail(injected);
}

bool SafeFile::Commit() {
  if (!stream_) return Fail(error_);
  if (abandoned_) return Fail(ENOENT);
  std::FILE* stream = stream_;
  stream_ = nullptr;
  bool ok = error_ == 0 && (std::ferror(stream) == 0 || Fail(EIO));
  ok = ok && (std::fflush(stream) == 0 || Fail(errno));
  ok = ok && Step(SafeFileStep::kWritten);
  ok = ok && (direct_ || ::fsync(::fileno(stream)) == 0 || Fail(errno));
  const bool closed = std::fclose(stream) == 0 || Fail(errno);
  ok = ok && closed && Step(SafeFileStep::kSynced);
  if (direct_) return committed_ = ok;
  ok = ok && (std::rename(temp_.c_str(), target_.c_str()) == 0 || Fail(errno));
  if (!ok) return false;
  committed_ = true;
  sync_directory(target_);
  (void)Step(SafeFileStep::kRenamed);  // done: a hook here only watches
  return true;
}

void ReplacedFile::Hold(const std::string& target) {
  Release();
  // Not blocking: a pipe's open would wait for a writer.
  const int fd = ::open(target.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY);
  if (fd < 0) return;  // nothing to replace, or nothing this could hold
  struct stat info {};
  if (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) {
    ::close(fd);
    return;
  }
#ifdef __linux__
  (void)::posix_fadvise(fd, 0, 0, POSIX_FADV_DONTNEED);
#endif
  fd_ = fd;
}

void ReplacedFile::Release() {
  if (fd_ >= 0) Releaser::Get().Hand(fd_);
  fd_ = -1;
}

void BlockSink::append(std::string_view text) {
  if (text.size() >= kBlock) {
    flush();
    hand_over(text);
    return;
  }
  char* at = room(text.size());
  commit(std::copy(text.begin(), text.end(), at));
}

void BlockSink::flush() {
  if (used_ > 0) hand_over(std::string_view(data_.get(), used_));
  used_ = 0;
}

void BlockSink::hand_over(std::string_view text) {
  if (file_)
    (void)file_->Write(text);
  else
    text_->append(text);
  flushed_ += text.size();
}

int SFL_WriteFile(const std::string& target, std::string_view content) {
  SafeFile file(target);
  return file.Write(content) && file.Commit() ? 0 : file.error();
}

}  // namespace tarn
