#include "libibis/src/difpin.h"

#include <iterator>
#include <new>
#include <unordered_map>

#include "libibis/src/cmn.h"
#include "libibis/src/pin.h"
#include "libibis/src/reading_state.h"
#include "libibis/src/rng.h"
#include "libibis/src/rpt.h"

namespace tarn {
namespace {

constexpr size_t kRequiredHeaders = 3;  // inv_pin, vdiff, tdelay_typ
constexpr int kShortColumns = 4;
constexpr int kLongColumns = 6;
constexpr size_t kRowItems = 6;

constexpr const char* kHeaders[] = {"inv_pin", "vdiff", "tdelay_typ", "tdelay_min", "tdelay_max"};

// The value columns, after the two pins.
struct ValueColumn {
  const char* name;
  DiffPinValue DiffPinRow::*field;
  const char* missing;  // the error when the row lacks it; null when it may be left out
};

constexpr ValueColumn kValueColumns[] = {
    {"vdiff", &DiffPinRow::vdiff, "No vdiff column entry."},
    {"tdelay_typ", &DiffPinRow::tdelay_typ, "No tdelay_typ column entry."},
    {"tdelay_min", &DiffPinRow::tdelay_min, nullptr},
    {"tdelay_max", &DiffPinRow::tdelay_max, nullptr},
};

struct DiffPinState {
  ItemList items;  // scratch, reused row after row
};

DiffPinState g_difpin;
SavedWithReading<DiffPinState> g_difpin_saved(&g_difpin);

void read_value(std::string_view text, const ValueColumn& column, DiffPinRow* row) {
  if (text.empty()) {
    if (column.missing) RPT_ErrorAtLine("%s", column.missing);
    return;
  }
  DiffPinValue& v = row->*column.field;
  bool is_na = false;
  switch (CMN_GetValueOrNA(text, &v.value, &is_na)) {
    case kNumberInvalid: RPT_ErrorAtLine("Bad value for %s column.", column.name); return;
    case kNumberSuspicious:
      RPT_WarningAtLine("Suspicious value for %s column.", column.name);
      break;
    case kNumberValid: break;
    default:
      RPT_BugAtLine("Unknown value returned by CMN_GetValueOrNA(). %s %d", __FILE__, __LINE__);
      return;
  }
  v.status = is_na ? ValueStatus::NA : ValueStatus::Value;
}

void check_delays(const DiffPinRow& row) {
  Range delays;
  delays.typ = row.tdelay_typ.value;
  delays.typ_status = row.tdelay_typ.status;
  delays.min = row.tdelay_min.value;
  delays.min_status = row.tdelay_min.status;
  delays.max = row.tdelay_max.value;
  delays.max_status = row.tdelay_max.status;
  range_check_between(delays);
}

void check_row_columns(const DiffPinList& list, size_t found) {
  if (found != kShortColumns && found != kLongColumns)
    RPT_ErrorAtLine("Diff_Pin data line column count must be 4 or 6.");
  else if (found == kLongColumns && list.columns != kLongColumns)
    RPT_ErrorAtLine("When using 6 columns, the tdelay_min and tdelay_max headers must be used.");
}

// -- the end of the file ---------------------------------------------------------------------

using FirstRow = std::unordered_map<std::string_view, size_t>;  // a name's first row

void check_declared(const std::string& component, const DiffPinRow& row, const PinList& pins) {
  const Pin* pin = nullptr;
  if (!row.pin.empty() && !PIN_Find(&pins, row.pin, &pin))
    RPT_Error("Component '%s': Diff_Pin '%s' not previously declared in Pin section.",
              component.c_str(), row.pin.c_str());
  if (!row.inv_pin.empty() && !PIN_Find(&pins, row.inv_pin, &pin))
    RPT_Error("Component '%s': inv_pin '%s' not previously declared in Pin section.",
              component.c_str(), row.inv_pin.c_str());
}

// Records the name's row; false when an earlier row named it in the same column.
bool first_in_column(FirstRow* seen, const std::string& name, size_t row) {
  return name.empty() || seen->emplace(name, row).second;
}

// Whether another row named it in the other column before this one.
bool used_before_elsewhere(const FirstRow& seen, const std::string& name, size_t row) {
  const auto it = seen.find(name);
  return it != seen.end() && it->second < row;
}

}  // namespace

void DIFPIN_Reset() { g_difpin = DiffPinState{}; }

int DIFPIN_KeywordLine(DiffPinList* list, std::string_view headers) {
  TARN_ASSERT(list != nullptr);
  if (list->declared) {
    RPT_ErrorAtLine("Duplicate Diff_Pin keyword found.");
    return 0;
  }
  list->declared = true;
  ItemList& items = g_difpin.items;
  if (!CMN_SplitLine(headers, std::size(kHeaders), 0, &items)) return 1;
  if (CMN_PinTableColumns(items, "Diff_Pins", "Diff_Pins", kShortColumns, kLongColumns,
                          &list->columns))
    CMN_CheckColumnHeaders(items, kHeaders, kRequiredHeaders);
  return 1;
}

int DIFPIN_Row(DiffPinList* list, std::string_view line) {
  TARN_ASSERT(list != nullptr);
  ItemList& items = g_difpin.items;
  if (!CMN_SplitLine(line, kRowItems, 0, &items)) return 0;
  if (items.found > kRowItems) RPT_ErrorAtLine("Too many Diff Pin data columns.");
  DiffPinRow row;
  row.items = static_cast<int>(items.found);
  CMN_CopyRowName(&row.pin, items[0], kPinNameLimit, "Diff_Pin column",
                  "No Diff_Pin column entry.");
  CMN_CopyRowName(&row.inv_pin, items[1], kPinNameLimit, "inv_pin column",
                  "No inv_pin column entry.");
  if (!row.pin.empty() && row.pin == row.inv_pin)
    RPT_ErrorAtLine("Diff_Pin column pin same as inv_pin column pin.");
  for (size_t c = 0; c < std::size(kValueColumns); ++c)
    read_value(items[2 + c], kValueColumns[c], &row);
  check_delays(row);
  check_row_columns(*list, items.found);
  try {
    list->rows.push_back(std::move(row));
  } catch (const std::bad_alloc&) {
    RPT_ErrorAtLine("Unable to alloc DIFPIN.");
    return 0;
  }
  return 1;
}

void DIFPIN_EndOfFile(std::string_view component, const DiffPinList& list, const PinList& pins) {
  const std::string name(component);
  const char* c = name.c_str();
  FirstRow pins_seen;
  FirstRow inv_pins_seen;
  for (size_t i = 0; i < list.rows.size(); ++i) {
    const DiffPinRow& row = list.rows[i];
    check_declared(name, row, pins);
    if (!first_in_column(&pins_seen, row.pin, i))
      RPT_Error("Component '%s': Diff_Pin '%s' is not unique.", c, row.pin.c_str());
    if (!first_in_column(&inv_pins_seen, row.inv_pin, i))
      RPT_Error("Component '%s': inv_pin '%s' is not unique.", c, row.inv_pin.c_str());
    if (used_before_elsewhere(pins_seen, row.inv_pin, i))
      RPT_Error("Component '%s': Inv_pin '%s' already in use as a Diff_pin.", c,
                row.inv_pin.c_str());
    if (used_before_elsewhere(inv_pins_seen, row.pin, i))
      RPT_Error("Component '%s': Diff_pin '%s' already in use as an inv_pin.", c, row.pin.c_str());
  }
}

int DIFPIN_GetValue(const DiffPinValue* value, double* out) {
  TARN_ASSERT(value != nullptr && out != nullptr);
  if (value->status != ValueStatus::Value) return 0;
  *out = value->value;
  return 1;
}

int DIFPIN_GetPin(const DiffPinRow* row, std::string_view* out) {
  TARN_ASSERT(row != nullptr);
  return CMN_GetText(row->pin, out);
}

int DIFPIN_GetInvPin(const DiffPinRow* row, std::string_view* out) {
  TARN_ASSERT(row != nullptr);
  return CMN_GetText(row->inv_pin, out);
}

int DIFPIN_GetColumns(const DiffPinList* list, int* out) {
  TARN_ASSERT(list != nullptr && out != nullptr);
  if (!list->declared) return 0;
  *out = list->columns;
  return 1;
}

}  // namespace tarn
