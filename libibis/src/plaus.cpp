#include "libibis/src/plaus.h"

#include <string>

#include "libibis/src/cmpnt.h"
#include "libibis/src/ibis.h"
#include "libibis/src/mdl_plus.h"
#include "libibis/src/rpt.h"

namespace tarn {
namespace {

// The plausible span of a value and the scale it is shown in.
struct Limits {
  double low;
  double high;
  double scale;
};

constexpr Limits kRpkg{0.0, 1000.0, 1.0};
constexpr Limits kLpkg{0.0, 1e-6, 1e9};   // shown in nH
constexpr Limits kCpkg{0.0, 1e-9, 1e12};  // shown in pF
constexpr Limits kCcomp{0.0, 1e-9, 1e12};
constexpr Limits kRpin = kRpkg;
constexpr Limits kLpin = kLpkg;
constexpr Limits kCpin = kCpkg;

constexpr double kRampTimeLimit = 1e-3;  // seconds
constexpr double kNanoseconds = 1e9;

// Calls `warn(word, value, low, high)`, scaled for display, for each corner of the triple that
// holds a value outside the limits.
template <class Warn>
void check_triple(const Range& range, const Limits& limits, Warn warn) {
  for (const CornerWord& c : kCornerWords) {
    double value = 0.0;
    if (!range_corner_valid(range, c.corner) || !range_select(&range, c.corner, &value)) continue;
    if (value < limits.low || value > limits.high)
      warn(c.word, value * limits.scale, limits.low * limits.scale, limits.high * limits.scale);
  }
}

void check_package(const Component& component, const char* name) {
  const Package* package = nullptr;
  if (!CMPNT_GetPackage(&component, &package)) return;
  const Range* r = nullptr;
  if (PKG_GetRpkg(package, &r))
    check_triple(*r, kRpkg, [&](const char* word, double v, double low, double high) {
      RPT_Warning("CMPT '%s': Rpkg %s value %g Ohms not within expected range (%g Ohms, %g Ohms)",
                  name, word, v, low, high);
    });
  if (PKG_GetLpkg(package, &r))
    check_triple(*r, kLpkg, [&](const char* word, double v, double low, double high) {
      RPT_Warning("CMPT '%s': Lpkg %s value %gnH not within expected range (%gnH, %gnH)", name,
                  word, v, low, high);
    });
  if (PKG_GetCpkg(package, &r))
    check_triple(*r, kCpkg, [&](const char* word, double v, double low, double high) {
      RPT_Warning("CMPT '%s': Cpkg %s value %gpF not within expected range (%gpF, %gpF)", name,
                  word, v, low, high);
    });
}

void check_pin(const Pin& pin, const char* component) {
  const char* name = pin.name.c_str();
  double v = 0.0;
  if (PIN_GetRpin(&pin, &v) && v > kRpin.high)
    RPT_Warning("CMPT '%s', Pin '%s': Pin Resistance %g Ohms greater than %g Ohms", component, name,
                v * kRpin.scale, kRpin.high * kRpin.scale);
  if (PIN_GetLpin(&pin, &v) && v > kLpin.high)
    RPT_Warning("CMPT '%s', Pin '%s': Pin Inductance %gnH greater than %gnH", component, name,
                v * kLpin.scale, kLpin.high * kLpin.scale);
  if (PIN_GetCpin(&pin, &v) && v > kCpin.high)
    RPT_Warning("CMPT '%s', Pin '%s': Pin Capacitance %gpF greater than %gpF", component, name,
                v * kCpin.scale, kCpin.high * kCpin.scale);
}

void check_c_comp(const IbisModel& model, const char* name) {
  const Range* c_comp = nullptr;
  if (!mdl_get_c_comp(&model, &c_comp)) return;
  check_triple(*c_comp, kCcomp, [&](const char* word, double v, double low, double high) {
    RPT_Warning("Model '%s': C_comp %s value %gpF out of expected range (%gpF, %gpF)", name, word,
                v, low, high);
  });
}

const RampEntry& ramp_entry(const RampRatio& ratio, Corner corner) {
  switch (corner) {
    case kCornerMin: return ratio.min;
    case kCornerMax: return ratio.max;
    default: return ratio.typ;
  }
}

bool has_current(const ViTable& table) {
  for (const RangeRow* row = table.rows.head(); row; row = row->next())
    for (const CornerWord& c : kCornerWords) {
      double i = 0.0;
      if (range_corner_valid(*row, c.corner) && range_select(row, c.corner, &i) && i != 0.0)
        return true;
    }
  return false;
}

// The I/O forms of open devices lack the same half of the driver, so they are held to it too.
void check_open_device(const IbisModel& model, const char* name) {
  using T = ModelType;
  ModelType type = T::NotGiven;
  (void)mdl_get_model_type(&model, &type);
  const ViTable* table = nullptr;
  if ((type == T::OpenDrain || type == T::IOOpenDrain || type == T::OpenSink ||
       type == T::IOOpenSink) &&
      mdl_get_pullup(&model, &table) && has_current(*table))
    RPT_Warning("Model '%s': Currents <> 0.0mA in 'Pullup' for Open_drain/Open_sink device", name);
  if ((type == T::OpenSource || type == T::IOOpenSource) && mdl_get_pulldown(&model, &table) &&
      has_current(*table))
    RPT_Warning("Model '%s': Currents <> 0.0mA in 'Pulldown' for Open_source device", name);
}

void check_schedule_size(const IbisModel& model, const char* name) {
  const DriverSchedule* schedule = nullptr;
  if (!mdl_get_driver_schedule(&model, &schedule)) return;
  const std::vector<DriverScheduleEntry>* entries = nullptr;
  const size_t count = driver_schedule_get_entries(schedule, &entries) ? entries->size() : 0;
  if (count == 0) RPT_Warning("Model '%s': The [Driver_Schedule] has no models defined", name);
  else if (count == 1)
    RPT_Warning("Model '%s': The [Driver_Schedule] has only one model defined", name);
}

}  // namespace

void PLAUS_RampTime(const char* owner_kind, std::string_view owner_name, const Ramp* ramp) {
  TARN_ASSERT(owner_kind != nullptr);
  if (!ramp) return;
  const std::string name(owner_name);
  const struct {
    const char* word;
    int (*get)(const Ramp*, const RampRatio**);
  } edges[] = {{"Rising", ramp_get_dvdt_r}, {"Falling", ramp_get_dvdt_f}};
  for (const auto& edge : edges) {
    const RampRatio* ratio = nullptr;
    if (!edge.get(ramp, &ratio)) continue;
    for (const CornerWord& c : kCornerWords) {
      const RampEntry& e = ramp_entry(*ratio, c.corner);
      if (e.status == ValueStatus::Value && e.dt > kRampTimeLimit)
        RPT_Warning("%s '%s': %s %s Ramptime %5.3ensec unusually large ( > %5.3ensec )", owner_kind,
                    name.c_str(), edge.word, c.word, e.dt * kNanoseconds,
                    kRampTimeLimit * kNanoseconds);
    }
  }
}

void PLAUS_Model(const IbisModel* model) {
  TARN_ASSERT(model != nullptr);
  const char* name = model->name.c_str();
  check_c_comp(*model, name);
  const Ramp* ramp = nullptr;
  if (mdl_get_ramp(model, &ramp)) PLAUS_RampTime("Model", model->name, ramp);
  check_open_device(*model, name);
  check_schedule_size(*model, name);
}

void PLAUS_Component(const Component* component) {
  TARN_ASSERT(component != nullptr);
  const char* name = component->name.c_str();
  check_package(*component, name);
  const PinList* pins = nullptr;
  if (!CMPNT_GetPins(component, &pins)) return;
  for (const Pin& pin : pins->pins) check_pin(pin, name);
}

// Models are visited newest first, as every walk over the model list is.
void PLAUS_ModelsEndOfFile(const IbisDocument& document) {
  for (auto m = document.models.rbegin(); m != document.models.rend(); ++m)
    RPT_Replay((*m)->plausibility_findings);
}

void PLAUS_ComponentsEndOfFile(const IbisDocument& document) {
  for (const auto& c : document.components) PLAUS_Component(c.get());
}

}  // namespace tarn
