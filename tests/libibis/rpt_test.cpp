#include "libibis/src/rpt.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "libibis/src/parse.h"
#include "test_support.h"

namespace tarn {
namespace {

using test::MemStream;

class Reporter : public ::testing::Test {
 protected:
  void SetUp() override { restart(); }

  // The reporter prints the number of the line last read: read a file of `lines` lines.
  void set_line_number(uint32_t lines) {
    test::read_lines(std::string(lines, '\n'), "lines.ibs");
    ASSERT_EQ(PRS_GetLineNumber(), lines);
    restart();
  }

  void restart() {
    RPT_SetStream(out_.get());
    RPT_ResetCounts();
    RPT_SetIndent(0);
    RPT_SetFileNameMode(0);
    RPT_SetFileName("a.ibs");
  }
  void TearDown() override { RPT_SetStream(nullptr); }
  std::string text() { return out_.text(); }

  MemStream out_;
};

TEST_F(Reporter, EveryFormatWithAndWithoutLine) {
  set_line_number(7);
  RPT_ErrorAtLine("Orphan Data Line.");
  RPT_Error("Required keyword 'End' not found.");
  RPT_WarningAtLine("Zero length value for keyword '%s'.", "Date");
  RPT_Warning("Short.");
  RPT_BugAtLine("Bad line type passed to %s.", "hdr");
  RPT_Bug("Unknown enumerated keyword code.");
  EXPECT_EQ(text(),
            "ERROR a.ibs (line    7) - Orphan Data Line.\n"
            "ERROR a.ibs - Required keyword 'End' not found.\n"
            "WARNING a.ibs (line    7) - Zero length value for keyword 'Date'.\n"
            "WARNING a.ibs - Short.\n"
            "PROGRAM BUG a.ibs (line    7) - Bad line type passed to hdr.\n"
            "PROGRAM BUG a.ibs - Unknown enumerated keyword code.\n");
  uint32_t errors = 9, warnings = 9, bugs = 9;
  RPT_GetCounts(&errors, &warnings, &bugs);
  EXPECT_EQ(errors, 2u);
  EXPECT_EQ(warnings, 2u);
  EXPECT_EQ(bugs, 2u);
  EXPECT_EQ(RPT_Passed(), 0);
}

// Held findings are neither shown nor counted until replayed; replayed, each reads as it would
// have when found (its line number included), after whatever was reported meanwhile.
TEST_F(Reporter, HeldFindingsReportLaterAsFound) {
  set_line_number(7);
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
  EXPECT_EQ(text(), "");
  EXPECT_EQ(RPT_Passed(), 1);
  set_line_number(9);
  RPT_Error("Reported at once.");
  RPT_Replay(outer);
  RPT_Replay(inner);
  EXPECT_EQ(text(),
            "ERROR a.ibs - Reported at once.\n"
            "WARNING a.ibs (line    7) - Held at line 7.\n"
            "WARNING a.ibs -\n"
            "    Model 'n': Currents <> 0.0mA in 'Pullup' for Open_drain/Open_sink device\n"
            "PROGRAM BUG a.ibs - Held inside.\n");
  uint32_t errors = 0, warnings = 0, bugs = 0;
  RPT_GetCounts(&errors, &warnings, &bugs);
  EXPECT_EQ(errors, 1u);
  EXPECT_EQ(warnings, 2u);
  EXPECT_EQ(bugs, 1u);
}

TEST_F(Reporter, WideLineNumbersTakeMoreColumns) {
  set_line_number(12345);
  RPT_ErrorAtLine("Orphan Data Line.");
  EXPECT_EQ(text(), "ERROR a.ibs (line 12345) - Orphan Data Line.\n");
}

struct Band {
  const char* name;
  void (*report)(const char*, ...);
  size_t low;  // shortest message printed on two lines
};

TEST_F(Reporter, TwoLineFormOnlyInsideEachBand) {
  set_line_number(3);
  const Band bands[] = {
      {"error", RPT_Error, 72},
      {"error at line", RPT_ErrorAtLine, 60},
      {"warning", RPT_Warning, 70},
      {"warning at line", RPT_WarningAtLine, 58},
  };
  for (const Band& band : bands) {
    for (size_t length : {band.low - 1, band.low, size_t{75}, size_t{76}}) {
      MemStream out;
      RPT_SetStream(out.get());
      const std::string message(length, 'x');
      band.report("%s", message.c_str());
      const std::string printed = out.text();
      const bool two_lines = printed.find(" -\n    " + message + "\n") != std::string::npos;
      const bool one_line = printed.find(" - " + message + "\n") != std::string::npos;
      const bool expect_two = length >= band.low && length <= 75;
      EXPECT_EQ(two_lines, expect_two) << band.name << " length " << length << ": " << printed;
      EXPECT_EQ(one_line, !expect_two) << band.name << " length " << length;
    }
  }
  RPT_SetStream(nullptr);
}

TEST_F(Reporter, ProgramBugsStayOnOneLine) {
  RPT_Bug("%s", std::string(60, 'b').c_str());
  EXPECT_EQ(text(), "PROGRAM BUG a.ibs - " + std::string(60, 'b') + "\n");
}

TEST_F(Reporter, NothingIsPrintedOrCountedWithoutStream) {
  RPT_SetStream(nullptr);
  RPT_Error("lost");
  RPT_WarningAtLine("lost");
  RPT_Bug("lost");
  RPT_PrintSummary();
  uint32_t errors = 1, warnings = 1, bugs = 1;
  RPT_GetCounts(&errors, &warnings, &bugs);
  EXPECT_EQ(errors + warnings + bugs, 0u);
  EXPECT_EQ(RPT_Passed(), 1);
  RPT_GetCounts(nullptr, nullptr, nullptr);  // null pointers are skipped
  EXPECT_EQ(text(), "");
}

TEST_F(Reporter, SummaryLines) {
  RPT_PrintSummary();
  RPT_Warning("w1");
  RPT_Warning("w2");
  RPT_Warning("w3");
  RPT_PrintSummary();
  RPT_Error("e");
  RPT_PrintSummary();
  RPT_Bug("b");
  RPT_PrintSummary();
  EXPECT_EQ(text(),
            "File a.ibs  Errors: 0  Compile Passed\n\n"
            "WARNING a.ibs - w1\nWARNING a.ibs - w2\nWARNING a.ibs - w3\n"
            "File a.ibs  Errors: 0  Warnings: 3  Compile Passed\n\n"
            "ERROR a.ibs - e\n"
            "File a.ibs  Errors: 1  Warnings: 3  Compile Failed\n\n"
            "PROGRAM BUG a.ibs - b\n"
            "File a.ibs  Bugs: 1  Errors: 1  Warnings: 3  Compile Failed\n\n");
}

TEST_F(Reporter, IndentPrefixesLinesButNotTheContinuation) {
  RPT_SetIndent(2);
  RPT_Error("%s", std::string(72, 'e').c_str());
  RPT_Warning("short");
  RPT_PrintSummary();
  RPT_SetIndent(-3);
  RPT_Warning("none");
  EXPECT_EQ(text(),
            "  ERROR a.ibs -\n    " + std::string(72, 'e') + "\n"
            "  WARNING a.ibs - short\n"
            "  File a.ibs  Errors: 1  Warnings: 1  Compile Failed\n\n"
            "WARNING a.ibs - none\n");
  EXPECT_EQ(RPT_GetIndent(), -3);
}

TEST_F(Reporter, FileNameModes) {
  RPT_SetFileNameMode(1);
  RPT_Warning("hidden");
  RPT_PrintSummary();  // the summary names the current file whatever the mode
  RPT_SetFileNameMode(2);
  RPT_SetFileName("b.ibs");  // the shown name stays as it was (empty)
  RPT_Warning("kept");
  RPT_SetFileNameMode(0);
  RPT_Warning("copied");
  EXPECT_EQ(text(),
            "WARNING  - hidden\n"
            "File a.ibs  Errors: 0  Warnings: 1  Compile Passed\n\n"
            "WARNING  - kept\n"
            "WARNING b.ibs - copied\n");
}

TEST_F(Reporter, LongNamesAndMessagesAreBounded) {
  const std::string long_name(600, 'n');
  RPT_SetFileName(long_name.c_str());
  EXPECT_EQ(RPT_GetFileName().size(), 512u);
  RPT_SetFileNameMode(1);
  RPT_Error("%s", std::string(5000, 'm').c_str());
  EXPECT_EQ(text(), "ERROR  - " + std::string(2175, 'm') + "\n");
}

}  // namespace
}  // namespace tarn
