// Reading through read_file and read_text: the findings as data against the text report, the
// options, files named by a source held in memory, and the vendor files.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "tarn/document.h"
#include "test_support.h"

namespace tarn {
namespace {

using test::MemStream;
using test::ScopedCwd;
using test::TempDir;

// A finding as the report would print it on one line.
std::string line_of(const Finding& f) {
  std::string text = std::string(to_text(f.severity)) + " " + f.file;
  if (f.line) {
    char number[32];
    std::snprintf(number, sizeof number, " (line %4u)", *f.line);
    text += number;
  }
  return text + " - " + f.message + "\n";
}

std::string lines_of(const ReadResult& r) {
  std::string text;
  for (const Finding& f : r.findings()) text += line_of(f);
  return text;
}

// The report with the two-line form joined and the summary line left out: what the findings
// must say, line for line.
std::string findings_of_report(std::string report) {
  for (size_t at; (at = report.find(" -\n    ")) != std::string::npos;) report.replace(at, 7, " - ");
  const size_t summary = report.rfind("File ");
  return summary == std::string::npos ? report : report.substr(0, summary);
}

constexpr const char* kFaulty = R"([IBIS Ver] 3.2
[File Name] bad.ibs
[File Rev] 1
[Component] X
[Manufacturer] Acme
[Package]
R_pkg 1 NA NA
L_pkg 1n NA NA
C_pkg 1p NA NA
[Pin] signal_name model_name
1 A m
2 B n
[Model] m
Model_type Inputt
C_comp 1p NA NA
[Voltage Range] 3.3 NA NA
[Model] n
Model_type Input
C_comp 1p NA NA
[Voltage Range] 3.3 NA NA
[End]
)";

TEST(Findings, AsDataWithoutAReportStream) {
  const ReadResult r = read_text(kFaulty, "bad.ibs");
  EXPECT_TRUE(r.read());
  EXPECT_FALSE(r.passed());
  EXPECT_EQ(r.counts().errors, 2u);
  EXPECT_EQ(r.counts().warnings, 2u);
  EXPECT_TRUE(r.report_text().empty());
  EXPECT_EQ(lines_of(r),
            "ERROR bad.ibs (line   14) - Invalid Model_type (\"Inputt\")\n"
            "ERROR bad.ibs - Model 'm': Ramp Not Defined\n"
            "WARNING bad.ibs - Model 'n': Model_type 'Input' must have Vinl set\n"
            "WARNING bad.ibs - Model 'n': Model_type 'Input' must have Vinh set\n");
}

TEST(ReadOptions, BannerNamesVersionsAndTheKeptReport) {
  const std::string v1 =
      "[IBIS Ver] 1.1\n[File Name] v1.ibs\n[File Rev] 1\n[Component] C\n[Manufacturer] M\n"
      "[Package]\nR_pkg 1 NA NA\nL_pkg 1n NA NA\nC_pkg 1p NA NA\n"
      "[Pin] signal_name model_name\n1 A GND\n[End]\n";
  struct Case {
    ReadOptions options;
    std::string expected_stdout;
    std::string first_finding;  // empty: none
  };
  const Case cases[] = {
      {{}, "", "ERROR v1.ibs (line    1) - Illegal IBIS_Version '1.1'.\n"},
      {{.banner = true},
       "\nChecking v1.ibs for IBIS 2.1 Compatibility...\n\n",
       "ERROR v1.ibs (line    1) - Illegal IBIS_Version '1.1'.\n"},
      {{.shown_name = ShownName::None}, "", "ERROR  (line    1) - Illegal IBIS_Version '1.1'.\n"},
      {{.accept_version_1 = true}, "", ""},
  };
  for (const Case& c : cases) {
    ::testing::internal::CaptureStdout();
    const ReadResult r = read_text(v1, "v1.ibs", c.options);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), c.expected_stdout);
    EXPECT_EQ(r.ibis_version(), 1);
    const std::string lines = lines_of(r);
    EXPECT_EQ(lines.substr(0, lines.find('\n') + 1), c.first_finding);
  }

  // The kept report is the report, also when it goes on to a stream.
  MemStream forwarded;
  const ReadResult kept = read_text(v1, "v1.ibs", {.report = forwarded.get(), .keep_report_text = true});
  EXPECT_EQ(kept.report_text(), forwarded.text());
  EXPECT_EQ(kept.report_text(),
            "ERROR v1.ibs (line    1) - Illegal IBIS_Version '1.1'.\n"
            "File v1.ibs  Errors: 1  Compile Failed\n\n");
  EXPECT_EQ(read_text(v1, "v1.ibs", {.keep_report_text = true}).report_text(), kept.report_text());
}

