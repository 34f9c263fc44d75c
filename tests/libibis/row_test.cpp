#include "libibis/src/row.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "libibis/src/ibis.h"
#include "libibis/src/mtx.h"
#include "libibis/src/rpt.h"
#include "package_fixture.h"
#include "test_support.h"

namespace tarn {
namespace {

using test::matrix_package;

const Matrix* inductance(const test::ReadResult& r) {
  if (!r.document || r.document->package_models.empty()) return nullptr;
  return r.document->package_models[0]->inductance.get();
}

std::vector<double> values(const MatrixRow& row) {
  std::vector<double> out;
  for (const RowEntry& e : row.entries) out.push_back(e.value);
  return out;
}

TEST(RowColumnCount, ByTypeRowAndBand) {
  struct Case {
    MatrixType type;
    uint32_t pins;
    uint32_t bandwidth;
    std::vector<uint32_t> counts;  // for the first row, the second, ...
  };
  const Case cases[] = {
      {MatrixType::Banded, 4, 1, {2, 2, 2, 1, 0}},
      {MatrixType::Banded, 4, 2, {3, 3, 2, 1, 0}},
      {MatrixType::Banded, 4, 4, {4, 3, 2, 1, 0}},
      {MatrixType::BandedWrap, 4, 1, {2, 2, 2, 2, 2, 0}},
      {MatrixType::Full, 3, 0, {3, 2, 1, 0}},
      {MatrixType::Sparse, 3, 0, {3, 3, 3, 3, 0}},
      {MatrixType::Unknown, 3, 0, {0}},
      {MatrixType::Full, 0, 0, {0}},
      {MatrixType::Sparse, 4000000000u, 0, {4000000000u, 4000000000u}},
      {MatrixType::Banded, 4000000000u, 4294967295u, {4000000000u, 3999999999u}},
  };
  for (const Case& c : cases) {
    Matrix m;
    m.type = c.type;
    m.row_count = c.pins;
    m.bandwidth = c.bandwidth;
    std::vector<uint32_t> counts;
    for (size_t i = 0; i < c.counts.size(); ++i) {
      counts.push_back(ROW_ColumnCount(m));
      m.rows.push_back(MatrixRow{"x", false, counts.back(), {}});
    }
    EXPECT_EQ(counts, c.counts) << static_cast<int>(c.type) << " " << c.pins << " " << c.bandwidth;
  }
}

// Four pins: the matrix keyword on line 12, [Bandwidth] on 13, the rows from 14 on.
std::string banded(int bandwidth, const std::vector<const char*>& rows) {
  std::string text =
      "[Inductance Matrix] Banded_matrix\n[Bandwidth] " + std::to_string(bandwidth) + "\n";
  for (size_t i = 0; i < rows.size(); ++i)
    text += "[Row] " + std::to_string(i + 1) + "\n" + rows[i] + "\n";
  return text;
}

TEST(RowData, BandedRowsWrapAroundWhenTheBandAllows) {
  const auto wrapped =
      test::read_lines(matrix_package(4, banded(1, {"1 2", "3 4", "5 6", "7 8"})), "t.pkg");
  EXPECT_EQ(wrapped.report, "");
  const Matrix* m = inductance(wrapped);
  ASSERT_NE(m, nullptr);
  EXPECT_EQ(m->type, MatrixType::BandedWrap);
  ASSERT_EQ(m->rows.size(), 4u);
  for (const MatrixRow& row : m->rows) EXPECT_EQ(row.column_count, 2u) << row.pin;
  EXPECT_EQ(values(m->rows[3]), (std::vector<double>{7, 8}));

  // Rows of 3, 3, 2 and 1 slots; the band of 2 is too wide to wrap 4 pins.
  const auto refused =
      test::read_lines(matrix_package(4, banded(2, {"1 2 3", "1 2 3", "1 2", "1 2"})), "t.pkg");
  EXPECT_EQ(refused.report,
            "ERROR t.pkg (line   21) -\n"
            "    Bandwidth for this Banded, circle-back matrix exceeds the limit of 1.\n");
  m = inductance(refused);
  ASSERT_NE(m, nullptr);
  EXPECT_EQ(m->type, MatrixType::Banded);
  EXPECT_EQ(m->rows[3].column_count, 1u);
  EXPECT_EQ(values(m->rows[3]), (std::vector<double>{1}));

  // Five pins and a band of 2: the fourth row wraps, and the fifth gets the whole band.
  std::string five = "[Inductance Matrix] Banded_matrix\n[Bandwidth] 2\n";
  for (int i = 1; i <= 5; ++i) five += "[Row] " + std::to_string(i) + "\n1 2 3\n";
  const auto widened = test::read_lines(matrix_package(5, five), "t.pkg");
  EXPECT_EQ(widened.report, "");
  m = inductance(widened);
  ASSERT_NE(m, nullptr);
  EXPECT_EQ(m->type, MatrixType::BandedWrap);
  EXPECT_EQ(m->rows[4].column_count, 3u);
  EXPECT_EQ(m->rows[4].filled(), 3u);
}

TEST(RowData, BandedRowWithinTheMatrixKeepsToItsBand) {
  const auto r =
      test::read_lines(matrix_package(4, banded(1, {"1 2 3 4", "1 2", "1 2", "1"})), "t.pkg");
  EXPECT_EQ(r.report, "ERROR t.pkg (line   15) - Only 2 columns of data allowed for this Row .\n");
  const Matrix* m = inductance(r);
  ASSERT_NE(m, nullptr);
  EXPECT_EQ(m->type, MatrixType::Banded);
  EXPECT_EQ(values(m->rows[0]), (std::vector<double>{1, 2}));
}

// Two pins, full: row 1 on line 11 takes two values, its data from line 12.
TEST(RowData, FullRowValues) {
  struct Case {
    const char* data;
    std::vector<double> row1;
    const char* expected;
  };
  const Case cases[] = {
      {"1n 2n", {1e-9, 2e-9}, ""},
      {"1n\n2n", {1e-9, 2e-9}, ""},
      {"1n 2n 3n 4n",
       {1e-9, 2e-9},
       "ERROR t.pkg (line   12) - More row data than allowed for this row.\n"},
      {"1n abc 2n",
       {1e-9},
       "ERROR t.pkg (line   12) - Unable to convert row data.\n"
       "ERROR t.pkg (line   15) - Expected 2 columns of Row data for [Row] 1 in Matrix ending "
       "previous to this line, found 1 column\n"},
      {"1n5 2n", {1e-9, 2e-9}, "WARNING t.pkg (line   12) - Suspicious row data.\n"},
  };
  for (const Case& c : cases) {
    const auto r = test::read_lines(
        matrix_package(2, std::string("[Inductance Matrix] Full_matrix\n[Row] 1\n") + c.data +
                              "\n[Row] 2\n5n\n"),
        "t.pkg");
    EXPECT_EQ(r.report, c.expected) << c.data;
    const Matrix* m = inductance(r);
    ASSERT_NE(m, nullptr);
    ASSERT_EQ(m->rows.size(), 2u);
    EXPECT_EQ(values(m->rows[0]), c.row1) << c.data;
    EXPECT_TRUE(m->rows[0].self_coupled);
  }
}

// Three pins, sparse: the tested line is row 2's first, on line 15.
TEST(RowData, SparseEntries) {
  struct Case {
    const char* line;
    std::vector<double> row2;
    const char* expected;
  };
  const Case cases[] = {
      {"3 0.5n", {1e-9, 0.5e-9}, ""},
      {"1 0.5n",
       {1e-9},
       "ERROR t.pkg (line   15) -\n"
       "    This Row Column Index defines an entry in the lower matrix triangle.\n"},
      {"2 2n", {2e-9}, "ERROR t.pkg (line   16) - Duplicate Row column index 2.\n"},
      {"9 1n",
       {1e-9},
       "ERROR t.pkg (line   15) - Unable to find Pin <9> in Package Model Pin_Number list.\n"},
      {"3", {1e-9}, "ERROR t.pkg (line   15) - No row data.\n"},
      {"3 abc", {1e-9}, "ERROR t.pkg (line   15) - Unable to convert row data.\n"},
      {"3 0.5n x",
       {1e-9, 0.5e-9},
       "ERROR t.pkg (line   15) - Excessive data <x>, only Index and Value should be specified "
       "for a Sparse_matrix.\n"},
  };
  for (const Case& c : cases) {
    const auto r = test::read_lines(
        matrix_package(
            3, std::string("[Inductance Matrix] Sparse_matrix\n[Row] 1\n1 1n\n[Row] 2\n") + c.line +
                   "\n2 1n\n[Row] 3\n3 1n\n"),
        "t.pkg");
    EXPECT_EQ(r.report, c.expected) << c.line;
    const Matrix* m = inductance(r);
    ASSERT_NE(m, nullptr);
    ASSERT_EQ(m->rows.size(), 3u);
    EXPECT_EQ(values(m->rows[1]), c.row2) << c.line;
    EXPECT_TRUE(m->rows[1].self_coupled) << c.line;
    EXPECT_EQ(m->rows[1].column_count, 3u);
  }
}

// Three pins, full: the matrix keyword on line 11, the first [Row] on 12.
TEST(RowKeyword, PinsPositionsAndCounts) {
  struct Case {
    const char* rows;
    std::vector<std::string> pins;
    const char* expected;
  };
  const Case cases[] = {
      {"[Row] 2\n1 2 3\n[Row] 1\n1 2\n[Row] 3\n1\n",
       {"2", "1", "3"},
       "ERROR t.pkg (line   12) -\n"
       "    Expected Pin <2> at matrix row index 2, found at matrix row index 1.\n"
       "ERROR t.pkg (line   14) -\n"
       "    Expected Pin <1> at matrix row index 1, found at matrix row index 2.\n"},
      {"[Row] 1\n1 2 3\n[Row] 1\n1 2\n[Row] 3\n1\n",
       {"1", "1", "3"},
       "ERROR t.pkg (line   14) - Repeated ROW <1>.\n"
       "ERROR t.pkg (line   14) -\n"
       "    Expected Pin <1> at matrix row index 1, found at matrix row index 2.\n"},
      {"[Row] 9\n1 2 3\n[Row] 2\n1 2\n[Row] 3\n1\n",
       {"9", "2", "3"},
       "ERROR t.pkg (line   12) - Unable to find Pin <9> in Package Model Pin_Number list.\n"},
      {"[Row] 123456\n1 2 3\n[Row] 2\n1 2\n[Row] 3\n1\n",
       {"12345", "2", "3"},
       "ERROR t.pkg (line   12) - PIN NUMBER string too long.\n"
       "ERROR t.pkg (line   12) -\n"
       "    Unable to find Pin <12345> in Package Model Pin_Number list.\n"},
      {"[Row]\n1 2 3\n[Row] 1\n1 2 3\n[Row] 2\n1 2\n[Row] 3\n1\n",
       {"1", "2", "3"},
       "ERROR t.pkg (line   12) - Unknown PIN NUMBER.\n"},
      {"[Row] 1\n1 2 3\n[Row] 2\n1 2\n[Row] 3\n1\n[Row] 3\n1\n",
       {"1", "2", "3"},
       "ERROR t.pkg (line   18) - Unable to add new matrix row, expected column count = 0.\n"},
  };
  for (const Case& c : cases) {
    const auto r = test::read_lines(
        matrix_package(3, std::string("[Inductance Matrix] Full_matrix\n") + c.rows), "t.pkg");
    EXPECT_EQ(r.report, c.expected) << c.rows;
    const Matrix* m = inductance(r);
    ASSERT_NE(m, nullptr);
    std::vector<std::string> pins;
    for (const MatrixRow& row : m->rows) pins.push_back(row.pin);
    EXPECT_EQ(pins, c.pins) << c.rows;
  }
}

TEST(RowKeyword, OnlyInsideAnOpenMatrix) {
  // Three pins: [Row] on line 11 before any matrix, and on line 24 after [End Model Data].
  std::string text =
      matrix_package(3, "[Row] 1\n1n\n" + test::diagonal_matrix("[Inductance Matrix]", 3));
  text.insert(text.find("[End Package Model]"), "[Row] 2\n1n\n");
  const auto r = test::read_lines(text, "t.pkg");
  EXPECT_EQ(r.report,
            "ERROR t.pkg (line   11) - Row keyword in wrong location.\n"
            "ERROR t.pkg (line   28) - Row keyword in wrong location.\n");
}

class RowDirect : public ::testing::Test {
 protected:
  void SetUp() override {
    RPT_SetFileNameMode(0);
    RPT_SetStream(out_.get());
    RPT_ResetCounts();
  }
  void TearDown() override { RPT_SetStream(nullptr); }
  std::string message() {
    const std::string text = out_.text();
    const size_t dash = text.find(" - ");
    return dash == std::string::npos ? text : text.substr(dash + 3);
  }

  test::MemStream out_;
};

TEST_F(RowDirect, SparseLineWithoutItems) {
  Matrix m;
  m.type = MatrixType::Sparse;
  m.row_count = 2;
  m.rows.push_back(MatrixRow{"1", false, 2, {}});
  ROW_Data(&m, "", PinPositions{{"1", 1}, {"2", 2}});
  EXPECT_EQ(message(), "No Column Index.\n");
}

TEST_F(RowDirect, DataWithoutARowIsAProgramBug) {
  Matrix m;
  m.type = MatrixType::Full;
  ROW_Data(&m, "1n", PinPositions{});
  ROW_Data(nullptr, "1n", PinPositions{});
  uint32_t bugs = 0;
  RPT_GetCounts(nullptr, nullptr, &bugs);
  EXPECT_EQ(bugs, 2u);
  EXPECT_NE(message().find(":Illegal current matrix.\n"), std::string::npos);
}

}  // namespace
}  // namespace tarn
