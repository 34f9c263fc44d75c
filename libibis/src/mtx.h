// The resistance, inductance and capacitance matrices of a package model: their keywords,
// [Bandwidth], the matrix being read and the checks when it closes.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "libibis/src/defs.h"
#include "libibis/src/row.h"

namespace tarn {

/// Storage form. A banded matrix whose rows run past the last column becomes banded wrap
/// (circle-back).
enum class MatrixType : uint8_t { Unknown = 0, Banded = 1, BandedWrap = 2, Sparse = 3, Full = 4 };

enum class MatrixKind : uint8_t { Resistance, Inductance, Capacitance };

struct Matrix {
  MatrixType type = MatrixType::Unknown;
  uint32_t row_count = 0;  // expected rows: the package's Number_of_Pins
  bool bandwidth_given = false;
  uint32_t bandwidth = 0;
  std::vector<MatrixRow> rows;                         // in file order
  std::unordered_map<std::string, uint32_t> row_pins;  // how many rows name each pin
};

/// Forgets the matrix being read.
void MTX_Reset();
/// A matrix keyword with its type word: closes the matrix being read and starts the new one
/// in `*slot`, of `row_count` rows. A second matrix of a kind is reported and ignored, with its
/// [Bandwidth] and [Row] keywords.
void MTX_Keyword(std::unique_ptr<Matrix>* slot, MatrixKind kind, uint32_t row_count,
                 std::string_view type);
/// [Bandwidth]; `before` is the keyword that came before it.
void MTX_Bandwidth(Kw before, std::string_view value);
/// [Row] with its pin, looked up in the package's pin list.
void MTX_Row(std::string_view pin, const PinPositions& positions);
/// A data line under [Row].
void MTX_RowData(std::string_view line, const PinPositions& positions);
/// Closes the matrix being read, checking its rows; nothing when none is open.
void MTX_Close();
/// The check of a whole matrix when its package ends; `label` names it.
void MTX_FinalCheck(const Matrix& matrix, const char* label);

// Each matrix operation below guards against a matrix it cannot apply to (a program bug).

/// Turns a banded matrix into banded wrap and widens every row to bandwidth + 1 slots.
[[nodiscard]] int MTX_ResetBandedWrap(Matrix* matrix);
[[nodiscard]] int MTX_IsBandedWrap(const Matrix* matrix, bool* out);
[[nodiscard]] int MTX_GetRowCount(const Matrix* matrix, uint32_t* out);
[[nodiscard]] int MTX_GetBandwidth(const Matrix* matrix, uint32_t* out);
/// Whether a closing row must have every slot filled (banded and full) or one (sparse).
[[nodiscard]] int MTX_ChecksColumnCount(const Matrix* matrix, bool* out);

}  // namespace tarn
