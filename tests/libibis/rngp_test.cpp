#include "libibis/src/rngp.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "report_fixture.h"

namespace tarn {
namespace {

using test::shown;

class Rows : public test::Reported {
 protected:
  void SetUp() override { at(2, "w.ibs"); }
};

// A row as read: "x typ min max".
std::string shown_row(const RangeRow& row) { return shown(row.x_status, row.x) + " " + shown(row); }

TEST_F(Rows, TableLines) {
  const struct {
    const char* line;
    int result;
    const char* values;
    const char* expected;
  } cases[] = {
      {"-3.3 -92.89mA -75.02mA -112.5mA", 1, "-3.3 -0.09289 -0.07502 -0.1125", ""},
      {"0 1mA NA NA", 1, "0 0.001 NA NA", ""},
      {"1.5 2m 1m 3m 4m", 1, "1.5 0.002 0.001 0.003",
       "ERROR w.ibs (line    2) - Incorrect Number of Line Items (5) For Voltage: Expecting 4\n"},
      {"1.5 2m", 1, "1.5 0.002 - -",
       "ERROR w.ibs (line    2) - No minimum Value Was Provided for Voltage\n"
       "ERROR w.ibs (line    2) - No maximum Value Was Provided for Voltage\n"},
      {"v 2m q 3m", 0, "- 0.002 - 0.003",
       "ERROR w.ibs (line    2) - Invalid Voltage Value (\"v\")\n"
       "ERROR w.ibs (line    2) - Invalid Minimum Value (\"q\")\n"},
      {"1n5 2m 1m 3m", 1, "1e-09 0.002 0.001 0.003",
       "WARNING w.ibs (line    2) -\n"
       "    Suspicious Voltage Voltage Value (\"1n5\"); Numeric in Scale\n"},
      {"1 5 1 3", 1, "1 5 1 3", ""},  // rows are not checked for typ between min and max
  };
  for (const auto& c : cases) {
    std::unique_ptr<RangeRow> row;
    EXPECT_EQ(row_parse(c.line, "Voltage", &row), c.result) << c.line;
    EXPECT_EQ(report(), c.expected) << c.line;
    ASSERT_NE(row, nullptr) << c.line;
    EXPECT_EQ(shown_row(*row), c.values) << c.line;
  }
}

TEST_F(Rows, CreatedRowsAndTheirAccessors) {
  std::unique_ptr<RangeRow> row;
  ASSERT_EQ(row_create(&row, 0.5, 1.0, 0.8, 1.2, true, false), 1);
  EXPECT_EQ(shown_row(*row), "0.5 1 NA 1.2");  // no min: NA with 0.0
  EXPECT_EQ(row->min, 0.0);
  double x = -1, typ = -1, min = -1, max = -1;
  EXPECT_EQ(row_get_x(row.get(), &x) + row_get_typ(row.get(), &typ) + row_get_max(row.get(), &max),
            3);
  EXPECT_EQ(row_get_min(row.get(), &min), 0);
  EXPECT_EQ(std::vector<double>({x, typ, min, max}), std::vector<double>({0.5, 1.0, -1, 1.2}));
  std::string valid;
  for (int corner : {int(kCornerMin), int(kCornerTyp), int(kCornerMax), 3})
    valid += std::to_string(row_corner_valid(row.get(), corner));
  EXPECT_EQ(valid, "0110");
  ASSERT_EQ(row_create(&row, 0, 1, 0.8, 1.2, false, true), 1);
  EXPECT_EQ(shown_row(*row), "0 1 0.8 NA");
  ASSERT_EQ(row_create_empty(&row), 1);
  EXPECT_EQ(row_corner_valid(row.get(), kCornerMin) + row_corner_valid(row.get(), kCornerTyp) +
                row_corner_valid(row.get(), kCornerMax) + row_get_x(row.get(), &x),
            0);
  EXPECT_EQ(report(), "");
}

TEST_F(Rows, LongListsStayLinkedWhileTheyGrow) {
  RowList list;
  EXPECT_EQ(list.head(), nullptr);
  for (int i = 0; i < 3000; ++i) {
    std::unique_ptr<RangeRow> row;
    ASSERT_EQ(row_create(&row, i, 0, 0, 0, true, true), 1);
    row->last = false;  // a copied row's own neighbours never carry over
    size_t count = 0;
    ASSERT_EQ(row_append(&list, std::move(row), &count), 1);
    ASSERT_EQ(count, static_cast<size_t>(i + 1));
  }
  list.shrink_to_fit();
  size_t i = 0;
  const RangeRow* before = nullptr;
  for (const RangeRow* r = list.head(); r; r = r->next(), ++i) {
    EXPECT_EQ(r->x, static_cast<double>(i));
    EXPECT_EQ(r->prev(), before);
    before = r;
  }
  EXPECT_EQ(i, 3000u);
  EXPECT_EQ(before, list.tail());
  const RangeRow* prev = nullptr;
  ASSERT_EQ(row_prev(list.tail(), &prev), 1);
  EXPECT_EQ(prev->x, 2998.0);
  EXPECT_EQ(row_prev(list.head(), &prev), 0);
  const RangeRow* head = list.head();
  RowList moved = std::move(list);
  EXPECT_EQ(moved.size(), 3000u);
  EXPECT_EQ(moved.head(), head);
  EXPECT_TRUE(list.empty());  // NOLINT: a moved-from list is empty
  EXPECT_EQ(list.head(), nullptr);
}

TEST_F(Rows, EndpointsThatMustHoldNumbers) {
  const struct {
    std::vector<const char*> rows;
    std::array<bool, 3> first, last;
  } cases[] = {
      {{"0 1 2 3", "1 1 2 3"}, {false, false, false}, {false, false, false}},
      {{"0 NA NA NA", "1 1 NA NA"}, {true, false, false}, {false, false, false}},
      {{"0 1 NA NA", "1 1 1 NA", "2 NA NA 2"}, {false, true, true}, {true, true, false}},
  };
  for (const auto& c : cases) {
    RowList list;
    for (const char* text : c.rows) {
      RangeRow row;
      (void)row_parse_into(text, "Voltage", &row);
      size_t count = 0;
      ASSERT_EQ(row_append(&list, row, &count), 1);
    }
    const EndpointNA na = rows_endpoint_na(list);
    EXPECT_EQ(na.first, c.first) << c.rows[0];
    EXPECT_EQ(na.last, c.last) << c.rows[0];
  }
  EXPECT_EQ(rows_endpoint_na(RowList()).first, (std::array<bool, 3>{}));
}

TEST(RowsDeathTest, NullArgumentsAreInternalFaults) {
  double v = 0;
  RangeRow row;
  EXPECT_DEATH((void)row_get_x(nullptr, &v), "");
  EXPECT_DEATH((void)row_get_min(&row, nullptr), "");
  EXPECT_DEATH((void)row_append(nullptr, nullptr, nullptr), "");
}

}  // namespace
}  // namespace tarn
