#include "libibis/src/mtx.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "libibis/src/ibis.h"
#include "libibis/src/rpt.h"
#include "package_fixture.h"
#include "report_table.h"
#include "test_support.h"

namespace tarn {
namespace {

using test::matrix_package;

const Matrix* inductance(const test::ReadResult& r) {
  if (!r.document || r.document->package_models.empty()) return nullptr;
  return r.document->package_models[0]->inductance.get();
}

// Two pins; the tested matrix starts on line 10 and the capacitance matrix after it closes it.
constexpr const char* kTwoRows = "[Row] 1\n1n 0.1n\n[Row] 2\n1n\n";

TEST(MatrixKeyword, TypeWordsAndDuplicates) {
  struct Case {
    std::string matrix;
    MatrixType type;
    const char* expected;
  };
  const Case cases[] = {
      {std::string("[Inductance Matrix] Full_matrix\n") + kTwoRows, MatrixType::Full, ""},
      {std::string("[Inductance Matrix] full_MATRIX\n") + kTwoRows, MatrixType::Full, ""},
      {"[Inductance Matrix] sparse_matrix\n[Row] 1\n1 1n\n2 0.1n\n[Row] 2\n2 1n\n",
       MatrixType::Sparse, ""},
      {std::string("[Inductance Matrix]\n") + kTwoRows, MatrixType::Unknown,
       "ERROR t.pkg (line   10) - Matrix type not specified.\n"
       "ERROR t.pkg (line   15) -\n"
       "    Expected 2 Rows, found 0 for Matrix ending previous to this line.\n"},
      {std::string("[Inductance Matrix] Diagonal_matrix\n") + kTwoRows, MatrixType::Unknown,
       "ERROR t.pkg (line   10) - Unknown matrix type 'Diagonal_matrix'.\n"
       "ERROR t.pkg (line   15) -\n"
       "    Expected 2 Rows, found 0 for Matrix ending previous to this line.\n"},
      // The second matrix of a kind is dropped with its rows; the first stands.
      {std::string("[Inductance Matrix] Full_matrix\n") + kTwoRows +
           "[Inductance Matrix] Sparse_matrix\n[Bandwidth] 1\n[Row] 1\n1 5n\n",
       MatrixType::Full, "ERROR t.pkg (line   15) - Duplicate Inductance Matrix.\n"},
  };
  for (const Case& c : cases) {
    const auto r = test::read_lines(matrix_package(2, c.matrix), "t.pkg");
    EXPECT_EQ(r.report, c.expected) << c.matrix;
    const Matrix* m = inductance(r);
    ASSERT_NE(m, nullptr) << c.matrix;
    EXPECT_EQ(m->type, c.type) << c.matrix;
    EXPECT_EQ(m->row_count, 2u);
    if (c.type == MatrixType::Full) {
      ASSERT_EQ(m->rows.size(), 2u) << c.matrix;
      double value = 0;
      ASSERT_EQ(ROW_GetEntry(&m->rows[0], 2, &value), 1);
      EXPECT_DOUBLE_EQ(value, 0.1e-9);
    }
  }
}

// Four pins: the matrix keyword is on line 12, [Bandwidth] on 13.
TEST(MatrixBandwidth, PlaceAndValue) {
  const std::string single = "[Row] 1\n1n\n[Row] 2\n1n\n[Row] 3\n1n\n[Row] 4\n1n\n";
  struct Case {
    std::string matrix;
    bool given;
    uint32_t bandwidth;
    const char* expected;
  };
  const Case cases[] = {
      {"[Inductance Matrix] Banded_matrix\n[Bandwidth] 0\n" + single, true, 0, ""},
      {"[Inductance Matrix] Banded_matrix\n[Bandwidth] 0\n[Bandwidth] 2\n" + single, true, 0,
       "ERROR t.pkg (line   14) - Multiple Bandwidth keywords.\n"},
      {"[Inductance Matrix] Banded_matrix\n[Bandwidth] 0\n[Row] 1\n1n\n[Bandwidth] 2\n"
       "[Row] 2\n1n\n[Row] 3\n1n\n[Row] 4\n1n\n",
       true, 0, "ERROR t.pkg (line   16) - Bandwidth keyword in wrong location.\n"},
      {"[Inductance Matrix] Banded_matrix\n[Bandwidth] abc\n" + single, false, 0,
       "ERROR t.pkg (line   13) - Bad Bandwidth value.\n"
       "ERROR t.pkg - The Inductance Matrix is Banded and requires the 'Bandwidth' keyword.\n"},
      {"[Inductance Matrix] Banded_matrix\n[Bandwidth] 1.5\n" + single, false, 0,
       "ERROR t.pkg (line   13) - Bad Bandwidth value.\n"
       "ERROR t.pkg - The Inductance Matrix is Banded and requires the 'Bandwidth' keyword.\n"},
      {"[Inductance Matrix] Banded_matrix\n[Bandwidth] 0k5\n" + single, true, 0,
       "ERROR t.pkg (line   13) - Suspicious Bandwidth value.\n"},
      {"[Inductance Matrix] Banded_matrix\n[Bandwidth] 4\n"
       "[Row] 1\n1 2 3 4\n[Row] 2\n1 2 3\n[Row] 3\n1 2\n[Row] 4\n1\n",
       true, 4, "ERROR t.pkg (line   13) - Bandwidth <4> must be less than Number_of_Pins <4>.\n"},
      {"[Inductance Matrix] Full_matrix\n[Bandwidth] 0\n[Row] 1\n1 2 3 4\n[Row] 2\n1 2 3\n"
       "[Row] 3\n1 2\n[Row] 4\n1\n",
       false, 0, "ERROR t.pkg (line   13) - Bandwidth only allowed for Banded Matrices\n"},
      {"[Inductance Matrix] Banded_matrix\n" + single, false, 0,
       "ERROR t.pkg - The Inductance Matrix is Banded and requires the 'Bandwidth' keyword.\n"},
  };
  for (const Case& c : cases) {
    const auto r = test::read_lines(matrix_package(4, c.matrix), "t.pkg");
    EXPECT_EQ(r.report, c.expected) << c.matrix;
    const Matrix* m = inductance(r);
    ASSERT_NE(m, nullptr) << c.matrix;
    EXPECT_EQ(m->bandwidth_given, c.given) << c.matrix;
    EXPECT_EQ(m->bandwidth, c.bandwidth) << c.matrix;
    EXPECT_EQ(m->rows.size(), 4u) << c.matrix;
  }
}

// Three pins: the matrix keyword is on line 11; a full row r expects 4 - r values.
TEST(MatrixClose, RowAndColumnCounts) {
  const auto report = [](const std::string& matrix) {
    return test::read_lines(matrix_package(3, matrix), "t.pkg").report;
  };
  test::expect_reports(report, {
      {"[Inductance Matrix] Full_matrix\n[Row] 1\n1 2 3\n[Row] 2\n1 2\n[Row] 3\n1\n", ""},
      // A count of 1 ends the text after "column".
      {"[Inductance Matrix] Full_matrix\n[Row] 1\n1 2 3\n[Row] 2\n1\n[Row] 3\n1\n",
       "ERROR t.pkg (line   18) - Expected 2 columns of Row data for [Row] 2 in Matrix ending "
       "previous to this line, found 1 column\n"},
      {"[Inductance Matrix] Full_matrix\n[Row] 1\n[Row] 2\n1 2\n[Row] 3\n1\n",
       "ERROR t.pkg (line   17) - Expected 3 columns of Row data for [Row] 1 in Matrix ending "
       "previous to this line, found 0 columns.\n"},
      {"[Inductance Matrix] Full_matrix\n[Row] 1\n1 2 3\n[Row] 2\n1 2\n",
       "ERROR t.pkg (line   16) -\n"
       "    Expected 3 Rows, found 2 for Matrix ending previous to this line.\n"},
      {"[Inductance Matrix] Sparse_matrix\n[Row] 1\n1 1\n[Row] 2\n3 1\n[Row] 3\n",
       "ERROR t.pkg (line   17) - [Row] 2 must contain a self-coupled index and entry.\n"
       "ERROR t.pkg (line   17) - Expected at least one column of Row data for [Row] 3 in Matrix "
       "ending previous to this line.\n"},
  });
}

TEST(MatrixClose, AtEndModelDataAndAtTheEndOfTheBlock) {
  // Pins 1 and 2; the capacitance matrix is the last one, closed by [End Model Data] on line 18.
  const std::string tested = test::diagonal_matrix("[Inductance Matrix]", 2) +
                             "[Capacitance Matrix] Sparse_matrix\n[Row] 1\n1 1p\n";
  const auto closed = test::read_lines(matrix_package(2, tested, false), "t.pkg");
  EXPECT_EQ(closed.report,
            "ERROR t.pkg (line   18) -\n"
            "    Expected 2 Rows, found 1 for Matrix ending previous to this line.\n");
  // Without the closing keywords the block's end closes it: at [End] on line 14.
  const auto open = test::read_lines(test::package_head() +
                                         "[Number Of Pins] 1\n[Pin Numbers]\n1\n[Model Data]\n" +
                                         test::diagonal_matrix("[Inductance Matrix]", 1) +
                                         "[Capacitance Matrix] Full_matrix\n[Row] 1\n[End]\n",
                                     "t.pkg");
  EXPECT_EQ(open.report,
            "ERROR t.pkg (line   14) - Expected 1 columns of Row data for [Row] 1 in Matrix ending "
            "previous to this line, found 0 columns.\n"
            "ERROR t.pkg - Required End_Model_Data keyword not found for package P.\n"
            "ERROR t.pkg - Required End_Package_Model keyword not found.\n");
}

// Guards against a matrix an operation cannot apply to; a file cannot reach them.
class MatrixGuard : public ::testing::Test {
 protected:
  void SetUp() override {
    RPT_SetFileNameMode(0);
    RPT_SetStream(out_.get());
    RPT_ResetCounts();
  }
  void TearDown() override { RPT_SetStream(nullptr); }
  // The program bugs reported, each without its file and line.
  std::string bugs() {
    std::istringstream in(out_.text());
    std::string line, kept;
    while (std::getline(in, line)) {
      EXPECT_EQ(line.rfind("PROGRAM BUG", 0), 0u) << line;
      kept += line.substr(line.find(" - ") + 3) + "\n";
    }
    return kept;
  }

