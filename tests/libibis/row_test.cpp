#include "libibis/src/row.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "libibis/src/ibis.h"
#include "libibis/src/mtx.h"
#include "package_fixture.h"
#include "report_fixture.h"

namespace tarn {
namespace {

using test::matrix_package;

// The inductance matrix of a package model of `pins` pins whose [Model Data] holds `matrix`.
struct Read {
  std::string report;
  test::DocumentPtr document;
  const Matrix* m() const {
    return document && !document->package_models.empty()
               ? document->package_models[0]->inductance.get()
               : nullptr;
  }
};
Read read_matrix(int pins, const std::string& matrix) {
  auto r = test::read_lines(matrix_package(pins, matrix), "t.pkg");
  return {r.report, std::move(r.document)};
}

// The rows as read: "pin[slots]: values | ...".
std::string rows_of(const Matrix* m) {
  if (!m) return "no matrix";
  std::ostringstream out;
  for (const MatrixRow& row : m->rows) {
    out << row.pin << "[" << row.column_count << "]:";
    for (const RowEntry& e : row.entries) out << " " << e.value;
    out << (&row == &m->rows.back() ? "" : " | ");
  }
  return out.str();
}

TEST(RowColumnCount, ByTypeRowAndBand) {
  const struct {
    MatrixType type;
    uint32_t pins;
    uint32_t bandwidth;
    std::vector<uint32_t> counts;  // for the first row, the second, ...
  } cases[] = {
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
  for (const auto& c : cases) {
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

// Banded rows: the matrix keyword on line 12 (four pins), [Bandwidth] on 13, the rows from 14.
std::string banded(int bandwidth, const std::vector<const char*>& rows) {
  std::string text =
      "[Inductance Matrix] Banded_matrix\n[Bandwidth] " + std::to_string(bandwidth) + "\n";
  for (size_t i = 0; i < rows.size(); ++i)
    text += "[Row] " + std::to_string(i + 1) + "\n" + rows[i] + "\n";
  return text;
}

TEST(RowData, BandedRowsWrapAroundWhenTheBandAllows) {
  const struct {
    int pins, bandwidth;
    std::vector<const char*> rows;
    MatrixType type;
    const char* stored;
    const char* expected;
  } cases[] = {
      {4, 1, {"1 2", "3 4", "5 6", "7 8"}, MatrixType::BandedWrap,
       "1[2]: 1 2 | 2[2]: 3 4 | 3[2]: 5 6 | 4[2]: 7 8", ""},
      // Rows of 3, 3, 2 and 1 slots; the band of 2 is too wide to wrap 4 pins.
      {4, 2, {"1 2 3", "1 2 3", "1 2", "1 2"}, MatrixType::Banded,
       "1[3]: 1 2 3 | 2[3]: 1 2 3 | 3[2]: 1 2 | 4[1]: 1",
       "ERROR t.pkg (line   21) -\n"
       "    Bandwidth for this Banded, circle-back matrix exceeds the limit of 1.\n"},
      // Five pins and a band of 2: the fourth row wraps, and the fifth gets the whole band.
      {5, 2, {"1 2 3", "1 2 3", "1 2 3", "1 2 3", "1 2 3"}, MatrixType::BandedWrap,
       "1[3]: 1 2 3 | 2[3]: 1 2 3 | 3[3]: 1 2 3 | 4[3]: 1 2 3 | 5[3]: 1 2 3", ""},
      // A row within the matrix keeps to its band.
      {4, 1, {"1 2 3 4", "1 2", "1 2", "1"}, MatrixType::Banded,
       "1[2]: 1 2 | 2[2]: 1 2 | 3[2]: 1 2 | 4[1]: 1",
       "ERROR t.pkg (line   15) - Only 2 columns of data allowed for this Row .\n"},
  };
  for (const auto& c : cases) {
    const Read r = read_matrix(c.pins, banded(c.bandwidth, c.rows));
    EXPECT_EQ(r.report, c.expected) << c.stored;
    ASSERT_NE(r.m(), nullptr);
    EXPECT_EQ(r.m()->type, c.type) << c.stored;
    EXPECT_EQ(rows_of(r.m()), c.stored);
  }
}

// Two pins, full: row 1 on line 11 takes two values, its data from line 12.
TEST(RowData, FullRowValues) {
  test::expect_reports(
      [](const std::string& data) {
        const Read r =
            read_matrix(2, "[Inductance Matrix] Full_matrix\n[Row] 1\n" + data + "\n[Row] 2\n5n\n");
        EXPECT_TRUE(r.m() && r.m()->rows[0].self_coupled) << data;
        return r.report + rows_of(r.m());
      },
      {
          {"1n\n2n", "1[2]: 1e-09 2e-09 | 2[1]: 5e-09"},
          {"1n 2n 3n 4n",
           "ERROR t.pkg (line   12) - More row data than allowed for this row.\n"
           "1[2]: 1e-09 2e-09 | 2[1]: 5e-09"},
          {"1n abc 2n",
           "ERROR t.pkg (line   12) - Unable to convert row data.\n"
           "ERROR t.pkg (line   15) - Expected 2 columns of Row data for [Row] 1 in Matrix "
           "ending previous to this line, found 1 column\n"
           "1[2]: 1e-09 | 2[1]: 5e-09"},
          {"1n5 2n",
           "WARNING t.pkg (line   12) - Suspicious row data.\n1[2]: 1e-09 2e-09 | 2[1]: 5e-09"},
      });
}

// Three pins, sparse: the tested line is row 2's first, on line 15.
TEST(RowData, SparseEntries) {
  const std::string row1 = "1[3]: 1e-09 | ", row3 = " | 3[3]: 1e-09";
  test::expect_reports(
      [](const std::string& line) {
        const Read r = read_matrix(3, "[Inductance Matrix] Sparse_matrix\n[Row] 1\n1 1n\n[Row] 2\n" +
                                          line + "\n2 1n\n[Row] 3\n3 1n\n");
        EXPECT_TRUE(r.m() && r.m()->rows.size() == 3 && r.m()->rows[1].self_coupled) << line;
        return r.report + rows_of(r.m());
      },
      {
          {"3 0.5n", row1 + "2[3]: 1e-09 5e-10" + row3},
          {"1 0.5n",
           "ERROR t.pkg (line   15) -\n"
           "    This Row Column Index defines an entry in the lower matrix triangle.\n" +
               row1 + "2[3]: 1e-09" + row3},
          {"2 2n", "ERROR t.pkg (line   16) - Duplicate Row column index 2.\n" + row1 +
                       "2[3]: 2e-09" + row3},
          {"9 1n",
           "ERROR t.pkg (line   15) - Unable to find Pin <9> in Package Model Pin_Number list.\n" +
               row1 + "2[3]: 1e-09" + row3},
          {"3", "ERROR t.pkg (line   15) - No row data.\n" + row1 + "2[3]: 1e-09" + row3},
          {"3 abc",
           "ERROR t.pkg (line   15) - Unable to convert row data.\n" + row1 + "2[3]: 1e-09" + row3},
          {"3 0.5n x",
           "ERROR t.pkg (line   15) - Excessive data <x>, only Index and Value should be "
           "specified for a Sparse_matrix.\n" + row1 + "2[3]: 1e-09 5e-10" + row3},
      });
}

// Three pins, full: the matrix keyword on line 11, the first [Row] on 12.
TEST(RowKeyword, PinsPositionsAndCounts) {
  test::expect_reports(
      [](const std::string& rows) {
        const Read r = read_matrix(3, "[Inductance Matrix] Full_matrix\n" + rows);
        return r.report + rows_of(r.m());
      },
      {
          {"[Row] 2\n1 2 3\n[Row] 1\n1 2\n[Row] 3\n1\n",
           "ERROR t.pkg (line   12) -\n"
           "    Expected Pin <2> at matrix row index 2, found at matrix row index 1.\n"
           "ERROR t.pkg (line   14) -\n"
           "    Expected Pin <1> at matrix row index 1, found at matrix row index 2.\n"
           "2[3]: 1 2 3 | 1[2]: 1 2 | 3[1]: 1"},
          {"[Row] 1\n1 2 3\n[Row] 1\n1 2\n[Row] 3\n1\n",
           "ERROR t.pkg (line   14) - Repeated ROW <1>.\n"
           "ERROR t.pkg (line   14) -\n"
           "    Expected Pin <1> at matrix row index 1, found at matrix row index 2.\n"
           "1[3]: 1 2 3 | 1[2]: 1 2 | 3[1]: 1"},
          {"[Row] 123456\n1 2 3\n[Row] 2\n1 2\n[Row] 3\n1\n",
           "ERROR t.pkg (line   12) - PIN NUMBER string too long.\n"
           "ERROR t.pkg (line   12) -\n"
           "    Unable to find Pin <12345> in Package Model Pin_Number list.\n"
           "12345[3]: 1 2 3 | 2[2]: 1 2 | 3[1]: 1"},
          {"[Row]\n1 2 3\n[Row] 1\n1 2 3\n[Row] 2\n1 2\n[Row] 3\n1\n",
           "ERROR t.pkg (line   12) - Unknown PIN NUMBER.\n1[3]: 1 2 3 | 2[2]: 1 2 | 3[1]: 1"},
          {"[Row] 1\n1 2 3\n[Row] 2\n1 2\n[Row] 3\n1\n[Row] 3\n1\n",
           "ERROR t.pkg (line   18) - Unable to add new matrix row, expected column count = 0.\n"
           "1[3]: 1 2 3 | 2[2]: 1 2 | 3[1]: 1"},
      });
}

TEST(RowKeyword, OnlyInsideAnOpenMatrix) {
  // Three pins: [Row] on line 11 before any matrix, and on line 28 after [End Model Data].
  std::string text =
      matrix_package(3, "[Row] 1\n1n\n" + test::diagonal_matrix("[Inductance Matrix]", 3));
  text.insert(text.find("[End Package Model]"), "[Row] 2\n1n\n");
  EXPECT_EQ(test::read_lines(text, "t.pkg").report,
            "ERROR t.pkg (line   11) - Row keyword in wrong location.\n"
            "ERROR t.pkg (line   28) - Row keyword in wrong location.\n");
}

class RowDirect : public test::Reported {
 protected:
  void SetUp() override { at(0, "t.pkg"); }
};

TEST_F(RowDirect, SparseLineWithoutItemsAndDataWithoutARow) {
  Matrix m;
  m.type = MatrixType::Sparse;
  m.row_count = 2;
  m.rows.push_back(MatrixRow{"1", false, 2, {}});
  ROW_Data(&m, "", PinPositions{{"1", 1}, {"2", 2}});
  EXPECT_EQ(report(), "ERROR t.pkg (line    0) - No Column Index.\n");
  Matrix full;
  full.type = MatrixType::Full;
  ROW_Data(&full, "1n", PinPositions{});
  ROW_Data(nullptr, "1n", PinPositions{});
  uint32_t bugs = 0;
  RPT_GetCounts(nullptr, nullptr, &bugs);
  EXPECT_EQ(bugs, 2u);
  EXPECT_NE(report().find(":Illegal current matrix.\n"), std::string::npos);
}

}  // namespace
}  // namespace tarn
