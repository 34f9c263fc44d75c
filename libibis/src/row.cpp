#include "libibis/src/row.h"

#include <algorithm>
#include <new>

#include "libibis/src/cmn.h"
#include "libibis/src/mtx.h"
#include "libibis/src/rpt.h"

namespace tarn {
namespace {

constexpr size_t kPinLimit = 5;
constexpr size_t kSparseItems = 3;  // pin, value, and one more to see excess data
constexpr char kPinNotFound[] = "Unable to find Pin <%s> in Package Model Pin_Number list.";

std::string str(std::string_view text) { return std::string(text); }

// The pin's position in the package's pin list, 0 when it is not there.
uint32_t position_of(const PinPositions& positions, std::string_view pin) {
  const auto it = positions.find(str(pin));
  return it == positions.end() ? 0 : it->second;
}

// A row value: false (reported) when the line must stop here.
bool read_value(std::string_view text, double* value) {
  const int result = CMN_ParseNumber(text, value);
  if (result == kNumberInvalid) {
    RPT_ErrorAtLine("Unable to convert row data.");
    return false;
  }
  if (result == kNumberSuspicious) RPT_WarningAtLine("Suspicious row data.");
  return true;
}

// Entries stay ordered by slot, so the slot is found by search.
template <class Entries>
auto find_slot(Entries& entries, uint32_t slot) {
  return std::lower_bound(entries.begin(), entries.end(), slot,
                          [](const RowEntry& e, uint32_t s) { return e.slot < s; });
}

bool store_entry(MatrixRow* row, uint32_t slot, double value) {
  if (slot > row->column_count) {
    RPT_BugAtLine("%s:%d:(uiColIndex > pLastRow->uiColumnCount)", __FILE__, __LINE__);
    return false;
  }
  const auto at = find_slot(row->entries, slot);
  try {
    row->entries.insert(at, RowEntry{slot, value});
  } catch (const std::bad_alloc&) {
    RPT_ErrorAtLine("Unable to add row data.");
    return false;
  }
  return true;
}

bool slot_filled(const MatrixRow& row, uint32_t slot) {
  const auto at = find_slot(row.entries, slot);
  return at != row.entries.end() && at->slot == slot;
}

// A banded row cut short at the last column that gets more data wraps around to the first
// columns: the whole matrix turns circle-back, if its band is narrow enough to wrap.
bool wrap_band(Matrix* matrix) {
  uint32_t rows = 0;
  uint32_t bandwidth = 0;
  if (!MTX_GetRowCount(matrix, &rows) || !MTX_GetBandwidth(matrix, &bandwidth)) return false;
  const uint32_t limit = rows > 0 ? (rows - 1) / 2 : 0;
  if (bandwidth > limit) {
    RPT_ErrorAtLine("Bandwidth for this Banded, circle-back matrix exceeds the limit of %u.",
                    limit);
    return false;
  }
  return MTX_ResetBandedWrap(matrix) == 1;
}

// Whether the row has an empty slot for one more value of a full or banded matrix.
bool make_room(Matrix* matrix, const MatrixRow& row) {
  if (row.filled() < row.column_count) return true;
  if (matrix->type == MatrixType::Full) {
    RPT_ErrorAtLine("More row data than allowed for this row.");
    return false;
  }
  uint32_t bandwidth = 0;
  if (!MTX_GetBandwidth(matrix, &bandwidth)) return false;
  const uint64_t band = uint64_t{bandwidth} + 1;
  if (row.column_count >= band) {
    RPT_ErrorAtLine("Only %u columns of data allowed for this Row .", static_cast<unsigned>(band));
    return false;
  }
  return wrap_band(matrix);
}

// Full and banded rows: each value fills the next slot, the first being the diagonal.
void sequential_line(Matrix* matrix, MatrixRow* row, std::string_view line) {
  size_t pos = CMN_SkipSpace(line, 0);
  while (pos < line.size()) {
    const size_t end = CMN_SkipWord(line, pos);
    double value = 0.0;
    if (!read_value(line.substr(pos, end - pos), &value)) return;
    if (!make_room(matrix, *row)) return;
    if (!store_entry(row, row->filled() + 1, value)) return;
    row->self_coupled = true;
    pos = CMN_SkipSpace(line, end);
  }
}

// Sparse rows: a pin naming the column, and its value, on the upper triangle, which starts at
// the row's place in the matrix. The diagonal counts as given once its value is stored.
void sparse_line(const Matrix& matrix, MatrixRow* row, std::string_view line,
                 const PinPositions& positions) {
  ItemList items;
  if (!CMN_SplitLine(line, kSparseItems, 0, &items)) return;
  if (items.found == 0) {
    RPT_ErrorAtLine("No Column Index.");
    return;
  }
  const std::string pin = str(items[0]);
  const uint32_t column = position_of(positions, pin);
  if (column == 0) {
    RPT_ErrorAtLine(kPinNotFound, pin.c_str());
    return;
  }
  if (column < matrix.rows.size()) {
    RPT_ErrorAtLine("This Row Column Index defines an entry in the lower matrix triangle.");
    return;
  }
  if (slot_filled(*row, column)) {
    RPT_ErrorAtLine("Duplicate Row column index %u.", column);
    return;
  }
  if (items.found < 2) {
    RPT_ErrorAtLine("No row data.");
    return;
  }
  double value = 0.0;
  if (!read_value(items[1], &value) || !store_entry(row, column, value)) return;
  if (pin == row->pin) row->self_coupled = true;
  if (items.found > 2)
    RPT_ErrorAtLine(
        "Excessive data <%s>, only Index and Value should be specified for a "
        "Sparse_matrix.",
        str(items[2]).c_str());
}

bool make_row(Matrix* matrix, std::string pin, uint32_t columns) {
  try {
    matrix->rows.push_back(MatrixRow{std::move(pin), false, columns, {}});
    ++matrix->row_pins[matrix->rows.back().pin];
  } catch (const std::bad_alloc&) {
    RPT_ErrorAtLine("Unable to add new matrix row.");
    return false;
  }
  return true;
}

}  // namespace

uint32_t ROW_ColumnCount(const Matrix& matrix) {
  uint32_t rows = 0;
  if (!MTX_GetRowCount(&matrix, &rows)) return 0;
  const uint64_t n = rows;
  const uint64_t r = matrix.rows.size();
  if (r > n) return 0;
  uint32_t bandwidth = 0;
  switch (matrix.type) {
    case MatrixType::Banded:
      if (!MTX_GetBandwidth(&matrix, &bandwidth)) return 0;
      return static_cast<uint32_t>(bandwidth + r + 1 <= n ? bandwidth + 1 : n - r);
    case MatrixType::BandedWrap:
      if (!MTX_GetBandwidth(&matrix, &bandwidth)) return 0;
      return static_cast<uint32_t>(uint64_t{bandwidth} + 1);
    case MatrixType::Sparse: return rows;
    case MatrixType::Full: return static_cast<uint32_t>(n - r);
    default: return 0;
  }
}

bool ROW_Start(Matrix* matrix, std::string_view pin, const PinPositions& positions) {
  TARN_ASSERT(matrix != nullptr);
  // A row without a pin cannot be placed; it is not made.
  if (pin.empty()) {
    RPT_ErrorAtLine("Unknown PIN NUMBER.");
    return false;
  }
  if (pin.size() > kPinLimit) {
    RPT_ErrorAtLine("PIN NUMBER string too long.");
    pin = pin.substr(0, kPinLimit);
  }
  // No slots left: a row past the last one, also of a sparse matrix.
  const uint32_t columns = ROW_ColumnCount(*matrix);
  if (columns == 0) {
    RPT_ErrorAtLine("Unable to add new matrix row, expected column count = 0.");
    return false;
  }
  const std::string name = str(pin);
  const uint32_t expected = position_of(positions, name);
  if (expected == 0)
    RPT_ErrorAtLine(kPinNotFound, name.c_str());
  const auto repeated = matrix->row_pins.find(name);
  for (uint32_t i = 0; repeated != matrix->row_pins.end() && i < repeated->second; ++i)
    RPT_ErrorAtLine("Repeated ROW <%s>.", name.c_str());
  if (!make_row(matrix, name, columns)) return false;
  const auto index = static_cast<uint32_t>(matrix->rows.size());
  if (expected != 0 && expected != index)
    RPT_ErrorAtLine("Expected Pin <%s> at matrix row index %u, found at matrix row index %u.",
                    name.c_str(), expected, index);
  return true;
}

void ROW_Data(Matrix* matrix, std::string_view line, const PinPositions& positions) {
  if (!matrix || matrix->rows.empty()) {
    RPT_BugAtLine("%s:%d:Illegal current matrix.", __FILE__, __LINE__);
    return;
  }
  MatrixRow* row = &matrix->rows.back();
  if (matrix->type == MatrixType::Sparse) sparse_line(*matrix, row, line, positions);
  else sequential_line(matrix, row, line);
}

void ROW_CloseCheck(const MatrixRow& row, bool all_slots) {
  const char* pin = row.pin.c_str();
  if (all_slots && row.filled() < row.column_count) {
    // A count of 1 ends the text right after "column", with no period: kept so.
    const char plural = row.filled() == 1 ? '\0' : 's';
    RPT_ErrorAtLine(
        "Expected %u columns of Row data for [Row] %s in Matrix ending previous to "
        "this line, found %u column%c.",
        row.column_count, pin, row.filled(), plural);
    return;
  }
  if (!all_slots && row.filled() == 0) {
    RPT_ErrorAtLine(
        "Expected at least one column of Row data for [Row] %s in Matrix ending "
        "previous to this line.",
        pin);
    return;
  }
  if (!row.self_coupled)
    RPT_ErrorAtLine("[Row] %s must contain a self-coupled index and entry.", pin);
}

int ROW_GetEntry(const MatrixRow* row, uint32_t slot, double* out) {
  TARN_ASSERT(row != nullptr && out != nullptr);
  const auto at = find_slot(row->entries, slot);
  if (at == row->entries.end() || at->slot != slot) return 0;
  *out = at->value;
  return 1;
}

}  // namespace tarn
