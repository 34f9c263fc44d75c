#include "libibis/src/rng.h"

#include <new>

#include "libibis/src/cmn.h"
#include "libibis/src/rpt.h"

namespace tarn {
namespace {

constexpr size_t kRangeItems = 3;

int get_entry(const Range* range, Corner corner, double* out) {
  TARN_ASSERT(range != nullptr && out != nullptr);
  if (!range_corner_valid(*range, corner)) return 0;
  *out = range->*range_field(corner).value;
  return 1;
}

}  // namespace

int range_create(std::unique_ptr<Range>* out) {
  TARN_ASSERT(out != nullptr);
  out->reset(new (std::nothrow) Range);
  if (!*out) {
    CMN_ReportNoMemory();
    return 0;
  }
  return 1;
}

int range_parse_entry(std::string_view text, const char* corner_name, const char* label,
                      double* value, ValueStatus* status) {
  *status = ValueStatus::Absent;
  return CMN_ParseValueField(text, label, corner_name, value, status);
}

void range_report_item_count(size_t found, size_t leading, const char* label) {
  const size_t wanted = leading + kRangeItems;
  if (found > wanted) {
    CMN_ReportItemCount(found, label, wanted);
    return;
  }
  const size_t given = found > leading ? found - leading : 0;
  for (size_t i = given; i < kRangeItems; ++i)
    RPT_ErrorAtLine(kNoValueProvided, kCornerFields[i].lower_name, label);
}

int range_parse(std::string_view line, const char* label, std::unique_ptr<Range>* out) {
  TARN_ASSERT(label != nullptr && out != nullptr);
  ItemList items;
  if (!CMN_SplitLine(line, kRangeItems, 0, &items)) {
    CMN_ReportUnparsed(label);
    return 0;
  }
  range_report_item_count(items.found, 0, label);
  if (!range_create(out)) return 0;
  Range& range = **out;
  int ok = 1;
  for (size_t i = 0; i < kRangeItems; ++i) {
    const CornerField& f = kCornerFields[i];
    if (!range_parse_entry(items[i], f.name, label, &(range.*f.value), &(range.*f.status))) ok = 0;
  }
  range_check_between(range);
  return ok;
}

// Min above max is legal, so typ only has to lie between the two in either order.
void range_check_between(const Range& range) {
  for (const CornerField& f : kCornerFields)
    if (range.*f.status != ValueStatus::Value) return;
  const bool below_both = range.typ < range.min && range.typ < range.max;
  const bool above_both = range.typ > range.min && range.typ > range.max;
  if (below_both || above_both) RPT_WarningAtLine("Typ value is not in between min and max ");
}

int range_get_typ(const Range* range, double* out) { return get_entry(range, kCornerTyp, out); }
int range_get_min(const Range* range, double* out) { return get_entry(range, kCornerMin, out); }
int range_get_max(const Range* range, double* out) { return get_entry(range, kCornerMax, out); }

int range_select(const Range* range, int corner, double* out) {
  TARN_ASSERT(range != nullptr && out != nullptr);
  const double* value = range_pick(*range, corner);
  if (!value) return 0;
  *out = *value;
  return 1;
}

int range_select_pair(const Range& a, const Range& b, Corner corner, double* a_out,
                      double* b_out) {
  TARN_ASSERT(a_out != nullptr && b_out != nullptr);
  if (corner != kCornerTyp && !range_corner_valid(a, corner) && !range_corner_valid(b, corner))
    return 0;
  return range_select(&a, corner, a_out) && range_select(&b, corner, b_out) ? 1 : 0;
}

}  // namespace tarn
