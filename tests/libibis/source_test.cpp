#include "libibis/src/source.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "libibis/src/ibis.h"
#include "test_support.h"

namespace tarn {
namespace {

using test::MemStream;
using test::ScopedCwd;
using test::TempDir;

// Small enough to pass every check that exists, complete enough to stay valid.
constexpr const char* kValid =
    "[IBIS Ver] 3.2\n[File Name] good.ibs\n[File Rev] 1.0\n[Component] Part\n[Manufacturer] Acme\n"
    "[Package]\nR_pkg 0.1 NA NA\nL_pkg 1n NA NA\nC_pkg 1p NA NA\n"
    "[Pin] signal_name model_name\n1 VCC POWER\n[End]\n";

TEST(SourceKind, FromTheExtensionWithoutCase) {
  const std::pair<const char*, FileKind> cases[] = {
      {"part.ibs", FileKind::Ibs},          {"board.EBD", FileKind::Ebd},
      {"x.Pkg", FileKind::Pkg},             {"C:\\lib\\a.IBS", FileKind::Ibs},
      {"model.ibs.bak", FileKind::Unknown}, {"noext", FileKind::Unknown},
      {"dir.ibs/file", FileKind::Unknown},  {"", FileKind::Unknown},
  };
  for (const auto& [name, kind] : cases) {
    EXPECT_EQ(SRC_KindOf(name), kind) << name;
    EXPECT_EQ(IBIS_KindOf(name), static_cast<int>(kind)) << name;
  }
  EXPECT_EQ(IBIS_KindOf(nullptr), 0);
}

TEST(SourceVersion, FirstBracketedLineDecides) {
  const struct {
    const char* text;
    int version;
    uint32_t lines;
  } cases[] = {
      {"[IBIS Ver] 3.2\n", 3, 1},          {"| comment\n\n   [ibis_ver]   2.1\n[End]\n", 2, 3},
      {"[IBIS VER]\t1.1\n", 1, 1},         {"[Component] X\n[IBIS Ver] 3.2\n", 0, 1},
      {"[IBIS Ver] 4.0\n", 0, 1},          {"[IBIS Ver]\n", 0, 1},
      {"[IBIS  Ver] 3.2\n", 0, 1},         {"no brackets at all\n", 0, 1},
      {"", 0, 0},
  };
  TempDir dir;
  for (const auto& c : cases) {
    const std::string path = dir.write("v.ibs", c.text);
    uint32_t lines = 10;
    EXPECT_EQ(IBIS_DetectVersion(path.c_str(), &lines, 1), c.version) << c.text;
    EXPECT_EQ(lines, 10 + c.lines) << c.text;
  }
  EXPECT_EQ(IBIS_DetectVersion((dir.path() / "absent.ibs").c_str(), nullptr, 1), 0);
}

TEST(ReadSource, VersionAndComponentAreRequired) {
  const auto later = test::read_source("[IBIS Ver] 4.0\n[Component] X\n[End]\n");
  EXPECT_EQ(later.result, 0);
  EXPECT_EQ(later.report, "ERROR t.ibs - Unrecognized IBIS Version\n");
  EXPECT_EQ(test::read_source("[Component] X\n[IBIS Ver] 3.2\n[End]\n").report,
            "ERROR t.ibs - Unrecognized IBIS Version\n");
  const auto no_component = test::read_source("[IBIS Ver] 3.2\n[End]\n");
  EXPECT_EQ(no_component.result, 1);
  EXPECT_EQ(no_component.report, "ERROR t.ibs - Required keyword 'Component' not found.\n");
  // A document is handed over only when it holds a component.
  EXPECT_EQ(test::read_source("[IBIS Ver] 3.2\n[End]\n", "t.ibs", true).result, 0);
  const auto good = test::read_source(kValid, "good.ibs", true);
  EXPECT_EQ(good.result, 1);
  EXPECT_EQ(good.report, "");
  ASSERT_NE(good.document, nullptr);
  ASSERT_EQ(good.document->components.size(), 1u);
  EXPECT_EQ(good.document->components[0]->name, "Part");
  EXPECT_EQ(IBIS_Current(), nullptr);  // the handed-over document is no longer current
  uint32_t errors = 9, warnings = 9, bugs = 9;
  IBIS_GetCounts(&errors, &warnings, &bugs);
  EXPECT_EQ(errors + warnings + bugs, 0u);
}

TEST(ReadSource, LogIsReplacedOrAppended) {
  TempDir dir;
  ScopedCwd cwd(dir.path());
  dir.write("bad.ibs", "[IBIS Ver] 3.2\n[End]\n");
  EXPECT_EQ(IBIS_ReadSource("bad.ibs", "log.txt", 0, nullptr), 1);
  EXPECT_EQ(IBIS_ReadSource("bad.ibs", "log.txt", 1, nullptr), 1);
  const std::string line = "ERROR bad.ibs - Required keyword 'Component' not found.\n";
  EXPECT_EQ(test::file_text("log.txt"), line + line);
  EXPECT_EQ(IBIS_ReadSource("bad.ibs", "log.txt", 0, nullptr), 1);
  EXPECT_EQ(test::file_text("log.txt"), line);
  EXPECT_EQ(IBIS_ReadSource("bad.ibs", "no-such-dir/log.txt", 0, nullptr), 0);
  EXPECT_EQ(IBIS_ReadSource(nullptr, "log.txt", 0, nullptr), 0);
  EXPECT_EQ(IBIS_ReadSource("", nullptr, 0, nullptr), 0);
  // Without a log the findings are still counted: a file with errors never reads as clean.
  EXPECT_EQ(IBIS_ReadSource("bad.ibs", nullptr, 0, nullptr), 1);
  uint32_t errors = 9;
  IBIS_GetCounts(&errors, nullptr, nullptr);
  EXPECT_EQ(errors, 1u);
}

TEST(CheckFiles, BatchReportWithASummaryLinePerFile) {
  TempDir dir;
  ScopedCwd cwd(dir.path());
  dir.write("good.ibs", kValid);
  dir.write("bad.ibs", "[IBIS Ver] 3.2\n[End]\n");
  dir.write("new.ibs", "[IBIS Ver] 5.0\n[End]\n");
  const char* files[] = {"good.ibs", "bad.ibs", "new.ibs"};
  MemStream report;
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(IBIS_CheckFilesToStream(files, 3, report.get()), 0);
  EXPECT_EQ(IBIS_CheckFilesToStream(files, 1, nullptr), 1);
  EXPECT_EQ(IBIS_CheckFilesToStream(files, 0, nullptr), 0);
  EXPECT_EQ(IBIS_CheckFiles(files, nullptr, "report.txt", "summary.txt", 2), 0);
  EXPECT_EQ(IBIS_CheckFiles(files, nullptr, nullptr, "passed.txt", 1), 1);
  EXPECT_EQ(IBIS_CheckFiles(files, nullptr, nullptr, "summary.txt", 0), 0);
  EXPECT_EQ(IBIS_CheckFiles(files, nullptr, nullptr, "no-such-dir/summary.txt", 2), 0);
  ::testing::internal::GetCapturedStdout();
  const std::string good = "File good.ibs  Errors: 0  Compile Passed\n\n";
  const std::string bad =
      "ERROR bad.ibs - Required keyword 'Component' not found.\n"
      "File bad.ibs  Errors: 1  Compile Failed\n\n";
  EXPECT_EQ(report.text(), good + bad +
                               "ERROR new.ibs - Unsupported or Illegal IBIS Version Number\n"
                               "File new.ibs  Errors: 1  Compile Failed\n\n");
  EXPECT_EQ(test::file_text("report.txt"), good + bad);
  EXPECT_EQ(test::file_text("summary.txt"), "good.ibs\n");
  EXPECT_EQ(test::file_text("passed.txt"), "good.ibs\n");
}

class RecordingService : public CentralLibraryService {
 public:
  int initCentralLibrary(int mode, const char* path) override {
    calls.push_back("init " + std::to_string(mode) + " " + path);
    return 1;
  }
  void termCentralLibrary() override { calls.push_back("term"); }
  std::vector<std::string> calls;
};

TEST(ReadWithContext, LibraryAndProjectFilesOpenTheService) {
  TempDir dir;
  ScopedCwd cwd(dir.path());
  dir.write("good.ibs", kValid);
  RecordingService service;
  IBIS_SetCentralLibraryService(&service);
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(IBIS_ReadWithContext("lib/models.PRJ", "good.ibs", nullptr, nullptr), 1);
  EXPECT_EQ(IBIS_ReadWithContext("models.lmc", "good.ibs", nullptr, nullptr), 1);
  EXPECT_EQ(IBIS_ReadWithContext("models.txt", "good.ibs", nullptr, nullptr), 1);
  EXPECT_EQ(IBIS_ReadWithContext(nullptr, "absent.ibs", nullptr, nullptr), 0);
  ::testing::internal::GetCapturedStdout();
  IBIS_SetCentralLibraryService(nullptr);
  EXPECT_EQ(service.calls, (std::vector<std::string>{"init 1 lib/models.PRJ", "term",
                                                     "init 0 models.lmc", "term", "term", "term"}));
}

}  // namespace
}  // namespace tarn
