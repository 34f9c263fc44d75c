#include "libibis/src/sinfo.h"

#include <gtest/gtest.h>

#include <string>

#include "libibis/src/mdl_plus.h"
#include "model_fixture.h"
#include "report_fixture.h"

namespace tarn {
namespace {

using test::at_lines;
using test::model_at;
using test::without_lines;

// A series model that passes the model's own checks; the body starts at line 5.
// `lines` are the type and the body.
test::ReadResult read_series(const std::string& lines) {
  const size_t eol = lines.find('\n') + 1;
  return test::read_lines("[Model] m\nModel_type " + lines.substr(0, eol) +
                          "C_comp 1p NA NA\n[Voltage Range] 3.3 NA NA\n" + lines.substr(eol) +
                          "[End]\n");
}

// A MOSFET table whose current rises with the voltage.
std::string mosfet(const std::string& vds) {
  return "[Series MOSFET]\nVds = " + vds + "\n-1 -1m NA NA\n1 1m NA NA\n";
}

TEST(SeriesBlock, ChecksWhenTheModelEnds) {
  test::expect_reports(
      [](const std::string& lines) { return without_lines(read_series(lines).report); },
      {
      {"Series\n[Series Current]\n-1 -1m NA NA\n1 1m NA NA\n", ""},
      {"Series\n[L Series] 1n NA NA\n[Rl Series] 1 NA NA\n", ""},
      {"Series\n[C Series] 1p NA NA\n[Rc Series] 1 NA NA\n[Lc Series] 1n NA NA\n", ""},
      {"Series\n[Rl Series] 1 NA NA\n",
       "ERROR t.ibs - Model m [Series]: No series data found\n"
       "ERROR t.ibs - Model m [Series]: Rl_series cannot be specified if L_series is not "
       "specified\n"},
      {"Series\n[R Series] 1 NA NA\n[Rc Series] 1 NA NA\n[Lc Series] 1n NA NA\n",
       "ERROR t.ibs - Model m [Series]: Rc_series cannot be specified if C_series is not "
       "specified\n"
       "ERROR t.ibs - Model m [Series]: Lc_series cannot be specified if C_series is not "
       "specified\n"},
      {"Series_switch\n[On]\n[Off]\n",
       "ERROR t.ibs - Model m [On]: No series data found\n"
       "ERROR t.ibs - Model m [Off]: No series data found\n"},
      {"Series_switch\n[On]\n" + mosfet("1") + "[Off]\n" + mosfet("1"),
       "ERROR t.ibs - Model m: [Series_MOSFET] is not allowed in conjunction with the [Off] "
       "keyword\n"},
      {"Series\n" + mosfet("1") + mosfet("2") + mosfet("1.0") + mosfet("1e0"),
       "ERROR t.ibs - Model m [Series]: Found two Series_MOSFETs with identical Vds value "
       "1.000000e+00\n"},
      {"Series_switch\n[On]\n" + mosfet("2") + mosfet("1") + "[Off]\n[R Series] 1M NA NA\n", ""},
      });
}

TEST(SeriesBlock, KeywordAndVdsLines) {
  const std::string rows = "0 0 NA NA\n1 1m NA NA\n";
  const std::string on_off = "[On]\n[R Series] 1 NA NA\n[Off]\n[R Series] 1M NA NA\n";
  test::expect_reports(
      [](const std::string& lines) { return at_lines(read_series(lines).report); },
      {
          {"Series_switch\n[On] closed\n[R Series] 1 NA NA\n[Off]\n[R Series] 1M NA NA\n",
           "ERROR t.ibs (line    5) - Incorrect Number of Line Items (2) For [On]: Expecting 1\n"},
          {"Series_switch\n" + on_off + "[On]\n[C Series] 1p NA NA\n",
           "ERROR t.ibs (line    9) - [On] Series Info: Already Defined for this model\n"},
          {"Series\n[Series MOSFET] n\nVds = 1\n" + rows,
           "ERROR t.ibs (line    5) -\n"
           "    Incorrect Number of Line Items (2) For [Series_MOSFET]: Expecting 1\n"},
          {"Series\n[Series MOSFET]\n0 0 NA NA\nVds = 1\n" + rows,
           "ERROR t.ibs (line    6) - Unknown data line in Series_MOSFET\n"},
          {"Series\n[Series MOSFET]\nVds = 1\nVds = 2\n" + rows,
           "ERROR t.ibs (line    7) - Vds is already defined\n"},
          {"Series\n[Series MOSFET]\nVds 1\n" + rows, "ERROR t.ibs (line    6) - Invalid Vds Line\n"},
          {"Series\n[Series MOSFET]\nVds : 1\n" + rows, "ERROR t.ibs (line    6) - Invalid Vds Line\n"},
          {"Series\n[Series MOSFET]\nVds = 1 V\n" + rows,
           "ERROR t.ibs (line    6) - Incorrect Number of Line Items (4) For Vds: Expecting 3\n"},
          {"Series\n[Series MOSFET]\nVds = one\n" + rows,
           "ERROR t.ibs (line    6) - Invalid Vds Value (\"one\")\n"},
      });
  // The second [On] replaced the first block.
  const auto r = read_series("Series_switch\n" + on_off + "[On]\n[C Series] 1p NA NA\n");
  const SeriesInfo* on = nullptr;
  ASSERT_EQ(mdl_get_on_block(model_at(r), &on), 1);
  const Range* value = nullptr;
  EXPECT_EQ(series_get_r_series(on, &value), 0);
  ASSERT_EQ(series_get_c_series(on, &value), 1);
  EXPECT_EQ(value->typ, 1e-12);
  // The table is read by the VI rules: a MOSFET must conduct more as Vds rises.
  EXPECT_EQ(without_lines(read_series("Series\n[Series MOSFET]\nVds = 1\n-1 1m NA NA\n1 -1m NA NA\n").report),
            "ERROR t.ibs - Model m: Series_MOSFET has Decreasing Current\n");
}

TEST(SeriesMosfet, OnlyTheTablesPastTheHundredthAreReported) {
  std::string body = "Series\n";
  for (int i = 0; i < 102; ++i) body += mosfet(i == 0 ? "1.5" : std::to_string(i));
  const auto r = read_series(body);
  // Each table takes four lines from line 5 on: the 101st keyword is at line 405.
  EXPECT_EQ(r.report,
            "ERROR t.ibs (line  405) - More than 100 [Series_MOSFET]s are defined\n"
            "ERROR t.ibs (line  409) - More than 100 [Series_MOSFET]s are defined\n");
  const SeriesInfo* block = nullptr;
  ASSERT_EQ(mdl_get_on_block(model_at(r), &block), 1);
  ASSERT_EQ(block->series_mosfets.size(), 102u);
  EXPECT_EQ(block->series_mosfets[0]->vds, 1.5);
  EXPECT_EQ(block->series_mosfets[0]->table->rows.size(), 2u);
}

}  // namespace
}  // namespace tarn
