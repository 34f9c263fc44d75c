#include "libibis/src/sinfo.h"

#include <gtest/gtest.h>

#include <string>

#include "libibis/src/mdl_plus.h"
#include "model_fixture.h"

namespace tarn {
namespace {

using test::at_lines;
using test::model_at;
using test::without_lines;

// A series model that passes the model's own checks; the body starts at line 5.
test::ReadResult read_series(const char* type, const std::string& body) {
  return test::read_lines(std::string("[Model] m\nModel_type ") + type +
                          "\nC_comp 1p NA NA\n[Voltage Range] 3.3 NA NA\n" + body + "[End]\n");
}

// A MOSFET table whose current rises with the voltage.
std::string mosfet(const std::string& vds) {
  return "[Series MOSFET]\nVds = " + vds + "\n-1 -1m NA NA\n1 1m NA NA\n";
}

TEST(SeriesBlock, ChecksWhenTheModelEnds) {
  struct Case {
    const char* type;
    std::string body;
    const char* expected;
  };
  const Case cases[] = {
      {"Series", "[R Series] 1 NA NA\n", ""},
      {"Series", "[Series Current]\n-1 -1m NA NA\n1 1m NA NA\n", ""},
      {"Series", mosfet("1"), ""},
      {"Series", "[L Series] 1n NA NA\n[Rl Series] 1 NA NA\n", ""},
      {"Series", "[C Series] 1p NA NA\n[Rc Series] 1 NA NA\n[Lc Series] 1n NA NA\n", ""},
      {"Series", "[Rl Series] 1 NA NA\n",
       "ERROR t.ibs - Model m [Series]: No series data found\n"
       "ERROR t.ibs - Model m [Series]: Rl_series cannot be specified if L_series is not "
       "specified\n"},
      {"Series", "[R Series] 1 NA NA\n[Rc Series] 1 NA NA\n[Lc Series] 1n NA NA\n",
       "ERROR t.ibs - Model m [Series]: Rc_series cannot be specified if C_series is not "
       "specified\n"
       "ERROR t.ibs - Model m [Series]: Lc_series cannot be specified if C_series is not "
       "specified\n"},
      {"Series_switch", "[On]\n[Off]\n",
       "ERROR t.ibs - Model m [On]: No series data found\n"
       "ERROR t.ibs - Model m [Off]: No series data found\n"},
      {"Series_switch", "[On]\n" + mosfet("1") + "[Off]\n" + mosfet("1"),
       "ERROR t.ibs - Model m: [Series_MOSFET] is not allowed in conjunction with the [Off] "
       "keyword\n"},
      {"Series", mosfet("1") + mosfet("2") + mosfet("1.0") + mosfet("1e0"),
       "ERROR t.ibs - Model m [Series]: Found two Series_MOSFETs with identical Vds value "
       "1.000000e+00\n"},
      {"Series_switch", "[On]\n" + mosfet("2") + mosfet("1") + "[Off]\n[R Series] 1M NA NA\n", ""},
  };
  for (const Case& c : cases)
    EXPECT_EQ(without_lines(read_series(c.type, c.body).report), c.expected) << c.body;
}

TEST(SeriesBlock, KeywordLines) {
  struct Case {
    const char* type;
    const char* body;
    const char* expected;
  };
  const Case cases[] = {
      {"Series_switch", "[On] closed\n[R Series] 1 NA NA\n[Off]\n[R Series] 1M NA NA\n",
       "ERROR t.ibs (line    5) - Incorrect Number of Line Items (2) For [On]: Expecting 1\n"},
      {"Series_switch",
       "[On]\n[R Series] 1 NA NA\n[Off]\n[R Series] 1M NA NA\n[On]\n[C Series] 1p NA NA\n",
       "ERROR t.ibs (line    9) - [On] Series Info: Already Defined for this model\n"},
      {"Series", "[Series MOSFET] n\nVds = 1\n0 0 NA NA\n1 1m NA NA\n",
       "ERROR t.ibs (line    5) -\n"
       "    Incorrect Number of Line Items (2) For [Series_MOSFET]: Expecting 1\n"},
  };
  for (const Case& c : cases)
    EXPECT_EQ(at_lines(read_series(c.type, c.body).report), c.expected) << c.body;
  // The second [On] replaced the first block.
  const auto r = read_series("Series_switch", cases[1].body);
  const SeriesInfo* on = nullptr;
  ASSERT_EQ(mdl_get_on_block(model_at(r), &on), 1);
  const Range* value = nullptr;
  EXPECT_EQ(series_get_r_series(on, &value), 0);
  ASSERT_EQ(series_get_c_series(on, &value), 1);
  EXPECT_EQ(value->typ, 1e-12);
}

TEST(SeriesMosfet, VdsLineAndRows) {
  struct Case {
    const char* lines;
    const char* expected;
  };
  const Case cases[] = {
      {"Vds=1.5\n0 0 NA NA\n1 1m NA NA\n", ""},
      {"0 0 NA NA\nVds = 1\n0 0 NA NA\n1 1m NA NA\n",
       "ERROR t.ibs (line    6) - Unknown data line in Series_MOSFET\n"},
      {"Vds = 1\nVds = 2\n0 0 NA NA\n1 1m NA NA\n",
       "ERROR t.ibs (line    7) - Vds is already defined\n"},
      {"Vds 1\n0 0 NA NA\n1 1m NA NA\n", "ERROR t.ibs (line    6) - Invalid Vds Line\n"},
      {"Vds : 1\n0 0 NA NA\n1 1m NA NA\n", "ERROR t.ibs (line    6) - Invalid Vds Line\n"},
      {"Vds = 1 V\n0 0 NA NA\n1 1m NA NA\n",
       "ERROR t.ibs (line    6) - Incorrect Number of Line Items (4) For Vds: Expecting 3\n"},
      {"Vds = one\n0 0 NA NA\n1 1m NA NA\n",
       "ERROR t.ibs (line    6) - Invalid Vds Value (\"one\")\n"},
  };
  for (const Case& c : cases) {
    const auto r = read_series("Series", std::string("[Series MOSFET]\n") + c.lines);
    EXPECT_EQ(at_lines(r.report), c.expected) << c.lines;
  }
  // The table is read by the VI rules: a MOSFET must conduct more as Vds rises.
  EXPECT_EQ(without_lines(read_series("Series", "[Series MOSFET]\nVds = 1\n-1 1m NA NA\n"
                                                "1 -1m NA NA\n")
                              .report),
            "ERROR t.ibs - Model m: Series_MOSFET has Decreasing Current\n");
  const auto r = read_series("Series", "[Series MOSFET]\nVds = 1.5\n0 0 NA NA\n1 1m NA NA\n");
  const SeriesInfo* block = nullptr;
  ASSERT_EQ(mdl_get_on_block(model_at(r), &block), 1);
  ASSERT_EQ(block->series_mosfets.size(), 1u);
  EXPECT_EQ(block->series_mosfets[0]->vds, 1.5);
  EXPECT_EQ(block->series_mosfets[0]->table->rows.size(), 2u);
}

TEST(SeriesMosfet, OnlyTheTablesPastTheHundredthAreReported) {
  std::string body;
  for (int i = 0; i < 102; ++i) body += mosfet(std::to_string(i));
  const auto r = read_series("Series", body);
  // Each table takes four lines from line 5 on: the 101st keyword is at line 405.
  EXPECT_EQ(at_lines(r.report),
            "ERROR t.ibs (line  405) - More than 100 [Series_MOSFET]s are defined\n"
            "ERROR t.ibs (line  409) - More than 100 [Series_MOSFET]s are defined\n");
  const SeriesInfo* block = nullptr;
  ASSERT_EQ(mdl_get_on_block(model_at(r), &block), 1);
  EXPECT_EQ(block->series_mosfets.size(), 102u);
  EXPECT_EQ(without_lines(r.report), "");
}

}  // namespace
}  // namespace tarn
