#include "libibis/src/crv.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "libibis/src/rpt.h"
#include "report_table.h"
#include "test_support.h"

namespace tarn {
namespace {

// Tables read through the module's own calls; diagnostics show line 4, the keyword's line.
class ViTables : public ::testing::Test {
 protected:
  void SetUp() override {
    test::read_lines("\n\n\n\n", "lines.ibs");
    RPT_SetStream(out_.get());
    RPT_ResetCounts();
    RPT_SetFileName("v.ibs");
  }
  void TearDown() override { RPT_SetStream(nullptr); }

  // Opens a table under `keyword_line` and reads `rows`, one a line; what that reported.
  std::string read(const char* label, const std::string& rows,
                   const char* keyword_line = "[Pullup]") {
    const size_t before = out_.text().size();
    table_.reset();
    EXPECT_EQ(vi_open(keyword_line, label, &table_), 1);
    std::istringstream in(rows);
    for (std::string row; std::getline(in, row);) vi_row(row, table_.get(), label);
    return out_.text().substr(before);
  }
  std::string end(ModelType type, Kw keyword, const char* label, const char* owner = "Model") {
    const size_t before = out_.text().size();
    vi_end(owner, "m", type, keyword, table_.get(), label);
    return out_.text().substr(before);
  }

  test::MemStream out_;
  std::unique_ptr<ViTable> table_;
};

std::string ramp_rows(int count) {
  std::string rows;
  for (int i = 0; i < count; ++i) rows += std::to_string(i) + " " + std::to_string(i) + "m NA NA\n";
  return rows;
}

TEST_F(ViTables, HundredPointsAndNoMore) {
  EXPECT_EQ(read("Pullup", ramp_rows(100)), "");
  EXPECT_EQ(table_->rows.size(), 100u);
  // The 101st row is reported once; it and the later ones are kept.
  EXPECT_EQ(read("Pullup", ramp_rows(105)),
            "ERROR v.ibs (line    4) - More Than 100 Voltage Points Provided For Pullup\n");
  EXPECT_EQ(table_->rows.size(), 105u);
}

TEST_F(ViTables, SecondTableReplacesTheFirst) {
  read("GND Clamp", "-1 -1m NA NA\n0 0 NA NA\n1 0 NA NA\n", "[GND Clamp]");
  const size_t before = out_.text().size();
  EXPECT_EQ(vi_open("[GND Clamp]   extra items", "GND Clamp", &table_), 1);
  vi_row("0 0 NA NA", table_.get(), "GND Clamp");
  EXPECT_EQ(out_.text().substr(before),
            "ERROR v.ibs (line    4) - GND Clamp Already Defined\n"
            "ERROR v.ibs (line    4) -\n"
            "    Incorrect Number of Line Items (3) For GND Clamp: Expecting 1\n");
  EXPECT_EQ(table_->rows.size(), 1u);
}

TEST_F(ViTables, RowProblemsAreReportedAndTheRowKept) {
  // The row's own items are judged as every range row's are.
  EXPECT_EQ(read("Pulldown", "NA 1m NA NA\n1\n"),
            "ERROR v.ibs (line    4) - Voltage Value Cannot Be 'NA'\n"
            "ERROR v.ibs (line    4) - No typical Value Was Provided for Voltage\n"
            "ERROR v.ibs (line    4) - No minimum Value Was Provided for Voltage\n"
            "ERROR v.ibs (line    4) - No maximum Value Was Provided for Voltage\n");
  EXPECT_EQ(table_->rows.size(), 2u);
}

TEST_F(ViTables, EachColumnIsReportedOnceWhenItTurnsBack) {
  test::expect_reports([&](const std::string& rows) { return read("Pullup", rows); }, {
      {"-1 1 NA NA\n0 1 NA NA\n0 1 NA NA\n1 1 NA NA\n", ""},  // equal steps are fine
      {"-1 3 NA NA\n1 2 NA NA\n0 1 NA NA\n2 0 NA NA\n-3 -1 NA NA\n",
       "WARNING v.ibs (line    4) - Pullup Voltage data is non-monotonic\n"},
      {"0 1 0 0\n1 2 NA 1\n2 1 1 0\n3 3 0 2\n",
       "WARNING v.ibs (line    4) - Pullup Typical data is non-monotonic\n"
       "WARNING v.ibs (line    4) - Pullup Maximum data is non-monotonic\n"
       "WARNING v.ibs (line    4) - Pullup Minimum data is non-monotonic\n"},
  });
}

TEST_F(ViTables, EndNeedsTwoPointsAndNumbersAtBothEnds) {
  const auto ended = [&](const std::string& rows) {
    read("Pullup", rows);
    return end(ModelType::NotGiven, Kw::PULLUP, "Pullup");
  };
  test::expect_reports(ended, {
      {"", "ERROR v.ibs - Require at least 2 Voltage Points for Pullup Beginning at Line 4\n"},
      {"0 1m NA NA\n",
       "ERROR v.ibs - Require at least 2 Voltage Points for Pullup Beginning at Line 4\n"},
      {"0 1m NA NA\n1 NA NA NA\n",
       "ERROR v.ibs - Typical Last Value Cannot Be 'NA' for Pullup Beginning at Line 4\n"},
      // A column that no row gives may be NA throughout.
      {"0 NA NA NA\n1 1m NA 2m\n2 2m NA NA\n",
       "ERROR v.ibs - Typical First Value Cannot Be 'NA' for Pullup Beginning at Line 4\n"
       "ERROR v.ibs - Maximum First Value Cannot Be 'NA' for Pullup Beginning at Line 4\n"
       "ERROR v.ibs - Maximum Last Value Cannot Be 'NA' for Pullup Beginning at Line 4\n"},
      {"0 0 NA 1\n1 1 1 NA\n",
       "ERROR v.ibs - Minimum First Value Cannot Be 'NA' for Pullup Beginning at Line 4\n"
       "ERROR v.ibs - Maximum Last Value Cannot Be 'NA' for Pullup Beginning at Line 4\n"},
  });
}

// Currents through 0 V: the sense each model type and keyword expects.
TEST_F(ViTables, CurrentDirectionByModelTypeAndKeyword) {
  const std::string rising = "-1 -1m NA NA\n1 1m NA NA\n";
  const std::string falling = "-1 1m NA NA\n1 -1m NA NA\n";
  const std::string increasing = "WARNING v.ibs - Model m: T has Increasing Current\n";
  const std::string decreasing = "WARNING v.ibs - Model m: T has Decreasing Current\n";
  struct Case {
    ModelType type;
    Kw keyword;
    bool rises;
    std::string expected;
  };
  const Case cases[] = {
      {ModelType::Output, Kw::PULLUP, true, increasing},
      {ModelType::Output, Kw::PULLUP, false, ""},
      {ModelType::Output, Kw::POWER_CLAMP, true, increasing},
      {ModelType::IO, Kw::PULLDOWN, false, decreasing},
      {ModelType::IO, Kw::PULLDOWN, true, ""},
      {ModelType::Input, Kw::GND_CLAMP, false, decreasing},
      {ModelType::OutputECL, Kw::PULLUP, true, increasing},
      {ModelType::OutputECL, Kw::PULLDOWN, true, increasing},  // ECL pulls down falling
      {ModelType::IOECL, Kw::PULLDOWN, false, ""},
      {ModelType::ThreeStateECL, Kw::GND_CLAMP, false, decreasing},
      {ModelType::InputECL, Kw::POWER_CLAMP, true, increasing},
      {ModelType::Series, Kw::SERIES_CURRENT, true, ""},
      {ModelType::SeriesSwitch, Kw::SERIES_CURRENT, false, ""},
      {ModelType::Series, Kw::SERIES_MOSFET, false,
       "ERROR v.ibs - Model m: T has Decreasing Current\n"},
      {ModelType::SeriesSwitch, Kw::SERIES_MOSFET, true, ""},
      {ModelType::SeriesSwitch, Kw::PULLDOWN, false, decreasing},
      {ModelType::Series, Kw::PULLUP, true, increasing},
      {ModelType::Output, Kw::SUB_PULLUP, true, increasing},
      {ModelType::NotGiven, Kw::PULLUP, true, ""},
      {ModelType::NoType, Kw::PULLDOWN, false, ""},
  };
  for (const Case& c : cases) {
    read("T", c.rises ? rising : falling);
    EXPECT_EQ(end(c.type, c.keyword, "T"), c.expected)
        << static_cast<int>(c.type) << " " << kw_int(c.keyword) << " " << c.rises;
  }
}

TEST_F(ViTables, DirectionComparesTheRowsNearestZero) {
  const auto ended = [&](const std::string& rows) {
    read("Pullup", rows);
    return end(ModelType::Output, Kw::PULLUP, "Pullup", "Submodel");
  };
  test::expect_reports(ended, {
      // The ends rise, the rows next to 0 V fall, as a pullup should.
      {"-2 0 NA NA\n-0.5 2m NA NA\n0.5 1m NA NA\n2 10m NA NA\n", ""},
      // 0 V counts as the upper side.
      {"-1 0 NA NA\n0 1m NA NA\n1 0 NA NA\n",
       "WARNING v.ibs - Submodel m: Pullup has Increasing Current\n"},
      {"0 0 NA NA\n1 1m NA NA\n", ""},  // nothing under 0 V
      {"-1 NA NA NA\n1 1m NA NA\n2 2m NA NA\n",
       "ERROR v.ibs - Typical First Value Cannot "
       "Be 'NA' for Pullup Beginning at Line 4\n"},
  });
}

class IPwl : public ViTables {};

TEST_F(IPwl, CornersModesAndFallback) {
  read("Pulldown", "-1 -2m NA -3m\n0 0 0 NA\n1 2m 1m 3m\n");
  EXPECT_EQ(ipwl_build(table_.get(), kCornerMin, kIPwlAdd, 0.0), nullptr);  // first row lacks it

  auto typ = ipwl_build(table_.get(), kCornerTyp, kIPwlAdd, 0.5);
  ASSERT_NE(typ, nullptr);
  ASSERT_EQ(typ->entries.size(), 3u);
  EXPECT_EQ(typ->extrapolation, 1);
  EXPECT_DOUBLE_EQ(typ->entries[0].v, -0.5);
  EXPECT_DOUBLE_EQ(typ->entries[2].v, 1.5);
  EXPECT_DOUBLE_EQ(typ->entries[0].didv, 2e-3);
  EXPECT_DOUBLE_EQ(typ->entries[2].didv, 2e-3);  // the last point keeps the last slope
  EXPECT_DOUBLE_EQ(typ->entries[1].r_thev, 500.0);
  EXPECT_DOUBLE_EQ(typ->entries[1].v_thev, 0.5);  // the line through (0.5 V, 0 A)

  // Referenced to a rail: the voltages are rail minus table, in rising order again; the
  // middle row has no maximum, so its typical current stands in.
  auto max = ipwl_build(table_.get(), kCornerMax, kIPwlFromReference, 3.3);
  ASSERT_NE(max, nullptr);
  ASSERT_EQ(max->entries.size(), 3u);
  EXPECT_DOUBLE_EQ(max->entries[0].v, 2.3);
  EXPECT_DOUBLE_EQ(max->entries[0].i, 3e-3);
  EXPECT_DOUBLE_EQ(max->entries[1].i, 0.0);
  EXPECT_DOUBLE_EQ(max->entries[2].v, 4.3);
  EXPECT_DOUBLE_EQ(max->entries[2].i, -3e-3);

  std::unique_ptr<ViTable> empty;
  ASSERT_EQ(vi_open("[Pullup]", "Pullup", &empty), 1);
  EXPECT_EQ(ipwl_build(empty.get(), kCornerTyp, kIPwlAdd, 0.0), nullptr);
  EXPECT_EQ(ipwl_build(nullptr, kCornerTyp, kIPwlAdd, 0.0), nullptr);
}

TEST_F(IPwl, RowsOutOfOrderAreSortedKeepingEqualVoltagesInFileOrder) {
  read("Pullup", "1 1 NA NA\n0 2 NA NA\n0 3 NA NA\n-1 4 NA NA\n");
  auto t = ipwl_build(table_.get(), kCornerTyp, kIPwlAdd, 0.0);
  ASSERT_NE(t, nullptr);
  std::string points;
  for (const IPwlEntry& e : t->entries)
    points += std::to_string(int(e.v)) + ":" + std::to_string(int(e.i)) + " ";
  EXPECT_EQ(points, "-1:4 0:2 0:3 1:1 ");
}

TEST_F(IPwl, FlatAndSteepSegmentsStayFinite) {
  read("GND Clamp", "0 0 NA NA\n0 1 NA NA\n1 1 NA NA\n");
  auto t = ipwl_build(table_.get(), kCornerTyp, kIPwlAdd, 0.0);
  ASSERT_NE(t, nullptr);
  EXPECT_DOUBLE_EQ(t->entries[0].didv, 1e32);  // no voltage step
  EXPECT_DOUBLE_EQ(t->entries[1].didv, 0.0);   // no current step
  EXPECT_DOUBLE_EQ(t->entries[1].r_thev, 1e32);
}

TEST_F(IPwl, Listing) {
  read("Pullup", "0 0 NA NA\n1 2 NA NA\n");
  auto t = ipwl_build(table_.get(), kCornerTyp, kIPwlAdd, 0.0);
  ASSERT_NE(t, nullptr);
  test::MemStream listing;
  ipwl_print(listing.get(), *t);
  EXPECT_EQ(listing.text(),
            "      I_PWL table with 2 entries.    (Extrapolation enabled)\n"
            "         V         I         di/dv     V_thev    R_thev\n"
            "               0         0         2         0       0.5\n"
            "               1         2         2         0       0.5\n");
  IPwlTable single;
  single.entries.push_back(IPwlEntry{1.5, -0.25, 0, 0, 1e32});
  test::MemStream one;
  ipwl_print(one.get(), single);
  EXPECT_EQ(one.text(),
            "      I_PWL table with 1 entries.    (Extrapolation disabled)\n"
            "         V         I         di/dv     V_thev    R_thev\n"
            "             1.5     -0.25         0         0     1e+32\n");
}

}  // namespace
}  // namespace tarn
