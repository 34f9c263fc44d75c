#include "libibis/src/rng.h"

#include <gtest/gtest.h>

#include <string>

#include "report_fixture.h"

namespace tarn {
namespace {

using test::shown;

class Ranges : public test::Reported {
 protected:
  void SetUp() override { at(4, "r.ibs"); }
};

TEST_F(Ranges, LinesOfItems) {
  const struct {
    const char* line;
    int result;
    const char* values;  // typ min max
    const char* expected;
  } cases[] = {
      {"1.0 NA NA", 1, "1 NA NA", ""},
      {"250m 200m 300m", 1, "0.25 0.2 0.3", ""},
      {"2.5nH na Na", 1, "2.5e-09 NA NA", ""},
      {"3.3 3.0", 1, "3.3 3 -", "ERROR r.ibs (line    4) - No maximum Value Was Provided for Vcc\n"},
      {"", 1, "- - -",
       "ERROR r.ibs (line    4) - No typical Value Was Provided for Vcc\n"
       "ERROR r.ibs (line    4) - No minimum Value Was Provided for Vcc\n"
       "ERROR r.ibs (line    4) - No maximum Value Was Provided for Vcc\n"},
      {"3.3 3.0 3.6 4.0", 1, "3.3 3 3.6",
       "ERROR r.ibs (line    4) - Incorrect Number of Line Items (4) For Vcc: Expecting 3\n"},
      {"x y z", 0, "- - -",
       "ERROR r.ibs (line    4) - Invalid Typical Value (\"x\")\n"
       "ERROR r.ibs (line    4) - Invalid Minimum Value (\"y\")\n"
       "ERROR r.ibs (line    4) - Invalid Maximum Value (\"z\")\n"},
      {"3.3 3m0 3.6", 1, "3.3 0.003 3.6",
       "WARNING r.ibs (line    4) - Suspicious Minimum Vcc Value (\"3m0\"); Numeric in Scale\n"},
      // typ must lie between min and max in either order; equal ends pass.
      {"3.3 3.6 3.0", 1, "3.3 3.6 3", ""},
      {"3.0 3.0 3.6", 1, "3 3 3.6", ""},
      {"3.6 3.0 3.6", 1, "3.6 3 3.6", ""},
      {"2.0 3.0 3.6", 1, "2 3 3.6", "WARNING r.ibs (line    4) - Typ value is not in between min and max \n"},
      {"4.0 3.6 3.0", 1, "4 3.6 3", "WARNING r.ibs (line    4) - Typ value is not in between min and max \n"},
      {"2.0 3.0 NA", 1, "2 3 NA", ""},  // only three numbers are compared
  };
  for (const auto& c : cases) {
    std::unique_ptr<Range> range;
    EXPECT_EQ(range_parse(c.line, "Vcc", &range), c.result) << c.line;
    EXPECT_EQ(report(), c.expected) << c.line;
    ASSERT_NE(range, nullptr) << c.line;
    EXPECT_EQ(shown(*range), c.values) << c.line;
  }
}

TEST_F(Ranges, AccessorsAndCornerSelection) {
  std::unique_ptr<Range> range;
  ASSERT_EQ(range_parse("1.0 NA 1.2", "Vcc", &range), 1);
  double typ = -1, min = -1, max = -1;
  EXPECT_EQ(range_get_typ(range.get(), &typ) + range_get_max(range.get(), &max), 2);
  EXPECT_EQ(range_get_min(range.get(), &min), 0);  // NA is no value
  EXPECT_EQ(std::to_string(typ) + " " + std::to_string(min) + " " + std::to_string(max),
            "1.000000 -1.000000 1.200000");
  // The minimum falls back to typ; codes other than 0 and 2 read typ.
  std::string selected;
  for (int corner : {int(kCornerMin), int(kCornerTyp), int(kCornerMax), 7, -1}) {
    double v = -1;
    EXPECT_EQ(range_select(range.get(), corner, &v), 1) << corner;
    selected += std::to_string(v).substr(0, 3) + " ";
  }
  EXPECT_EQ(selected, "1.0 1.0 1.2 1.0 1.0 ");
  std::unique_ptr<Range> empty;
  ASSERT_EQ(range_create(&empty), 1);
  EXPECT_EQ(shown(*empty), "- - -");
  EXPECT_EQ(range_select(empty.get(), kCornerMax, &typ), 0);
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
