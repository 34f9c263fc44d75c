#include "libibis/src/ibis.h"

#include <gtest/gtest.h>

#include <string>

#include "libibis/src/parse.h"
#include "libibis/src/rpt.h"
#include "test_support.h"

namespace tarn {
namespace {

// The inner file is read when the outer reading reaches its data line "read inner".
IbisDocument* g_inner = nullptr;
int g_inner_result = -1;
bool g_into_new_document = true;

void read_inner_on_cue(DispatchEvent event, Section, LineKind kind, Kw, std::string_view line) {
  if (event != DispatchEvent::Line || kind != LineKind::Data || line != "read inner") return;
  g_inner_result = IBIS_ReadNested("inner.ibs", FileKind::Ibs, g_into_new_document ? &g_inner : nullptr);
}

struct NestedRun {
  std::string report;
  std::string banners;
  test::DocumentPtr outer;
  test::DocumentPtr inner;
};

NestedRun read_with_inner(const std::string& inner_text, bool new_document) {
  test::TempDir dir;
  dir.write("outer.ibs",
            "[IBIS Ver] 3.2\n"
            "[Notes] outer\n"
            "read inner\n"
            "[Date] today\n"
            "# not a comment in this file\n"
            "[Component] Outer\n"
            "[End]\n"
            "after end\n");
  dir.write("inner.ibs", inner_text);
  test::ScopedCwd cwd(dir.path());
  g_inner = nullptr;
  g_inner_result = -1;
  g_into_new_document = new_document;
  PRS_SetDispatchObserver(read_inner_on_cue);
  NestedRun run;
  test::MemStream report;
  RPT_ResetCounts();
  RPT_SetStream(report.get());
  IbisDocument* outer = IBIS_CreateDocument();
  PRS_SetVersion(3);
  ::testing::internal::CaptureStdout();
  PRS_ReadFile("outer.ibs", FileKind::Ibs);
  IBIS_EndOfFileChecks(FileKind::Ibs, false);
  run.banners = ::testing::internal::GetCapturedStdout();
  IBIS_DetachDocument(outer);
  RPT_PrintSummary();
  RPT_SetStream(nullptr);
  PRS_SetDispatchObserver(nullptr);
  run.report = report.text();
  run.outer.reset(outer);
  run.inner.reset(g_inner);
  return run;
}

TEST(NestedReading, OuterReadingResumesUnchanged) {
  const NestedRun run = read_with_inner(
      "[IBIS Ver] 3.2\n"
      "[Comment Char] #_char\n"
      "[Notes] inner # comment\n"
      "[Component] Inner\n"
      "[End]\n"
      "inner after end\n",
      true);
  EXPECT_EQ(g_inner_result, 1);
  // Line numbers, file names, comment character and current keyword are the outer file's
  // again after the inner one; each file gets its own end-of-file checks; the counts add up.
  EXPECT_EQ(run.report,
            "ERROR inner.ibs (line    6) - Non-comment line exists after 'End' keyword.\n"
            "ERROR inner.ibs - Required keyword 'Manufacturer' not defined for Component 'Inner'.\n"
            "ERROR inner.ibs - Keyword 'Package' not defined for Component 'Inner'.\n"
            "ERROR inner.ibs - Unable to find Pin keyword data for Component 'Inner'.\n"
            "ERROR outer.ibs (line    5) - Orphan Data Line.\n"
            "ERROR outer.ibs (line    8) - Non-comment line exists after 'End' keyword.\n"
            "ERROR outer.ibs - Required keyword 'Manufacturer' not defined for Component 'Outer'.\n"
            "ERROR outer.ibs - Keyword 'Package' not defined for Component 'Outer'.\n"
            "ERROR outer.ibs - Unable to find Pin keyword data for Component 'Outer'.\n"
            "File outer.ibs  Errors: 9  Compile Failed\n\n");
  ASSERT_NE(run.inner, nullptr);
  ASSERT_EQ(run.inner->components.size(), 1u);
  EXPECT_EQ(run.inner->components[0]->name, "Inner");
  EXPECT_EQ(*run.inner->header->notes, "inner");
  ASSERT_EQ(run.outer->components.size(), 1u);
  EXPECT_EQ(run.outer->components[0]->name, "Outer");
  EXPECT_EQ(*run.outer->header->notes, "outer\nread inner");
  EXPECT_EQ(PRS_GetFileName(), "outer.ibs");
  // Only the file asked for is announced.
  EXPECT_EQ(run.banners, "\nChecking outer.ibs for IBIS 3.2 Compatibility...\n\n");
}

TEST(NestedReading, IntoTheCurrentDocument) {
  const NestedRun run = read_with_inner("[IBIS Ver] 3.2\n[Component] Inner\n[End]\n", false);
  EXPECT_EQ(g_inner_result, 1);
  EXPECT_EQ(run.inner, nullptr);
  ASSERT_EQ(run.outer->components.size(), 2u);
  EXPECT_EQ(run.outer->components[0]->name, "Inner");
  EXPECT_EQ(run.outer->components[1]->name, "Outer");
  // The inner [IBIS Ver] is not a duplicate of the outer one, and the outer header stays.
  EXPECT_EQ(run.report.find("Duplicate IBIS_Ver"), std::string::npos) << run.report;
  EXPECT_EQ(*run.outer->header->notes, "outer\nread inner");
}

TEST(NestedReading, UnknownVersionIsRefused) {
  const NestedRun run = read_with_inner("[IBIS Ver] 4.1\n[Component] Inner\n[End]\n", true);
  EXPECT_EQ(g_inner_result, 0);
  EXPECT_EQ(run.inner, nullptr);
  EXPECT_EQ(run.report.substr(0, run.report.find('\n') + 1),
            "ERROR inner.ibs - Unrecognized IBIS Version\n");
}

}  // namespace
}  // namespace tarn
