#include "libibis/src/rpt.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "libibis/src/parse.h"
#include "report_fixture.h"

namespace tarn {
namespace {

class Reporter : public test::Reported {
 protected:
  void SetUp() override {
    at(7, "a.ibs");
    RPT_SetIndent(0);
  }
  std::string counts() {
    uint32_t errors = 9, warnings = 9, bugs = 9;
    RPT_GetCounts(&errors, &warnings, &bugs);
    return std::to_string(errors) + " " + std::to_string(warnings) + " " + std::to_string(bugs) +
           (RPT_Passed() ? " passed" : " failed");
  }
};

TEST_F(Reporter, EveryFormatWithAndWithoutLine) {
  RPT_ErrorAtLine("Orphan Data Line.");
  RPT_Error("Required keyword 'End' not found.");
  RPT_WarningAtLine("Zero length value for keyword '%s'.", "Date");
  RPT_Warning("Short.");
  RPT_BugAtLine("Bad line type passed to %s.", "hdr");
  RPT_Bug("%s", std::string(60, 'b').c_str());  // bugs stay on one line
  EXPECT_EQ(report(),
            "ERROR a.ibs (line    7) - Orphan Data Line.\n"
            "ERROR a.ibs - Required keyword 'End' not found.\n"
            "WARNING a.ibs (line    7) - Zero length value for keyword 'Date'.\n"
            "WARNING a.ibs - Short.\n"
            "PROGRAM BUG a.ibs (line    7) - Bad line type passed to hdr.\n"
            "PROGRAM BUG a.ibs - " + std::string(60, 'b') + "\n");
  EXPECT_EQ(counts(), "2 2 2 failed");
  at(12345, "a.ibs");  // wide line numbers take more columns
  RPT_ErrorAtLine("Orphan Data Line.");
  EXPECT_EQ(report(), "ERROR a.ibs (line 12345) - Orphan Data Line.\n");
}

// Held findings are neither shown nor counted until replayed; replayed, each reads as it would
// have when found (its line number included), after whatever was reported meanwhile.
TEST_F(Reporter, HeldFindingsReportLaterAsFound) {
  std::vector<RptHeld> outer;
  std::vector<RptHeld> inner;
  {
    RptHoldScope hold(&outer);
    RPT_WarningAtLine("Held at line %d.", 7);
    {
      RptHoldScope nested(&inner);
      RPT_Bug("Held inside.");
    }
    RPT_Warning("Model 'n': Currents <> 0.0mA in 'Pullup' for Open_drain/Open_sink device");
  }
  EXPECT_EQ(report(), "");
  EXPECT_EQ(counts(), "0 0 0 passed");
  at(9, "a.ibs");
  RPT_Error("Reported at once.");
  RPT_Replay(outer);
  RPT_Replay(inner);
  EXPECT_EQ(report(),
            "ERROR a.ibs - Reported at once.\n"
            "WARNING a.ibs (line    7) - Held at line 7.\n"
            "WARNING a.ibs -\n"
            "    Model 'n': Currents <> 0.0mA in 'Pullup' for Open_drain/Open_sink device\n"
            "PROGRAM BUG a.ibs - Held inside.\n");
  EXPECT_EQ(counts(), "1 2 1 failed");
}

TEST_F(Reporter, TwoLineFormOnlyInsideEachBand) {
  const struct {
    const char* name;
    void (*report)(const char*, ...);
    size_t low;  // shortest message printed on two lines
  } bands[] = {{"error", RPT_Error, 72}, {"error at line", RPT_ErrorAtLine, 60},
               {"warning", RPT_Warning, 70}, {"warning at line", RPT_WarningAtLine, 58}};
  for (const auto& band : bands) {
    for (size_t length : {band.low - 1, band.low, size_t{75}, size_t{76}}) {
      const std::string message(length, 'x');
      band.report("%s", message.c_str());
      const std::string printed = report();
      const bool two = length >= band.low && length <= 75;
      EXPECT_NE(printed.find((two ? " -\n    " : " - ") + message + "\n"), std::string::npos)
          << band.name << " length " << length << ": " << printed;
    }
  }
}

TEST_F(Reporter, NothingIsPrintedOrCountedWithoutStream) {
  RPT_SetStream(nullptr);
  RPT_Error("lost");
  RPT_WarningAtLine("lost");
  RPT_Bug("lost");
  RPT_PrintSummary();
  EXPECT_EQ(counts(), "0 0 0 passed");
  RPT_GetCounts(nullptr, nullptr, nullptr);  // null pointers are skipped
  EXPECT_EQ(report(), "");
}

TEST_F(Reporter, SummaryLinesIndentAndFileNameModes) {
  RPT_PrintSummary();
  RPT_Warning("w1");
  RPT_Warning("w2");
  RPT_PrintSummary();
  RPT_SetIndent(2);  // prefixes lines but not the continuation
  RPT_Error("%s", std::string(72, 'e').c_str());
  RPT_PrintSummary();
  RPT_SetIndent(-3);
  EXPECT_EQ(RPT_GetIndent(), -3);
  RPT_Bug("b");
  RPT_PrintSummary();
  RPT_SetFileNameMode(1);
  RPT_Warning("hidden");
  RPT_PrintSummary();  // the summary names the current file whatever the mode
  RPT_SetFileNameMode(2);
  RPT_SetFileName("b.ibs");  // the shown name stays as it was (empty)
  RPT_Warning("kept");
  RPT_SetFileNameMode(0);
  RPT_Warning("copied");
  EXPECT_EQ(report(),
            "File a.ibs  Errors: 0  Compile Passed\n\n"
            "WARNING a.ibs - w1\nWARNING a.ibs - w2\n"
            "File a.ibs  Errors: 0  Warnings: 2  Compile Passed\n\n"
            "  ERROR a.ibs -\n    " + std::string(72, 'e') + "\n"
            "  File a.ibs  Errors: 1  Warnings: 2  Compile Failed\n\n"
            "PROGRAM BUG a.ibs - b\n"
            "File a.ibs  Bugs: 1  Errors: 1  Warnings: 2  Compile Failed\n\n"
            "WARNING  - hidden\n"
            "File a.ibs  Bugs: 1  Errors: 1  Warnings: 3  Compile Failed\n\n"
            "WARNING  - kept\n"
            "WARNING b.ibs - copied\n");
}

TEST_F(Reporter, LongNamesAndMessagesAreBounded) {
  const std::string long_name(600, 'n');
  RPT_SetFileName(long_name.c_str());
  EXPECT_EQ(RPT_GetFileName().size(), 512u);
  RPT_SetFileNameMode(1);
  RPT_Error("%s", std::string(5000, 'm').c_str());
  EXPECT_EQ(report(), "ERROR  - " + std::string(2175, 'm') + "\n");
}

}  // namespace
}  // namespace tarn
