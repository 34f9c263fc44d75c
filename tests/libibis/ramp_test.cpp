#include "libibis/src/ramp.h"

#include <gtest/gtest.h>

#include <string>

#include "model_fixture.h"

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

TEST(Ramp, RatioEntries) {
  struct Case {
    const char* line;
    ValueStatus typ, min, max;
    const char* expected;
  };
  constexpr auto V = ValueStatus::Value;
  constexpr auto N = ValueStatus::NA;
  constexpr auto A = ValueStatus::Absent;
  const Case cases[] = {
      {"dV/dt_r 1.2/0.5n 1.0/0.6n 1.4/0.4n", V, V, V, ""},
      {"dV/dt_r 1.2/0.5n na Na", V, N, N, ""},
      {"dV/dt_r NA 1/1n 1/1n", N, V, V,
       "ERROR t.ibs (line    3) - 'NA' not allowed for dV/dt_r Typical value\n"},
      {"dV/dt_r 1/1n 1/ 1/1n", V, A, V,
       "ERROR t.ibs (line    3) - Invalid Minimum dV/dt_r Value (\"1/\")\n"},
      {"dV/dt_r 1/1n 1/1n 1", V, V, A,
       "ERROR t.ibs (line    3) - Invalid Maximum dV/dt_r Value (\"1\")\n"},
      {"dV/dt_r 1/1n/2 x/1n 1//1n", A, A, A,
       "ERROR t.ibs (line    3) - Invalid Typical dV/dt_r Value (\"1/1n/2\")\n"
       "ERROR t.ibs (line    3) - Invalid Minimum dV/dt_r Value (\"x/1n\")\n"
       "ERROR t.ibs (line    3) - Invalid Maximum dV/dt_r Value (\"1//1n\")\n"},
      {"dV/dt_r 1/1n5 1/1n 1/1n", V, V, V,
       "WARNING t.ibs (line    3) -\n"
       "    Suspicious Typical dV/dt_r Value (\"1n5\"); Numeric in Scale\n"},
      {"dV/dt_r 1/1n", V, A, A,
       "ERROR t.ibs (line    3) - No minimum Value Was Provided for dV/dt_r\n"
       "ERROR t.ibs (line    3) - No maximum Value Was Provided for dV/dt_r\n"},
      {"dV/dt_r 1/1n 1/1n 1/1n 1/1n", V, V, V,
       "ERROR t.ibs (line    3) - Incorrect Number of Line Items (4) For dV/dt_r: Expecting 3\n"},
  };
  for (const Case& c : cases) {
    const auto r = read_ramp(std::string(c.line) + "\n");
    EXPECT_EQ(at_lines(r.report), c.expected) << c.line;
    const Ramp* ramp = ramp_of(r);
    ASSERT_NE(ramp, nullptr);
    const RampRatio* ratio = nullptr;
    ASSERT_EQ(ramp_get_dvdt_r(ramp, &ratio), 1) << c.line;
    EXPECT_EQ(ratio->typ.status, c.typ) << c.line;
    EXPECT_EQ(ratio->min.status, c.min) << c.line;
    EXPECT_EQ(ratio->max.status, c.max) << c.line;
  }
}

TEST(Ramp, LoadLines) {
  struct Case {
    const char* line;
    bool given;
    const char* expected;
  };
  const Case cases[] = {
      {"R_load = 50", true, ""},
      {"R_load=50", true, ""},
      {"R_load 50", false, "ERROR t.ibs (line    3) - Invalid Ramp R_load Line\n"},
      {"R_load =", false, "ERROR t.ibs (line    3) - Invalid Ramp R_load Line\n"},
      {"R_load : 50", false, "ERROR t.ibs (line    3) - Invalid Ramp R_load Line\n"},
      {"R_load = 50 ohm", true,
       "ERROR t.ibs (line    3) - Incorrect Number of Line Items (4) For R_load: Expecting 3\n"},
      {"R_load = NA", false, "ERROR t.ibs (line    3) - Invalid R_load Value (\"NA\")\n"},
      {"R_load = 5k0", true,
       "WARNING t.ibs (line    3) - Suspicious R_load Ramp Value (\"5k0\"); Numeric in Scale\n"},
      {"R_Load = 50", false, "ERROR t.ibs (line    3) - Unknown Line Among Ramp Data\n"},
  };
  for (const Case& c : cases) {
    const auto r = read_ramp(std::string(c.line) + "\n");
    EXPECT_EQ(at_lines(r.report), c.expected) << c.line;
    double load = 0;
    EXPECT_EQ(ramp_get_r_load(ramp_of(r), &load), c.given ? 1 : 0) << c.line;
  }
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
  const Ramp* ramp = ramp_of(r);
  const RampRatio* ratio = nullptr;
  EXPECT_EQ(ramp_get_dvdt_r(ramp, &ratio), 0);
  ASSERT_EQ(ramp_get_dvdt_f(ramp, &ratio), 1);
  double v = 0;
  EXPECT_EQ(ramp_get_r_load(ramp, &v), 0);
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
  EXPECT_EQ(ramp_select(&empty, kCornerTyp, &dv, &dt), 0);
  EXPECT_EQ(ramp_get_corner(&empty, kCornerTyp, &dv, &dt), 0);
}

}  // namespace
}  // namespace tarn
