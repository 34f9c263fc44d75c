// Typ/min/max ranges: one keyword's or subparameter's triple of values, each absent, a
// number or "NA", with the parsing of such a line and the corner selection every user shares.
#pragma once

#include <memory>
#include <string_view>

#include "libibis/src/defs.h"
#include "libibis/src/rpt.h"

namespace tarn {

/// Corner codes of the reader (the boundary's eTypMinMax numbers them differently).
enum Corner : int { kCornerMin = 0, kCornerTyp = 1, kCornerMax = 2 };

/// A typ/min/max triple; a value is meaningful only with the status Value. The statuses sit
/// together so that a table row stays small.
struct Range {
  double typ = 0.0;
  double min = 0.0;
  double max = 0.0;
  ValueStatus typ_status = ValueStatus::Absent;
  ValueStatus min_status = ValueStatus::Absent;
  ValueStatus max_status = ValueStatus::Absent;
};

/// One column of a range, so that a rule is written once and run over the three corners.
struct CornerField {
  Corner corner;
  double Range::*value;
  ValueStatus Range::*status;
  const char* name;        // in entry messages: "Typical"
  const char* lower_name;  // in missing-column messages: "typical"
};

/// The columns in the order a line gives them: typ, min, max.
inline constexpr CornerField kCornerFields[] = {
    {kCornerTyp, &Range::typ, &Range::typ_status, "Typical", "typical"},
    {kCornerMin, &Range::min, &Range::min_status, "Minimum", "minimum"},
    {kCornerMax, &Range::max, &Range::max_status, "Maximum", "maximum"},
};

/// The column of a corner; any other corner code gives the typical one.
inline const CornerField& range_field(int corner) {
  return kCornerFields[corner == kCornerMin ? 1 : corner == kCornerMax ? 2 : 0];
}

/// A zero-filled range (all three absent); 0 when it cannot be allocated.
[[nodiscard]] int range_create(std::unique_ptr<Range>* out);
/// Parses the typ, min and max items of `line` into a new range in `*out`. Every problem is
/// reported at the line; 0 when an entry was invalid (that entry stays absent, the range is
/// still stored) or the range could not be made (`*out` stays null).
[[nodiscard]] int range_parse(std::string_view line, const char* label, std::unique_ptr<Range>* out);

/// 1 and the value when the entry holds a number, else 0.
[[nodiscard]] int range_get_typ(const Range* range, double* out);
[[nodiscard]] int range_get_min(const Range* range, double* out);
[[nodiscard]] int range_get_max(const Range* range, double* out);

/// The values of a corner for comparing two ranges: where only one side gives a minimum or
/// maximum, the other side's typical value stands in. 0 when neither side gives the corner (the
/// comparison would repeat the typical one) or a side holds no number to use.
[[nodiscard]] int range_select_pair(const Range& a, const Range& b, Corner corner, double* a_out,
                                    double* b_out);
/// Warns when all three are numbers and the typical value lies outside min and max (in
/// either order).
void range_check_between(const Range& range);

/// Reads one entry: an empty text stays absent, "NA" and numbers take their status; an
/// invalid text is reported and gives 0.
int range_parse_entry(std::string_view text, const char* corner_name, const char* label,
                      double* value, ValueStatus* status);
/// Reports the columns that a line of `found` items leaves out, or too many items, for a
/// line that holds `leading` items before its typ column.
void range_report_item_count(size_t found, size_t leading, const char* label);

// The curve checks ask for corners of every row many times over: these stay in line.

/// The status and value of a corner; a code other than minimum or maximum names the typical.
inline ValueStatus range_corner_status(const Range& range, int corner) {
  if (corner == kCornerMin) return range.min_status;
  if (corner == kCornerMax) return range.max_status;
  return range.typ_status;
}
inline double range_corner_value(const Range& range, int corner) {
  if (corner == kCornerMin) return range.min;
  if (corner == kCornerMax) return range.max;
  return range.typ;
}

/// Whether a corner's entry holds a number.
inline bool range_corner_valid(const Range& range, Corner corner) {
  return range_corner_status(range, corner) == ValueStatus::Value;
}

/// The entry range_select reads: the corner's when it holds a number, else the typical one's
/// when that does, else null. Any other corner code reads the typical entry.
inline const double* range_pick(const Range& range, int corner) {
  if (corner == kCornerMin && range.min_status == ValueStatus::Value) return &range.min;
  if (corner == kCornerMax && range.max_status == ValueStatus::Value) return &range.max;
  return range.typ_status == ValueStatus::Value ? &range.typ : nullptr;
}

/// The value for a corner, falling back to the typical one when the minimum or maximum holds
/// no number. 0 when nothing holds a number.
[[nodiscard]] inline int range_select(const Range* range, int corner, double* out) {
  TARN_ASSERT(range != nullptr && out != nullptr);
  const double* value = range_pick(*range, corner);
  if (!value) return 0;
  *out = *value;
  return 1;
}

}  // namespace tarn
