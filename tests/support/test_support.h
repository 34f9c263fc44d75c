// Shared helpers: IBIS fixtures written to a temporary folder and read with the reader.
#pragma once

#include <sched.h>
#include <sys/types.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "tarn/reader.h"

namespace tarn::test {

/// A fresh temporary folder, removed with everything in it.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::filesystem::path& path() const { return path_; }
  /// Writes `text` byte for byte to `name` in the folder and returns the file's path.
  std::string write(std::string_view name, std::string_view text) const;

 private:
  std::filesystem::path path_;
};

/// Runs code with the working directory set to a folder, so report lines show bare names.
class ScopedCwd {
 public:
  explicit ScopedCwd(const std::filesystem::path& dir);
  ~ScopedCwd();

 private:
  std::filesystem::path previous_;
};

/// Runs code on one processor when `one` is set: the calling thread's affinity narrowed to the
/// processor it is on, and put back at the end. What runs inside finds a single processor.
class ProcessorScope {
 public:
  explicit ProcessorScope(bool one);
  ~ProcessorScope();
  ProcessorScope(const ProcessorScope&) = delete;
  ProcessorScope& operator=(const ProcessorScope&) = delete;

 private:
  std::optional<cpu_set_t> saved_;  // the mask to put back; none when unchanged
};

/// Collects what is written to a stream.
class MemStream {
 public:
  MemStream();
  ~MemStream();
  std::FILE* get() const { return file_; }
  std::string text();

 private:
  char* data_ = nullptr;
  size_t size_ = 0;
  std::FILE* file_ = nullptr;
};

struct DocumentDeleter {
  void operator()(IbisDocument* doc) const { IBIS_DestroyDocument(doc); }
};
using DocumentPtr = std::unique_ptr<IbisDocument, DocumentDeleter>;

struct ReadResult {
  int result = 0;
  std::string report;
  DocumentPtr document;
};

/// Writes `text` as `name` in a fresh folder and reads it through the top-level read; the
/// report shows `name` as the file name.
ReadResult read_source(std::string_view text, std::string_view name = "t.ibs",
                       bool want_document = false);

/// Reads `text` below the version probe, with the version code given, into a fresh document
/// (kept in the result), running the end-of-file checks when `end_checks` is set.
ReadResult read_lines(std::string_view text, std::string_view name = "t.ibs", int version = 3,
                      bool end_checks = false);

/// The findings of a report that carry a line number, leaving out the checks that run when a
/// section or the file ends.
std::string line_findings(const std::string& report);

/// The bytes of a file, or nothing when it cannot be opened.
std::optional<std::string> file_bytes(const std::filesystem::path& path);

/// The bytes of a file, or an empty text when it cannot be opened.
std::string file_text(const std::filesystem::path& path);

/// Compares `actual` byte for byte with the golden file tests/data/expected/<name>; a failure
/// names the first line that differs. With TARN_UPDATE_GOLDEN=1 in the environment the file is
/// written from `actual` instead. A golden file that is missing fails.
::testing::AssertionResult matches_golden(std::string_view name, std::string_view actual);

/// fork(), once no thread of the library is still closing replaced files: a child of a
/// process under the address checker may otherwise find its allocator locked by that thread.
pid_t fork_settled();

/// Runs `fn` with standard output captured and dropped (the reader's compatibility banner).
template <class Fn>
auto quietly(Fn&& fn) {
  struct Release {
    ~Release() { ::testing::internal::GetCapturedStdout(); }
  };
  ::testing::internal::CaptureStdout();
  const Release release;
  return fn();
}

}  // namespace tarn::test
