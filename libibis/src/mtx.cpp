#include "libibis/src/mtx.h"

#include <new>
#include <string>

#include "libibis/src/cmn.h"
#include "libibis/src/reading_state.h"
#include "libibis/src/rpt.h"

namespace tarn {
namespace {

struct MatrixState {
  Matrix* current = nullptr;  // the matrix whose [Row] keywords are read
  bool ignoring = false;      // a second matrix of a kind: its keywords and rows are dropped
  bool row_open = false;      // the last [Row] made a row that takes data lines
};

MatrixState g_mtx;
SavedWithReading<MatrixState> g_mtx_saved(&g_mtx);

struct TypeWord {
  const char* word;
  MatrixType type;
};

constexpr TypeWord kTypeWords[] = {
    {"Banded_matrix", MatrixType::Banded},
    {"Sparse_matrix", MatrixType::Sparse},
    {"Full_matrix", MatrixType::Full},
};

const char* duplicate_message(MatrixKind kind) {
  switch (kind) {
    case MatrixKind::Resistance: return "Duplicate Resistance Matrix.";
    case MatrixKind::Inductance: return "Duplicate Inductance Matrix.";
    default: return "Duplicate Capacitance Matrix.";
  }
}

bool is_banded(MatrixType type) {
  return type == MatrixType::Banded || type == MatrixType::BandedWrap;
}

bool is_matrix_keyword(Kw code) {
  return code == Kw::RESISTANCE_MATRIX || code == Kw::INDUCTANCE_MATRIX ||
         code == Kw::CAPACITANCE_MATRIX;
}

void read_type(Matrix* matrix, std::string_view word) {
  if (word.empty()) {
    RPT_ErrorAtLine("Matrix type not specified.");
    return;
  }
  for (const TypeWord& t : kTypeWords) {
    if (CMN_EqualNoCase(word, t.word)) {
      matrix->type = t.type;
      return;
    }
  }
  RPT_ErrorAtLine("Unknown matrix type '%s'.", std::string(word).c_str());
}

// [Bandwidth] belongs right after its matrix keyword.
bool bandwidth_in_place(Kw before) {
  if (before == Kw::BANDWIDTH) {
    RPT_ErrorAtLine("Multiple Bandwidth keywords.");
    return false;
  }
  if (!is_matrix_keyword(before)) {
    RPT_ErrorAtLine("Bandwidth keyword in wrong location.");
    return false;
  }
  return true;
}

void read_bandwidth(Matrix* matrix, std::string_view value) {
  uint32_t bandwidth = 0;
  const int result = CMN_ParseUnsigned(value, &bandwidth);
  if (result == kNumberInvalid) {
    RPT_ErrorAtLine("Bad Bandwidth value.");
    return;
  }
  if (result == kNumberSuspicious) RPT_ErrorAtLine("Suspicious Bandwidth value.");
  // Kept even when too wide: rows then stop at the last column as they would anyway.
  if (bandwidth >= matrix->row_count)
    RPT_ErrorAtLine("Bandwidth <%u> must be less than Number_of_Pins <%u>.", bandwidth,
                    matrix->row_count);
  matrix->bandwidth = bandwidth;
  matrix->bandwidth_given = true;
}

}  // namespace

void MTX_Reset() { g_mtx = MatrixState{}; }

void MTX_Keyword(std::unique_ptr<Matrix>* slot, MatrixKind kind, uint32_t row_count,
                 std::string_view type) {
  TARN_ASSERT(slot != nullptr);
  g_mtx.row_open = false;
  if (*slot) {
    RPT_ErrorAtLine("%s", duplicate_message(kind));
    g_mtx.ignoring = true;
    return;
  }
  MTX_Close();
  g_mtx.ignoring = false;
  slot->reset(new (std::nothrow) Matrix);
  if (!*slot) {
    RPT_ErrorAtLine("Unable to allocate MTX.");
    return;
  }
  (*slot)->row_count = row_count;
  g_mtx.current = slot->get();
  read_type(g_mtx.current, type);
}

// A misplaced or refused [Bandwidth] leaves the matrix without one.
void MTX_Bandwidth(Kw before, std::string_view value) {
  if (!bandwidth_in_place(before) || g_mtx.ignoring || !g_mtx.current) return;
  if (g_mtx.current->type != MatrixType::Banded) {
    RPT_ErrorAtLine("Bandwidth only allowed for Banded Matrices");
    return;
  }
  read_bandwidth(g_mtx.current, value);
}

void MTX_Row(std::string_view pin, const PinPositions& positions) {
  g_mtx.row_open = false;
  if (g_mtx.ignoring) return;
  // Rows belong to an open matrix: none before the first matrix keyword or after
  // [End Model Data].
  if (!g_mtx.current) {
    RPT_ErrorAtLine("Row keyword in wrong location.");
    return;
  }
  // A matrix whose type was refused cannot place its rows; the type was reported.
  if (g_mtx.current->type == MatrixType::Unknown) return;
  g_mtx.row_open = ROW_Start(g_mtx.current, pin, positions);
}

void MTX_RowData(std::string_view line, const PinPositions& positions) {
  // Data of a refused [Row] goes with it.
  if (!g_mtx.row_open) return;
  ROW_Data(g_mtx.current, line, positions);
}

void MTX_Close() {
  Matrix* matrix = g_mtx.current;
  g_mtx = MatrixState{};
  if (!matrix) return;
  const auto found = static_cast<uint32_t>(matrix->rows.size());
  if (found != matrix->row_count)
    RPT_ErrorAtLine("Expected %u Rows, found %u for Matrix ending previous to this line.",
                    matrix->row_count, found);
  if (matrix->rows.empty()) return;
  bool all_slots = false;
  if (!MTX_ChecksColumnCount(matrix, &all_slots)) return;
  for (const MatrixRow& row : matrix->rows) ROW_CloseCheck(row, all_slots);
}

void MTX_FinalCheck(const Matrix& matrix, const char* label) {
  TARN_ASSERT(label != nullptr);
  if (is_banded(matrix.type) && !matrix.bandwidth_given)
    RPT_Error("The %s Matrix is Banded and requires the 'Bandwidth' keyword.", label);
}

int MTX_ResetBandedWrap(Matrix* matrix) {
  if (!matrix) {
    RPT_BugAtLine("gpMtx is NULL, cannot reset banded wrap type.");
    return 0;
  }
  if (!is_banded(matrix->type)) {
    RPT_BugAtLine("gpMtx->eMatrixType is not a banded type, cannot reset banded wrap type.");
    return 0;
  }
  if (matrix->type == MatrixType::BandedWrap) {
    RPT_BugAtLine("gpMtx->eMatrixType is alreaded banded wrap");
    return 0;
  }
  // Circle-back rows all span the band (which is below half the matrix when the wrap is
  // allowed, so the count fits).
  const auto columns = static_cast<uint32_t>(uint64_t{matrix->bandwidth} + 1);
  if (!matrix->rows.empty() && columns <= matrix->rows.back().column_count) {
    RPT_BugAtLine("%s:%d:(uiNewColCount <%u> <= pLastRow->uiColumnCount <%u>", __FILE__, __LINE__,
                  columns, matrix->rows.back().column_count);
    return 0;
  }
  for (const MatrixRow& row : matrix->rows) {
    if (row.column_count > columns) {
      RPT_BugAtLine("%s:%d:pRow->uiColumnCount > uiNewColumnCount", __FILE__, __LINE__);
      return 0;
    }
  }
  matrix->type = MatrixType::BandedWrap;
  for (MatrixRow& row : matrix->rows) row.column_count = columns;
  return 1;
}

int MTX_IsBandedWrap(const Matrix* matrix, bool* out) {
  TARN_ASSERT(out != nullptr);
  if (!matrix) {
    RPT_BugAtLine("gpMtx is NULL, cannot determine banded wrap type.");
    return 0;
  }
  if (!is_banded(matrix->type)) {
    RPT_BugAtLine("gpMtx->eMatrixType is not a banded type, cannot determine banded wrap type.");
    return 0;
  }
  *out = matrix->type == MatrixType::BandedWrap;
  return 1;
}

int MTX_GetRowCount(const Matrix* matrix, uint32_t* out) {
  TARN_ASSERT(out != nullptr);
  if (!matrix) {
    RPT_BugAtLine("gpMtx is NULL, cannot determine row count.");
    return 0;
  }
  *out = matrix->row_count;
  return 1;
}

int MTX_GetBandwidth(const Matrix* matrix, uint32_t* out) {
  TARN_ASSERT(out != nullptr);
  if (!matrix) {
    RPT_BugAtLine("gpMtx is NULL, cannot determine bandwidth.");
    return 0;
  }
  if (!is_banded(matrix->type)) {
    RPT_BugAtLine("gpMtx is not banded type, cannot determine bandwidth.");
    return 0;
  }
  *out = matrix->bandwidth;
  return 1;
}

int MTX_ChecksColumnCount(const Matrix* matrix, bool* out) {
  TARN_ASSERT(matrix != nullptr && out != nullptr);
  if (matrix->type == MatrixType::Unknown) {
    RPT_BugAtLine("gpMtx->eMatrixType is unknown, cannot determine CheckColumnCount.");
    return 0;
  }
  *out = matrix->type != MatrixType::Sparse;
  return 1;
}

}  // namespace tarn
