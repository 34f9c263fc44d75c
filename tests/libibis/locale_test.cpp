// A host program that set a comma-decimal locale: the findings and the listing written are
// byte for byte what they are under the "C" locale (the compiled file has its own test).
#include <gtest/gtest.h>

#include <clocale>
#include <cstdio>
#include <filesystem>
#include <string>

#include "tarn/documentation.h"
#include "test_support.h"

namespace tarn::test {
namespace {

// Numbers everywhere, and findings that print numbers (a drive that misses Vmeas, waveform
// endpoints off the curves, a ramp time unusually large).
constexpr const char* kSource = R"([IBIS Ver] 3.2
[File Name] loc.ibs
[Component] LOC
[Manufacturer] Acme
[Package]
R_pkg 0.25 0.2 0.3
L_pkg 2.5n 2n 3n
C_pkg 0.6p 0.5p 0.7p
[Pin] signal_name model_name R_pin L_pin C_pin
1 OUT out 0.2 2.5n 0.5p
2 VCC POWER
[Model] out
Model_type Output
Vmeas = 1.5
Cref = 0
Rref = 50
Vref = 0
C_comp 2.5p 1.5p NA
[Voltage Range] 3.3 3.0 3.6
[Pulldown]
-1 -0.01 -0.008 -0.012
0 0 0 0
3.3 0.02 0.015 0.024
[Pullup]
-1 0.01 NA NA
0 0 NA NA
3.3 -0.02 NA NA
[Ramp]
dV/dt_r 1.5/2m 0.8/1.2n 1.6/0.8n
dV/dt_f 1.5/1n 1.0/1n NA
R_load = 50
[Rising Waveform]
R_fixture = 50
V_fixture = 0
0 0 0 0
2n 1.65 1.3 2.0
[End]
)";

struct Outputs {
  std::string report;
  std::string listing;
};

Outputs run_all(const TempDir& dir, const std::string& tag) {
  Outputs o;
  const std::string source = (dir.path() / "loc.ibs").string();
  const std::string listing = (dir.path() / (tag + ".txt")).string();
  MemStream report;
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(IBIS_DocumentSourceToStream(source.c_str(), "LOC", listing.c_str(), report.get()), 1);
  ::testing::internal::GetCapturedStdout();
  o.report = report.text();
  o.listing = file_text(listing);
  return o;
}

TEST(Locale, CommaDecimalHostChangesNothing) {
  TempDir dir;
  dir.write("loc.ibs", kSource);
  const Outputs in_c = run_all(dir, "c");
  ASSERT_NE(in_c.report.find("Ramptime 2.000e+06nsec"), std::string::npos) << in_c.report;
  ASSERT_NE(in_c.listing.find("2.5n "), std::string::npos) << in_c.listing;

  const std::string previous = std::setlocale(LC_ALL, nullptr);
  if (!std::setlocale(LC_ALL, "de_DE.UTF-8")) GTEST_SKIP() << "de_DE.UTF-8 is not installed";
  char probe[16];
  std::snprintf(probe, sizeof probe, "%.1f", 0.5);
  const Outputs in_de = run_all(dir, "de");
  std::setlocale(LC_ALL, previous.c_str());

  ASSERT_STREQ(probe, "0,5") << "the locale did not take effect";
  EXPECT_EQ(in_de.report, in_c.report);
  EXPECT_EQ(in_de.listing, in_c.listing);
}

}  // namespace
}  // namespace tarn::test
