#include "libibis/src/vichk.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "libibis/src/ibis.h"
#include "libibis/src/mdl_plus.h"
#include "libibis/src/plaus.h"
#include "libibis/src/rpt.h"

namespace tarn {
namespace {

constexpr double kTiny = 1e-32;  // below this a resistance or a voltage step counts as none
constexpr double kHuge = 1e32;
constexpr double kSameVoltage = 1e-6;  // a crossing this near a segment's start is taken

constexpr double kClampProbe = -1.5;  // volts, in the clamp table's own terms: past its rail
constexpr double kClampLimit = 10.0;  // amperes

// A waveform's endpoints may each lie off the curves' operating points in its fixture by 2
// per cent of the larger of those two voltages (in magnitude), as an accuracy of full scale.
constexpr double kTolerancePercent = 2.0;
constexpr double kToleranceShare = kTolerancePercent / 100.0;

using Curve = std::vector<IPwlEntry>;

// One table of a driving state and the reference its voltages are measured from.
struct SideTable {
  int (*table)(const IbisModel*, const ViTable**);
  int (*reference)(const IbisModel*, const Range**);
  bool from_supply;      // measured down from its reference, as a pullup is
  bool ecl_from_supply;  // so measured in an ECL model
};

// A driving state of the output: its driver with the clamp of the same rail. The clamp of
// the other rail is left out: in the span where the pin settles it carries next to nothing.
struct Side {
  int index;
  SideTable driver;
  SideTable clamp;
  const char* driver_label;
};

// An ECL pulldown is measured from the supply, which is why its current falls with its
// voltage through 0 V.
constexpr Side kHigh{0,
                     {mdl_get_pullup, mdl_get_pullup_reference, true, true},
                     {mdl_get_power_clamp, mdl_get_power_clamp_reference, true, true},
                     "Pullup"};
constexpr Side kLow{1,
                    {mdl_get_pulldown, mdl_get_pulldown_reference, false, true},
                    {mdl_get_gnd_clamp, mdl_get_gnd_clamp_reference, false, false},
                    "Pulldown"};

bool is_ecl(ModelType type) {
  return type == ModelType::InputECL || type == ModelType::OutputECL || type == ModelType::IOECL ||
         type == ModelType::ThreeStateECL;
}

bool from_supply(const IbisModel& m, const SideTable& t) {
  ModelType type = ModelType::NotGiven;
  (void)mdl_get_model_type(&m, &type);
  return is_ecl(type) ? t.ecl_from_supply : t.from_supply;
}

std::optional<double> select(const Range* range, int corner) {
  double v = 0.0;
  if (range_select(range, corner, &v)) return v;
  return std::nullopt;
}

std::optional<double> voltage_range(const IbisModel& m, int corner) {
  const Range* range = nullptr;
  if (!mdl_get_voltage_range(&m, &range)) return std::nullopt;
  return select(range, corner);
}

// A table's reference for a corner: its own keyword, else the supply of [Voltage Range] for
// a table measured from the supply and ground for the others.
std::optional<double> table_reference(const IbisModel& m, const SideTable& t, int corner) {
  const Range* range = nullptr;
  if (t.reference(&m, &range)) return select(range, corner);
  if (from_supply(m, t)) return voltage_range(m, corner);
  return 0.0;
}

// The rails the pin settles between: the supply (the reference of a table measured from it,
// else [Voltage Range]) and ground (the reference of a table measured from it, else 0 V).
std::optional<double> rail(const IbisModel& m, bool supply, int corner) {
  for (const SideTable* t : {&kHigh.driver, &kHigh.clamp, &kLow.driver, &kLow.clamp}) {
    const Range* range = nullptr;
    if (from_supply(m, *t) == supply && t->reference(&m, &range)) return select(range, corner);
  }
  if (supply) return voltage_range(m, corner);
  return 0.0;
}

// One table's curve on the pin's voltage: null when the model has no such table; false when
// it has one that cannot give the corner.
bool table_curve(const IbisModel& m, const SideTable& t, int corner,
                 std::unique_ptr<IPwlTable>* out) {
  const ViTable* table = nullptr;
  if (!t.table(&m, &table)) return true;
  const std::optional<double> reference = table_reference(m, t, corner);
  if (!reference) return false;
  const int mode = from_supply(m, t) ? kIPwlFromReference : kIPwlAdd;
  *out = ipwl_build(table, corner, mode, *reference);
  return *out && !(*out)->entries.empty();
}

// Two curves added point by point over the voltages of both.
Curve sum_curves(std::span<const IPwlEntry> a, std::span<const IPwlEntry> b) {
  std::vector<double> volts;
  volts.reserve(a.size() + b.size());
  for (const IPwlEntry& e : a) volts.push_back(e.v);
  for (const IPwlEntry& e : b) volts.push_back(e.v);
  std::sort(volts.begin(), volts.end());
  volts.erase(std::unique(volts.begin(), volts.end()), volts.end());
  Curve sum(volts.size());
  for (size_t k = 0; k < volts.size(); ++k) {
    sum[k].v = volts[k];
    sum[k].i = VICHK_CurrentAt(a, volts[k]) + VICHK_CurrentAt(b, volts[k]);
  }
  return sum;
}

std::optional<Curve> state_curve(const IbisModel& m, const Side& side, int corner) {
  std::unique_ptr<IPwlTable> driver;
  std::unique_ptr<IPwlTable> clamp;
  if (!table_curve(m, side.driver, corner, &driver) || !table_curve(m, side.clamp, corner, &clamp))
    return std::nullopt;
  if (driver && clamp) return sum_curves(driver->entries, clamp->entries);
  if (driver) return std::move(driver->entries);
  if (clamp) return std::move(clamp->entries);
  return std::nullopt;
}

// The curves of a model's two states, per corner, each built when first asked for.
class StateCurves {
 public:
  explicit StateCurves(const IbisModel& model) : model_(model) {}

