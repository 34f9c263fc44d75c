#include "libibis/src/vichk.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <optional>
#include <random>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "check_fixture.h"
#include "model_fixture.h"
#include "report_fixture.h"

namespace tarn {
namespace {

TEST(OperatingPoint, WalksSegmentsFromTheFirst) {
  const struct {
    const char* what;
    std::vector<std::pair<double, double>> points;
    double r, v_term;
    std::optional<double> v;
  } cases[] = {
      {"inside a segment", {{0, 0}, {1, 0.01}}, 100, 1, 0.5},
      {"before the first point", {{1, 0}, {2, 0.01}}, 100, 0.5, 0.75},
      {"past the last point", {{0, 0}, {1, 0.01}}, 100, 3, 1.5},
      // The first segment's own crossing wins over a later one.
      {"first segment extended", {{0, 0.01}, {1, 0.005}, {2, -0.1}}, 50, 0, -2.0 / 3},
      // Just below the start of a later segment counts as on it.
      {"at a segment's start", {{0, 0}, {1, 1}, {2, -2}, {3, 5}}, 1, 2 + 1e-6, 1 - 5e-7},
      {"no resistance", {{0, 0}, {1, 0.01}}, 0, 0.3, 0.3},
      {"parallel to the load", {{0, 0}, {1, -0.01}}, 100, 1, std::nullopt},
      {"runs backwards", {{1, 0}, {0, 0.01}}, 100, 1, std::nullopt},
      {"one point", {{1, 0}}, 100, 1, std::nullopt},
  };
  for (const auto& c : cases) {
    std::vector<CurvePoint> curve;
    for (const auto& [v, i] : c.points) curve.push_back(CurvePoint{v, i});
    const auto op = VICHK_OperatingPoint(curve, c.r, c.v_term);
    ASSERT_EQ(op.has_value(), c.v.has_value()) << c.what;
    if (!op) continue;
    EXPECT_NEAR(op->v, *c.v, 1e-12) << c.what;
    const double g = c.r < 1e-32 ? 1e32 : 1 / c.r;
    EXPECT_NEAR(op->i, g * (c.v_term - op->v), 1e-9) << c.what;
  }
}

TEST(ClampCurrents, AtOneAndAHalfVoltsPastTheRail) {
  const struct {
    const char* gnd_rows;
    const char* power_rows;
    int quiet;
    const char* expected;
  } cases[] = {
      // Exactly 10 A passes, at a row or between two.
      {"-1.5 -10 -10 -10\n0 0 0 0\n", "-2 20 NA NA\n-1 0 NA NA\n", 1, ""},
      {"-1.5 -10 -10.0001 10.5\n0 0 0 0\n", "-2 22 NA NA\n-1 0 NA NA\n", 0,
       "WARNING t.ibs - Model 'm': Extreme currents present in GND_Clamp MIN VI Curve "
       "(-10.0001A @ -1.5V)\n"
       "WARNING t.ibs - Model 'm': Extreme currents present in GND_Clamp MAX VI Curve (10.5A @ "
       "-1.5V)\n"
       "WARNING t.ibs - Model 'm': Extreme currents present in POWER_Clamp TYP VI Curve (11A @ "
       "-1.5V)\n"},
      // Rows out of voltage order are read sorted; a row without the corner's own current
      // gives the typical one, and a corner the first row lacks is not probed.
      {"0 0 NA NA\n-2 -20 NA NA\n-1 -5 NA NA\n", "-1 0 NA NA\n0 0 NA NA\n", 0,
       "WARNING t.ibs - Model 'm': Extreme currents present in GND_Clamp TYP VI Curve (-12.5A @ "
       "-1.5V)\n"},
      {"-2 -20 -30 NA\n-1 -5 NA 0\n0 0 0 0\n", "-1 0 NA NA\n0 0 NA NA\n", 0,
       "WARNING t.ibs - Model 'm': Extreme currents present in GND_Clamp TYP VI Curve (-12.5A @ "
       "-1.5V)\n"
       "WARNING t.ibs - Model 'm': Extreme currents present in GND_Clamp MIN VI Curve (-17.5A @ "
       "-1.5V)\n"},
      // The end segments extend beyond the table.
      {"-1 -8 NA NA\n0 0 NA NA\n", "-1 0 NA NA\n0 0 NA NA\n", 0,
       "WARNING t.ibs - Model 'm': Extreme currents present in GND_Clamp TYP VI Curve (-12A @ "
       "-1.5V)\n"},
  };
  for (const auto& c : cases) {
    int quiet = -1;
    const std::string text = std::string("[Model] m\n[GND Clamp]\n") + c.gnd_rows +
                             "[POWER Clamp]\n" + c.power_rows + "[End]\n";
    EXPECT_EQ(
        test::check_report(
            text, [&](const IbisDocument& d) { quiet = VICHK_ClampCurrents(d.models[0].get()); }),
        c.expected)
        << c.gnd_rows;
    EXPECT_EQ(quiet, c.quiet) << c.gnd_rows;
  }
}

// A 3.3 V model driving through 50 ohms in each direction (55 at MIN with 3.0 V, 45.8 at MAX
// with 3.6 V), with `lines` after its tables.
std::string driver(const std::string& subparameters, const std::string& lines,
                   const char* type = "Output") {
  return std::string("[Model] m\nModel_type ") + type + "\n" + subparameters +
         "[Voltage Range] 3.3 3.0 3.6\n"
         "[Pulldown]\n-3.3 -66m -60m -72m\n0 0 0 0\n6.6 132m 120m 144m\n"
         "[Pullup]\n-3.3 66m 60m 72m\n0 0 0 0\n6.6 -132m -120m -144m\n" +
         lines + "[End]\n";
}

std::string model_check(const std::string& text, void (*check)(const IbisModel*)) {
  return test::check_report(text, [&](const IbisDocument& d) { check(d.models[0].get()); });
}

TEST(DriveThrough, VmeasIntoTheTimingLoad) {
  // Into 50 ohms to 0 V the pullup reaches 1.65 V, 1.43 V (MIN), 1.88 V (MAX); into 50 ohms to
  // 3.3 V the pulldown reaches 1.65 V, 1.73 V (MIN), 1.58 V (MAX).
  test::expect_reports(
      [](const std::string& load) { return model_check(driver(load, ""), VICHK_DriveThrough); },
      {
      {"Vmeas = 1.42\nRref = 50\nVref = 0\n", ""},
      {"Vmeas = 1.44\nRref = 50\nVref = 0\n",
       "WARNING t.ibs - Model 'm': MIN Pullup VI curves cannot drive through Vmeas=1.44V\n"
       "          given load Rref=50 Ohms to Vref=0V\n"},
      {"Vmeas = 1.9\nRref = 50\nVref = 0\n",
       "WARNING t.ibs - Model 'm': TYP Pullup VI curves cannot drive through Vmeas=1.9V\n"
       "          given load Rref=50 Ohms to Vref=0V\n"
       "WARNING t.ibs - Model 'm': MIN Pullup VI curves cannot drive through Vmeas=1.9V\n"
       "          given load Rref=50 Ohms to Vref=0V\n"
       "WARNING t.ibs - Model 'm': MAX Pullup VI curves cannot drive through Vmeas=1.9V\n"
       "          given load Rref=50 Ohms to Vref=0V\n"},
      {"Vmeas = 1.66\nRref = 50\nVref = 3.3\n",
       "WARNING t.ibs - Model 'm': MIN Pulldown VI curves cannot drive through Vmeas=1.66V\n"
       "          given load Rref=50 Ohms to Vref=3.3V\n"},
      {"Vmeas = 1.9\nRref = 50\n", ""},  // no load to check against
      });
}

TEST(AcEndpoints, WaveformsSettleWhereTheCurvesDo) {
  // Rising into 50 ohms to 0 V settles at 1.65 V (1.43 V at MIN), falling into 50 ohms to
  // 3.3 V at 1.65 V; the tolerance is 2 per cent of the larger endpoint.
  test::expect_reports(
      [](const std::string& waveform) { return model_check(driver("", waveform), VICHK_AcEndpoints); },
      {
      {"[Rising Waveform]\nR_fixture = 50\nV_fixture = 0\n0 0 NA NA\n1n 1.682 NA NA\n", ""},
      {"[Rising Waveform]\nR_fixture = 50\nV_fixture = 0\n0 0 NA NA\n1n 1.684 NA NA\n",
       "WARNING t.ibs - Model 'm': TYP AC Rising Endpoints ( 0.00V,  1.68V) not within \n"
       "          0.033V (2%) of ( 0.00V,  1.65V) on VI curves for 50 Ohms to 0V\n"},
      {"[Rising Waveform]\nR_fixture = 50\nV_fixture = 0\n0 0.034 NA NA\n1n 1.65 NA NA\n",
       "WARNING t.ibs - Model 'm': TYP AC Rising Endpoints ( 0.03V,  1.65V) not within \n"
       "          0.033V (2%) of ( 0.00V,  1.65V) on VI curves for 50 Ohms to 0V\n"},
      {"[Falling Waveform]\nR_fixture = 50\nV_fixture = 3.3\n0 3.3 NA NA\n1n 1.717 NA NA\n",
       "WARNING t.ibs - Model 'm': TYP AC Falling Endpoints ( 3.30V,  1.72V) not within \n"
       "          0.066V (2%) of ( 3.30V,  1.65V) on VI curves for 50 Ohms to 3.3V\n"},
      // MIN and MAX against their own fixture voltage; a corner the waveform lacks is skipped.
      {"[Rising Waveform]\nR_fixture = 50\nV_fixture = 1\nV_fixture_min = 0\n"
       "0 0.5 0 NA\n1n 2.15 1.5 NA\n",
       "WARNING t.ibs - Model 'm': MIN AC Rising Endpoints ( 0.00V,  1.50V) not within \n"
       "          0.029V (2%) of ( 0.00V,  1.43V) on VI curves for 50 Ohms to 0V\n"},
      });
}

// Both clamps terminate the pin on die, 200 ohms to each rail, so they load it in either
// state: with 50 ohm drivers the high state into 50 ohms to 0 V settles at 1.65 V (short of
// Vmeas) and the low one at 0.33 V; into 50 ohms to 3.3 V at 2.97 V and 1.65 V.
TEST(VICurves, EachStateAddsBothClamps) {
  const std::string model =
      "[Model] m\nModel_type Output\nVmeas = 1.7\nRref = 50\nVref = 0\n"
      "[Voltage Range] 3.3 NA NA\n"
      "[Pulldown]\n-3.3 -66m NA NA\n6.6 132m NA NA\n"
      "[Pullup]\n-3.3 66m NA NA\n6.6 -132m NA NA\n"
      "[GND Clamp]\n-3.3 -16.5m NA NA\n6.6 33m NA NA\n"
      "[POWER Clamp]\n-3.3 16.5m NA NA\n6.6 -33m NA NA\n";
  const struct {
    const char* lines;
    void (*check)(const IbisModel*);
    const char* expected;
  } cases[] = {
      {"[Rising Waveform]\nR_fixture = 50\nV_fixture = 0\n0 0.33 NA NA\n1n 1.65 NA NA\n",
       VICHK_AcEndpoints, ""},
      {"[Falling Waveform]\nR_fixture = 50\nV_fixture = 3.3\n0 2.97 NA NA\n1n 1.65 NA NA\n",
       VICHK_AcEndpoints, ""},
      // A waveform that ends 0.3 V from its own tables is still reported.
      {"[Rising Waveform]\nR_fixture = 50\nV_fixture = 0\n0 0.33 NA NA\n1n 1.35 NA NA\n",
       VICHK_AcEndpoints,
       "WARNING t.ibs - Model 'm': TYP AC Rising Endpoints ( 0.33V,  1.35V) not within \n"
       "          0.033V (2%) of ( 0.33V,  1.65V) on VI curves for 50 Ohms to 0V\n"},
      {"", VICHK_DriveThrough,
       "WARNING t.ibs - Model 'm': TYP Pullup VI curves cannot drive through Vmeas=1.7V\n"
       "          given load Rref=50 Ohms to Vref=0V\n"},
  };
  for (const auto& c : cases)
    EXPECT_EQ(model_check(model + c.lines + "[End]\n", c.check), c.expected) << c.lines;
}

// Typical (50 ohms), minimum (100 ohms) and maximum (25 ohms) on rows of their own: each
// corner is its own curve, so into 50 ohms to 3.3 V the pulldown settles at 1.65 V, 2.2 V
// and 1.1 V.
TEST(VICurves, SparseColumnsAreCurvesOfTheirOwn) {
  const std::string model =
      "[Model] m\nModel_type Output\n[Voltage Range] 3.3 3.3 3.3\n"
      "[Pullup]\n-3.3 66m 66m 66m\n6.6 -132m -132m -132m\n"
      "[Pulldown]\n-3.3 NA NA -132m\n-3.25 NA -32.5m NA\n-3.2 -64m NA NA\n"
      "6.5 130m NA NA\n6.55 NA 65.5m NA\n6.6 NA NA 264m\n"
      "[Falling Waveform]\nR_fixture = 50\nV_fixture = 3.3\n0 3.3 3.3 3.3\n1n ";
  EXPECT_EQ(model_check(model + "1.65 2.2 1.1\n[End]\n", VICHK_AcEndpoints), "");
  EXPECT_EQ(model_check(model + "1.9 2.2 1.1\n[End]\n", VICHK_AcEndpoints),
            "WARNING t.ibs - Model 'm': TYP AC Falling Endpoints ( 3.30V,  1.90V) not within \n"
            "          0.066V (2%) of ( 3.30V,  1.65V) on VI curves for 50 Ohms to 3.3V\n");
}

// A pullup of the wrong sense meets 50 ohms to 0 V only at -3.3 V, below both rails: no
// buffer settles there, so the curves give nothing to judge the model by.
TEST(VICurves, NoOperatingPointOutsideTheRails) {
  const std::string model =
      "[Model] m\nModel_type Output\nVmeas = 1.65\nRref = 50\nVref = 0\n"
      "[Voltage Range] 3.3 NA NA\n"
      "[Pulldown]\n-3.3 -66m NA NA\n6.6 132m NA NA\n"
      "[Pullup]\n-3.3 -33m NA NA\n6.6 66m NA NA\n"
      "[Rising Waveform]\nR_fixture = 50\nV_fixture = 0\n0 0 NA NA\n1n 1.1 NA NA\n[End]\n";
  EXPECT_EQ(model_check(model, VICHK_DriveThrough), "");
  EXPECT_EQ(model_check(model, VICHK_AcEndpoints), "");
}

// An ECL pulldown is measured down from the supply: this one pulls the pin to ground through
// 50 ohms, so into 100 ohms to 3.3 V it settles at 1.1 V.
TEST(AcEndpoints, EclPulldownHangsFromTheSupply) {
  const std::string ecl =
      "[Model] m\nModel_type Output_ECL\n[Voltage Range] 3.3 NA NA\n"
      "[Pullup]\n-3.3 66m NA NA\n0 0 NA NA\n6.6 -132m NA NA\n"
      "[Pulldown]\n-3.3 132m NA NA\n0 66m NA NA\n6.6 -66m NA NA\n"
      "[Falling Waveform]\nR_fixture = 100\nV_fixture = 3.3\n0 3.3 NA NA\n1n ";
  EXPECT_EQ(model_check(ecl + "1.1 NA NA\n[End]\n", VICHK_AcEndpoints), "");
  EXPECT_EQ(model_check(ecl + "3.3 NA NA\n[End]\n", VICHK_AcEndpoints),
            "WARNING t.ibs - Model 'm': TYP AC Falling Endpoints ( 3.30V,  3.30V) not within \n"
            "          0.066V (2%) of ( 3.30V,  1.10V) on VI curves for 100 Ohms to 3.3V\n");
}

// A sum made as the walk reads it, from below the voltages expected, must cross the load line
// exactly where the walk over the whole sum, clipped to the same span, does: bit for bit.
// Voltages on a coarse grid make the curves share and repeat points; spans reach past the
// curves' ends; later questions fall inside the expected span, or below it.
TEST(CurveSum, CrossesWhereTheWholeSumDoes) {
  std::mt19937_64 random(22);
  const auto pick = [&](int lo, int hi) {
    return std::uniform_int_distribution<int>(lo, hi)(random);
  };
  const auto voltage = [&] { return pick(-40, 40) * 0.25 + (pick(0, 3) == 0 ? 3.3 : 0.0); };
  const auto bits = [](const std::optional<OperatingPoint>& op) {
    return op ? std::pair(std::bit_cast<uint64_t>(op->v), std::bit_cast<uint64_t>(op->i))
              : std::pair(uint64_t{1}, uint64_t{1});  // a NaN's bits: no crossing
  };
  for (int round = 0; round < 5000; ++round) {
    std::vector<std::vector<CurvePoint>> curves(static_cast<size_t>(pick(1, 3)));
    for (auto& c : curves) {
      c.resize(static_cast<size_t>(pick(2, 40)));
      for (CurvePoint& e : c) e = CurvePoint{voltage(), pick(-1000, 1000) * 1e-3};
      std::ranges::sort(c, {}, &CurvePoint::v);
      // Half the curves rise, as drivers and clamps do, so that walks go far before crossing.
      if (pick(0, 1) == 1) {
        std::vector<double> currents;
        for (const CurvePoint& e : c) currents.push_back(e.i);
        std::ranges::sort(currents);
        for (size_t k = 0; k < c.size(); ++k) c[k].i = currents[k];
      }
    }
    CurveSum lazy;
    CurveSum whole;
    for (const auto& c : curves) {
      lazy.add(c, true);
      whole.add(c, true);
    }
    const std::span<const CurvePoint> all = whole.whole();
    if (round % 2 == 1) {
      const double a = voltage();
      const double b = voltage();
      lazy.expect(std::min(a, b), std::max(a, b));
    }
    for (int question = 0; question < 3; ++question) {
      double lo = voltage();
      double hi = voltage();
      if (hi < lo) std::swap(lo, hi);
      const double r = pick(0, 4) == 0 ? 0.0 : pick(1, 200) * 0.5;
      const double v_term = voltage();
      std::vector<CurvePoint> clipped{{lo, VICHK_CurrentAt(all, lo)}};
      for (const CurvePoint& e : all)
        if (lo < e.v && e.v < hi) clipped.push_back(e);
      clipped.push_back({hi, VICHK_CurrentAt(all, hi)});
      ASSERT_EQ(bits(lazy.crossing(lo, hi, r, v_term)),
                bits(VICHK_OperatingPoint(clipped, r, v_term)))
          << "round " << round << " question " << question;
    }
  }
}

}  // namespace
}  // namespace tarn
