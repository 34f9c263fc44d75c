#include "libibis/src/wvfrm.h"

#include <gtest/gtest.h>

#include <string>

#include "model_fixture.h"
#include "report_fixture.h"

namespace tarn {
namespace {

using test::at_lines;
using test::without_lines;

// A complete model whose [Rising Waveform] (line 8) is followed by `lines` from line 9 on.
test::ReadResult read_waveform(const std::string& lines) {
  return test::read_lines(
      "[Model] m\nModel_type Output\nC_comp 1p NA NA\n[Voltage Range] 3.3 NA NA\n[Ramp]\n"
      "dV/dt_r 1/1n NA NA\ndV/dt_f 1/1n NA NA\n[Rising Waveform]\n" +
      lines + "[End]\n");
}

const Waveform* first_rising(const test::ReadResult& r) {
  const IbisModel* m = test::model_at(r);
  return m && !m->rising_waveforms.empty() ? m->rising_waveforms[0].get() : nullptr;
}

std::string time_rows(int count) {
  std::string rows;
  for (int i = 0; i < count; ++i) rows += std::to_string(i) + "n 1 NA NA\n";
  return rows;
}

const std::string kFixture = "R_fixture = 50\nV_fixture = 3.3\n";

TEST(Waveform, FixtureLines) {
  using W = WaveformParam;
  const struct {
    const char* line;
    WaveformParam param;
    bool given;
    const char* expected;
  } cases[] = {
      {"C_fixture = 5p", W::CFixture, true, ""},
      {"V_fixture_min=3.0", W::VFixtureMin, true, ""},
      {"L_dut = 1n", W::LDut, true, ""},
      {"R_dut 5", W::RDut, false, "ERROR t.ibs (line   11) - Invalid R_dut line\n"},
      {"C_dut = 1p F", W::CDut, true,
       "ERROR t.ibs (line   11) - Incorrect Number of Line Items (4) For C_dut: Expecting 3\n"},
      {"V_fixture_max = high", W::VFixtureMax, false,
       "ERROR t.ibs (line   11) - Invalid V_fixture_max Value (\"high\")\n"},
      {"C_fixture = 5p1", W::CFixture, true,
       "WARNING t.ibs (line   11) -\n"
       "    Suspicious C_fixture Rising Waveform Value (\"5p1\"); Numeric in Scale\n"},
      {"R_fixture = 25", W::RFixture, true,
       "ERROR t.ibs (line   11) - Duplicate definition for R_fixture Rising Waveform\n"},
      {"Foo = 1", W::LFixture, false,
       "ERROR t.ibs (line   11) - Unknown Line Among Rising Waveform Data\n"},
  };
  for (const auto& c : cases) {
    const auto r = read_waveform(kFixture + c.line + "\n" + time_rows(2));
    EXPECT_EQ(at_lines(r.report), c.expected) << c.line;
    double value = 0;
    EXPECT_EQ(waveform_get(first_rising(r), c.param, &value), c.given ? 1 : 0) << c.line;
    if (c.param == W::RFixture) {
      EXPECT_EQ(value, 50.0);  // the first of two stays
    }
  }
}

TEST(Waveform, TimeRows) {
  test::expect_reports(
      [](const std::string& lines) { return at_lines(read_waveform(kFixture + lines).report); },
      {
          {time_rows(100), ""},
          {time_rows(103),
           "ERROR t.ibs (line  111) -\n"
           "    More than 100 data points provided for Rising Waveform table\n"},
          {"0 0 NA NA\n1n 1 NA NA\n1n 2 NA NA\n0.5n 2 NA NA\n",
           "ERROR t.ibs (line   13) - Time value did not increase\n"
           "ERROR t.ibs (line   14) - Time value did not increase\n"},
          {"0 0 NA NA\nNA 1 NA NA\n2n 2 NA NA\n",
           "ERROR t.ibs (line   12) - 'NA' not allowed for Time value\n"},
          {"0 0 NA NA\nR_dut = 1\n1n 1 NA NA\n",
           "ERROR t.ibs (line   12) - R_dut specified after beginning of timing data\n"},
          {"0 0 NA NA\nR_fixture = 1\n1n 1 NA NA\n",
           "ERROR t.ibs (line   12) - R_fixture specified after beginning of timing data\n"
           "ERROR t.ibs (line   12) - Duplicate definition for R_fixture Rising Waveform\n"},
          {"5% 0 NA NA\n0 0 NA NA\n1n 1 NA NA\n",
           "ERROR t.ibs (line   11) - Unknown Line Among Rising Waveform Data\n"},
      });
  EXPECT_EQ(first_rising(read_waveform(kFixture + time_rows(103)))->rows.size(), 103u);
  const auto late = read_waveform("0 0 NA NA\nR_dut = 7\n1n 1 NA NA\n" + kFixture);
  double value = 0;
  ASSERT_EQ(waveform_get(first_rising(late), WaveformParam::RDut, &value), 1);
  EXPECT_DOUBLE_EQ(value, 7.0);
}

TEST(Waveform, EndChecksNameTheKeywordLine) {
  test::expect_reports(
      [](const std::string& lines) { return without_lines(read_waveform(lines).report); },
      {
          {"V_fixture = 0\n" + time_rows(2),
           "ERROR t.ibs - R_fixture Not Defined For Rising Waveform Waveform Beginning on Line 8\n"},
          {time_rows(1),
           "ERROR t.ibs - R_fixture Not Defined For Rising Waveform Waveform Beginning on Line 8\n"
           "ERROR t.ibs - V_fixture Not Defined For Rising Waveform Waveform Beginning on Line 8\n"
           "ERROR t.ibs - Require at least 2 Data Points for Rising Waveform Waveform Beginning "
           "at Line 8\n"},
          {kFixture + "0 NA 1 NA\n1n 1 2 NA\n2n 2 NA 3\n",
           "ERROR t.ibs - First Typical Value Cannot Be 'NA' for Rising Waveform Waveform "
           "Beginning at Line 8\n"
           "ERROR t.ibs - First Maximum Value Cannot Be 'NA' for Rising Waveform Waveform "
           "Beginning at Line 8\n"
           "ERROR t.ibs - Last Minimum Value Cannot Be 'NA' for Rising Waveform Waveform "
           "Beginning at Line 8\n"},
      });
}

TEST(Waveform, HundredWaveformsOfAKind) {
  std::string text = "[Model] m\n";
  for (int i = 0; i < 101; ++i) text += "[Rising Waveform]\n" + kFixture + time_rows(2);
  const auto r = test::read_lines(text + "[Falling Waveform] x\n" + kFixture + time_rows(2) + "[End]\n");
  EXPECT_EQ(at_lines(r.report),
            "ERROR t.ibs (line  502) - More than 100 Rising Waveforms are defined\n"
            "ERROR t.ibs (line  507) -\n"
            "    Incorrect Number of Line Items (2) For Falling Waveform: Expecting 1\n");
  const IbisModel* m = test::model_at(r);
  ASSERT_NE(m, nullptr);
  EXPECT_EQ(m->rising_waveforms.size(), 101u);
  EXPECT_EQ(m->falling_waveforms.size(), 1u);
  EXPECT_EQ(m->rising_waveforms[100]->start_line, 502u);
}

class Pulse : public test::Reported {
 protected:
  void SetUp() override { at(3, "p.ibs"); }
};

// A pulse table ends at the level it began; only corners given at both ends are compared.
TEST_F(Pulse, TableEndsWhereItBegan) {
  std::unique_ptr<Waveform> pulse;
  ASSERT_EQ(waveform_create("[GND Pulse Table]", "GND Pulse", &pulse), 1);
  for (const char* row : {"0 0 0 NA", "1n 1 1 1", "2n 0 0.5 1"})
    waveform_line(row, pulse.get(), "GND Pulse");
  waveform_end(*pulse, "GND Pulse Table", false);
  EXPECT_EQ(report(),
            "ERROR p.ibs - First Maximum Value Cannot Be 'NA' for GND Pulse Table Waveform "
            "Beginning at Line 3\n"
            "ERROR p.ibs - First Minimum Value should be the same as the Last for GND Pulse Table "
            "Waveform Beginning at Line 3\n");
}

}  // namespace
}  // namespace tarn