  const IbisModel& model() const { return model_; }

  // Null when the state has no usable curve for the corner.
  const Curve* get(const Side& side, int corner) {
    Slot& slot = slots_[side.index][corner];
    if (!slot.built) {
      slot.built = true;
      try {
        slot.curve = state_curve(model_, side, corner);
      } catch (const std::bad_alloc&) {
        RPT_Bug("Unable to Allocate Memory: %s %d", __FILE__, __LINE__);
      }
    }
    return slot.curve ? &*slot.curve : nullptr;
  }

 private:
  struct Slot {
    bool built = false;
    std::optional<Curve> curve;
  };
  const IbisModel& model_;
  std::array<std::array<Slot, 3>, 2> slots_{};
};

// The crossing with the load line, segment by segment from the first point (see
// VICHK_OperatingPoint); `curve` is anything with size() and points by index.
template <class Points>
std::optional<OperatingPoint> walk(const Points& curve, double r_load, double v_term) {
  if (curve.size() < 2 || curve[1].v < curve[0].v) return std::nullopt;
  const double g = r_load < kTiny ? kHuge : 1.0 / r_load;
  for (size_t k = 0; k + 1 < curve.size(); ++k) {
    const IPwlEntry& a = curve[k];
    const IPwlEntry& b = curve[k + 1];
    const double dv = b.v - a.v;
    const double slope = dv < kTiny ? kHuge : (b.i - a.i) / dv;
    if (std::fabs(-g - slope) < kTiny) return std::nullopt;
    const double v = (a.i - slope * a.v - g * v_term) / (-g - slope) + 0.0;  // no -0
    const OperatingPoint crossing{v, -g * v + g * v_term};
    const bool before_first = k == 0 && v < a.v;
    const bool last = k + 2 == curve.size();
    if (before_first || (a.v <= v && v <= b.v) || last || std::fabs(v - a.v) <= kSameVoltage)
      return crossing;
  }
  return std::nullopt;
}

// The part of a curve from `lo` to `hi`, its two ends taken on the curve (or its extension),
// seen in place: a walk over it copies nothing.
class ClippedCurve {
 public:
  ClippedCurve(std::span<const IPwlEntry> curve, double lo, double hi)
      : first_{lo, VICHK_CurrentAt(curve, lo)}, last_{hi, VICHK_CurrentAt(curve, hi)} {
    const auto below = [](const IPwlEntry& e, double v) { return e.v < v; };
    const auto begin = std::upper_bound(curve.begin(), curve.end(), lo,
                                        [](double v, const IPwlEntry& e) { return v < e.v; });
    const auto end = std::lower_bound(begin, curve.end(), hi, below);
    inner_ = std::span<const IPwlEntry>(begin, end);
  }
  size_t size() const { return inner_.size() + 2; }
  const IPwlEntry& operator[](size_t k) const {
    if (k == 0) return first_;
    return k <= inner_.size() ? inner_[k - 1] : last_;
  }

