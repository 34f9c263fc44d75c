// Table rows: an independent value (the voltage of a VI row, the time of a waveform row) with
// a typ/min/max triple, kept in file order by the table that owns them.
#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "libibis/src/cmn.h"
#include "libibis/src/rng.h"

namespace tarn {

/// One row of a table. A table keeps its rows side by side, so a row finds its neighbours
/// from two flags instead of two pointers: a row costs 48 bytes rather than 64.
struct RangeRow : Range {
  ValueStatus x_status = ValueStatus::Absent;
  bool first = true;  // no row before it in its table
  bool last = true;   // no row after it
  double x = 0.0;

  const RangeRow* next() const { return last ? nullptr : this + 1; }
  const RangeRow* prev() const { return first ? nullptr : this - 1; }
};

/// The rows of one table in file order, in one block. Appending may move the rows: pointers
/// to them hold only once the table is complete.
class RowList {
 public:
  RowList() = default;
  RowList(const RowList&) = delete;
  RowList& operator=(const RowList&) = delete;
  RowList(RowList&&) noexcept = default;
  RowList& operator=(RowList&&) noexcept = default;

  const RangeRow* head() const { return rows_.empty() ? nullptr : &rows_.front(); }
  const RangeRow* tail() const { return rows_.empty() ? nullptr : &rows_.back(); }
  size_t size() const { return rows_.size(); }
  bool empty() const { return rows_.empty(); }
  /// Once the table is complete: the block trimmed to just its rows, so a kept document costs
  /// little more than its rows.
  void shrink_to_fit() { rows_.shrink_to_fit(); }

 private:
  friend int row_append(RowList* list, const RangeRow& row, size_t* count_out);

  std::vector<RangeRow> rows_;
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
/// The same into a row the caller holds (cleared first), for tables read row after row.
[[nodiscard]] int row_parse_into(std::string_view line, const char* x_label, RangeRow* row);
/// The bulk of every table: a line of four numbers, none of them "NA" and nothing to report,
/// read straight into `row` (cleared first). False, with `row` untouched, for any other line.
[[nodiscard]] bool row_scan_plain(std::string_view line, RangeRow* row);
/// The same from the items of a line that CMN_ScanValues has read (`found` items on the line).
[[nodiscard]] int row_from_items(const ValueItem* items, size_t found, const char* x_label,
                                 RangeRow* row);
/// The items a table row reads: x, typ, min, max.
inline constexpr size_t kTableRowItems = 4;
/// Appends at the end and gives the number of rows now in the list; 0 when it cannot grow.
[[nodiscard]] int row_append(RowList* list, std::unique_ptr<RangeRow> row, size_t* count_out);
/// The same with a copy of `row`.
[[nodiscard]] int row_append(RowList* list, const RangeRow& row, size_t* count_out);
/// The preceding row; 0 at the first.
[[nodiscard]] int row_prev(const RangeRow* row, const RangeRow** out);

/// 1 and the value when the entry holds a number, else 0.
[[nodiscard]] int row_get_x(const RangeRow* row, double* out);
[[nodiscard]] int row_get_typ(const RangeRow* row, double* out);
[[nodiscard]] int row_get_min(const RangeRow* row, double* out);
[[nodiscard]] int row_get_max(const RangeRow* row, double* out);
/// 1 when the entry of the corner (0 minimum, 1 typical, 2 maximum) holds a number.
inline int row_corner_valid(const RangeRow* row, int corner) {
  TARN_ASSERT(row != nullptr);
  if (corner != kCornerMin && corner != kCornerTyp && corner != kCornerMax) return 0;
  return range_corner_valid(*row, static_cast<Corner>(corner)) ? 1 : 0;
}

/// The entries of a table's first and last rows that are "NA" where a number is needed: the
/// typical entry always, the minimum or maximum when some row of the table gives one. Indexed
/// like kCornerFields (typ, min, max).
struct EndpointNA {
  std::array<bool, 3> first{};
  std::array<bool, 3> last{};
};
EndpointNA rows_endpoint_na(const RowList& rows);
/// Calls `report(position, field)` for each such entry, position "First" or "Last", first row
/// first and each row in the order typ, min, max.
template <class Report>
void rows_for_each_endpoint_na(const RowList& rows, Report report) {
  const EndpointNA na = rows_endpoint_na(rows);
  for (size_t i = 0; i < na.first.size(); ++i)
    if (na.first[i]) report("First", kCornerFields[i]);
  for (size_t i = 0; i < na.last.size(); ++i)
    if (na.last[i]) report("Last", kCornerFields[i]);
}

}  // namespace tarn
