#include "libibis/src/rngp.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "libibis/src/rpt.h"
#include "test_support.h"

namespace tarn {
namespace {

constexpr auto A = ValueStatus::Absent;
constexpr auto V = ValueStatus::Value;
constexpr auto N = ValueStatus::NA;

class Rows : public ::testing::Test {
 protected:
  void SetUp() override {
    test::read_lines("\n\n", "lines.ibs");  // diagnostics show line 2
    RPT_SetStream(out_.get());
    RPT_ResetCounts();
    RPT_SetFileName("w.ibs");
  }
  void TearDown() override { RPT_SetStream(nullptr); }

  test::MemStream out_;
};

TEST_F(Rows, TableLines) {
  struct Case {
    const char* line;
    int result;
    ValueStatus x_status, typ_status, min_status, max_status;
    double x, typ;
    const char* expected;
  };
  const Case cases[] = {
      {"-3.3 -92.89mA -75.02mA -112.5mA", 1, V, V, V, V, -3.3, -92.89e-3, ""},
      {"0 1mA NA NA", 1, V, V, N, N, 0, 1e-3, ""},
      {"1.5", 1, V, A, A, A, 1.5, 0,
       "ERROR w.ibs (line    2) - No typical Value Was Provided for Voltage\n"
       "ERROR w.ibs (line    2) - No minimum Value Was Provided for Voltage\n"
       "ERROR w.ibs (line    2) - No maximum Value Was Provided for Voltage\n"},
      {"1.5 2m", 1, V, V, A, A, 1.5, 2e-3,
       "ERROR w.ibs (line    2) - No minimum Value Was Provided for Voltage\n"
       "ERROR w.ibs (line    2) - No maximum Value Was Provided for Voltage\n"},
      {"1.5 2m 1m", 1, V, V, V, A, 1.5, 2e-3,
       "ERROR w.ibs (line    2) - No maximum Value Was Provided for Voltage\n"},
      {"1.5 2m 1m 3m 4m", 1, V, V, V, V, 1.5, 2e-3,
       "ERROR w.ibs (line    2) - Incorrect Number of Line Items (5) For Voltage: Expecting 4\n"},
      {"v 2m q 3m", 0, A, V, A, V, 0, 2e-3,
       "ERROR w.ibs (line    2) - Invalid Voltage Value (\"v\")\n"
       "ERROR w.ibs (line    2) - Invalid Minimum Value (\"q\")\n"},
      {"1n5 2m 1m 3m", 1, V, V, V, V, 1e-9, 2e-3,
       "WARNING w.ibs (line    2) -\n"
       "    Suspicious Voltage Voltage Value (\"1n5\"); Numeric in Scale\n"},
      {"1 2m 1m 3m5", 1, V, V, V, V, 1, 2e-3,
       "WARNING w.ibs (line    2) -\n"
       "    Suspicious Maximum Voltage Value (\"3m5\"); Numeric in Scale\n"},
      {"1 5 1 3", 1, V, V, V, V, 1, 5, ""},  // rows are not checked for typ between min and max
  };
  for (const Case& c : cases) {
    test::MemStream out;
    RPT_SetStream(out.get());
    std::unique_ptr<RangeRow> row;
    EXPECT_EQ(row_parse(c.line, "Voltage", &row), c.result) << c.line;
    EXPECT_EQ(out.text(), c.expected) << c.line;
    ASSERT_NE(row, nullptr) << c.line;
    EXPECT_EQ(row->x_status, c.x_status) << c.line;
    EXPECT_EQ(row->typ_status, c.typ_status) << c.line;
    EXPECT_EQ(row->min_status, c.min_status) << c.line;
    EXPECT_EQ(row->max_status, c.max_status) << c.line;
    EXPECT_DOUBLE_EQ(row->x, c.x) << c.line;
    EXPECT_DOUBLE_EQ(row->typ, c.typ) << c.line;
  }
}

TEST_F(Rows, CreatedRowsAndTheirAccessors) {
  std::unique_ptr<RangeRow> row;
  ASSERT_EQ(row_create(&row, 0.5, 1.0, 0.8, 1.2, true, false), 1);
  double v = -1;
  EXPECT_EQ(row_get_x(row.get(), &v), 1);
  EXPECT_DOUBLE_EQ(v, 0.5);
  EXPECT_EQ(row_get_typ(row.get(), &v), 1);
  EXPECT_DOUBLE_EQ(v, 1.0);
  EXPECT_EQ(row_get_max(row.get(), &v), 1);
  EXPECT_DOUBLE_EQ(v, 1.2);
  v = -1;
  EXPECT_EQ(row_get_min(row.get(), &v), 0);  // no min: "NA" with 0.0
  EXPECT_EQ(row->min_status, N);
  EXPECT_DOUBLE_EQ(row->min, 0.0);
  EXPECT_EQ(row_corner_valid(row.get(), kCornerMin), 0);
  EXPECT_EQ(row_corner_valid(row.get(), kCornerTyp), 1);
  EXPECT_EQ(row_corner_valid(row.get(), kCornerMax), 1);
  EXPECT_EQ(row_corner_valid(row.get(), 3), 0);

  ASSERT_EQ(row_create(&row, 0, 1, 0.8, 1.2, false, true), 1);
  EXPECT_EQ(row->max_status, N);
  EXPECT_EQ(row->min_status, V);

  ASSERT_EQ(row_create_empty(&row), 1);
  for (int corner : {kCornerMin, kCornerTyp, kCornerMax})
    EXPECT_EQ(row_corner_valid(row.get(), corner), 0) << corner;
  EXPECT_EQ(row_get_x(row.get(), &v), 0);
  EXPECT_EQ(out_.text(), "");
}

TEST_F(Rows, AppendLinksInFileOrder) {
  RowList list;
  EXPECT_EQ(list.head(), nullptr);
  for (size_t i = 1; i <= 3; ++i) {
    std::unique_ptr<RangeRow> row;
    ASSERT_EQ(row_create(&row, double(i), 0, 0, 0, true, true), 1);
    size_t count = 0;
    ASSERT_EQ(row_append(&list, std::move(row), &count), 1);
    EXPECT_EQ(count, i);
  }
  const RangeRow* first = list.head();
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(first->prev(), nullptr);
  const RangeRow* prev = nullptr;
  EXPECT_EQ(row_prev(first, &prev), 0);
  std::vector<double> forward;
  for (const RangeRow* r = first; r; r = r->next()) forward.push_back(r->x);
  EXPECT_EQ(forward, (std::vector<double>{1, 2, 3}));
  std::vector<double> backward;
  for (const RangeRow* r = list.tail(); r; r = row_prev(r, &prev) ? prev : nullptr)
    backward.push_back(r->x);
  EXPECT_EQ(backward, (std::vector<double>{3, 2, 1}));
}

TEST_F(Rows, LongListsStayLinkedWhileTheyGrow) {
  RowList list;
  for (int i = 0; i < 3000; ++i) {
    RangeRow row;
    row.x = i;
    row.last = false;  // a copied row's own neighbours never carry over
    size_t count = 0;
    ASSERT_EQ(row_append(&list, row, &count), 1);
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
  const RangeRow* head = list.head();
  RowList moved = std::move(list);
  EXPECT_EQ(moved.size(), 3000u);
  EXPECT_EQ(moved.head(), head);
  EXPECT_TRUE(list.empty());  // NOLINT: a moved-from list is empty
  EXPECT_EQ(list.head(), nullptr);
}

TEST_F(Rows, EndpointsThatMustHoldNumbers) {
  struct Case {
    std::vector<const char*> rows;
    std::array<bool, 3> first, last;
  };
  const Case cases[] = {
      {{"0 1 2 3", "1 1 2 3"}, {false, false, false}, {false, false, false}},
      {{"0 NA NA NA", "1 1 NA NA"}, {true, false, false}, {false, false, false}},
      {{"0 1 NA NA", "1 1 1 NA", "2 NA NA 2"}, {false, true, true}, {true, true, false}},
  };
  for (const Case& c : cases) {
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
