#include "libibis/src/pin.h"

#include <iterator>
#include <new>

#include "libibis/src/cmn.h"
#include "libibis/src/ibis.h"
#include "libibis/src/newer.h"
#include "libibis/src/parse.h"
#include "libibis/src/pinmpg.h"
#include "libibis/src/rpt.h"

namespace tarn {
namespace {

constexpr size_t kNamedColumns = 2;  // signal_name, model_name
constexpr size_t kRowItems = 6;
constexpr int kShortColumns = 3;
constexpr int kLongColumns = 6;

struct PinValueField {
  const char* header;
  double Pin::*value;
  ValueStatus Pin::*status;
};

constexpr PinValueField kValueFields[] = {
    {"R_pin", &Pin::r_pin, &Pin::r_pin_status},
    {"L_pin", &Pin::l_pin, &Pin::l_pin_status},
    {"C_pin", &Pin::c_pin, &Pin::c_pin_status},
};

constexpr const char* kNamedHeaders[] = {"signal_name", "model_name"};

// Under the IBIS 3.2 rules a pin may name a model selector instead of a model.
struct PinRules {
  bool selectors_are_models;
};

PinRules pin_rules() { return PinRules{PRS_GetVersion() >= 3}; }

int value_field_of(std::string_view header) {
  for (size_t i = 0; i < std::size(kValueFields); ++i)
    if (CMN_EqualNoCase(header, kValueFields[i].header)) return static_cast<int>(i);
  return -1;
}

// The value headers may come in any order; when all three are named the row values follow
// them, otherwise rows are read as R_pin, L_pin, C_pin.
void read_value_headers(PinList* list, const ItemList& items) {
  std::array<uint8_t, 3> order{0, 1, 2};
  for (size_t column = 0; column < std::size(kValueFields); ++column) {
    const std::string_view header = items[kNamedColumns + column];
    if (header.empty()) break;
    const int field = value_field_of(header);
    const std::string text(header);
    if (field < 0) {
      RPT_ErrorAtLine("Unknown column header '%s' or out of order.", text.c_str());
    } else if (list->named[field]) {
      RPT_ErrorAtLine("Duplicate column header '%s' .", text.c_str());
    } else {
      list->named[field] = true;
      order[column] = static_cast<uint8_t>(field);
    }
  }
  if (list->named[0] && list->named[1] && list->named[2]) list->value_order = order;
}

bool all_values_named(const PinList& list) {
  return list.named[0] && list.named[1] && list.named[2];
}

void copy_name(std::string* dest, std::string_view text, size_t limit, const char* label,
               const char* missing) {
  if (text.empty()) RPT_ErrorAtLine("%s", missing);
  else CMN_CopyField(dest, text, limit, label);
}

void read_row(const PinList& list, const ItemList& items, Pin* pin) {
  pin->items = static_cast<int>(items.found);
  copy_name(&pin->name, items[0], kPinNameLimit, "Pin", "Pin not found.");
  const size_t limit = NEWER_ModelNameLimit();
  copy_name(&pin->signal, items[1], limit, "Signal name", "Signal name not found.");
  copy_name(&pin->model, items[2], limit, "Model name", "Model name not found.");
  for (size_t column = 0; column < std::size(kValueFields); ++column) {
    const PinValueField& f = kValueFields[list.value_order[column]];
    (void)CMN_ParseValueField(items[kNamedColumns + 1 + column], "Pin", f.header,
                              &(pin->*f.value), &(pin->*f.status));
  }
}

void check_row_columns(const PinList& list, size_t found) {
  if (found != kShortColumns && found != kLongColumns)
    RPT_ErrorAtLine("Each line of Pin data must contain either 3 or 6 columns.");
  else if (found == kLongColumns && !all_values_named(list))
    RPT_ErrorAtLine("When using 6 columns, the headers R_pin, L_pin, and C_pin must be listed.");
}

int add_pin(PinList* list, Pin&& pin) {
  if (list->index.count(pin.name) != 0) {
    RPT_ErrorAtLine("Duplicate Pin '%s'.", pin.name.c_str());
    return 0;
  }
  try {
    list->index.emplace(pin.name, list->pins.size());
    list->pins.push_back(std::move(pin));
  } catch (const std::bad_alloc&) {
    list->index.erase(pin.name);
    RPT_ErrorAtLine("Unable to add the line of Pin data.");
    return 0;
  }
  return 1;
}

// From IBIS 4.1 a pin may be driven by a [Circuit Call] instead of a model.
bool needs_no_model(std::string_view model) {
  return CMN_EqualNoCase(model, "POWER") || CMN_EqualNoCase(model, "GND") ||
         CMN_EqualNoCase(model, "NC") ||
         (NEWER_Rules().circuit_call && CMN_EqualNoCase(model, "CIRCUITCALL"));
}

int get_text(const Pin* pin, std::string Pin::*field, std::string_view* out) {
  TARN_ASSERT(pin != nullptr && out != nullptr);
  if ((pin->*field).empty()) return 0;
  *out = pin->*field;
  return 1;
}

int get_value(const Pin* pin, size_t which, double* out) {
  TARN_ASSERT(pin != nullptr && out != nullptr);
  const PinValueField& f = kValueFields[which];
  if (pin->*f.status != ValueStatus::Value) return 0;
  *out = pin->*f.value;
  return 1;
}

}  // namespace

int PIN_KeywordLine(PinList* list, std::string_view headers) {
  TARN_ASSERT(list != nullptr);
  if (list->declared) {
    RPT_ErrorAtLine("Duplicate Pin keyword found.");
    return 0;
  }
  list->declared = true;
  ItemList items;
  if (!CMN_SplitLine(headers, kNamedColumns + std::size(kValueFields), 0, &items)) return 1;
  if (!CMN_PinTableColumns(items, "Pin", "Pin", kShortColumns, kLongColumns, &list->columns))
    return 1;
  CMN_CheckColumnHeaders(items, kNamedHeaders, kNamedColumns);
  read_value_headers(list, items);
  return 1;
}

int PIN_Row(PinList* list, std::string_view line) {
  TARN_ASSERT(list != nullptr);
  ItemList items;
  if (!CMN_SplitLine(line, kRowItems, 0, &items)) return 0;
  Pin pin;
  try {
    read_row(*list, items, &pin);
  } catch (const std::bad_alloc&) {
    RPT_ErrorAtLine("Unable to allocate new PIN.");
    return 0;
  }
  check_row_columns(*list, items.found);
  return add_pin(list, std::move(pin));
}

PinModelNames PIN_ModelNames(const IbisDocument& document) {
  PinModelNames names;
  for (const auto& model : document.models) names.names.insert(model->name);
  if (pin_rules().selectors_are_models)
    for (const auto& selector : document.selectors) names.names.insert(selector->name);
  return names;
}

void PIN_EndOfFile(std::string_view component, const PinList& list, const PinModelNames& models,
                   const PinMapping* mapping, const PackageModel* package_model) {
  const std::string name(component);
  const PinMappingRow* row = nullptr;
  for (const Pin& pin : list.pins) {
    // Rails and unconnected pins are not checked at all; a rail left out of the pin mapping
    // shows there as a bus that reaches no rail.
    if (needs_no_model(pin.model)) continue;
    // A pin without a model was reported at its row.
    if (!pin.model.empty() && models.names.count(pin.model) == 0)
      RPT_Error("Component '%s': Model '%s' for Pin '%s' not defined.", name.c_str(),
                pin.model.c_str(), pin.name.c_str());
    if (mapping && !PINMPG_Find(mapping, pin.name, &row))
      RPT_Error("Component '%s': Pin '%s' not referenced in Pin Mappings.", name.c_str(),
                pin.name.c_str());
  }
  if (!package_model) return;
  for (const std::string& number : package_model->pin_numbers)
    if (list.index.count(number) == 0)
      RPT_Error("Pin '%s' found in Package_Model '%s' Pin_Numbers list not found in Component "
                "'%s' Pin list.",
                number.c_str(), package_model->name.c_str(), name.c_str());
}

int PIN_Find(const PinList* list, std::string_view name, const Pin** out) {
  TARN_ASSERT(list != nullptr && out != nullptr);
  const auto it = list->index.find(std::string(name));
  if (it == list->index.end()) return 0;
  *out = &list->pins[it->second];
  return 1;
}

int PIN_GetColumns(const PinList* list, int* out) {
  TARN_ASSERT(list != nullptr && out != nullptr);
  if (!list->declared) return 0;
  *out = list->columns;
  return 1;
}

int PIN_GetName(const Pin* pin, std::string_view* out) { return get_text(pin, &Pin::name, out); }
int PIN_GetSignal(const Pin* pin, std::string_view* out) {
  return get_text(pin, &Pin::signal, out);
}
int PIN_GetModel(const Pin* pin, std::string_view* out) { return get_text(pin, &Pin::model, out); }
int PIN_GetRpin(const Pin* pin, double* out) { return get_value(pin, 0, out); }
int PIN_GetLpin(const Pin* pin, double* out) { return get_value(pin, 1, out); }
int PIN_GetCpin(const Pin* pin, double* out) { return get_value(pin, 2, out); }

}  // namespace tarn
