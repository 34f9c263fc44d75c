#include "libibis/src/pinmpg.h"

#include <iterator>
#include <new>

#include "libibis/src/cmn.h"
#include "libibis/src/newer.h"
#include "libibis/src/pin.h"
#include "libibis/src/reading_state.h"
#include "libibis/src/rpt.h"

namespace tarn {
namespace {

constexpr size_t kBusNameLimit = 15;
constexpr size_t kRequiredHeaders = 2;  // pulldown_ref, pullup_ref
constexpr int kShortColumns = 3;
constexpr int kLongColumns = 5;
constexpr size_t kRowItems = 1 + kPinMappingRefs;

constexpr const char* kHeaders[kPinMappingRefs] = {"pulldown_ref", "pullup_ref", "gnd_clamp_ref",
                                                   "power_clamp_ref"};
constexpr NewerName kExtRef[] = {{"ext_ref", 41}};

struct PinMappingState {
  ItemList items;  // scratch, reused row after row
};

PinMappingState g_pinmpg;
SavedWithReading<PinMappingState> g_pinmpg_saved(&g_pinmpg);

// "NC" names no bus; it is how a row says a structure is not connected.
bool names_bus(std::string_view ref) { return !ref.empty() && !CMN_EqualNoCase(ref, "NC"); }

// A bus name is free text, but "NA" is a value, not a bus: a row that means no connection
// says NC.
bool acceptable_bus_name(std::string_view text) { return !CMN_EqualNoCase(text, "NA"); }

void read_ref(std::string_view text, size_t column, PinMappingRow* row) {
  if (text.empty()) {
    if (column == kPulldownRef) RPT_ErrorAtLine("No pulldown_ref data.");
    else if (column == kPullupRef) RPT_ErrorAtLine("No pullup_ref data.");
    return;
  }
  if (!acceptable_bus_name(text)) {
    RPT_ErrorAtLine("%s is an invalid Pin_Mapping column entry.", std::string(text).c_str());
    return;
  }
  CMN_CopyField(&row->refs[column], text, kBusNameLimit, kHeaders[column]);
}

// The ext_ref column after the four of IBIS 3.2 is dropped from the headers it was split into.
void read_past_ext_ref(PinMapping* mapping, ItemList* items) {
  if (items->found != std::size(kHeaders) + 1 || !CMN_EqualNoCase(items->items.back(), "ext_ref") ||
      !NEWER_ReadPast(kExtRef, "ext_ref"))
    return;
  mapping->ext_ref = true;
  items->items.pop_back();
  --items->found;
}

void check_row_columns(const PinMapping& mapping, size_t found) {
  if (mapping.ext_ref && found == kLongColumns + 1) found = kLongColumns;
  if (found != kShortColumns && found != kLongColumns)
    RPT_ErrorAtLine("Pin Mapping data lines must contain either 3 or 5 columns.");
  else if (found == kLongColumns && mapping.columns != kLongColumns)
    RPT_ErrorAtLine("When 5 columns are specified, the headings gnd_clamp_ref and "
                    "power_clamp_ref must be used.");
}

int add_row(PinMapping* mapping, PinMappingRow&& row) {
  if (row.pin.empty()) return 0;
  if (mapping->index.count(row.pin) != 0) {
    RPT_ErrorAtLine("Duplicate Pin Mapping Pin.");
    return 0;
  }
  try {
    mapping->index.emplace(row.pin, mapping->rows.size());
    mapping->rows.push_back(std::move(row));
  } catch (const std::bad_alloc&) {
    mapping->index.erase(row.pin);
    RPT_ErrorAtLine("Unable to alloc new PINMPG.");
    return 0;
  }
  return 1;
}

// -- the end of the file ---------------------------------------------------------------------

enum class PinKind : uint8_t { Undeclared, Signal, Power, Gnd, NoConnect };

PinKind pin_kind(const PinList& pins, std::string_view name) {
  const Pin* pin = nullptr;
  if (!PIN_Find(&pins, name, &pin)) return PinKind::Undeclared;
  if (CMN_EqualNoCase(pin->model, "POWER")) return PinKind::Power;
  if (CMN_EqualNoCase(pin->model, "GND")) return PinKind::Gnd;
  if (CMN_EqualNoCase(pin->model, "NC")) return PinKind::NoConnect;
  return PinKind::Signal;
}

// Whether the row names a bus in any column but `allowed` (none: every column counts).
bool names_bus_besides(const PinMappingRow& row, size_t allowed) {
  for (size_t c = 0; c < kPinMappingRefs; ++c)
    if (c != allowed && names_bus(row.refs[c])) return true;
  return false;
}

void check_row(const std::string& component, const PinMappingRow& row, PinKind kind) {
  const char* pin = row.pin.c_str();
  switch (kind) {
    case PinKind::Undeclared:
      RPT_Error("Component '%s': Pin Mapping Pin '%s' not previously declared in Pin section.",
                component.c_str(), pin);
      break;
    case PinKind::Power:
      if (names_bus_besides(row, kPullupRef))
        RPT_Warning("Pin %s is a POWER pin. Usually only has Pullup_ref in Pin Mapping", pin);
      break;
    case PinKind::Gnd:
      if (names_bus_besides(row, kPulldownRef))
        RPT_Warning("Pin %s is a GND pin. Usually only has Pulldown_ref in Pin Mapping", pin);
      break;
    case PinKind::NoConnect:
      if (names_bus_besides(row, kPinMappingRefs))
        RPT_Warning("Pin %s is NC. Should not have any references in Pin Mapping", pin);
      break;
    case PinKind::Signal: break;
  }
}

// What the rows say of one bus.
struct BusUse {
  bool on_power_pin = false;  // named in the row of a POWER pin
  bool on_gnd_pin = false;
  std::array<bool, kPinMappingRefs> in_column{};
  std::array<bool, kPinMappingRefs> reported{};  // the column's checks of this bus ran
  bool reported_both_pulls = false;
};

using BusMap = std::unordered_map<std::string_view, BusUse>;

BusMap gather_buses(const PinMapping& mapping, const std::vector<PinKind>& kinds) {
  BusMap buses;
  for (size_t r = 0; r < mapping.rows.size(); ++r) {
    for (size_t c = 0; c < kPinMappingRefs; ++c) {
      const std::string& ref = mapping.rows[r].refs[c];
      if (!names_bus(ref)) continue;
      BusUse& bus = buses[ref];
      bus.in_column[c] = true;
      if (kinds[r] == PinKind::Power) bus.on_power_pin = true;
      if (kinds[r] == PinKind::Gnd) bus.on_gnd_pin = true;
    }
  }
  return buses;
}

bool pulls_to_ground(size_t column) { return column == kPulldownRef || column == kGndClampRef; }

// Each bus once per column in which it is named: it must reach a rail pin, and the rail
// should suit the column.
void check_bus(const std::string& component, const std::string& ref, size_t column,
               const BusUse& bus) {
  const char* c = component.c_str();
  const char* header = kHeaders[column];
  if (!bus.on_power_pin && !bus.on_gnd_pin)
    RPT_Error("Component '%s': Pin Mapping %s entry '%s' is not connected to at least one pin "
              "whose model_name is POWER or GND.",
              c, header, ref.c_str());
  else if (pulls_to_ground(column) && bus.on_power_pin)
    RPT_Warning("Component '%s': Pin Mapping '%s': %s entry is usually connected to GND.", c,
                ref.c_str(), header);
  else if (!pulls_to_ground(column) && bus.on_gnd_pin)
    RPT_Warning("Component '%s': Pin Mapping '%s': %s entry is usually connected to POWER.", c,
                ref.c_str(), header);
}

void check_buses(const std::string& component, const PinMapping& mapping, BusMap& buses) {
  for (const PinMappingRow& row : mapping.rows) {
    for (size_t c = 0; c < kPinMappingRefs; ++c) {
      if (!names_bus(row.refs[c])) continue;
      BusUse& bus = buses[row.refs[c]];
      if (bus.reported[c]) continue;
      bus.reported[c] = true;
      check_bus(component, row.refs[c], c, bus);
    }
  }
  for (const PinMappingRow& row : mapping.rows) {
    const std::string& ref = row.refs[kPulldownRef];
    if (!names_bus(ref)) continue;
    BusUse& bus = buses[ref];
    if (!bus.in_column[kPullupRef] || bus.reported_both_pulls) continue;
    bus.reported_both_pulls = true;
    RPT_Warning("Pulldown Reference %s is also used as a Pullup Reference", ref.c_str());
  }
}

}  // namespace

void PINMPG_Reset() { g_pinmpg = PinMappingState{}; }

int PINMPG_KeywordLine(PinMapping* mapping, std::string_view headers) {
  TARN_ASSERT(mapping != nullptr);
  if (mapping->declared) {
    RPT_ErrorAtLine("Duplicate Pin_Mapping keyword found.");
    return 0;
  }
  mapping->declared = true;
  ItemList& items = g_pinmpg.items;
  if (!CMN_SplitLine(headers, std::size(kHeaders) + 1, 0, &items)) return 1;
  read_past_ext_ref(mapping, &items);
  if (CMN_PinTableColumns(items, "Pin_Mapping", "Pin_Mappings", kShortColumns, kLongColumns,
                          &mapping->columns))
    CMN_CheckColumnHeaders(items, kHeaders, kRequiredHeaders);
  return 1;
}

int PINMPG_Row(PinMapping* mapping, std::string_view line) {
  TARN_ASSERT(mapping != nullptr);
  ItemList& items = g_pinmpg.items;
  const size_t row_items = kRowItems + (mapping->ext_ref ? 1 : 0);
  if (!CMN_SplitLine(line, row_items, 0, &items)) return 0;
  if (items.found > row_items) CMN_ReportExtraColumns();
  PinMappingRow row;
  row.items = static_cast<int>(items.found);
  CMN_CopyRowName(&row.pin, items[0], kPinNameLimit, "Pin", "No Pin number.");
  for (size_t c = 0; c < kPinMappingRefs; ++c) read_ref(items[1 + c], c, &row);
  check_row_columns(*mapping, items.found);
  return add_row(mapping, std::move(row));
}

void PINMPG_EndOfFile(std::string_view component, const PinMapping& mapping, const PinList& pins) {
  const std::string name(component);
  std::vector<PinKind> kinds;
  kinds.reserve(mapping.rows.size());
  for (const PinMappingRow& row : mapping.rows) {
    kinds.push_back(pin_kind(pins, row.pin));
    check_row(name, row, kinds.back());
  }
  BusMap buses = gather_buses(mapping, kinds);
  check_buses(name, mapping, buses);
}

int PINMPG_Find(const PinMapping* mapping, std::string_view pin, const PinMappingRow** out) {
  TARN_ASSERT(mapping != nullptr && out != nullptr);
  const auto it = mapping->index.find(std::string(pin));
  if (it == mapping->index.end()) return 0;
  *out = &mapping->rows[it->second];
  return 1;
}

int PINMPG_GetColumns(const PinMapping* mapping, int* out) {
  TARN_ASSERT(mapping != nullptr && out != nullptr);
  if (!mapping->declared) return 0;
  *out = mapping->columns;
  return 1;
}

int PINMPG_GetPin(const PinMappingRow* row, std::string_view* out) {
  TARN_ASSERT(row != nullptr);
  return CMN_GetText(row->pin, out);
}

int PINMPG_GetRef(const PinMappingRow* row, PinMappingColumn column, std::string_view* out) {
  TARN_ASSERT(row != nullptr && out != nullptr && column < kPinMappingRefs);
  if (row->refs[column].empty()) return 0;
  *out = row->refs[column];
  return 1;
}

bool PINMPG_NamesBus(std::string_view ref) { return names_bus(ref); }

}  // namespace tarn
