#include "libibis/src/rngp.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <new>

#include "libibis/src/cmn.h"
#include "libibis/src/rpt.h"

namespace tarn {
namespace {

// Clears `row` and gives it its four entries in line order: x, typ, min, max.
void set_row(RangeRow* row, const double* values,
             const std::array<ValueStatus, kTableRowItems>& statuses) {
  *row = RangeRow{};
  row->x = values[0];
  row->x_status = statuses[0];
  row->typ = values[1];
  row->typ_status = statuses[1];
  row->min = values[2];
  row->min_status = statuses[2];
  row->max = values[3];
  row->max_status = statuses[3];
}

}  // namespace

int row_create_empty(std::unique_ptr<RangeRow>* out) {
  TARN_ASSERT(out != nullptr);
  out->reset(new (std::nothrow) RangeRow);
  if (!*out) {
    CMN_ReportNoMemory();
    return 0;
  }
  return 1;
}

int row_create(std::unique_ptr<RangeRow>* out, double x, double typ, double min, double max,
               bool has_max, bool has_min) {
  if (!row_create_empty(out)) return 0;
  const double values[] = {x, typ, has_min ? min : 0.0, has_max ? max : 0.0};
  constexpr ValueStatus kNumber = ValueStatus::Value;
  set_row(out->get(), values,
          {kNumber, kNumber, has_min ? kNumber : ValueStatus::NA,
           has_max ? kNumber : ValueStatus::NA});
  return 1;
}

int row_parse(std::string_view line, const char* x_label, std::unique_ptr<RangeRow>* out) {
  TARN_ASSERT(x_label != nullptr && out != nullptr);
  if (!row_create_empty(out)) return 0;
  return row_parse_into(line, x_label, out->get());
}

int row_parse_into(std::string_view line, const char* x_label, RangeRow* row) {
  if (row_scan_plain(line, row)) return 1;
  ValueItem items[kTableRowItems];
  const size_t found = CMN_ScanValues(line, kTableRowItems, items);
  return row_from_items(items, found, x_label, row);
}

bool row_scan_plain(std::string_view line, RangeRow* row) {
  TARN_ASSERT(row != nullptr);
  double values[kTableRowItems];
  if (!CMN_ScanPlainValues(line, kTableRowItems, values)) return false;
  constexpr ValueStatus kNumber = ValueStatus::Value;
  set_row(row, values, {kNumber, kNumber, kNumber, kNumber});
  return true;
}

int row_from_items(const ValueItem* items, size_t found, const char* x_label, RangeRow* row) {
  TARN_ASSERT(items != nullptr && x_label != nullptr && row != nullptr);
  *row = RangeRow{};
  // The bulk of every table: four items, each a number or NA, with nothing to report.
  const auto plain = [](const ValueItem& item) {
    return !item.text.empty() && item.result == kNumberValid;
  };
  if (found == kTableRowItems && plain(items[0]) && plain(items[1]) && plain(items[2]) &&
      plain(items[3])) {
    double values[kTableRowItems];
    std::array<ValueStatus, kTableRowItems> statuses;
    for (size_t i = 0; i < kTableRowItems; ++i) {
      values[i] = items[i].value;
      statuses[i] = items[i].is_na ? ValueStatus::NA : ValueStatus::Value;
    }
    set_row(row, values, statuses);
    return 1;
  }
  range_report_item_count(found, 1, x_label);
  int ok = CMN_ReportValue(items[0], x_label, x_label, &row->x, &row->x_status);
  for (size_t i = 0; i < std::size(kCornerFields); ++i) {
    const CornerField& f = kCornerFields[i];
    if (!CMN_ReportValue(items[i + 1], x_label, f.name, &(row->*f.value), &(row->*f.status)))
      ok = 0;
  }
  return ok;
}

int row_append(RowList* list, std::unique_ptr<RangeRow> row, size_t* count_out) {
  TARN_ASSERT(list != nullptr && row != nullptr && count_out != nullptr);
  return row_append(list, *row, count_out);
}

int row_append(RowList* list, const RangeRow& row, size_t* count_out) {
  TARN_ASSERT(list != nullptr && count_out != nullptr);
  std::vector<RangeRow>& rows = list->rows_;
  try {
    rows.push_back(row);
  } catch (const std::bad_alloc&) {
    CMN_ReportNoMemory();
    return 0;
  }
  rows.back().first = rows.size() == 1;
  rows.back().last = true;
  if (rows.size() > 1) rows[rows.size() - 2].last = false;
  *count_out = rows.size();
  return 1;
}

int row_prev(const RangeRow* row, const RangeRow** out) {
  TARN_ASSERT(row != nullptr && out != nullptr);
  if (!row->prev()) return 0;
  *out = row->prev();
  return 1;
}

int row_get_x(const RangeRow* row, double* out) {
  TARN_ASSERT(row != nullptr && out != nullptr);
  if (row->x_status != ValueStatus::Value) return 0;
  *out = row->x;
  return 1;
}

int row_get_typ(const RangeRow* row, double* out) { return range_get_typ(row, out); }
int row_get_min(const RangeRow* row, double* out) { return range_get_min(row, out); }
int row_get_max(const RangeRow* row, double* out) { return range_get_max(row, out); }

EndpointNA rows_endpoint_na(const RowList& rows) {
  EndpointNA na;
  if (rows.empty()) return na;
  const RangeRow& first = *rows.head();
  const RangeRow& last = *rows.tail();
  std::array<bool, 3> given{true, false, false};  // typ is always required
  for (const RangeRow* row = rows.head(); row; row = row->next())
    for (size_t i = 1; i < std::size(kCornerFields); ++i)
      if (row->*kCornerFields[i].status == ValueStatus::Value) given[i] = true;
  for (size_t i = 0; i < std::size(kCornerFields); ++i) {
    const CornerField& f = kCornerFields[i];
    na.first[i] = given[i] && first.*f.status == ValueStatus::NA;
    na.last[i] = given[i] && last.*f.status == ValueStatus::NA;
  }
  return na;
}

}  // namespace tarn