 private:
  IPwlEntry first_;
  IPwlEntry last_;
  std::span<const IPwlEntry> inner_;  // the points strictly between lo and hi
};

// A pin loaded by a resistance to `v_term` settles between its driver's rail and `v_term`.
// So the curve is walked from the lower rail (or `v_term` below it) to the upper: the parts of
// the tables beyond describe overshoot, and a fold there must not pass for the crossing.
std::optional<OperatingPoint> operating_point(StateCurves& curves, const Side& side, int corner,
                                              double r_load, double v_term) {
  const Curve* curve = curves.get(side, corner);
  const IbisModel& m = curves.model();
  const std::optional<double> ground = rail(m, false, corner);
  const std::optional<double> supply = rail(m, true, corner);
  if (!curve || !ground || !supply) return std::nullopt;
  const double lo = std::min({*ground, *supply, v_term});
  const double hi = std::max({*ground, *supply, v_term});
  if (hi - lo < kTiny) return std::nullopt;
  return walk(ClippedCurve(*curve, lo, hi), r_load, v_term);
}

// The timing load must see the pin pass Vmeas: above it driven high, below it driven low,
// corner by corner; the warning names the corner and the driver ("TYP Pullup"). A side whose
// driver the model lacks makes no edge of its own and is not checked.
void drive_through(StateCurves& curves) {
  const IbisModel& m = curves.model();
  double vmeas = 0.0;
  double rref = 0.0;
  double vref = 0.0;
  if (!mdl_get_vmeas(&m, &vmeas) || !mdl_get_rref(&m, &rref) || !mdl_get_vref(&m, &vref)) return;
  const std::string name(m.name);
  for (const CornerWord& c : kCornerWords) {
    for (const Side* side : {&kHigh, &kLow}) {
      const ViTable* driver = nullptr;
      if (!side->driver.table(&m, &driver)) continue;
      const auto op = operating_point(curves, *side, c.corner, rref, vref);
      if (!op) continue;
      const bool through = side == &kHigh ? op->v > vmeas : op->v < vmeas;
      if (through) continue;
      const std::string curve = std::string(c.word) + " " + side->driver_label;
      RPT_Warning(
          "Model '%s': %s VI curves cannot drive through Vmeas=%gV\n"
          "          given load Rref=%g Ohms to Vref=%gV",
          name.c_str(), curve.c_str(), vmeas, rref, vref);
    }
  }
}

// A rising waveform starts where the pulldown side holds the pin in its fixture and ends where
// the pullup side does; a falling one the other way. Each corner takes its own references,
// fixture voltage and waveform column, and a corner the waveform does not give is skipped.
struct WaveformEdge {
  const char* word;
  int (*list)(const IbisModel*, const WaveformList**);
  const Side* start;
  const Side* end;
};

constexpr WaveformEdge kWaveformEdges[] = {
    {"Rising", mdl_get_rising_waveforms, &kLow, &kHigh},
    {"Falling", mdl_get_falling_waveforms, &kHigh, &kLow},
};

std::optional<double> fixture_voltage(const Waveform& w, int corner) {
  double v = 0.0;
  if (corner == kCornerMin && waveform_get(&w, WaveformParam::VFixtureMin, &v)) return v;
  if (corner == kCornerMax && waveform_get(&w, WaveformParam::VFixtureMax, &v)) return v;
  if (waveform_get(&w, WaveformParam::VFixture, &v)) return v;
  return std::nullopt;
}

void waveform_endpoints(StateCurves& curves, const WaveformEdge& edge, const Waveform& w,
                        const std::string& name) {
  double r_fixture = 0.0;
  const RowList* rows = nullptr;
  if (!waveform_get(&w, WaveformParam::RFixture, &r_fixture) || !waveform_get_rows(&w, &rows) ||
      rows->size() < 2)
    return;
  const RangeRow& first = *rows->head();
  const RangeRow& last = *rows->tail();
  for (const CornerWord& c : kCornerWords) {
    const std::optional<double> v_fixture = fixture_voltage(w, c.corner);
    double w0 = 0.0;
    double w1 = 0.0;
    if (!v_fixture || !range_corner_valid(first, c.corner) || !range_corner_valid(last, c.corner) ||
        !range_select(&first, c.corner, &w0) || !range_select(&last, c.corner, &w1))
      continue;
    const auto dc0 = operating_point(curves, *edge.start, c.corner, r_fixture, *v_fixture);
    const auto dc1 = operating_point(curves, *edge.end, c.corner, r_fixture, *v_fixture);
    if (!dc0 || !dc1) continue;
    const double tolerance = kToleranceShare * std::max(std::fabs(dc0->v), std::fabs(dc1->v));
    if (std::fabs(w0 - dc0->v) <= tolerance && std::fabs(w1 - dc1->v) <= tolerance) continue;
    RPT_Warning(
        "Model '%s': %s AC %s Endpoints (%5.2fV, %5.2fV) not within \n"
        "          %5.3fV (%g%%) of (%5.2fV, %5.2fV) on VI curves for %g Ohms to %gV",
        name.c_str(), c.word, edge.word, w0, w1, tolerance, kTolerancePercent, dc0->v, dc1->v,
        r_fixture, *v_fixture);
  }
}

// Waveforms past the 100 a model may have were refused when read; they are not checked, so
// that a file of many waveforms and long tables costs no more than a model can.
constexpr size_t kWaveformsChecked = 100;

void ac_endpoints(StateCurves& curves) {
  const IbisModel& m = curves.model();
  const std::string name(m.name);
  for (const WaveformEdge& edge : kWaveformEdges) {
    const WaveformList* list = nullptr;
    if (!edge.list(&m, &list)) continue;
    const size_t count = std::min(list->size(), kWaveformsChecked);
    for (size_t k = 0; k < count; ++k) waveform_endpoints(curves, edge, *(*list)[k], name);
  }
}

}  // namespace

std::optional<OperatingPoint> VICHK_OperatingPoint(std::span<const IPwlEntry> curve, double r_load,
                                                   double v_term) {
  return walk(curve, r_load, v_term);
}

double VICHK_CurrentAt(std::span<const IPwlEntry> curve, double v) {
  TARN_ASSERT(!curve.empty());
  if (curve.size() == 1) return curve[0].i;
  // The segment holding v; before the first point the first, past the last point the last.
  const auto inner_end = curve.end() - 1;
  const auto it = std::lower_bound(curve.begin() + 1, inner_end, v,
                                   [](const IPwlEntry& e, double x) { return e.v < x; });
  const IPwlEntry& a = *(it - 1);
  const IPwlEntry& b = *it;
  if (v == a.v) return a.i;
  if (v == b.v) return b.i;
  const double dv = b.v - a.v;
  if (dv < kTiny) return v < a.v ? a.i : b.i;
  return a.i + (b.i - a.i) * (v - a.v) / dv;
}

void VICHK_DriveThrough(const IbisModel* model) {
  TARN_ASSERT(model != nullptr);
  StateCurves curves(*model);
  drive_through(curves);
}

void VICHK_AcEndpoints(const IbisModel* model) {
  TARN_ASSERT(model != nullptr);
  StateCurves curves(*model);
  ac_endpoints(curves);
}

int VICHK_ClampCurrents(const IbisModel* model) {
  TARN_ASSERT(model != nullptr);
  const std::string name(model->name);
  const struct {
    const char* word;
    int (*get)(const IbisModel*, const ViTable**);
  } clamps[] = {{"GND_Clamp", mdl_get_gnd_clamp}, {"POWER_Clamp", mdl_get_power_clamp}};
  int quiet = 1;
  for (const auto& clamp : clamps) {
    const ViTable* table = nullptr;
    if (!clamp.get(model, &table)) continue;
    for (const CornerWord& c : kCornerWords) {
      // Both clamps are probed in their own table's voltage: 1.5 V past the rail.
      const auto pwl = ipwl_build(table, c.corner, kIPwlAdd, 0.0);
      if (!pwl || pwl->entries.empty()) continue;
      const double i = VICHK_CurrentAt(pwl->entries, kClampProbe);
      if (!(std::fabs(i) > kClampLimit)) continue;
      RPT_Warning("Model '%s': Extreme currents present in %s %s VI Curve (%gA @ %gV)",
                  name.c_str(), clamp.word, c.word, i, kClampProbe);
      quiet = 0;
    }
  }
  return quiet;
}

void VICHK_EndOfFile(const IbisDocument& document) {
  for (auto m = document.models.rbegin(); m != document.models.rend(); ++m) {
    StateCurves curves(**m);
    drive_through(curves);
    ac_endpoints(curves);
    (void)VICHK_ClampCurrents(m->get());
  }
}

}  // namespace tarn