  test::MemStream out_;
};

TEST_F(MatrixGuard, NullMatrixOrWrongType) {
  bool flag = false;
  uint32_t value = 0;
  Matrix full, wrap, sparse, unknown;
  full.type = MatrixType::Full;
  wrap.type = MatrixType::BandedWrap;
  sparse.type = MatrixType::Sparse;
  for (const int result :
       {MTX_ResetBandedWrap(nullptr), MTX_IsBandedWrap(nullptr, &flag),
        MTX_GetRowCount(nullptr, &value), MTX_GetBandwidth(nullptr, &value),
        MTX_ResetBandedWrap(&full), MTX_ResetBandedWrap(&wrap), MTX_IsBandedWrap(&sparse, &flag),
        MTX_GetBandwidth(&full, &value), MTX_ChecksColumnCount(&unknown, &flag)})
    EXPECT_EQ(result, 0);
  EXPECT_EQ(bugs(),
            "gpMtx is NULL, cannot reset banded wrap type.\n"
            "gpMtx is NULL, cannot determine banded wrap type.\n"
            "gpMtx is NULL, cannot determine row count.\n"
            "gpMtx is NULL, cannot determine bandwidth.\n"
            "gpMtx->eMatrixType is not a banded type, cannot reset banded wrap type.\n"
            "gpMtx->eMatrixType is alreaded banded wrap\n"
            "gpMtx->eMatrixType is not a banded type, cannot determine banded wrap type.\n"
            "gpMtx is not banded type, cannot determine bandwidth.\n"
            "gpMtx->eMatrixType is unknown, cannot determine CheckColumnCount.\n");
  EXPECT_EQ(full.type, MatrixType::Full);
  EXPECT_EQ(wrap.type, MatrixType::BandedWrap);
}

TEST_F(MatrixGuard, WideningNeverNarrowsARow) {
  Matrix m;
  m.type = MatrixType::Banded;
  m.row_count = 9;
  m.bandwidth = 1;
  m.rows.push_back(MatrixRow{"1", false, 3, {}});
  EXPECT_EQ(MTX_ResetBandedWrap(&m), 0);
  EXPECT_NE(bugs().find(":(uiNewColCount <2> <= pLastRow->uiColumnCount <3>"), std::string::npos);
  EXPECT_EQ(m.type, MatrixType::Banded);

  test::MemStream out;
  RPT_SetStream(out.get());
  m.rows.push_back(MatrixRow{"2", false, 1, {}});
  EXPECT_EQ(MTX_ResetBandedWrap(&m), 0);
  EXPECT_NE(out.text().find(":pRow->uiColumnCount > uiNewColumnCount"), std::string::npos);
  EXPECT_EQ(m.rows[1].column_count, 1u);
}

}  // namespace
}  // namespace tarn
