#include "libibis/src/mdl.h"

#include <cstdio>
#include <new>
#include <span>
#include <string>
#include <unordered_set>

#include "libibis/src/cmn.h"
#include "libibis/src/ibis.h"
#include "libibis/src/mdl_plus.h"
#include "libibis/src/newer.h"
#include "libibis/src/parse.h"
#include "libibis/src/plaus.h"
#include "libibis/src/reading_state.h"
#include "libibis/src/rpt.h"
#include "libibis/src/vichk.h"

namespace tarn {
namespace {

constexpr size_t kSubParamItems = 3;  // enough for "name = value"
constexpr size_t kAddSubmodelItems = 2;

// Series, Series_switch and 3-state_ECL came with IBIS 3.2.
struct ModelRules {
  bool series_types;
};

ModelRules model_rules() { return ModelRules{PRS_GetVersion() >= 3}; }

constexpr NamedCode<SubmodelMode> kModeNames[] = {
    {"Driving", SubmodelMode::Driving},
    {"Non-Driving", SubmodelMode::NonDriving},
    {"All", SubmodelMode::All},
    {"No Mode", SubmodelMode::NoMode},
};

// How a keyword of the model section is read.
enum class Route : uint8_t {
  Model, Range, Vi, Ramp, Waveform, ModelSpec, DriverSchedule, OnOff, SeriesRange,
  SeriesCurrent, SeriesMosfet, AddSubmodel,
};

struct ModelKeyword {
  Kw code;
  Route route;
  const char* label = nullptr;
  std::unique_ptr<Range> IbisModel::*range = nullptr;
  std::unique_ptr<Range> SeriesInfo::*series_range = nullptr;
  std::unique_ptr<ViTable> IbisModel::*table = nullptr;
  WaveformList IbisModel::*waveforms = nullptr;
  std::unique_ptr<SeriesInfo> IbisModel::*block = nullptr;
  bool before_on_off = false;       // a Series_switch model gives it before [On] and [Off]
  bool positive = false;            // every value must be above zero
};

using M = IbisModel;
using S = SeriesInfo;

constexpr ModelKeyword kKeywords[] = {
    {.code = Kw::MODEL, .route = Route::Model},
    {.code = Kw::TEMPERATURE_RANGE, .route = Route::Range, .label = "Temperature Range",
     .range = &M::temperature_range, .before_on_off = true},
    {.code = Kw::VOLTAGE_RANGE, .route = Route::Range, .label = "Voltage Range",
     .range = &M::voltage_range, .before_on_off = true},
    {.code = Kw::PULLUP_REFERENCE, .route = Route::Range, .label = "Pullup Reference",
     .range = &M::pullup_reference, .before_on_off = true},
    {.code = Kw::PULLDOWN_REFERENCE, .route = Route::Range, .label = "Pulldown Reference",
     .range = &M::pulldown_reference, .before_on_off = true},
    {.code = Kw::POWER_CLAMP_REFERENCE, .route = Route::Range, .label = "POWER Clamp Reference",
     .range = &M::power_clamp_reference, .before_on_off = true},
    {.code = Kw::GND_CLAMP_REFERENCE, .route = Route::Range, .label = "GND Clamp Reference",
     .range = &M::gnd_clamp_reference, .before_on_off = true},
    {.code = Kw::PULLDOWN, .route = Route::Vi, .label = "Pulldown", .table = &M::pulldown},
    {.code = Kw::PULLUP, .route = Route::Vi, .label = "Pullup", .table = &M::pullup},
    {.code = Kw::GND_CLAMP, .route = Route::Vi, .label = "GND Clamp", .table = &M::gnd_clamp},
    {.code = Kw::POWER_CLAMP, .route = Route::Vi, .label = "POWER Clamp",
     .table = &M::power_clamp},
    {.code = Kw::RGND, .route = Route::Range, .label = "Rgnd", .range = &M::rgnd},
    {.code = Kw::RPOWER, .route = Route::Range, .label = "Rpower", .range = &M::rpower},
    {.code = Kw::RAC, .route = Route::Range, .label = "Rac", .range = &M::rac},
    {.code = Kw::CAC, .route = Route::Range, .label = "Cac", .range = &M::cac},
    {.code = Kw::RAMP, .route = Route::Ramp},
    // The end messages add " Waveform" after the label, doubling the word as the checker
    // always has.
    {.code = Kw::RISING_WAVEFORM, .route = Route::Waveform, .label = "Rising Waveform",
     .waveforms = &M::rising_waveforms},
    {.code = Kw::FALLING_WAVEFORM, .route = Route::Waveform, .label = "Falling Waveform",
     .waveforms = &M::falling_waveforms},
    {.code = Kw::TTGND, .route = Route::Range, .label = "TTgnd", .range = &M::ttgnd,
     .positive = true},
    {.code = Kw::TTPOWER, .route = Route::Range, .label = "TTpower", .range = &M::ttpower,
     .positive = true},
    {.code = Kw::MODEL_SPEC, .route = Route::ModelSpec},
    {.code = Kw::DRIVER_SCHEDULE, .route = Route::DriverSchedule},
    {.code = Kw::ON, .route = Route::OnOff, .label = "[On]", .block = &M::on_block},
    {.code = Kw::OFF, .route = Route::OnOff, .label = "[Off]", .block = &M::off_block},
    {.code = Kw::R_SERIES, .route = Route::SeriesRange, .label = "R_series",
     .series_range = &S::r_series},
    {.code = Kw::L_SERIES, .route = Route::SeriesRange, .label = "L_series",
     .series_range = &S::l_series},
    {.code = Kw::RL_SERIES, .route = Route::SeriesRange, .label = "Rl_series",
     .series_range = &S::rl_series},
    {.code = Kw::C_SERIES, .route = Route::SeriesRange, .label = "C_series",
     .series_range = &S::c_series},
    {.code = Kw::LC_SERIES, .route = Route::SeriesRange, .label = "Lc_series",
     .series_range = &S::lc_series},
    {.code = Kw::RC_SERIES, .route = Route::SeriesRange, .label = "Rc_series",
     .series_range = &S::rc_series},
    {.code = Kw::SERIES_CURRENT, .route = Route::SeriesCurrent, .label = "Series_Current"},
    {.code = Kw::SERIES_MOSFET, .route = Route::SeriesMosfet, .label = "Series_MOSFET"},
    {.code = Kw::ADD_SUBMODEL, .route = Route::AddSubmodel, .label = "Add Submodel"},
};

const ModelKeyword* find_keyword(Kw code) {
  for (const ModelKeyword& k : kKeywords)
    if (k.code == code) return &k;
  return nullptr;
}

bool is_model_keyword(Kw code) { return kw_in(code, Kw::MODEL, Kw::ADD_SUBMODEL); }

// The subparameters of [Model]; anything else is the end marker "NOT_SUB".
enum class SubParam : uint8_t { ModelType, Polarity, Enable, Value, CComp };

struct ModelSubParam {
  const char* name;
  SubParam kind;
  std::optional<double> IbisModel::*value = nullptr;
};

constexpr ModelSubParam kSubParams[] = {
    {"Model_type", SubParam::ModelType}, {"Polarity", SubParam::Polarity},
    {"Enable", SubParam::Enable},        {"Vinl", SubParam::Value, &M::vinl},
    {"Vinh", SubParam::Value, &M::vinh}, {"Vmeas", SubParam::Value, &M::vmeas},
    {"Cref", SubParam::Value, &M::cref}, {"Rref", SubParam::Value, &M::rref},
    {"Vref", SubParam::Value, &M::vref}, {"C_comp", SubParam::CComp},
};

// Read past in a file of their version: C_comp split by the structure it loads, and the
// differential timing load.
constexpr NewerName kSplitCComp[] = {
    {"C_comp_pullup", 40}, {"C_comp_pulldown", 40}, {"C_comp_power_clamp", 40},
    {"C_comp_gnd_clamp", 40},
};
constexpr NewerName kDiffLoads[] = {{"Rref_diff", 41}, {"Cref_diff", 41}};

const ModelSubParam* find_sub_param(std::string_view name) {
  for (const ModelSubParam& p : kSubParams)
    if (name == p.name) return &p;
  return nullptr;
}

struct ModelState {
  IbisModel* current = nullptr;
  const ModelKeyword* keyword = nullptr;  // the keyword whose data lines are read
  bool open = false;             // and whose end checks are still due
  SeriesInfo* series = nullptr;  // the series block the series keywords fill
  std::unordered_set<std::string_view> names;  // of the models of this reading
  ItemList items;                              // scratch, reused line after line
};

ModelState g_mdl;
constexpr SectionWords kWords{BugForm::AtLine, nullptr, BugForm::AtLine, nullptr,
                              "Bad line type passed to mdl.", "Bad keyword type passed to mdl.",
                              "Orphan Model keyword.", kOrphanDataLineKeyword};
SavedWithReading<ModelState> g_mdl_saved(&g_mdl);

std::string str(std::string_view text) { return std::string(text); }

// The text of a line after its first item.
std::string_view after_first_item(std::string_view line, const ItemList& items) {
  const std::string_view first = items[0];
  return line.substr(static_cast<size_t>(first.data() - line.data()) + first.size());
}

void report_already_defined(const char* what, const IbisModel& m) {
  RPT_ErrorAtLine(kAlreadyDefinedForModel, what, m.name.c_str());
}

bool is_series(ModelType type) {
  return type == ModelType::Series || type == ModelType::SeriesSwitch;
}

// The rows searched, without the end marker.
template <class Code, size_t N>
std::span<const NamedCode<Code>> searched(const NamedCode<Code> (&table)[N]) {
  return std::span<const NamedCode<Code>>(table, N - 1);
}

std::span<const NamedCode<ModelType>> searched_model_types() {
  size_t rows = model_rules().series_types ? kModelTypesV32 : kModelTypesV21;
  if (NEWER_Rules().diff_model_types) rows = kModelTypesDiff;
  return std::span<const NamedCode<ModelType>>(kModelTypeNames, rows);
}

bool names_diff_type(std::string_view value) {
  for (size_t i = kModelTypesV32; i < kModelTypesDiff; ++i)
    if (kModelTypeNames[i].name == value) return true;
  return false;
}


// Model_type, Polarity and Enable: one setting looked up in a table. A refused line still
// marks the field as given (Invalid), so the end checks do not call it missing.
template <class Code>
void setting_line(Code* field, std::span<const NamedCode<Code>> rows, const char* name,
                  const ItemList& items, const IbisModel& m) {
  if (*field != Code{}) {
    report_already_defined(name, m);
    return;
  }
  *field = static_cast<Code>(1);
  std::string_view value;
  if (CMN_SettingValue(items, name, &value)) (void)CMN_LookupName(rows, value, name, field);
}

void value_line(std::optional<double>* field, const char* name, const ItemList& items,
                const IbisModel& m) {
  if (*field) {
    report_already_defined(name, m);
    return;
  }
  std::string_view text;
  if (!CMN_AssignedValue(items, name, &text)) {
    RPT_ErrorAtLine(kInvalidLine, name);
    return;
  }
  double value = 0.0;
  if (CMN_ParseScaledField(text, "Model", name, &value)) *field = value;
}

// A typ/min/max whose typical entry must hold a number.
void parse_range_into(std::unique_ptr<Range>* slot, std::string_view text, const char* label) {
  (void)range_parse(text, label, slot);
  if (*slot && (*slot)->typ_status == ValueStatus::NA)
    RPT_ErrorAtLine("'NA' Not Allowed For Typical Value");
}

// Model_type: a differential type is read by the rules of its base type.
void model_type_line(IbisModel& m, const ItemList& items, const char* name) {
  const bool first = m.model_type == ModelType::NotGiven;
  setting_line(&m.model_type, searched_model_types(), name, items, m);
  if (first && m.model_type != ModelType::NoType) m.differential = names_diff_type(items[1]);
}

void sub_param_line(IbisModel& m, std::string_view line) {
  ItemList& items = g_mdl.items;
  if (!CMN_SplitLine(line, kSubParamItems, '=', &items)) {
    CMN_ReportUnparsed("Model Sub-Parameter");
    return;
  }
  const ModelSubParam* p = find_sub_param(items[0]);
  if (!p && NEWER_ReadPast(kSplitCComp, items[0])) {
    m.c_comp_split = true;
    return;
  }
  if (!p && NEWER_ReadPast(kDiffLoads, items[0])) return;
  if (!p) {
    RPT_ErrorAtLine("Unknown Line Among Model Data");
    return;
  }
  switch (p->kind) {
    case SubParam::ModelType: model_type_line(m, items, p->name); break;
    case SubParam::Polarity:
      setting_line(&m.polarity, searched(kPolarityNames), p->name, items, m);
      break;
    case SubParam::Enable:
      setting_line(&m.enable, searched(kEnableNames), p->name, items, m);
      break;
    case SubParam::Value: value_line(&(m.*p->value), p->name, items, m); break;
    case SubParam::CComp:
      if (m.c_comp) report_already_defined(p->name, m);
      else parse_range_into(&m.c_comp, after_first_item(line, items), p->name);
      break;
  }
}

void model_name(IbisModel& m, std::string_view line) {
  ItemList& items = g_mdl.items;
  if (!CMN_SplitLine(CMN_KeywordArgument(line), 1, 0, &items)) {
    RPT_BugAtLine("Unable to Save Model Name");
    return;
  }
  bool cut = false;
  const std::string_view name = CMN_OpenerName(items, "Model", NEWER_ModelNameLimit(), &cut);
  if (name.empty()) return;
  if (cut) {
    m.name.assign(name);
    return;
  }
  if (!CMN_IsReservedWord(name))
    RPT_ErrorAtLine("Invalid Model Name (\"%s\"); Reserved Word.", str(name).c_str());
  if (g_mdl.names.count(name) != 0)
    RPT_ErrorAtLine("Model Name Previously Defined (\"%s\")", str(name).c_str());
  m.name.assign(name);
  try {
    g_mdl.names.insert(m.name);
  } catch (const std::bad_alloc&) {
    CMN_ReportNoMemory();
  }
}

// "TTgnd Typical value should be > 0" and so on.
void check_positive(const Range& range, const char* label) {
  constexpr const char* kWords[] = {"Typical", "Min", "Max"};  // in the order of kCornerFields
  for (size_t i = 0; i < std::size(kCornerFields); ++i) {
    const CornerField& f = kCornerFields[i];
    if (range.*f.status == ValueStatus::Value && !(range.*f.value > 0.0))
      RPT_ErrorAtLine("%s %s value should be > 0", label, kWords[i]);
  }
}

void range_keyword(IbisModel& m, std::unique_ptr<Range>* slot, const ModelKeyword& k,
                   std::string_view line) {
  if (*slot) {
    report_already_defined(k.label, m);
    return;
  }
  if (m.model_type == ModelType::SeriesSwitch && k.before_on_off && (m.on_block || m.off_block))
    RPT_ErrorAtLine("Model '%s' is of type Series_switch. %s should be defined before the [On] "
                    "and [Off] sections",
                    m.name.c_str(), k.label);
  parse_range_into(slot, CMN_KeywordArgument(line), k.label);
  if (k.positive && *slot) check_positive(**slot, k.label);
}

// Anything of the model but its subparameters and the series states.
bool has_keywords_besides_spec(const IbisModel& m) {
  return m.temperature_range || m.voltage_range || m.pullup_reference || m.pulldown_reference ||
         m.power_clamp_reference || m.gnd_clamp_reference || m.ttgnd || m.ttpower ||
         m.driver_schedule || m.pulldown || m.pullup || m.gnd_clamp || m.power_clamp || m.rgnd ||
         m.rpower || m.rac || m.cac || m.ramp || !m.rising_waveforms.empty() ||
         !m.falling_waveforms.empty() || !m.add_submodels.empty();
}

// A series keyword needs a series model and a series block; a Series model has one without
// asking, a Series_switch model is told it forgot [On].
bool series_ready(IbisModel& m) {
  if (!is_series(m.model_type)) {
    RPT_ErrorAtLine("Keyword is valid only for Series and Series_switch models");
    return false;
  }
  if (g_mdl.series) return true;
  if (m.model_type == ModelType::SeriesSwitch)
    RPT_ErrorAtLine("No preceding [On] or [Off] keyword found. Assuming [On]");
  if (!m.on_block) {
    m.on_block.reset(new (std::nothrow) SeriesInfo);
    if (!m.on_block) {
      CMN_ReportNoMemory();
      return false;
    }
  }
  g_mdl.series = m.on_block.get();
  return true;
}

void add_submodel_keyword(IbisModel& m, std::string_view line, const char* label) {
  if (!m.add_submodels.empty()) {
    RPT_ErrorAtLine("Add sub model: Already Defined for this model");
    m.add_submodels.clear();
  }
  CMN_CheckKeywordAlone(line, label);
  if (is_series(m.model_type))
    RPT_ErrorAtLine("Add Submodel is not allowed for Series or Series_switch models");
}

void check_mode_against_type(SubmodelMode mode, ModelType type) {
  using T = ModelType;
  if (mode == SubmodelMode::Driving &&
      (type == T::Input || type == T::InputECL || type == T::Terminator))
    RPT_ErrorAtLine("Driving mode is not valid for input model types");
  // 3-state types may stop driving, so they take Non-Driving.
  if (mode == SubmodelMode::NonDriving &&
      (type == T::Output || type == T::OpenDrain || type == T::OpenSink || type == T::OpenSource ||
       type == T::OutputECL))
    RPT_ErrorAtLine("Non-Driving mode is not valid for output model types");
}

void add_submodel_line(IbisModel& m, std::string_view line) {
  ItemList& items = g_mdl.items;
  (void)CMN_SplitLine(line, kAddSubmodelItems, 0, &items);
  if (items.found == 0) {
    RPT_ErrorAtLine("Add Submodel Name not found");
    return;
  }
  if (items.found > kAddSubmodelItems)
    RPT_ErrorAtLine("Invalid Add Submodel Line. Expecting two items only");
  AddSubmodelEntry entry;
  const std::string_view name = items[0];
  const size_t limit = NEWER_ModelNameLimit();
  if (name.size() > limit)
    RPT_ErrorAtLine("Add Submodel Name Over %d Characters Long", static_cast<int>(limit));
  else if (!CMN_IsReservedWord(name))
    RPT_ErrorAtLine("Invalid Submodel Name (\"%s\"); Reserved Word.", str(name).c_str());
  try {
    entry.name.assign(name.substr(0, limit));
    m.add_submodels.push_back(entry);
  } catch (const std::bad_alloc&) {
    CMN_ReportNoMemory();
    return;
  }
  if (items.found < 2) {
    RPT_ErrorAtLine("Add Submodel Mode not found");
    return;
  }
  SubmodelMode& mode = m.add_submodels.back().mode;
  if (CMN_LookupName(searched(kModeNames), items[1], "Add Submodel Mode", &mode))
    check_mode_against_type(mode, m.model_type);
}

void keyword_line(IbisModel& m, const ModelKeyword& k, std::string_view line) {
  bool& open = g_mdl.open;
  switch (k.route) {
    case Route::Model: model_name(m, line); break;
    case Route::Range: range_keyword(m, &(m.*k.range), k, line); break;
    case Route::Vi: open = vi_open(line, k.label, &(m.*k.table)); break;
    case Route::Ramp: (void)ramp_open(line, &m.ramp); break;
    case Route::Waveform: open = waveform_open(line, &(m.*k.waveforms), k.label); break;
    case Route::ModelSpec:
      // Read all the same: only its place is wrong.
      if (has_keywords_besides_spec(m))
        RPT_ErrorAtLine("[Model Spec] should be specified immediately after all the subparameters "
                        "of a model and before the other keywords of a model");
      open = model_spec_open(line, &m.model_spec);
      break;
    case Route::DriverSchedule: (void)driver_schedule_open(line, &m.driver_schedule); break;
    case Route::OnOff:
      if (m.model_type != ModelType::SeriesSwitch) {
        RPT_ErrorAtLine("Keyword is valid only for Series_switch models");
      } else {
        // A block it replaces is gone, so the series keywords must not fill it.
        (void)series_open(line, k.label, &(m.*k.block));
        g_mdl.series = (m.*k.block).get();
      }
      break;
    case Route::SeriesRange:
      if (series_ready(m)) range_keyword(m, &(g_mdl.series->*k.series_range), k, line);
      break;
    case Route::SeriesCurrent:
      if (series_ready(m)) open = vi_open(line, k.label, &g_mdl.series->series_current);
      break;
    case Route::SeriesMosfet:
      if (series_ready(m)) {
        series_mosfet_open(line, g_mdl.series);
        open = true;
      }
      break;
    case Route::AddSubmodel: add_submodel_keyword(m, line, k.label); break;
  }
}

void data_line(IbisModel& m, const ModelKeyword& k, std::string_view line) {
  switch (k.route) {
    case Route::Model: sub_param_line(m, line); break;
    case Route::Range:
    case Route::OnOff:
    case Route::SeriesRange: RPT_ErrorAtLine("Expecting Keyword.  Invalid Line"); break;
    case Route::Vi:
      if (g_mdl.open) vi_row(line, (m.*k.table).get(), k.label);
      break;
    case Route::Ramp:
      if (m.ramp) ramp_line(line, m.ramp.get(), m.name);
      break;
    case Route::Waveform:
      if (g_mdl.open) waveform_line(line, (m.*k.waveforms).back().get(), k.label);
      break;
    case Route::ModelSpec:
      if (m.model_spec) model_spec_line(line, m.model_spec.get(), m.name);
      break;
    case Route::DriverSchedule:
      if (m.driver_schedule) driver_schedule_line(line, m.driver_schedule.get(), m.name);
      break;
    case Route::SeriesCurrent:
      if (series_ready(m) && g_mdl.series->series_current)
        vi_row(line, g_mdl.series->series_current.get(), k.label);
      break;
    case Route::SeriesMosfet:
      if (series_ready(m)) series_mosfet_line(line, g_mdl.series);
      break;
    case Route::AddSubmodel: add_submodel_line(m, line); break;
  }
}

// The end checks of the keyword just read, once: a table, a waveform, the model spec.
void close_keyword() {
  IbisModel* m = g_mdl.current;
  const ModelKeyword* k = g_mdl.keyword;
  if (!m || !k || !g_mdl.open) return;
  g_mdl.open = false;
  switch (k->route) {
    case Route::Vi:
      vi_end("Model", m->name, m->model_type, k->code, (m->*k->table).get(), k->label);
      break;
    case Route::SeriesCurrent:
      vi_end("Model", m->name, m->model_type, k->code, g_mdl.series->series_current.get(),
             k->label);
      break;
    case Route::SeriesMosfet: series_mosfet_end(*g_mdl.series, m->name, m->model_type); break;
    case Route::Waveform: waveform_end(*(m->*k->waveforms).back(), k->label, true); break;
    case Route::ModelSpec: model_spec_end(*m->model_spec); break;
    default: break;
  }
}

// The model's end-of-file checks, run now that its tables are at hand; a document that is only
// checked then lets the tables go, which keeps its memory to one model's tables, and a kept one
// packs each table into one block.
void hold_end_of_file_checks(IbisModel& m) {
  {
    RptHoldScope hold(&m.curve_findings);
    VICHK_Model(m);
  }
  {
    RptHoldScope hold(&m.plausibility_findings);
    PLAUS_Model(&m);
  }
  const IbisDocument* doc = IBIS_Current();
  if (doc && doc->model_observer) {
    doc->model_observer->ModelEnded(m);
    return;
  }
  if (!doc || !doc->release_model_tables) {
    for (const auto* table : {&m.pulldown, &m.pullup, &m.gnd_clamp, &m.power_clamp})
      if (*table) (*table)->rows.shrink_to_fit();
    for (const WaveformList* list : {&m.rising_waveforms, &m.falling_waveforms})
      for (const auto& wave : *list) wave->rows.shrink_to_fit();
    return;
  }
  (void)mdl_take_tables(&m);
}

void end_current_model() {
  if (!g_mdl.current) return;
  close_keyword();
  model_end(g_mdl.current);
  hold_end_of_file_checks(*g_mdl.current);
  g_mdl.current = nullptr;
  g_mdl.keyword = nullptr;
  g_mdl.series = nullptr;
}

// -- the end of a model ------------------------------------------------------------------------

bool needs_thresholds(ModelType type) {
  using T = ModelType;
  return type == T::Input || type == T::IO || type == T::IOOpenDrain || type == T::IOOpenSink ||
         type == T::IOOpenSource || type == T::InputECL || type == T::IOECL;
}

void check_required(const IbisModel& m, const char* name, const char* type) {
  static constexpr char kNotDefined[] = "Model '%s': %s Not Defined";
  if (m.model_type == ModelType::NotGiven) RPT_Error(kNotDefined, name, "Model_type");
  // The split values of a later version stand in for C_comp.
  if (!m.c_comp && !m.c_comp_split) RPT_Error(kNotDefined, name, "C_comp");
  if (!needs_thresholds(m.model_type)) return;
  const struct {
    const char* label;
    bool set;
  } thresholds[] = {{"Vinl", m.vinl.has_value()}, {"Vinh", m.vinh.has_value()}};
  for (const auto& t : thresholds)
    if (!t.set) RPT_Warning("Model '%s': Model_type '%s' must have %s set", name, type, t.label);
}

void check_terminator_values(const IbisModel& m, const char* name) {
  const struct {
    const char* label;
    const std::unique_ptr<Range>& range;
  } values[] = {{"Rgnd", m.rgnd}, {"Rpower", m.rpower}, {"Rac", m.rac}, {"Cac", m.cac}};
  if (m.model_type != ModelType::Terminator)
    for (const auto& v : values)
      if (v.range)
        RPT_Error("Model '%s': %s is set when Model_type is not Terminator", name, v.label);
  if (m.rac && !m.cac) RPT_Error("Model '%s': Cac must be defined when Rac is", name);
  if (m.cac && !m.rac) RPT_Error("Model '%s': Rac must be defined when Cac is", name);
}

void check_references(const IbisModel& m, const char* name) {
  if (m.voltage_range) return;
  const struct {
    const char* label;
    const std::unique_ptr<Range>& range;
  } references[] = {
      {"Pullup Reference", m.pullup_reference},
      {"Pulldown Reference", m.pulldown_reference},
      {"POWER Clamp Reference", m.power_clamp_reference},
      {"GND Clamp Reference", m.gnd_clamp_reference},
  };
  for (const auto& r : references)
    if (!r.range)
      RPT_Error("Model '%s': %s Required when No Voltage Range is Specified", name, r.label);
}

void check_ramp(const IbisModel& m, const char* name) {
  using T = ModelType;
  const T type = m.model_type;
  if (type == T::Input || type == T::InputECL || type == T::Terminator) return;
  if (is_series(type)) {
    if (m.ramp) RPT_Error("Model '%s': Ramp Not Allowed for Series and Series_switch", name);
    return;
  }
  if (!m.ramp) RPT_Error("Model '%s': Ramp Not Defined", name);
}

// What a series model may not have; the model spec only draws a warning.
void check_series_extras(const IbisModel& m, const char* name, const char* type) {
  if (!is_series(m.model_type)) return;
  const struct {
    const char* label;
    bool set;
    bool as_error;
  } extras[] = {
      {"Pullup", m.pullup != nullptr, true},
      {"Pulldown", m.pulldown != nullptr, true},
      {"POWER_Clamp", m.power_clamp != nullptr, true},
      {"GND_Clamp", m.gnd_clamp != nullptr, true},
      {"Rising Waveform", !m.rising_waveforms.empty(), true},
      {"Falling Waveform", !m.falling_waveforms.empty(), true},
      {"TTgnd", m.ttgnd != nullptr, true},
      {"TTpower", m.ttpower != nullptr, true},
      {"Driver Schedule", m.driver_schedule != nullptr, true},
      {"Model Spec", m.model_spec != nullptr, false},
  };
  for (const auto& e : extras) {
    if (!e.set) continue;
    char text[160];
    std::snprintf(text, sizeof text, "Model '%s': %s is not allowed when Model_type is %s", name,
                  e.label, type);
    if (e.as_error) RPT_Error("%s", text);
    else RPT_Warning("%s", text);
  }
}

// The label a Series model's block carries in the messages of its checks.
constexpr const char* kSeriesBlockLabel = "[Series]";

void check_series_blocks(const IbisModel& m, const char* name) {
  if (m.model_type == ModelType::Series) {
    if (m.on_block) series_end(*m.on_block, m.name, kSeriesBlockLabel);
    return;
  }
  if (m.model_type != ModelType::SeriesSwitch) return;
  const struct {
    const char* label;
    const std::unique_ptr<SeriesInfo>& block;
  } states[] = {{"[On]", m.on_block}, {"[Off]", m.off_block}};
  for (const auto& s : states) {
    if (s.block) series_end(*s.block, m.name, s.label);
    else RPT_Error("Model %s is of type Series_switch. %s keyword is required", name, s.label);
  }
}

}  // namespace

void model_end(const IbisModel* model) {
  TARN_ASSERT(model != nullptr);
  const IbisModel& m = *model;
  const char* name = m.name.c_str();
  const char* type = model_type_text(&m);
  check_required(m, name, type);
  check_terminator_values(m, name);
  check_references(m, name);
  check_ramp(m, name);
  check_series_extras(m, name, type);
  check_series_blocks(m, name);
}

ModelTables mdl_take_tables(IbisModel* m) {
  ModelTables tables;
  tables.pulldown = std::move(m->pulldown);
  tables.pullup = std::move(m->pullup);
  tables.gnd_clamp = std::move(m->gnd_clamp);
  tables.power_clamp = std::move(m->power_clamp);
  tables.rising_waveforms.swap(m->rising_waveforms);
  tables.falling_waveforms.swap(m->falling_waveforms);
  return tables;
}

const IbisModel* find_model(const IbisDocument* document, std::string_view name) {
  TARN_ASSERT(document != nullptr);
  for (auto it = document->models.rbegin(); it != document->models.rend(); ++it)
    if ((*it)->name == name) return it->get();
  return nullptr;
}

ModelIndex::ModelIndex(const IbisDocument& document) {
  for (const std::unique_ptr<IbisModel>& model : document.models)
    by_name_[model->name] = model.get();
}

const IbisModel* ModelIndex::find(std::string_view name) const {
  const auto it = by_name_.find(name);
  return it == by_name_.end() ? nullptr : it->second;
}

void MDL_Reset() { g_mdl = ModelState{}; }

void MDL_Init(FileKind) {
  end_current_model();  // when no keyword outside the model closed it
  IbisDocument* doc = IBIS_Current();
  g_mdl.current = CMN_OpenRecord(doc ? &doc->models : nullptr, kWords);
}

void MDL_Line(LineKind kind, Kw code, std::string_view line) {
  IbisModel* m = g_mdl.current;
  // A table row, the bulk of a model, skips the checks it would pass.
  if (kind == LineKind::Data && m && g_mdl.keyword && is_model_keyword(code)) {
    data_line(*m, *g_mdl.keyword, line);
    return;
  }
  if (!CMN_SectionTakesLine(kind, is_model_keyword(code), m != nullptr, kWords)) return;
  if (kind == LineKind::Data) {
    if (g_mdl.keyword) data_line(*m, *g_mdl.keyword, line);
    return;
  }
  close_keyword();  // when an unknown keyword came between, nothing closed it
  const ModelKeyword* k = find_keyword(code);
  if (!k) {
    RPT_BugAtLine("Should Not Be Here: %s, %d", __FILE__, __LINE__);
    return;
  }
  g_mdl.keyword = k;
  keyword_line(*m, *k, line);
}

void MDL_KeywordDone(Kw next) {
  close_keyword();
  const bool in_model = is_model_keyword(next) || PRS_NewerIn(next, Section::Model);
  if (!in_model || next == Kw::MODEL) end_current_model();
}

void MDL_EndOfFile() { end_current_model(); }

std::string_view submodel_mode_text(SubmodelMode mode) {
  for (const NamedCode<SubmodelMode>& row : searched(kModeNames))
    if (row.code == mode) return row.name;
  return {};
}

}  // namespace tarn
