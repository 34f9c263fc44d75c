#include "libibis/src/mspec.h"

#include <cstdio>
#include <iterator>
#include <new>
#include <string>

#include "libibis/src/cmn.h"
#include "libibis/src/newer.h"
#include "libibis/src/parse.h"
#include "libibis/src/reading_state.h"
#include "libibis/src/rpt.h"

namespace tarn {
namespace {

using P = MspecParam;

constexpr const char* kParamNames[kMspecParams] = {
    "Vinh", "Vinl", "Vinh+", "Vinh-", "Vinl+", "Vinl-", "S_overshoot_high", "S_overshoot_low",
    "D_overshoot_high", "D_overshoot_low", "D_overshoot_time", "Pulse_high", "Pulse_low",
    "Pulse_time", "Vmeas",
};

// Read past in a file of their version: the timing loads and thresholds split by edge, and
// the dynamic overshoot limits.
constexpr NewerName kLaterParams[] = {
    {"Cref", 40},         {"Rref", 40},          {"Vref", 40},          {"Cref_rising", 40},
    {"Cref_falling", 40}, {"Rref_rising", 40},   {"Rref_falling", 40},  {"Vref_rising", 40},
    {"Vref_falling", 40}, {"Vmeas_rising", 40},  {"Vmeas_falling", 40}, {"Rref_diff", 41},
    {"Cref_diff", 41},    {"D_overshoot_ampl_h", 50}, {"D_overshoot_ampl_l", 50},
    {"D_overshoot_area_h", 50}, {"D_overshoot_area_l", 50},
};

// The corners as the end messages name them, in the order of kCornerFields.
constexpr const char* kCornerNames[] = {"Typ", "Min", "Max"};

// A scratch list, reused so that a line allocates nothing.
struct ModelSpecState {
  ItemList items;
};

ModelSpecState g_mspec;
SavedWithReading<ModelSpecState> g_mspec_saved(&g_mspec);

const char* name_of(P p) { return kParamNames[static_cast<size_t>(p)]; }

const Range* value_of(const ModelSpec& spec, P p) {
  return spec.values[static_cast<size_t>(p)].get();
}

bool given(const ModelSpec& spec, P p) { return value_of(spec, p) != nullptr; }

int find_param(std::string_view name) {
  for (size_t i = 0; i < kMspecParams; ++i)
    if (name == kParamNames[i]) return static_cast<int>(i);
  return -1;
}

enum Relation : int { kLess = 0, kGreater = 1, kLessEqual = 2, kGreaterEqual = 3 };

bool holds(Relation relation, double subject, double reference) {
  switch (relation) {
    case kLess: return subject < reference;
    case kGreater: return subject > reference;
    case kLessEqual: return subject <= reference;
    default: return subject >= reference;
  }
}

void report_order(bool as_error, Relation relation, const char* subject, const char* corner,
                  const char* reference, int line) {
  char text[200];
  switch (relation) {
    case kLess:
      std::snprintf(text, sizeof text,
                    "%s(%s) is not less than %s(%s) for Model Spec defined on line %d", subject,
                    corner, reference, corner, line);
      break;
    case kGreater:
      std::snprintf(text, sizeof text,
                    "%s(%s) is not greater than %s(%s) for Model Spec defined on line %d", subject,
                    corner, reference, corner, line);
      break;
    case kLessEqual:
      std::snprintf(text, sizeof text,
                    "%s(%s) is not less than or equal to %s(%s) for Model Spec defined on line %d",
                    subject, corner, reference, corner, line);
      break;
    default:
      std::snprintf(
          text, sizeof text,
          "%s(%s) is not greater than or equal to %s(%s) for Model Spec defined on line %d",
          subject, corner, reference, corner, line);
      break;
  }
  if (as_error) RPT_Error("%s", text);
  else RPT_Warning("%s", text);
}

// The hysteresis thresholds, where both give a corner: an error.
void check_hysteresis(const ModelSpec& spec, P upper, P lower) {
  const Range* a = value_of(spec, upper);
  const Range* b = value_of(spec, lower);
  if (!a || !b) return;
  for (size_t i = 0; i < std::size(kCornerFields); ++i) {
    const CornerField& f = kCornerFields[i];
    if (a->*f.status != ValueStatus::Value || b->*f.status != ValueStatus::Value) continue;
    if (!holds(kGreaterEqual, a->*f.value, b->*f.value))
      report_order(true, kGreaterEqual, name_of(upper), kCornerNames[i], name_of(lower), spec.line);
  }
}

// Levels of two subparameters, a missing minimum or maximum standing in for by the typical
// value: a warning.
void check_level(const ModelSpec& spec, P subject, Relation relation, P reference) {
  const Range* a = value_of(spec, subject);
  const Range* b = value_of(spec, reference);
  if (!a || !b) return;
  for (size_t i = 0; i < std::size(kCornerFields); ++i) {
    double x = 0.0;
    double y = 0.0;
    if (!range_select_pair(*a, *b, kCornerFields[i].corner, &x, &y)) continue;
    if (!holds(relation, x, y))
      report_order(false, relation, name_of(subject), kCornerNames[i], name_of(reference),
                   spec.line);
  }
}

enum class Sign : uint8_t { NotAboveZero, NotBelowZero };

void check_sign(const ModelSpec& spec, P p, Sign sign) {
  const Range* r = value_of(spec, p);
  if (!r) return;
  for (size_t i = 0; i < std::size(kCornerFields); ++i) {
    const CornerField& f = kCornerFields[i];
    if (r->*f.status != ValueStatus::Value) continue;
    const std::string name = std::string(name_of(p)) + " (" + kCornerNames[i] + ")";
    if (sign == Sign::NotAboveZero && r->*f.value > 0.0)
      RPT_Error("%s is greater than zero for Model Spec defined on line %d", name.c_str(),
                spec.line);
    else if (sign == Sign::NotBelowZero && r->*f.value < 0.0)
      RPT_Error("%s is less than zero for Model Spec defined on line %d", name.c_str(), spec.line);
  }
}

void report_missing(const char* subject, const char* missing, int line) {
  RPT_Error("%s requires %s to be specified for Model Spec defined on line %d", subject, missing,
            line);
}

void check_requires(const ModelSpec& spec, P subject, P required) {
  if (given(spec, subject) && !given(spec, required))
    report_missing(name_of(subject), name_of(required), spec.line);
}

// A pulse limit needs a threshold to be measured against, plain or with hysteresis.
void check_requires_threshold(const ModelSpec& spec, P subject, P hysteresis, P plain) {
  if (given(spec, subject) && !given(spec, hysteresis) && !given(spec, plain))
    report_missing(name_of(subject), "Thresholds or Hysteresis Thresholds", spec.line);
}

void check_orphan(const ModelSpec& spec, P p, P user_a, P user_b) {
  if (given(spec, p) && !given(spec, user_a) && !given(spec, user_b))
    RPT_Error("orphan %s found for Model Spec defined on line %d", name_of(p), spec.line);
}

}  // namespace

const char* mspec_param_name(MspecParam param) { return name_of(param); }

int model_spec_open(std::string_view, std::unique_ptr<ModelSpec>* slot) {
  TARN_ASSERT(slot != nullptr);
  if (*slot) {
    RPT_ErrorAtLine("Model Specification: Already Defined for this model");
    slot->reset();
  }
  slot->reset(new (std::nothrow) ModelSpec);
  if (!*slot) {
    CMN_ReportNoMemory();
    return 0;
  }
  (*slot)->line = PRS_GetLineNumber();
  return 1;
}

void model_spec_line(std::string_view line, ModelSpec* spec, std::string_view model_name) {
  TARN_ASSERT(spec != nullptr);
  ItemList& items = g_mspec.items;
  if (!CMN_SplitLine(line, 1, 0, &items)) {
    CMN_ReportUnparsed("Model Spec Sub-Parameter");
    return;
  }
  const int index = find_param(items[0]);
  if (index < 0 && NEWER_ReadPast(kLaterParams, items[0])) return;
  if (index < 0) {
    RPT_ErrorAtLine("Unknown Line Among Model Spec Data");
    return;
  }
  std::unique_ptr<Range>& slot = spec->values[static_cast<size_t>(index)];
  const char* name = kParamNames[index];
  // A second line is refused like a model's second subparameter, keeping the first values.
  if (slot) {
    RPT_ErrorAtLine(kAlreadyDefinedForModel, name, std::string(model_name).c_str());
    return;
  }
  const size_t rest = static_cast<size_t>(items[0].data() - line.data()) + items[0].size();
  (void)range_parse(line.substr(rest), name, &slot);
}

void model_spec_end(const ModelSpec& spec) {
  check_hysteresis(spec, P::VinhPlus, P::VinhMinus);
  check_hysteresis(spec, P::VinlPlus, P::VinlMinus);

  check_sign(spec, P::SOvershootLow, Sign::NotAboveZero);
  check_sign(spec, P::DOvershootLow, Sign::NotAboveZero);
  check_sign(spec, P::SOvershootHigh, Sign::NotBelowZero);
  check_sign(spec, P::DOvershootHigh, Sign::NotBelowZero);
  check_sign(spec, P::DOvershootTime, Sign::NotBelowZero);
  check_sign(spec, P::PulseTime, Sign::NotBelowZero);

  check_requires(spec, P::DOvershootLow, P::SOvershootLow);
  check_requires(spec, P::DOvershootLow, P::DOvershootTime);
  check_requires(spec, P::DOvershootHigh, P::SOvershootHigh);
  check_requires(spec, P::DOvershootHigh, P::DOvershootTime);
  check_requires(spec, P::PulseLow, P::PulseTime);
  check_requires_threshold(spec, P::PulseLow, P::VinlPlus, P::Vinh);
  check_requires(spec, P::PulseHigh, P::PulseTime);
  check_requires_threshold(spec, P::PulseHigh, P::VinhMinus, P::Vinl);

  check_orphan(spec, P::DOvershootTime, P::DOvershootHigh, P::DOvershootLow);
  check_orphan(spec, P::PulseTime, P::PulseHigh, P::PulseLow);

  check_level(spec, P::DOvershootLow, kLess, P::SOvershootLow);
  check_level(spec, P::DOvershootHigh, kGreater, P::SOvershootHigh);
  check_level(spec, P::PulseLow, kLess, P::VinlPlus);
  check_level(spec, P::PulseLow, kLess, P::Vinh);
  check_level(spec, P::PulseHigh, kGreater, P::VinhMinus);
  check_level(spec, P::PulseHigh, kGreater, P::Vinl);
}

int mspec_get(const ModelSpec* spec, MspecParam param, const Range** out) {
  TARN_ASSERT(spec != nullptr && out != nullptr);
  *out = value_of(*spec, param);
  return *out ? 1 : 0;
}

}  // namespace tarn
