#include "libibis/src/rng.h"

#include <gtest/gtest.h>

#include <string>

#include "libibis/src/rpt.h"
#include "test_support.h"

namespace tarn {
namespace {

constexpr auto A = ValueStatus::Absent;
constexpr auto V = ValueStatus::Value;
constexpr auto N = ValueStatus::NA;

class Ranges : public ::testing::Test {
 protected:
  void SetUp() override {
    test::read_lines("\n\n\n\n", "lines.ibs");  // diagnostics show line 4
    RPT_SetStream(out_.get());
    RPT_ResetCounts();
    RPT_SetFileName("r.ibs");
  }
  void TearDown() override { RPT_SetStream(nullptr); }
  std::string report() { return out_.text(); }

  test::MemStream out_;
};

TEST_F(Ranges, LinesOfItems) {
  struct Case {
    const char* line;
    int result;
    ValueStatus typ_status, min_status, max_status;
    double typ, min, max;
    const char* expected;
  };
  const Case cases[] = {
      {"1.0 NA NA", 1, V, N, N, 1.0, 0, 0, ""},
      {"250m 200m 300m", 1, V, V, V, 0.25, 0.2, 0.3, ""},
      {"2.5nH na Na", 1, V, N, N, 2.5e-9, 0, 0, ""},
      {"3.3 3.0", 1, V, V, A, 3.3, 3.0, 0,
       "ERROR r.ibs (line    4) - No maximum Value Was Provided for Vcc\n"},
      {"3.3", 1, V, A, A, 3.3, 0, 0,
       "ERROR r.ibs (line    4) - No minimum Value Was Provided for Vcc\n"
       "ERROR r.ibs (line    4) - No maximum Value Was Provided for Vcc\n"},
      {"", 1, A, A, A, 0, 0, 0,
       "ERROR r.ibs (line    4) - No typical Value Was Provided for Vcc\n"
       "ERROR r.ibs (line    4) - No minimum Value Was Provided for Vcc\n"
       "ERROR r.ibs (line    4) - No maximum Value Was Provided for Vcc\n"},
      {"3.3 3.0 3.6 4.0", 1, V, V, V, 3.3, 3.0, 3.6,
       "ERROR r.ibs (line    4) - Incorrect Number of Line Items (4) For Vcc: Expecting 3\n"},
      {"3.3 abc 3.6", 0, V, A, V, 3.3, 0, 3.6,
       "ERROR r.ibs (line    4) - Invalid Minimum Value (\"abc\")\n"},
      {"x y z", 0, A, A, A, 0, 0, 0,
       "ERROR r.ibs (line    4) - Invalid Typical Value (\"x\")\n"
       "ERROR r.ibs (line    4) - Invalid Minimum Value (\"y\")\n"
       "ERROR r.ibs (line    4) - Invalid Maximum Value (\"z\")\n"},
      {"3.3 3m0 3.6", 1, V, V, V, 3.3, 3e-3, 3.6,
       "WARNING r.ibs (line    4) - Suspicious Minimum Vcc Value (\"3m0\"); Numeric in Scale\n"},
      // typ must lie between min and max in either order; equal ends pass.
      {"3.3 3.6 3.0", 1, V, V, V, 3.3, 3.6, 3.0, ""},
      {"3.0 3.0 3.6", 1, V, V, V, 3.0, 3.0, 3.6, ""},
      {"3.6 3.0 3.6", 1, V, V, V, 3.6, 3.0, 3.6, ""},
      {"2.0 3.0 3.6", 1, V, V, V, 2.0, 3.0, 3.6,
       "WARNING r.ibs (line    4) - Typ value is not in between min and max \n"},
      {"4.0 3.6 3.0", 1, V, V, V, 4.0, 3.6, 3.0,
       "WARNING r.ibs (line    4) - Typ value is not in between min and max \n"},
      {"2.0 3.0 NA", 1, V, V, N, 2.0, 3.0, 0, ""},  // only three numbers are compared
  };
  for (const Case& c : cases) {
    test::MemStream out;
    RPT_SetStream(out.get());
    std::unique_ptr<Range> range;
    EXPECT_EQ(range_parse(c.line, "Vcc", &range), c.result) << c.line;
    EXPECT_EQ(out.text(), c.expected) << c.line;
    ASSERT_NE(range, nullptr) << c.line;
    EXPECT_EQ(range->typ_status, c.typ_status) << c.line;
    EXPECT_EQ(range->min_status, c.min_status) << c.line;
    EXPECT_EQ(range->max_status, c.max_status) << c.line;
    EXPECT_DOUBLE_EQ(range->typ, c.typ) << c.line;
    if (c.min_status == V) {
      EXPECT_DOUBLE_EQ(range->min, c.min) << c.line;
    }
    if (c.max_status == V) {
      EXPECT_DOUBLE_EQ(range->max, c.max) << c.line;
    }
  }
}

TEST_F(Ranges, AccessorsAndCornerSelection) {
  std::unique_ptr<Range> range;
  ASSERT_EQ(range_parse("1.0 NA 1.2", "Vcc", &range), 1);
  double v = -1;
  EXPECT_EQ(range_get_typ(range.get(), &v), 1);
  EXPECT_DOUBLE_EQ(v, 1.0);
  v = -1;
  EXPECT_EQ(range_get_min(range.get(), &v), 0);  // NA is no value
  EXPECT_DOUBLE_EQ(v, -1);
  EXPECT_EQ(range_get_max(range.get(), &v), 1);
  EXPECT_DOUBLE_EQ(v, 1.2);

  struct Case {
    int corner;
    double value;
  };
  // The minimum falls back to typ; codes other than 0 and 2 read typ.
  for (const Case& c : {Case{kCornerMin, 1.0}, Case{kCornerTyp, 1.0}, Case{kCornerMax, 1.2},
                        Case{7, 1.0}, Case{-1, 1.0}}) {
    v = -1;
    EXPECT_EQ(range_select(range.get(), c.corner, &v), 1) << c.corner;
    EXPECT_DOUBLE_EQ(v, c.value) << c.corner;
  }

  std::unique_ptr<Range> empty;
  ASSERT_EQ(range_create(&empty), 1);
  EXPECT_EQ(empty->typ_status, A);
  EXPECT_EQ(empty->min_status, A);
  EXPECT_EQ(empty->max_status, A);
  EXPECT_EQ(range_select(empty.get(), kCornerMax, &v), 0);
  EXPECT_EQ(report(), "");
}

TEST(RangesDeathTest, NullArgumentsAreInternalFaults) {
  double v = 0;
  Range range;
  EXPECT_DEATH((void)range_get_typ(nullptr, &v), "");
  EXPECT_DEATH((void)range_get_max(&range, nullptr), "");
  EXPECT_DEATH((void)range_select(nullptr, kCornerMin, &v), "");
}

}  // namespace
}  // namespace tarn