// Without the document, the checks of a model's curves and plausibility run as each model ends
// and its tables are let go; their findings still come in the order the reader gives them with
// the document kept (after every other finding of the models, newest model first).
TEST(ReadOptions, WithoutTheDocumentTheReportStaysTheSame) {
  const std::string text =
      "[IBIS Ver] 3.2\n[File Name] two.ibs\n[File Rev] 1\n[Component] X\n[Manufacturer] Acme\n"
      "[Package]\nR_pkg 1 NA NA\nL_pkg 1n NA NA\nC_pkg 1p NA NA\n"
      "[Pin] signal_name model_name\n1 A m\n2 B n\n"
      "[Model] m\nModel_type Input\nVinl = 0.8\nVinh = 2\nC_comp 1 NA NA\n"
      "[Voltage Range] 3.3 NA NA\n[GND Clamp]\n-1.5 -11 NA NA\n0 0 NA NA\n"
      "[Model] n\nModel_type Open_drain\nC_comp 1p NA NA\n[Voltage Range] 3.3 NA NA\n"
      "[Pullup]\n-1 1m NA NA\n0 0 NA NA\n[GND Clamp]\n-1 -12 NA NA\n0 0 NA NA\n[End]\n";
  const ReadResult kept = read_text(text, "two.ibs", {.keep_report_text = true});
  const ReadResult let_go =
      read_text(text, "two.ibs", {.keep_report_text = true, .keep_document = false});
  EXPECT_EQ(kept.counts().warnings, 4u) << kept.report_text();
  EXPECT_EQ(let_go.report_text(), kept.report_text());
  EXPECT_EQ(lines_of(let_go), lines_of(kept));
  EXPECT_EQ(kept.document().components().size(), 1u);
  EXPECT_TRUE(let_go.document().components().empty());
}

TEST(ReadText, FilesItNamesAreReadBesideItsShownName) {
  TempDir dir;
  const std::filesystem::path data(TARN_TEST_DATA);
  dir.write("records.ibs", test::file_text(data / "records.ibs"));
  const std::string board = test::file_text(data / "records.ebd");
  // The board places a part of records.ibs: found beside the shown name, or in the working
  // folder for a bare name; elsewhere it is missing.
  const ReadResult beside = read_text(board, (dir.path() / "records.ebd").string());
  EXPECT_TRUE(beside.passed());
  EXPECT_EQ(beside.counts().warnings, 8u);  // those of the component file
  {
    ScopedCwd cwd(dir.path());
    EXPECT_EQ(read_text(board, "records.ebd").counts().warnings, 8u);
  }
  TempDir elsewhere;
  ScopedCwd cwd(elsewhere.path());
  const ReadResult missing = read_text(board, "records.ebd");
  EXPECT_FALSE(missing.passed());
  EXPECT_EQ(lines_of(missing).find("ERROR records.ebd"), 0u) << lines_of(missing);
}

TEST(ReadFile, WhatCannotBeRead) {
  struct Case {
    ReadResult result;
    std::string findings;
  };
  TempDir dir;
  ScopedCwd cwd(dir.path());
  const Case cases[] = {
      {read_file("missing.ibs"),
       "ERROR missing.ibs - Unsupported or Illegal IBIS Version Number\n"},
      {read_text("[IBIS Ver] 5.0\n[End]\n", "new.ibs"),
       "ERROR new.ibs - Unsupported or Illegal IBIS Version Number\n"},
      {read_text("[IBIS Ver] 3.2\n", ""), ""},
      {read_text("[IBIS Ver] 3.2\n", std::string_view("a\0b.ibs", 7)), ""},
  };
  for (const Case& c : cases) {
    EXPECT_FALSE(c.result.read());
    EXPECT_FALSE(c.result.passed());
    EXPECT_EQ(c.result.ibis_version(), 0);
    EXPECT_EQ(lines_of(c.result), c.findings);
    EXPECT_TRUE(c.result.document().components().empty());
  }
}

// Every vendor file (passed, failed and refused ones): both entries give the findings and the
// verdict the batch check reports, line for line.
// TARN_CORPUS_DIR names a further folder of sources to read the same way.
TEST(Corpus, BothEntriesReportWhatTheCheckReports) {
  std::vector<std::filesystem::path> folders{std::filesystem::path(TARN_TEST_DATA) / "corpus"};
  if (const char* extra = std::getenv("TARN_CORPUS_DIR")) folders.emplace_back(extra);
  int files = 0;
  for (const auto& folder : folders) {
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
      const std::string path = entry.path().string();
      if (IBIS_KindOf(path.c_str()) == 0) continue;
      ++files;
      MemStream check;
      const char* list[] = {path.c_str()};
      ::testing::internal::CaptureStdout();
      IBIS_CheckFilesToStream(list, 1, check.get());
      MemStream report;
      const ReadResult from_file = read_file(path, {.report = report.get()});
      const ReadResult from_text = read_text(test::file_text(entry.path()), path);
      ::testing::internal::GetCapturedStdout();
      const std::string expected = check.text();
      EXPECT_EQ(report.text(), expected) << path;
      EXPECT_EQ(lines_of(from_file), findings_of_report(expected)) << path;
      EXPECT_NE(expected.find(from_file.passed() ? "Compile Passed" : "Compile Failed"),
                std::string::npos)
          << path;
      EXPECT_EQ(lines_of(from_text), lines_of(from_file)) << path;
      EXPECT_EQ(from_text.passed(), from_file.passed()) << path;
      EXPECT_EQ(from_text.document().models().size(), from_file.document().models().size());
    }
  }
  EXPECT_GE(files, 6);
}

}  // namespace
}  // namespace tarn
