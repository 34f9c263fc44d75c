#include "libibis/src/ramp.h"

#include <gtest/gtest.h>

#include <string>

#include "model_fixture.h"
#include "report_fixture.h"

namespace tarn {
namespace {

using test::at_lines;

// A model whose [Ramp] (line 2) is followed by `lines` from line 3 on.
test::ReadResult read_ramp(const std::string& lines) {
  return test::read_lines("[Model] m\n[Ramp]\n" + lines + "[End]\n");
}

const Ramp* ramp_of(const test::ReadResult& r) {
  const IbisModel* m = test::model_at(r);
  return m ? m->ramp.get() : nullptr;
}

// The statuses of a ratio's corners: V for a value, N for NA, - when absent.
std::string statuses(const RampRatio& ratio) {
  std::string text;
  for (const RampEntry* e : {&ratio.typ, &ratio.min, &ratio.max})
    text += e->status == ValueStatus::Value ? 'V' : e->status == ValueStatus::NA ? 'N' : '-';
  return text;
}

TEST(Ramp, RatioEntries) {
  const struct {
    const char* line;
    const char* statuses;  // typ min max
    const char* expected;
  } cases[] = {
      {"dV/dt_r 1.2/0.5n 1.0/0.6n 1.4/0.4n", "VVV", ""},
      {"dV/dt_r 1.2/0.5n na Na", "VNN", ""},
      {"dV/dt_r NA 1/1n 1/1n", "NVV",
       "ERROR t.ibs (line    3) - 'NA' not allowed for dV/dt_r Typical value\n"},
      {"dV/dt_r 1/1n/2 x/1n 1//1n", "---",
       "ERROR t.ibs (line    3) - Invalid Typical dV/dt_r Value (\"1/1n/2\")\n"
       "ERROR t.ibs (line    3) - Invalid Minimum dV/dt_r Value (\"x/1n\")\n"
       "ERROR t.ibs (line    3) - Invalid Maximum dV/dt_r Value (\"1//1n\")\n"},
      {"dV/dt_r 1/1n 1/ 1", "V--",
       "ERROR t.ibs (line    3) - Invalid Minimum dV/dt_r Value (\"1/\")\n"
       "ERROR t.ibs (line    3) - Invalid Maximum dV/dt_r Value (\"1\")\n"},
      {"dV/dt_r 1/1n5 1/1n 1/1n", "VVV",
       "WARNING t.ibs (line    3) -\n"
       "    Suspicious Typical dV/dt_r Value (\"1n5\"); Numeric in Scale\n"},
      {"dV/dt_r 1/1n", "V--",
       "ERROR t.ibs (line    3) - No minimum Value Was Provided for dV/dt_r\n"
       "ERROR t.ibs (line    3) - No maximum Value Was Provided for dV/dt_r\n"},
      {"dV/dt_r 1/1n 1/1n 1/1n 1/1n", "VVV",
       "ERROR t.ibs (line    3) - Incorrect Number of Line Items (4) For dV/dt_r: Expecting 3\n"},
  };
  for (const auto& c : cases) {
    const auto r = read_ramp(std::string(c.line) + "\n");
    EXPECT_EQ(at_lines(r.report), c.expected) << c.line;
    const RampRatio* ratio = nullptr;
    ASSERT_EQ(ramp_get_dvdt_r(ramp_of(r), &ratio), 1) << c.line;
    EXPECT_EQ(statuses(*ratio), c.statuses) << c.line;
  }
}

TEST(Ramp, LoadLines) {
  test::expect_reports(
      [](const std::string& line) { return at_lines(read_ramp(line + "\n").report); },
      {
          {"R_load=50", ""},
          {"R_load 50", "ERROR t.ibs (line    3) - Invalid Ramp R_load Line\n"},
          {"R_load = 50 ohm",
           "ERROR t.ibs (line    3) - Incorrect Number of Line Items (4) For R_load: Expecting 3\n"},
          {"R_load = NA", "ERROR t.ibs (line    3) - Invalid R_load Value (\"NA\")\n"},
          {"R_load = 5k0",
           "WARNING t.ibs (line    3) - Suspicious R_load Ramp Value (\"5k0\"); Numeric in Scale\n"},
          {"R_Load = 50", "ERROR t.ibs (line    3) - Unknown Line Among Ramp Data\n"},
      });
  // A line with a value keeps it, whatever else is wrong with it.
  double load = 0;
  EXPECT_EQ(ramp_get_r_load(ramp_of(read_ramp("R_load = 50 ohm\n")), &load), 1);
  EXPECT_EQ(load, 50);
  EXPECT_EQ(ramp_get_r_load(ramp_of(read_ramp("R_load = NA\n")), &load), 0);
}

TEST(Ramp, SecondDefinitions) {
  const auto r = read_ramp(
      "dV/dt_r 1/1n NA NA\ndV/dt_r 2/1n NA NA\nR_load = 50\nR_load = 25\n"
      "[Ramp] extra\ndV/dt_f 1/2n NA NA\n");
  EXPECT_EQ(at_lines(r.report),
            "ERROR t.ibs (line    4) - dV/dt_r Already Defined For Model 'm'\n"
            "ERROR t.ibs (line    6) - R_load Already Defined For Model 'm'\n"
            "ERROR t.ibs (line    7) - Ramp Already Defined\n"
            "ERROR t.ibs (line    7) - Incorrect Number of Line Items (2) For Ramp: Expecting 1\n");
  // The second [Ramp] replaced the first.
  const RampRatio* ratio = nullptr;
  double v = 0;
  EXPECT_EQ(ramp_get_dvdt_r(ramp_of(r), &ratio) + ramp_get_r_load(ramp_of(r), &v), 0);
  EXPECT_EQ(ramp_get_dvdt_f(ramp_of(r), &ratio), 1);
}

TEST(Ramp, CornerSelectionFallsBackToTypical) {
  const auto r = read_ramp("dV/dt_r 1.2/0.5n NA 1.4/0.4n\n");
  const RampRatio* ratio = nullptr;
  ASSERT_EQ(ramp_get_dvdt_r(ramp_of(r), &ratio), 1);
  double dv = 0, dt = 0;
  ASSERT_EQ(ramp_select(ratio, kCornerMin, &dv, &dt), 1);
  EXPECT_DOUBLE_EQ(dv, 1.2);
  EXPECT_DOUBLE_EQ(dt, 0.5e-9);
  ASSERT_EQ(ramp_select(ratio, kCornerMax, &dv, &dt), 1);
  EXPECT_DOUBLE_EQ(dv, 1.4);
  EXPECT_DOUBLE_EQ(dt, 0.4e-9);
  // A corner's own entry, for listings that show NA where the file gives none.
  EXPECT_EQ(ramp_get_corner(ratio, kCornerMin, &dv, &dt), 0);
  ASSERT_EQ(ramp_get_corner(ratio, kCornerMax, &dv, &dt), 1);
  EXPECT_DOUBLE_EQ(dv, 1.4);
  RampRatio empty;
  EXPECT_EQ(ramp_select(&empty, kCornerTyp, &dv, &dt) + ramp_get_corner(&empty, kCornerTyp, &dv, &dt), 0);
}

}  // namespace
}  // namespace tarn
