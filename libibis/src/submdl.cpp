#include "libibis/src/submdl.h"

#include <iterator>
#include <new>
#include <span>
#include <string>
#include <unordered_set>

#include "libibis/src/cmn.h"
#include "libibis/src/ibis.h"
#include "libibis/src/newer.h"
#include "libibis/src/parse.h"
#include "libibis/src/plaus.h"
#include "libibis/src/reading_state.h"
#include "libibis/src/rpt.h"

namespace tarn {
namespace {

constexpr size_t kTypeLineItems = 2;  // Submodel_type, its value

constexpr NamedCode<SubmodelType> kTypeNames[] = {
    {"Dynamic_clamp", SubmodelType::DynamicClamp},
    {"Bus_hold", SubmodelType::BusHold},
};

// How a keyword of the submodel section is read.
enum class Route : uint8_t { Name, Spec, Pulse, Vi, Ramp, Waveform };

struct SubmodelKeyword {
  Kw code;
  Route route;
  const char* label = nullptr;      // of the keyword line and, but for a pulse table, its rows
  const char* end_label = nullptr;  // of a pulse table's rows and end messages
  std::unique_ptr<ViTable> Submodel::*table = nullptr;
  std::unique_ptr<Waveform> Submodel::*pulse = nullptr;
  WaveformList Submodel::*waveforms = nullptr;
};

using S = Submodel;

constexpr SubmodelKeyword kKeywords[] = {
    {.code = Kw::SUBMODEL, .route = Route::Name},
    {.code = Kw::SUBMODEL_SPEC, .route = Route::Spec},
    {.code = Kw::GND_PULSE_TABLE, .route = Route::Pulse, .label = "GND Pulse",
     .end_label = "GND Pulse Table", .pulse = &S::gnd_pulse},
    {.code = Kw::POWER_PULSE_TABLE, .route = Route::Pulse, .label = "POWER Pulse",
     .end_label = "POWER Pulse Table", .pulse = &S::power_pulse},
    {.code = Kw::SUB_PULLDOWN, .route = Route::Vi, .label = "Pulldown", .table = &S::pulldown},
    {.code = Kw::SUB_PULLUP, .route = Route::Vi, .label = "Pullup", .table = &S::pullup},
    {.code = Kw::SUB_GND_CLAMP, .route = Route::Vi, .label = "GND Clamp", .table = &S::gnd_clamp},
    {.code = Kw::SUB_POWER_CLAMP, .route = Route::Vi, .label = "POWER Clamp",
     .table = &S::power_clamp},
    {.code = Kw::SUB_RAMP, .route = Route::Ramp},
    {.code = Kw::SUB_RISING_WAVEFORM, .route = Route::Waveform, .label = "Rising Waveform",
     .waveforms = &S::rising},
    {.code = Kw::SUB_FALLING_WAVEFORM, .route = Route::Waveform, .label = "Falling Waveform",
     .waveforms = &S::falling},
};

const SubmodelKeyword* find_keyword(Kw code) {
  for (const SubmodelKeyword& k : kKeywords)
    if (k.code == code) return &k;
  return nullptr;
}

bool is_submodel_keyword(Kw code) { return kw_in(code, Kw::SUBMODEL, Kw::SUB_FALLING_WAVEFORM); }
// The keywords that go on with the submodel opened last.
bool is_inside_keyword(Kw code) {
  return kw_in(code, Kw::SUBMODEL_SPEC, Kw::SUB_FALLING_WAVEFORM);
}

struct SubmodelState {
  Submodel* current = nullptr;
  const SubmodelKeyword* keyword = nullptr;  // the keyword whose data lines are read
  bool open = false;                         // and whose end check is still due
  std::unordered_set<std::string_view> names;  // of the submodels of this reading
  ItemList items;                              // scratch, reused line after line
};

SubmodelState g_sub;
constexpr SectionWords kWords{BugForm::AtLine, "Unable to get IBIS structure", BugForm::Plain,
                              nullptr, "Bad line type passed to submdl.",
                              "Bad keyword type passed to submdl.", "Orphan Sub Model keyword.",
                              kOrphanDataLineKeyword};
SavedWithReading<SubmodelState> g_sub_saved(&g_sub);

std::string str(std::string_view text) { return std::string(text); }

void submodel_name(Submodel& s, std::string_view line) {
  const size_t pos = CMN_SkipKeyword(line);
  if (pos == std::string_view::npos) {
    RPT_BugAtLine("Unable to eat keyword <%s>: %s %d", "SubModel", __FILE__, __LINE__);
    return;
  }
  ItemList& items = g_sub.items;
  if (!CMN_SplitLine(line.substr(pos), 1, 0, &items)) {
    RPT_Error("Unable to Save Sub Model Name");
    return;
  }
  bool cut = false;
  const std::string_view name = CMN_OpenerName(items, "Sub Model", NEWER_ModelNameLimit(), &cut);
  if (name.empty()) return;
  // Unlike a selector's, a cut name is neither a reserved word nor a duplicate.
  if (!cut) {
    if (!CMN_IsReservedWord(name))
      RPT_ErrorAtLine("Invalid Sub Model Name (\"%s\"); Reserved Word.", str(name).c_str());
    if (g_sub.names.count(name) != 0)
      RPT_ErrorAtLine("SubModel Name Previously Defined (\"%s\")", str(name).c_str());
  }
  try {
    s.name.assign(name);
    g_sub.names.insert(s.name);
  } catch (const std::bad_alloc&) {
    CMN_ReportNoMemory();
  }
}

// A refused value still marks the type as given (NoType), so that no type rule applies and the
// end of [Submodel] does not call it missing.
void submodel_type_line(Submodel& s, std::string_view line) {
  ItemList& items = g_sub.items;
  if (!CMN_SplitLine(line, kTypeLineItems, '=', &items)) {
    CMN_ReportUnparsed("Sub Model Sub-Parameter");
    return;
  }
  constexpr const char* kName = "Submodel_type";
  if (items[0] != kName) {
    RPT_ErrorAtLine("Unknown Line Among Sub Model Data");
    return;
  }
  if (s.submodel_type != SubmodelType::NotGiven) {
    RPT_ErrorAtLine(kAlreadyDefinedForSubmodel, kName, s.name.c_str());
    return;
  }
  s.submodel_type = SubmodelType::NoType;
  std::string_view value;
  if (CMN_SettingValue(items, kName, &value))
    (void)CMN_LookupName(std::span<const NamedCode<SubmodelType>>(kTypeNames), value, kName,
                         &s.submodel_type);
}

bool has_keywords_besides_spec(const Submodel& s) {
  return s.pulldown || s.pullup || s.gnd_clamp || s.power_clamp || s.ramp || !s.rising.empty() ||
         !s.falling.empty() || s.gnd_pulse || s.power_pulse;
}

// A second pulse table of a kind replaces the first.
int pulse_open(Submodel& s, const SubmodelKeyword& k, std::string_view line) {
  std::unique_ptr<Waveform>& slot = s.*k.pulse;
  if (slot) {
    RPT_ErrorAtLine("[%s] Already Defined", k.end_label);
    slot.reset();
  }
  return waveform_create(line, k.label, &slot);
}

void keyword_line(Submodel& s, const SubmodelKeyword& k, std::string_view line) {
  bool& open = g_sub.open;
  switch (k.route) {
    case Route::Name:
      submodel_name(s, line);
      open = true;
      break;
    case Route::Spec:
      // Read all the same: only its place is wrong.
      if (has_keywords_besides_spec(s))
        RPT_ErrorAtLine("[Submodel Spec] should be specified before other keywords for a model");
      open = submodel_spec_open(line, &s.spec);
      break;
    case Route::Pulse: open = pulse_open(s, k, line); break;
    case Route::Vi: open = vi_open(line, k.label, &(s.*k.table)); break;
    case Route::Ramp: open = ramp_open(line, &s.ramp); break;
    case Route::Waveform: open = waveform_open(line, &(s.*k.waveforms), k.label); break;
  }
}

void data_line(Submodel& s, const SubmodelKeyword& k, std::string_view line) {
  if (!g_sub.open) return;  // its record could not be made, which was reported
  switch (k.route) {
    case Route::Name: submodel_type_line(s, line); break;
    case Route::Spec: submodel_spec_line(line, s.spec.get(), s.name); break;
    case Route::Pulse: waveform_row(line, (s.*k.pulse).get(), k.end_label); break;
    case Route::Vi: vi_row(line, (s.*k.table).get(), k.label); break;
    case Route::Ramp: ramp_line(line, s.ramp.get(), s.name); break;
    case Route::Waveform: waveform_line(line, (s.*k.waveforms).back().get(), k.label); break;
  }
}

// The end check of the keyword just read, once.
void close_keyword() {
  Submodel* s = g_sub.current;
  const SubmodelKeyword* k = g_sub.keyword;
  if (!s || !k || !g_sub.open) return;
  g_sub.open = false;
  switch (k->route) {
    case Route::Name:
      if (s->submodel_type == SubmodelType::NotGiven)
        RPT_Error("Submodel '%s': %s Not Defined", s->name.c_str(), "Submodel_type");
      break;
    case Route::Spec: submodel_spec_end(*s->spec, s->name); break;
    case Route::Pulse: waveform_end(*(s->*k->pulse), k->end_label, false); break;
    case Route::Vi:
      // A submodel has no Model_type: the sense of its currents depends on the model that adds
      // it, so the direction through 0 V is not checked.
      vi_end("Submodel", s->name, ModelType::NotGiven, k->code, (s->*k->table).get(), k->label);
      break;
    case Route::Ramp: break;
    case Route::Waveform: waveform_end(*(s->*k->waveforms).back(), k->label, true); break;
  }
}

// -- the whole submodel ------------------------------------------------------------------------

void check_bus_hold(const Submodel& s) {
  if (s.submodel_type != SubmodelType::BusHold) return;
  const char* name = s.name.c_str();
  if (!s.spec) {
    RPT_Error("Submodel %s: [Submodel Spec] is required when Submodel_type is Bus_hold", name);
  } else {
    const struct {
      const char* label;
      bool given;
    } triggers[] = {{"V_trigger_r", s.spec->v_trigger_r != nullptr},
                    {"V_trigger_f", s.spec->v_trigger_f != nullptr}};
    for (const auto& t : triggers)
      if (!t.given)
        RPT_Error("Submodel %s: [Submodel Spec] %s is required when Submodel_type is Bus_hold",
                  name, t.label);
  }
  if (!s.ramp) RPT_Error("Submodel %s: [Ramp] is required when Submodel_type is Bus_hold", name);
  if (!s.pullup && !s.pulldown)
    RPT_Error("Submodel %s: Either [Pullup] or [Pulldown] is required when Submodel_type is "
              "Bus_hold",
              name);
}

void check_dynamic_clamp(const Submodel& s) {
  if (s.submodel_type != SubmodelType::DynamicClamp) return;
  const char* name = s.name.c_str();
  const struct {
    const char* table;
    bool given;
    const char* trigger;
    std::unique_ptr<Range> SubmodelSpec::*value;
  } pulses[] = {
      {"GND_Pulse", s.gnd_pulse != nullptr, "V_trigger_f", &SubmodelSpec::v_trigger_f},
      {"POWER_Pulse", s.power_pulse != nullptr, "V_trigger_r", &SubmodelSpec::v_trigger_r},
  };
  for (const auto& p : pulses)
    if (p.given && (!s.spec || !(s.spec.get()->*p.value)))
      RPT_Error("Submodel %s: [Submodel Spec] %s is required when %s is specified", name,
                p.trigger, p.table);
  if (!s.gnd_pulse && !s.power_pulse && !s.gnd_clamp && !s.power_clamp)
    RPT_Error("Submodel %s: GND Pulse Table or POWER Pulse Table or GND Clamp or POWER Clamp is "
              "required when Submodel_type is Dynamic_clamp",
              name);
  if (s.spec && s.spec->off_delay)
    RPT_Error("Submodel %s: [Submodel Spec] Off_delay  cannot be specified with Dynamic_clamp "
              "submodels",
              name);
}

enum class Edge : uint8_t { Rising, Falling };

// The corners as the trigger messages name them, in the order of kCornerFields.
constexpr const char* kCornerLabels[] = {"Typ", "Min", "Max"};

// A rising waveform must pass its trigger between its first and last voltage, a falling one
// the other way round.
void report_trigger(const char* name, const char* corner, Edge edge, bool start, double trigger,
                    double voltage) {
  if (edge == Edge::Rising) {
    if (start && trigger < voltage)
      RPT_Warning("Submodel %s: V_trigger_r (%s) is less than the start of Rising Waveform", name,
                  corner);
    else if (!start && trigger > voltage)
      RPT_Warning("Submodel %s: V_trigger_r (%s) is greater than the end of Rising Waveform",
                  name, corner);
  } else {
    if (start && trigger > voltage)
      RPT_Warning("Submodel %s: V_trigger_f (%s) is greater than the start of Falling Waveform",
                  name, corner);
    else if (!start && trigger < voltage)
      RPT_Warning("Submodel %s: V_trigger_f (%s) is less than the end of Falling Waveform", name,
                  corner);
  }
}

void compare_trigger(const Submodel& s, Edge edge, const Range* trigger,
                     const WaveformList& waveforms) {
  if (!trigger || trigger->typ_status != ValueStatus::Value) return;
  for (const auto& w : waveforms) {
    if (w->rows.empty()) continue;
    const RangeRow* ends[] = {w->rows.head(), w->rows.tail()};
    for (size_t i = 0; i < std::size(kCornerFields); ++i) {
      for (size_t e = 0; e < std::size(ends); ++e) {
        double t = 0.0;
        double v = 0.0;
        if (range_select_pair(*trigger, *ends[e], kCornerFields[i].corner, &t, &v))
          report_trigger(s.name.c_str(), kCornerLabels[i], edge, e == 0, t, v);
      }
    }
  }
}

void check_off_delay(const Submodel& s) {
  if (s.spec && s.spec->off_delay && s.pullup && s.pulldown)
    RPT_Error("SubModel %s: Both Pullup and Pulldown cannot be specified when Off_delay is "
              "specified.",
              s.name.c_str());
}

void submodel_end(const Submodel& s) {
  check_bus_hold(s);
  check_dynamic_clamp(s);
  if (!s.spec) return;
  compare_trigger(s, Edge::Rising, s.spec->v_trigger_r.get(), s.rising);
  compare_trigger(s, Edge::Falling, s.spec->v_trigger_f.get(), s.falling);
  check_off_delay(s);
}

void end_current_submodel() {
  if (!g_sub.current) return;
  close_keyword();
  submodel_end(*g_sub.current);
  g_sub.current = nullptr;
  g_sub.keyword = nullptr;
}

// Models newest first, each one's entries in file order.
void resolve_add_submodels(const IbisDocument& doc) {
  std::unordered_set<std::string_view> submodels;
  try {
    for (const auto& s : doc.submodels) submodels.insert(s->name);
  } catch (const std::bad_alloc&) {
    CMN_ReportNoMemory();
    return;
  }
  for (auto it = doc.models.rbegin(); it != doc.models.rend(); ++it) {
    const IbisModel& m = **it;
    for (const AddSubmodelEntry& e : m.add_submodels)
      if (submodels.count(e.name) == 0)
        RPT_Error("Could not find definition for Submodel %s of Model %s", e.name.c_str(),
                  m.name.c_str());
  }
}

}  // namespace

void SUBMDL_Reset() { g_sub = SubmodelState{}; }

void SUBMDL_Init(FileKind) {
  end_current_submodel();  // when no keyword outside the submodel closed it
  IbisDocument* doc = IBIS_Current();
  g_sub.current = CMN_OpenRecord(doc ? &doc->submodels : nullptr, kWords);
}

void SUBMDL_Line(LineKind kind, Kw code, std::string_view line) {
  Submodel* s = g_sub.current;
  if (!CMN_SectionTakesLine(kind, is_submodel_keyword(code), s != nullptr, kWords)) return;
  if (kind == LineKind::Data) {
    if (g_sub.keyword) data_line(*s, *g_sub.keyword, line);
    return;
  }
  close_keyword();  // when an unknown keyword came between, nothing closed it
  const SubmodelKeyword* k = find_keyword(code);
  TARN_ASSERT(k != nullptr);
  g_sub.keyword = k;
  keyword_line(*s, *k, line);
}

void SUBMDL_KeywordDone(Kw next) {
  close_keyword();
  // A later keyword of a model, such as [Initial Delay], may stand in a submodel too.
  if (!is_inside_keyword(next) && !PRS_NewerIn(next, Section::Model)) end_current_submodel();
}

void SUBMDL_EndOfFile() {
  const IbisDocument* doc = IBIS_Current();
  TARN_ASSERT(doc != nullptr);
  end_current_submodel();
  resolve_add_submodels(*doc);
  if (!doc->submodels.empty()) SUBMDL_PlausibilityChecks(*doc);
}

const Submodel* SUBMDL_Find(const IbisDocument* document, std::string_view name) {
  TARN_ASSERT(document != nullptr);
  for (auto it = document->submodels.rbegin(); it != document->submodels.rend(); ++it)
    if ((*it)->name == name) return it->get();
  return nullptr;
}

// The ramp checks shared with the models belong to the plausibility checks, which take this
// over once they exist.
// Newest first, like the models.
void SUBMDL_PlausibilityChecks(const IbisDocument& document) {
  for (auto it = document.submodels.rbegin(); it != document.submodels.rend(); ++it)
    if ((*it)->ramp) PLAUS_RampTime("Sub Model", (*it)->name, (*it)->ramp.get());
}

std::string_view submodel_type_text(SubmodelType type) {
  for (const NamedCode<SubmodelType>& row : kTypeNames)
    if (row.code == type) return row.name;
  return {};
}

}  // namespace tarn
