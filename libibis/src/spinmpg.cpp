#include "libibis/src/spinmpg.h"

#include <iterator>
#include <new>
#include <unordered_set>

#include "libibis/src/cmn.h"
#include "libibis/src/ibis.h"
#include "libibis/src/mdl.h"
#include "libibis/src/newer.h"
#include "libibis/src/pin.h"
#include "libibis/src/reading_state.h"
#include "libibis/src/rpt.h"
#include "libibis/src/sswch.h"

namespace tarn {
namespace {

constexpr size_t kGroupNameLimit = 20;
constexpr size_t kRequiredHeaders = 2;  // pin_2, model_name
constexpr int kShortColumns = 3;
constexpr int kLongColumns = 4;
constexpr size_t kRowItems = 4;

constexpr const char* kHeaders[] = {"pin_2", "model_name", "function_table_group"};

struct SeriesPinState {
  ItemList items;  // scratch, reused row after row
};

SeriesPinState g_spinmpg;
SavedWithReading<SeriesPinState> g_spinmpg_saved(&g_spinmpg);

void check_row_columns(const SeriesPinMapping& mapping, size_t found) {
  if (found != kShortColumns && found != kLongColumns)
    RPT_ErrorAtLine(" [Series Pin Mapping] Data lines must contain either 3 or 4 columns.");
  else if (found == kLongColumns && mapping.columns != kLongColumns)
    RPT_ErrorAtLine("[Series Pin Mapping] When 4 columns are specified, the heading "
                    "'function_table_group' must be used.");
}

// -- the end of the file ---------------------------------------------------------------------

// What the rows are checked against, gathered once per component.
struct SeriesContext {
  std::string component;
  ModelIndex models;
  std::unordered_set<std::string_view> selectors;
  std::unordered_set<std::string_view> groups;           // named by [Series Switch Groups]
  std::unordered_set<std::string_view> reported_groups;  // used but not defined, said once
};

bool is_series(ModelType type) {
  return type == ModelType::Series || type == ModelType::SeriesSwitch;
}

bool has_known_type(ModelType type) {
  return type != ModelType::NotGiven && type != ModelType::NoType;
}

// Rails and unconnected pins need no model; a selector's models are checked where it is read.
bool pin_model_is_checked(const SeriesContext& ctx, std::string_view model) {
  return !(CMN_EqualNoCase(model, "POWER") || CMN_EqualNoCase(model, "GND") ||
           CMN_EqualNoCase(model, "NC") || ctx.selectors.count(model) != 0);
}

// One end of the pair (`label` "Pin1" or "Pin2"): a pin of the component whose own model is
// an ordinary buffer.
void check_pin(const SeriesContext& ctx, const PinList& pins, const char* label,
               const std::string& name) {
  if (name.empty()) return;  // reported at its row
  const char* c = ctx.component.c_str();
  const Pin* pin = nullptr;
  if (!PIN_Find(&pins, name, &pin)) {
    RPT_Error("Component '%s': [Series Pin Mapping] %s '%s' not previously declared in Pin "
              "section.",
              c, label, name.c_str());
    return;
  }
  if (pin->model.empty() || !pin_model_is_checked(ctx, pin->model)) return;
  const IbisModel* model = ctx.models.find(pin->model);
  if (!model)
    RPT_Error("Component '%s': [Series Pin Mapping] %s '%s' has an unknown model.", c, label,
              name.c_str());
  else if (is_series(model->model_type))
    RPT_Error("Component '%s': [Series Pin Mapping] %s '%s': model type cannot be Series or "
              "Series_switch.",
              c, label, name.c_str());
  else if (!has_known_type(model->model_type))
    RPT_Error("Component '%s': [Series Pin Mapping] %s '%s' has Model '%s' with unknown type.", c,
              label, name.c_str(), pin->model.c_str());
}

// The row's own model: a Series model stands alone, a Series_switch needs its group. Each
// row draws at most one finding on its type.
void check_model_type(const SeriesContext& ctx, const SeriesPinRow& row, ModelType type) {
  const char* c = ctx.component.c_str();
  const char* m = row.model.c_str();
  if (!row.group.empty()) {
    if (type == ModelType::Series)
      RPT_Warning("Component '%s': [Series Pin Mapping] Model '%s' is of type Series so "
                  "function_table_group '%s' is ignored.",
                  c, m, row.group.c_str());
    else if (type != ModelType::SeriesSwitch)
      RPT_Error("Component '%s': [Series Pin Mapping] Model '%s' is not of type Series_Switch.", c,
                m);
  } else if (type == ModelType::SeriesSwitch) {
    RPT_Error("Component '%s': [Series Pin Mapping] Model '%s' is of type Series_Switch so "
              "function_table_group is required.",
              c, m);
  } else if (type != ModelType::Series) {
    RPT_Error("Component '%s': [Series Pin Mapping] Model '%s' is not of type Series.", c, m);
  }
}

// The row's model; null when it has none the checks can use.
const IbisModel* check_model(const SeriesContext& ctx, const SeriesPinRow& row) {
  if (row.model.empty()) return nullptr;  // reported at its row
  const char* c = ctx.component.c_str();
  const IbisModel* model = ctx.models.find(row.model);
  if (!model) {
    RPT_Error("Component '%s': [Series Pin Mapping] Model '%s' is not defined.", c,
              row.model.c_str());
    return nullptr;
  }
  if (!has_known_type(model->model_type)) {
    RPT_Error("Component '%s': [Series Pin Mapping] Model '%s' is of unknown type.", c,
              row.model.c_str());
    return nullptr;
  }
  check_model_type(ctx, row, model->model_type);
  return model;
}

// A group that a Series model ignores need not be defined.
void check_group(SeriesContext& ctx, const SeriesPinRow& row, const IbisModel* model) {
  if (row.group.empty() || (model && model->model_type == ModelType::Series)) return;
  if (ctx.groups.count(row.group) != 0 || !ctx.reported_groups.insert(row.group).second) return;
  RPT_Error("Component: %s Series Switch Function '%s' is used but not defined",
            ctx.component.c_str(), row.group.c_str());
}

SeriesContext make_context(std::string_view component, const SwitchGroupList& groups,
                           const IbisDocument& document) {
  SeriesContext ctx{std::string(component), ModelIndex(document), {}, {}, {}};
  for (const auto& selector : document.selectors) ctx.selectors.insert(selector->name);
  ctx.groups = SSWCH_GroupNames(groups);
  return ctx;
}

}  // namespace

void SPINMPG_Reset() { g_spinmpg = SeriesPinState{}; }

int SPINMPG_KeywordLine(SeriesPinMapping* mapping, std::string_view headers) {
  TARN_ASSERT(mapping != nullptr);
  if (mapping->declared) {
    RPT_ErrorAtLine("Duplicate Series_Pin_Mapping keyword found.");
    return 0;
  }
  mapping->declared = true;
  ItemList& items = g_spinmpg.items;
  if (!CMN_SplitLine(headers, std::size(kHeaders), 0, &items)) return 1;
  if (!CMN_PinTableColumns(items, "Series_Pin_Mapping", "Series_Pin_Mappings", kShortColumns,
                           kLongColumns, &mapping->columns))
    return 1;
  CMN_CheckColumnHeaders(items, kHeaders, kRequiredHeaders);
  if (items.found > std::size(kHeaders))
    RPT_ErrorAtLine("Unknown column header after 'function_table_group'");
  return 1;
}

int SPINMPG_Row(SeriesPinMapping* mapping, std::string_view line) {
  TARN_ASSERT(mapping != nullptr);
  ItemList& items = g_spinmpg.items;
  if (!CMN_SplitLine(line, kRowItems, 0, &items)) return 0;
  if (items.found > kRowItems) CMN_ReportExtraColumns();
  SeriesPinRow row;
  row.items = static_cast<int>(items.found);
  CMN_CopyRowName(&row.pin1, items[0], kPinNameLimit, "Pin1", "No Pin1 specified.");
  CMN_CopyRowName(&row.pin2, items[1], kPinNameLimit, "Pin2", "No Pin2 specified.");
  CMN_CopyRowName(&row.model, items[2], NEWER_ModelNameLimit(), "Model", "No Model specified.");
  CMN_CopyRowName(&row.group, items[3], kGroupNameLimit, "Function group Name", nullptr);
  check_row_columns(*mapping, items.found);
  try {
    mapping->rows.push_back(std::move(row));
  } catch (const std::bad_alloc&) {
    RPT_ErrorAtLine("Unable to alloc new Series_Pin_Mapping.");
    return 0;
  }
  return 1;
}

void SPINMPG_EndOfFile(std::string_view component, const SeriesPinMapping& mapping,
                       const PinList* pins, const SwitchGroupList& groups,
                       const IbisDocument& document) {
  if (mapping.rows.empty()) return;
  SeriesContext ctx = make_context(component, groups, document);
  if (!pins)
    RPT_Error("Component '%s': [Series Pin Mapping] defined but [Pins] not defined.",
              ctx.component.c_str());
  for (const SeriesPinRow& row : mapping.rows) {
    if (pins) {
      check_pin(ctx, *pins, "Pin1", row.pin1);
      check_pin(ctx, *pins, "Pin2", row.pin2);
    }
    check_group(ctx, row, check_model(ctx, row));
  }
}

int SPINMPG_GetPin1(const SeriesPinRow* row, std::string_view* out) {
  TARN_ASSERT(row != nullptr);
  return CMN_GetText(row->pin1, out);
}

int SPINMPG_GetPin2(const SeriesPinRow* row, std::string_view* out) {
  TARN_ASSERT(row != nullptr);
  return CMN_GetText(row->pin2, out);
}

int SPINMPG_GetModel(const SeriesPinRow* row, std::string_view* out) {
  TARN_ASSERT(row != nullptr);
  return CMN_GetText(row->model, out);
}

}  // namespace tarn
