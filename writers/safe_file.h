// Replacing a file whole: the new content goes to a temporary file beside the target, is flushed
// and synced, and is then renamed over the target. A crash or a full disk at any point leaves
// either the old file or the new one, never a file cut short.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

namespace tarn {

/// The steps of a replacement, in order, as the step hook sees them.
enum class SafeFileStep {
  kCreated,  ///< the temporary file exists, nothing written
  kWritten,  ///< everything written and flushed to the system, not yet synced
  kSynced,   ///< synced and closed, not yet renamed
  kRenamed,  ///< the target holds the new content
};

/// Called at each step with the target's path. A hook that returns an errno value makes that
/// step fail with it (0: go on). For tests that kill a process or fail a disk at a given step.
using SafeFileHook = int (*)(SafeFileStep step, const char* target);
void SFL_SetStepHook(SafeFileHook hook);

/// A replacement of one file in progress. Leftover temporary files of a killed process are
/// named "<target>.<pid>.tmp" and are harmless. A target that is a device or a pipe is not
/// replaced but written to as it is.
class SafeFile {
 public:
  /// Creates the temporary file; stream() is null when it could not be made (see error()).
  explicit SafeFile(std::string target);
  /// Removes the temporary file unless Commit succeeded.
  ~SafeFile();
  SafeFile(const SafeFile&) = delete;
  SafeFile& operator=(const SafeFile&) = delete;

  /// Where the new content is written; null when the file could not be made.
  std::FILE* stream() const { return stream_; }
  /// Writes `data`; false (noting why) when it could not be written whole.
  bool Write(std::string_view data);
  /// Flushes, syncs and closes the temporary file and renames it over the target. False when
  /// anything failed, the target then left as it was.
  [[nodiscard]] bool Commit();
  /// The errno value of the first failure, 0 while there is none.
  int error() const { return error_; }
  /// Reads back `size` bytes written from `offset` into `out`; false (noting why) when they
  /// cannot be read whole.
  [[nodiscard]] bool ReadBack(uint64_t offset, size_t size, char* out);
  /// Gives up the temporary file's name at once, so that another replacement of the same target
  /// can start; what was written stays readable, but the file can no longer be committed.
  void Abandon();

 private:
  bool Step(SafeFileStep step);
  bool Fail(int error);
  void StartWriteback();

  std::string target_;
  std::string temp_;
  std::FILE* stream_ = nullptr;
  int error_ = 0;
  bool committed_ = false;
  bool named_ = true;  // the temporary file still has its name
  bool abandoned_ = false;
  bool direct_ = false;  // written straight into a target that is a device or a pipe
  size_t written_ = 0;       // bytes handed to the stream
  size_t written_back_ = 0;  // of which the system was asked to start writing out
};

/// The file a replacement will take the place of, held open so that the system frees it when
/// this lets go of it rather than inside the rename: freeing a large file costs the file system
/// milliseconds (on a disk discarding freed blocks, mostly waiting on it), which a thread of
/// its own bears while the caller goes on.
class ReplacedFile {
 public:
  ReplacedFile() = default;
  ~ReplacedFile() { Release(); }
  ReplacedFile(const ReplacedFile&) = delete;
  ReplacedFile& operator=(const ReplacedFile&) = delete;

  /// Holds `target` if it is a file that exists (else nothing), its cached pages dropped now
  /// rather than at the rename. Its content stays as it is.
  void Hold(const std::string& target);
  /// Lets go of the file held, if any: it is closed in the background, which frees it once it
  /// has been renamed over. SFL_AwaitReleases() waits for that.
  void Release();

 private:
  int fd_ = -1;
};

/// Text bound for a SafeFile, gathered in a block and written a block at a time; writers format
/// straight into the block's room.
class BlockSink {
 public:
  static constexpr size_t kBlock = size_t{1} << 16;
  explicit BlockSink(SafeFile* file) : file_(file), data_(new char[kBlock]) {}
  /// Text gathered in memory instead, appended to `text` a block at a time.
  explicit BlockSink(std::string* text) : text_(text), data_(new char[kBlock]) {}

  /// Room for `size` characters (at most kBlock), what the block holds written first if short.
  char* room(size_t size) {
    if (kBlock - used_ < size) flush();
    return data_.get() + used_;
  }
  /// The characters written into room() end at `end`.
  void commit(const char* end) { used_ = static_cast<size_t>(end - data_.get()); }
  void append(std::string_view text);
  /// Writes what the block holds; a failed write fails the file's commit.
  void flush();
  /// The characters handed to the sink so far, written or not.
  uint64_t size() const { return flushed_ + used_; }

 private:
  void hand_over(std::string_view text);

  SafeFile* file_ = nullptr;
  std::string* text_ = nullptr;
  uint64_t flushed_ = 0;
  std::unique_ptr<char[]> data_;
  size_t used_ = 0;
};

/// Returns once every file let go of by a ReplacedFile has been closed.
void SFL_AwaitReleases();

/// Whether a SafeFile on `target` replaces it: false for a device or a pipe, which it writes
/// through, and which can then neither be read back nor opened twice for one content.
bool SFL_Replaces(const std::string& target);

/// Replaces `target` with `content` through a SafeFile. 0 on success, else the errno value of
/// the failure.
[[nodiscard]] int SFL_WriteFile(const std::string& target, std::string_view content);

}  // namespace tarn
