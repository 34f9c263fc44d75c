#include "libibis/src/cmpnt.h"

#include <new>
#include <unordered_map>

#include "libibis/src/chars.h"
#include "libibis/src/cmn.h"
#include "libibis/src/ibis.h"
#include "libibis/src/parse.h"
#include "libibis/src/reading_state.h"
#include "libibis/src/rpt.h"

namespace tarn {
namespace {

constexpr size_t kNameLimit = 40;
constexpr size_t kManufacturerLimit = 40;
constexpr size_t kPackageModelLimit = 40;
constexpr size_t kSubParameterItems = 2;  // name, value

struct ComponentState {
  Component* current = nullptr;
  // The last keyword line was refused (a second [Package] or [Pin]); its data lines are
  // dropped with it, so the first definition stands alone.
  bool refused = false;
};

ComponentState g_cmpnt;
constexpr SectionWords kWords{BugForm::Located, nullptr, BugForm::Located,
                              "Unable to create new CMPNT.", "Illegal line type passed to cmpnt.",
                              "Illegal keyword passed to cmpnt.", "Orphan Component keyword.",
                              kOrphanDataLineKeyword};
SavedWithReading<ComponentState> g_cmpnt_saved(&g_cmpnt);

// Si_location and Timing_location came with IBIS 3.2; under the 2.1 rules [Component] takes
// no data lines at all.
struct ComponentRules {
  bool sub_parameters;
};

ComponentRules component_rules() { return ComponentRules{PRS_GetVersion() >= 3}; }

void component_name(Component& c, std::string_view text) {
  if (!CMN_SetOnce(&c.name, text, kNameLimit, "Component")) return;
  for (char ch : c.name) {
    if (is_space(ch)) {
      RPT_WarningAtLine("Component '%s' contains a blank character.", c.name.c_str());
      break;
    }
  }
  CMN_CheckReservedWord(c.name);
}

void keyword_line(Component& c, Kw code, std::string_view line) {
  c.current = code;
  g_cmpnt.refused = false;
  const std::string_view argument = CMN_KeywordArgument(line);
  switch (code) {
    case Kw::COMPONENT: component_name(c, argument); break;
    case Kw::MANUFACTURER:
      (void)CMN_SetOnce(&c.manufacturer, argument, kManufacturerLimit, "Manufacturer");
      break;
    case Kw::PACKAGE: g_cmpnt.refused = !PKG_KeywordLine(&c.package, argument); break;
    case Kw::PIN: g_cmpnt.refused = !PIN_KeywordLine(&c.pins, argument); break;
    case Kw::PACKAGE_MODEL:
      (void)CMN_SetOnce(&c.package_model, argument, kPackageModelLimit, "Package_Model");
      break;
    case Kw::PIN_MAPPING:
      g_cmpnt.refused = !PINMPG_KeywordLine(&c.pin_mapping, argument);
      break;
    case Kw::DIFF_PIN: g_cmpnt.refused = !DIFPIN_KeywordLine(&c.diff_pins, argument); break;
    case Kw::SERIES_SWITCH_GROUPS:
      g_cmpnt.refused = !SSWCH_KeywordLine(&c.switch_groups);
      break;
    case Kw::SERIES_PIN_MAPPING:
      g_cmpnt.refused = !SPINMPG_KeywordLine(&c.series_pins, argument);
      break;
    default: break;
  }
}

// Si_location and Timing_location take one word; nothing else in the reader uses them.
void sub_parameter_line(Component& c, std::string_view line) {
  ItemList items;
  if (!CMN_SplitLine(line, kSubParameterItems, 0, &items)) {
    CMN_ReportUnparsed("Component Sub-Parameter");
    return;
  }
  const std::string_view word = items[0];
  if (CMN_EqualNoCase(word, "Si_location")) c.si_location.assign(items[1]);
  else if (CMN_EqualNoCase(word, "Timing_location")) c.timing_location.assign(items[1]);
  else RPT_ErrorAtLine("Unknown Line after Component Description");
}

void report_no_data_lines(const char* keyword) {
  RPT_ErrorAtLine("Data on this line appears to be for the %s keyword, which does not allow data "
                  "on subsequent lines.", keyword);
}

void data_line(Component& c, std::string_view line) {
  if (g_cmpnt.refused) return;
  switch (c.current) {
    case Kw::COMPONENT:
      if (component_rules().sub_parameters) sub_parameter_line(c, line);
      else report_no_data_lines("Component");
      break;
    case Kw::MANUFACTURER: report_no_data_lines("Manufacturer"); break;
    case Kw::PACKAGE_MODEL: report_no_data_lines("Package Model"); break;
    case Kw::PACKAGE: PKG_DataLine(c.package.get(), line); break;
    case Kw::PIN: (void)PIN_Row(&c.pins, line); break;
    case Kw::PIN_MAPPING: (void)PINMPG_Row(&c.pin_mapping, line); break;
    case Kw::DIFF_PIN: (void)DIFPIN_Row(&c.diff_pins, line); break;
    case Kw::SERIES_SWITCH_GROUPS: SSWCH_Line(&c.switch_groups, line); break;
    case Kw::SERIES_PIN_MAPPING: (void)SPINMPG_Row(&c.series_pins, line); break;
    default: RPT_BugAtLine("%s:%d:Unknown keyword received data.", __FILE__, __LINE__); break;
  }
}

// A package model the file does not define may come from a .pkg file beside it.
const PackageModel* find_package_model(std::string_view name) {
  const PackageModel* model = nullptr;
  if (!PKGMDL_Find(name, &model) && PKGMDL_SearchPackageFiles(name))
    (void)PKGMDL_Find(name, &model);
  return model;
}

// The checks of the mapping keywords, each where the component has it. Without pins only the
// series pin mapping is checked: it says itself that the pins are missing.
void check_mappings(const Component& c, const IbisDocument& doc) {
  const PinList* pins = c.pins.pins.empty() ? nullptr : &c.pins;
  if (pins && c.pin_mapping.declared) PINMPG_EndOfFile(c.name, c.pin_mapping, *pins);
  if (pins && c.diff_pins.declared) DIFPIN_EndOfFile(c.name, c.diff_pins, *pins);
  SPINMPG_EndOfFile(c.name, c.series_pins, pins, c.switch_groups, doc);
}

// Names are compared exactly, like every other name of the file.
void check_component(const Component& c, bool duplicated, const PinModelNames& models) {
  const char* name = c.name.c_str();
  if (duplicated) RPT_Error("Component '%s' is duplicated within the .ibs file.", name);
  if (c.manufacturer.empty())
    RPT_Error("Required keyword 'Manufacturer' not defined for Component '%s'.", name);
  if (!c.package) RPT_Error("Keyword 'Package' not defined for Component '%s'.", name);
  const PackageModel* package_model = nullptr;
  if (!c.package_model.empty()) {
    package_model = find_package_model(c.package_model);
    if (!package_model)
      RPT_Error("Unable to find Package Model '%s' for Component '%s'", c.package_model.c_str(),
                name);
  }
  if (c.pins.pins.empty()) {
    RPT_Error("Unable to find Pin keyword data for Component '%s'.", name);
    return;
  }
  const PinMapping* mapping = c.pin_mapping.declared ? &c.pin_mapping : nullptr;
  PIN_EndOfFile(c.name, c.pins, models, mapping, package_model);
}

}  // namespace

void CMPNT_Reset() {
  g_cmpnt = ComponentState{};
  PINMPG_Reset();
  DIFPIN_Reset();
  SSWCH_Reset();
  SPINMPG_Reset();
}

void CMPNT_Init(FileKind) {
  g_cmpnt = ComponentState{};
  IbisDocument* doc = IBIS_Current();
  g_cmpnt.current = CMN_OpenRecord(doc ? &doc->components : nullptr, kWords);
}

void CMPNT_Line(LineKind kind, Kw code, std::string_view line) {
  Component* c = g_cmpnt.current;
  if (!CMN_SectionTakesLine(kind, kw_in(code, Kw::COMPONENT, Kw::SERIES_PIN_MAPPING), c != nullptr,
                            kWords))
    return;
  if (kind == LineKind::Keyword) keyword_line(*c, code, line);
  else data_line(*c, line);
}

void CMPNT_KeywordDone(Kw) {
  const Component* c = g_cmpnt.current;
  if (!c || g_cmpnt.refused) return;
  if (c->current == Kw::PACKAGE) PKG_KeywordDone(c->package.get());
  else if (c->current == Kw::SERIES_SWITCH_GROUPS) SSWCH_KeywordDone();
}

void CMPNT_EndOfFile() {
  const IbisDocument* doc = IBIS_Current();
  TARN_ASSERT(doc != nullptr);
  const PinModelNames models = PIN_ModelNames(*doc);
  std::unordered_map<std::string_view, size_t> last;  // each name's last component
  for (size_t i = 0; i < doc->components.size(); ++i) last[doc->components[i]->name] = i;
  for (size_t i = 0; i < doc->components.size(); ++i) {
    const Component& c = *doc->components[i];
    check_component(c, last[c.name] != i, models);
    check_mappings(c, *doc);
  }
}

int CMPNT_GetName(const Component* component, std::string_view* out) {
  TARN_ASSERT(component != nullptr && out != nullptr);
  if (component->name.empty()) return 0;
  *out = component->name;
  return 1;
}

int CMPNT_GetManufacturer(const Component* component, std::string_view* out) {
  TARN_ASSERT(component != nullptr && out != nullptr);
  if (component->manufacturer.empty()) return 0;
  *out = component->manufacturer;
  return 1;
}

int CMPNT_GetPackage(const Component* component, const Package** out) {
  TARN_ASSERT(component != nullptr && out != nullptr);
  if (!component->package) return 0;
  *out = component->package.get();
  return 1;
}

int CMPNT_GetPackageModel(const Component* component, std::string_view* out) {
  TARN_ASSERT(component != nullptr && out != nullptr);
  if (component->package_model.empty()) return 0;
  *out = component->package_model;
  return 1;
}

int CMPNT_GetPins(const Component* component, const PinList** out) {
  TARN_ASSERT(component != nullptr && out != nullptr);
  if (component->pins.pins.empty()) return 0;
  *out = &component->pins;
  return 1;
}

namespace {

template <class List>
int get_list(const List& list, bool filled, const List** out) {
  TARN_ASSERT(out != nullptr);
  if (!filled) return 0;
  *out = &list;
  return 1;
}

}  // namespace

int CMPNT_GetPinMapping(const Component* component, const PinMapping** out) {
  TARN_ASSERT(component != nullptr);
  return get_list(component->pin_mapping, !component->pin_mapping.rows.empty(), out);
}

int CMPNT_GetDiffPins(const Component* component, const DiffPinList** out) {
  TARN_ASSERT(component != nullptr);
  return get_list(component->diff_pins, !component->diff_pins.rows.empty(), out);
}

int CMPNT_GetSwitchGroups(const Component* component, const SwitchGroupList** out) {
  TARN_ASSERT(component != nullptr);
  return get_list(component->switch_groups, !component->switch_groups.entries.empty(), out);
}

int CMPNT_GetSeriesPins(const Component* component, const SeriesPinMapping** out) {
  TARN_ASSERT(component != nullptr);
  return get_list(component->series_pins, !component->series_pins.rows.empty(), out);
}

}  // namespace tarn
