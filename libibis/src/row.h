// [Row] of a package matrix: the row's pin, its column slots and its data lines.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace tarn {

struct Matrix;

/// The position (from 1) of each pin name in a package's pin list; the first of repeated names.
using PinPositions = std::unordered_map<std::string, uint32_t>;

/// A given value and its column slot (from 1).
struct RowEntry {
  uint32_t slot;
  double value;
};

/// One row of the upper triangle. For full and banded rows slot 1 is the diagonal and slot k
/// the k-th column from it; for sparse rows slot k is column k of the matrix. Only the slots
/// the file fills are stored, so a row costs what its data lines hold.
struct MatrixRow {
  std::string pin;  // at most 5 characters
  bool self_coupled = false;
  uint32_t column_count = 0;
  std::vector<RowEntry> entries;  // by slot

  uint32_t filled() const { return static_cast<uint32_t>(entries.size()); }
};

/// The slots a new row of `matrix` gets after the rows it has; 0 when no row fits.
uint32_t ROW_ColumnCount(const Matrix& matrix);
/// The [Row] line, given the pin; appends the row. false (reported) when no row was made.
[[nodiscard]] bool ROW_Start(Matrix* matrix, std::string_view pin, const PinPositions& positions);
/// One data line of the last row of `matrix`.
void ROW_Data(Matrix* matrix, std::string_view line, const PinPositions& positions);
/// The checks of a row when its matrix closes; `all_slots` asks for every slot filled, else
/// for at least one.
void ROW_CloseCheck(const MatrixRow& row, bool all_slots);

/// 1 and the value of a slot when it was given, else 0.
[[nodiscard]] int ROW_GetEntry(const MatrixRow* row, uint32_t slot, double* out);

}  // namespace tarn
