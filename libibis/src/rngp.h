// Table rows: an independent value (the voltage of a VI row, the time of a waveform row) with
// a typ/min/max triple, kept in file order by the table that owns them.
#pragma once

#include <cstddef>
#include <memory>
#include <string_view>
#include <vector>

#include "libibis/src/rng.h"

namespace tarn {

/// One row of a table. The links are for walking; the owning RowList keeps the rows alive.
struct RangeRow : Range {
  RangeRow* next = nullptr;
  RangeRow* prev = nullptr;
  double x = 0.0;
  ValueStatus x_status = ValueStatus::Absent;
};

/// The rows of one table in file order. Rows never move once appended, so their links stay
/// valid; the list is freed without recursion however long it is.
class RowList {
 public:
  RangeRow* head() const { return rows_.empty() ? nullptr : rows_.front().get(); }
  RangeRow* tail() const { return rows_.empty() ? nullptr : rows_.back().get(); }
  size_t size() const { return rows_.size(); }
  bool empty() const { return rows_.empty(); }

 private:
  friend int row_append(RowList* list, std::unique_ptr<RangeRow> row, size_t* count_out);
  std::vector<std::unique_ptr<RangeRow>> rows_;
};

/// A row of numbers: `x` and `typ` are values; `min` and `max` are values when their flag is
/// set, else "NA" (0.0). 0 when the row cannot be allocated.
[[nodiscard]] int row_create(std::unique_ptr<RangeRow>* out, double x, double typ, double min,
                             double max, bool has_max, bool has_min);
/// A zero-filled row.
[[nodiscard]] int row_create_empty(std::unique_ptr<RangeRow>* out);
/// Parses a line of x, typ, min and max into a new row in `*out`, reporting missing or extra
/// items and bad entries at the line. 0 when an entry was invalid (it stays absent and the
/// row is still made) or the row could not be made (`*out` stays null).
[[nodiscard]] int row_parse(std::string_view line, const char* x_label,
                            std::unique_ptr<RangeRow>* out);
/// Appends at the end and gives the number of rows now in the list; 0 when it cannot grow.
[[nodiscard]] int row_append(RowList* list, std::unique_ptr<RangeRow> row, size_t* count_out);
/// The preceding row; 0 at the first.
[[nodiscard]] int row_prev(const RangeRow* row, const RangeRow** out);

/// 1 and the value when the entry holds a number, else 0.
[[nodiscard]] int row_get_x(const RangeRow* row, double* out);
[[nodiscard]] int row_get_typ(const RangeRow* row, double* out);
[[nodiscard]] int row_get_min(const RangeRow* row, double* out);
[[nodiscard]] int row_get_max(const RangeRow* row, double* out);
/// 1 when the entry of the corner (0 minimum, 1 typical, 2 maximum) holds a number.
int row_corner_valid(const RangeRow* row, int corner);

}  // namespace tarn
