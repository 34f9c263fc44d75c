#include "libibis/src/rpt.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdio>
#include <limits>
#include <random>
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
  RptHeldList outer;
  RptHeldList inner;
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

// Findings are worded by the reporter's own conversions, which must give the C library's text
// byte for byte: random doubles of every size, exact ties of each precision, and the forms left
// to the C library (flags, NaN, infinity) in the same messages.
TEST(ReporterWording, AgreesWithTheCLibrary) {
  std::string got;
  RPT_SetStream(nullptr);
  RPT_SetCollector([&got](const RptFinding& f) { got = std::string(f.message); });
  std::mt19937_64 rng(22);
  std::uniform_real_distribution<double> volts(-12.0, 12.0);
  std::vector<double> values = {0.0, -0.0, 0.5, 1.5, 2.5, -2.5, 0.125, 0.375, 1.005, 2.675,
                                0.0005, 0.00049999999999999999, 999.9995, 1e22, 4503599627370496.5,
                                9007199254740993.0, 1e300, -1e-300, 5e-324,
                                std::numeric_limits<double>::max(),
                                std::numeric_limits<double>::infinity(),
                                -std::numeric_limits<double>::quiet_NaN()};
  for (int i = 0; i < 20000; ++i) {
    values.push_back(volts(rng));
    values.push_back(std::round(volts(rng) * 1000) / 1000 + 0.0005);  // near a tie of %.3f
    values.push_back(static_cast<double>(static_cast<int>(rng() % 2000001) - 1000000) / 8);
    const double any = std::bit_cast<double>(rng());
    if (std::isfinite(any)) values.push_back(any);
  }
  char expected[2176];
  for (double v : values) {
    RPT_Warning("(%5.2fV, %5.2fV) %5.3fV (%g%%) %g Ohms %gV %8g|%5.3e|%e|%.0f|%-9.4f|%f|%.9f",
                v, -v, v, v, v * 1000, v / 1000, v, v, v, v, v, v, v);
    std::snprintf(expected, sizeof expected,
                  "(%5.2fV, %5.2fV) %5.3fV (%g%%) %g Ohms %gV %8g|%5.3e|%e|%.0f|%-9.4f|%f|%.9f",
                  v, -v, v, v, v * 1000, v / 1000, v, v, v, v, v, v, v);
    ASSERT_EQ(got, expected) << std::hexfloat << v;
    RPT_Warning("%.12f|%.20g|%+.2f|%05.1f|%#g|%.1g", v, v, v, v, v, v);
    std::snprintf(expected, sizeof expected, "%.12f|%.20g|%+.2f|%05.1f|%#g|%.1g", v, v, v, v,
                  v, v);
    ASSERT_EQ(got, expected) << std::hexfloat << v;
  }
  for (int i = 0; i < 2000; ++i) {
    const auto n = static_cast<int>(rng());
    const auto u = static_cast<unsigned long>(rng());
    const char* name = i % 2 ? "m00101" : "";
    RPT_Warning("[%d|%3d|%-5d|%u|%x|%ld|%lu|%*lu|%-*d|%c|%-4s|%.2s|%8s|%+d|%.3d|%%]", n, n % 100,
                n % 1000, static_cast<unsigned>(n), static_cast<unsigned>(n), static_cast<long>(u),
                u, 4, u % 100000, -6, n % 10, 'A' + i % 26, name, name, name, n, n);
    std::snprintf(expected, sizeof expected,
                  "[%d|%3d|%-5d|%u|%x|%ld|%lu|%*lu|%-*d|%c|%-4s|%.2s|%8s|%+d|%.3d|%%]", n, n % 100,
                  n % 1000, static_cast<unsigned>(n), static_cast<unsigned>(n),
                  static_cast<long>(u), u, 4, u % 100000, -6, n % 10, 'A' + i % 26, name, name,
                  name, n, n);
    ASSERT_EQ(got, expected);
  }
  RPT_SetCollector({});
}

}  // namespace
}  // namespace tarn
