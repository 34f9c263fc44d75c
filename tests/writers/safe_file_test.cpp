#include "writers/safe_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "tarn/compile.h"
#include "tarn/documentation.h"
#include "test_support.h"

namespace tarn::test {
namespace {

namespace fs = std::filesystem;

SafeFileStep g_failing_step;
int fail_at_step(SafeFileStep step, const char*) { return step == g_failing_step ? ENOSPC : 0; }

// A failure at any step before the rename leaves the old file and no temporary file; the rename
// makes the new content the file's.
TEST(SafeFile, TheTargetHoldsTheOldOrTheNewContentNeverAPart) {
  struct Case {
    SafeFileStep step;
    bool replaced;
  };
  for (const Case c : {Case{SafeFileStep::kCreated, false}, Case{SafeFileStep::kWritten, false},
                       Case{SafeFileStep::kSynced, false}, Case{SafeFileStep::kRenamed, true}}) {
    TempDir dir;
    const std::string target = dir.write("f.cbs", "old\n");
    g_failing_step = c.step;
    SFL_SetStepHook(fail_at_step);
    const int error = SFL_WriteFile(target, "new\n");
    SFL_SetStepHook(nullptr);
    EXPECT_EQ(error, c.replaced ? 0 : ENOSPC) << static_cast<int>(c.step);
    EXPECT_EQ(file_bytes(target), c.replaced ? "new\n" : "old\n") << static_cast<int>(c.step);
    EXPECT_EQ(std::distance(fs::directory_iterator(dir.path()), fs::directory_iterator()), 1)
        << "a temporary file was left at step " << static_cast<int>(c.step);
  }
}

TEST(SafeFile, RealFailuresAreReportedWithTheirReason) {
  TempDir dir;
  EXPECT_EQ(SFL_WriteFile((dir.path() / "no" / "f.cbs").string(), "x"), ENOENT);
  fs::create_directories(dir.path() / "d.cbs" / "inside");
  EXPECT_NE(SFL_WriteFile((dir.path() / "d.cbs").string(), "x"), 0) << "a folder in the way";
  EXPECT_EQ(std::distance(fs::directory_iterator(dir.path()), fs::directory_iterator()), 1)
      << "the temporary file is gone";

  {
    SafeFile abandoned((dir.path() / "never.cbs").string());
    ASSERT_NE(abandoned.stream(), nullptr);
    ASSERT_TRUE(abandoned.Write("x"));
  }
  EXPECT_EQ(std::distance(fs::directory_iterator(dir.path()), fs::directory_iterator()), 1)
      << "a file never committed leaves nothing";
}

// The files this process holds open below `dir`.
int files_held(const fs::path& dir) {
  int held = 0;
  for (const auto& fd : fs::directory_iterator("/proc/self/fd")) {
    std::error_code error;
    if (fs::read_symlink(fd.path(), error).string().starts_with(dir.string()) && !error) ++held;
  }
  return held;
}

// A plain file held stays held, unlinked, once another is renamed over it, until let go of and
// closed in the background; nothing else is held: a link's target is not the file the rename
// frees, and a pipe is not waited on.
TEST(ReplacedFile, HoldsAPlainFileUntilReleased) {
  const struct {
    const char* name;
    bool held;
  } cases[] = {{"a file", true},
               {"nothing", false},
               {"a folder", false},
               {"a link", false},
               {"a pipe", false}};
  for (const auto& c : cases) {
    TempDir dir;
    const fs::path target = dir.path() / "f.cbs";
    const std::string name = c.name;
    if (name == "a file") dir.write("f.cbs", "old\n");
    if (name == "a folder") fs::create_directory(target);
    if (name == "a link") fs::create_symlink(dir.write("other", "old\n"), target);
    if (name == "a pipe") {
      ASSERT_EQ(::mkfifo(target.c_str(), 0600), 0);
    }
    ReplacedFile replaced;
    replaced.Hold(target.string());
    EXPECT_EQ(files_held(dir.path()), c.held ? 1 : 0) << name;
    if (name != "a folder" && name != "a pipe") {  // neither is replaced
      ASSERT_EQ(SFL_WriteFile(target.string(), "new\n"), 0) << name;
    }
    EXPECT_EQ(files_held(dir.path()), c.held ? 1 : 0) << name;
    replaced.Release();
    SFL_AwaitReleases();
    EXPECT_EQ(files_held(dir.path()), 0) << name;
  }
}

// A child forked while the parent lets go of replaced files has no thread closing them: it
// closes its own copies and lets go of its own files without waiting for the parent's thread.
TEST(ReplacedFile, AForkedChildLetsGoOfFilesOnItsOwn) {
#if defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "forking a process with threads is outside what the race detector follows";
#elif defined(__SANITIZE_ADDRESS__)
  // The address checker's allocator takes no lock around a fork: a parent thread freeing
  // memory at that moment leaves the child's allocator locked for good.
  GTEST_SKIP() << "the address checker's allocator is not safe across a fork with threads";
#endif
  for (int round = 0; round < 10; ++round) {
    TempDir dir;
    const std::string older = dir.write("older.cbs", "old\n");
    ReplacedFile replaced;
    replaced.Hold(older);
    ASSERT_EQ(SFL_WriteFile(older, "new\n"), 0);
    replaced.Release();
    const pid_t child = ::fork();  // most rounds while the parent's thread is still at it
    ASSERT_GE(child, 0);
    if (child == 0) {
      ::alarm(10);  // a child that hangs fails the round
      const std::string own = dir.write("own.cbs", "own\n");
      ReplacedFile held;
      held.Hold(own);
      const bool replaced_own = SFL_WriteFile(own, "new\n") == 0;
      held.Release();
      SFL_AwaitReleases();
      ::_exit(replaced_own && files_held(dir.path()) == 0 ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "round " << round;
    SFL_AwaitReleases();
    EXPECT_EQ(files_held(dir.path()), 0) << "round " << round;
  }
}

// Writing over an earlier output leaves the new content, and the old file is let go of, on one
// processor as on several.
TEST(ReplacedFile, TheStreamedWritersLetTheOldOutputGo) {
  using Entry = int (*)(const char*, const char*, const char*, std::FILE*);
  const struct {
    const char* name;
    Entry entry;
  } writers[] = {{"compile", IBIS_CompileSourceToStream}, {"doc", IBIS_DocumentSourceToStream}};
  const std::string source = std::string(TARN_TEST_DATA) + "/records.ibs";
  for (const auto& w : writers)
    for (const bool one : {false, true}) {
      ProcessorScope processors(one);
      TempDir dir;
      const std::string output = dir.write("out", "an earlier output\n");
      const int written =
          quietly([&] { return w.entry(source.c_str(), "Chip", output.c_str(), nullptr); });
      ASSERT_EQ(written, 1) << w.name;
      EXPECT_NE(file_text(output), "an earlier output\n") << w.name;
      SFL_AwaitReleases();
      EXPECT_EQ(files_held(dir.path()), 0) << w.name << ", one processor " << one;
    }
}

// Pieces appended and laid out in place reach the file whole and in order, across the block's
// edge, when a piece is longer than a block and once the system writes part of the file out.
TEST(BlockSink, PiecesReachTheFileInOrder) {
  const std::string block_less_one(BlockSink::kBlock - 1, 'a');
  const std::string two_blocks(2 * BlockSink::kBlock, 'b');
  const struct {
    const char* name;
    std::vector<std::string> pieces;
  } cases[] = {
      {"small pieces", {"one\n", "two\n"}},
      {"a piece that just fits, then one past the edge", {block_less_one, "c", "de"}},
      {"a piece longer than a block between small ones", {"x", two_blocks, "y"}},
      {"past the point where the system starts writing out", {std::string(9 << 20, 'w'), "z"}},
  };
  for (const auto& c : cases) {
    TempDir dir;
    const std::string target = (dir.path() / "f.txt").string();
    SafeFile file(target);
    BlockSink sink(&file);
    std::string expected;
    for (size_t i = 0; i < c.pieces.size(); ++i) {
      const std::string& piece = c.pieces[i];
      expected += piece + "|";
      // Every other piece through the block's room, as the writers lay out their lines.
      if (i % 2 == 0 || piece.size() >= BlockSink::kBlock) {
        sink.append(piece);
      } else {
        char* at = sink.room(piece.size());
        sink.commit(std::copy(piece.begin(), piece.end(), at));
      }
      char* bar = sink.room(1);
      *bar = '|';
      sink.commit(bar + 1);
    }
    sink.flush();
    ASSERT_TRUE(file.Commit()) << c.name;
    EXPECT_TRUE(file_bytes(target) == expected) << c.name;
  }
}

}  // namespace
}  // namespace tarn::test
