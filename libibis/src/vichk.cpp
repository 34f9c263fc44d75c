#include "libibis/src/vichk.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <limits>
#include <memory>
#include <new>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "libibis/src/cmn.h"
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

using Curve = std::vector<CurvePoint>;

// One VI table of a model and the reference its voltages are measured from.
struct TableKind {
  int (*table)(const IbisModel*, const ViTable**);
  int (*reference)(const IbisModel*, const Range**);
  bool from_supply;      // measured down from its reference, as a pullup is
  bool ecl_from_supply;  // so measured in an ECL model
};

enum TableIndex : int { kPullupTable, kPulldownTable, kGndClampTable, kPowerClampTable };

// An ECL pulldown is measured from the supply, which is why its current falls with its
// voltage through 0 V.
constexpr TableKind kTables[] = {
    {mdl_get_pullup, mdl_get_pullup_reference, true, true},
    {mdl_get_pulldown, mdl_get_pulldown_reference, false, true},
    {mdl_get_gnd_clamp, mdl_get_gnd_clamp_reference, false, false},
    {mdl_get_power_clamp, mdl_get_power_clamp_reference, true, true},
};
constexpr size_t kTableCount = std::size(kTables);

// A driving state of the output: its driver with both clamps, which conduct in every state
// (an on-die termination modelled in the clamps loads the pin high and low alike).
struct Side {
  int index;
  TableIndex driver;
  const char* driver_label;
};

constexpr Side kHigh{0, kPullupTable, "Pullup"};
constexpr Side kLow{1, kPulldownTable, "Pulldown"};
constexpr TableIndex kClampTables[] = {kGndClampTable, kPowerClampTable};

bool is_ecl(ModelType type) {
  return type == ModelType::InputECL || type == ModelType::OutputECL || type == ModelType::IOECL ||
         type == ModelType::ThreeStateECL;
}

bool from_supply(const IbisModel& m, const TableKind& t) {
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

// Whether a range gives a minimum or maximum of its own rather than the typical value.
bool own_corner(int (*get)(const IbisModel*, const Range**), const IbisModel& m, int corner) {
  const Range* range = nullptr;
  return get(&m, &range) && range_corner_valid(*range, static_cast<Corner>(corner));
}

// A table's reference for a corner: its own keyword, else the supply of [Voltage Range] for
// a table measured from the supply and ground for the others.
std::optional<double> table_reference(const IbisModel& m, const TableKind& t, int corner) {
  const Range* range = nullptr;
  if (t.reference(&m, &range)) return select(range, corner);
  if (from_supply(m, t)) return voltage_range(m, corner);
  return 0.0;
}

// The column a corner reads from a table: its own where any row gives it, else the typical
// one. Memory vendors fill typ, min and max on different rows, so a corner never borrows
// single points from another column: that would zigzag between two curves.
int column_of(const ViTable& table, int corner) {
  if (corner == kCornerTyp) return kCornerTyp;
  for (const RangeRow* row = table.rows.head(); row; row = row->next())
    if (row_corner_valid(row, corner)) return corner;
  return kCornerTyp;
}

// The points of one column on the pin's voltage, rising, and whether every voltage is a
// number. A table measured from its reference is read backwards, so a well-formed table is
// taken in order; only one whose voltages go back and forth (reported when it was read) is
// sorted.
Curve column_curve(const ViTable& table, int column, bool from_reference, double reference,
                   bool* numbers) {
  const CornerField& field = range_field(column);
  Curve points(table.rows.size());
  CurvePoint* const first = points.data();
  CurvePoint* out = first;
  bool sorted = true;
  bool nan = false;
  const auto take = [&](const RangeRow& row, double v) {
    if (row.x_status != ValueStatus::Value || row.*field.status != ValueStatus::Value) return;
    sorted = sorted && (out == first || !(v < out[-1].v));
    nan = nan || std::isnan(v);
    *out++ = CurvePoint{v, row.*field.value};
  };
  if (from_reference)
    for (const RangeRow* row = table.rows.tail(); row; row = row->prev())
      take(*row, reference - row->x);
  else
    for (const RangeRow* row = table.rows.head(); row; row = row->next())
      take(*row, row->x + reference);
  points.resize(static_cast<size_t>(out - first));
  if (!sorted)
    std::stable_sort(points.begin(), points.end(),
                     [](const CurvePoint& a, const CurvePoint& b) { return a.v < b.v; });
  *numbers = !nan;
  return points;
}

// The current on segment a-b at v: the segment's ends exactly, else along it (a vertical
// step gives the side v is on).
template <class Point>
double current_on(const Point& a, const Point& b, double v) {
  if (v == a.v) return a.i;
  if (v == b.v) return b.i;
  const double dv = b.v - a.v;
  if (dv < kTiny) return v < a.v ? a.i : b.i;
  return a.i + (b.i - a.i) * (v - a.v) / dv;
}

// VICHK_CurrentAt over the points of any curve.
template <class Point>
double current_at(std::span<const Point> curve, double v) {
  TARN_ASSERT(!curve.empty());
  if (curve.size() == 1) return curve[0].i;
  // The segment holding v; before the first point the first, past the last point the last.
  const auto inner_end = curve.end() - 1;
  const auto it = std::lower_bound(curve.begin() + 1, inner_end, v,
                                   [](const Point& e, double x) { return e.v < x; });
  return current_on(*(it - 1), *it, v);
}

// VICHK_CurrentAt for voltages that only rise: `*end`, the upper point of the segment reached,
// walks on from the last one instead of searching the whole curve each time. The curve holds
// the point at or above v unless it is whole.
[[gnu::always_inline]] inline double probe(std::span<const CurvePoint> curve, size_t* end,
                                           double v) {
  if (curve.size() == 1) return curve[0].i;
  while (*end + 1 < curve.size() && curve[*end].v < v) ++*end;
  return current_on(curve[*end - 1], curve[*end], v);
}

// Two rising curves added over the voltages of both, merged in one pass: the whole sum, for
// curves any start of a lazy sum could misplace.
Curve add_curves(std::span<const CurvePoint> a, std::span<const CurvePoint> b) {
  Curve sum;
  sum.reserve(a.size() + b.size());
  size_t end_a = 1;
  size_t end_b = 1;
  size_t ia = 0;
  size_t ib = 0;
  while (ia < a.size() || ib < b.size()) {
    const bool from_a = ib == b.size() || (ia < a.size() && a[ia].v <= b[ib].v);
    const CurvePoint& p = from_a ? a[ia++] : b[ib++];
    // A voltage both curves hold, or one holds twice, is one point of the sum.
    if (!sum.empty() && sum.back().v == p.v) continue;
    sum.push_back(CurvePoint{p.v, probe(a, &end_a, p.v) + probe(b, &end_b, p.v)});
  }
  return sum;
}

// The curve of one driving state for one corner, and the span of the pin's rails.
struct StateCurve {
  CurveSum sum;
  double low_rail = 0.0;
  double high_rail = 0.0;
};

// The curves of a model's tables and of its two states, per corner, each built when first
// asked for; a clamp's curve serves both states.
class StateCurves {
 public:
  explicit StateCurves(const IbisModel& model) : model_(model) {}

  const IbisModel& model() const { return model_; }

  // A rising and a falling waveform into the same fixture ask for the same two operating
  // points, so each is worked out once. Keys compare bit for bit: -0 is not 0 here.
  struct Asked {
    int side;
    int corner;
    uint64_t r_load;
    uint64_t v_term;
    std::optional<OperatingPoint> op;
  };
  const Asked* recall(const Side& side, int corner, double r_load, double v_term) const {
    const uint64_t r = std::bit_cast<uint64_t>(r_load);
    const uint64_t t = std::bit_cast<uint64_t>(v_term);
    for (size_t k = 0; k < asked_count_; ++k) {
      const Asked& a = asked_[k];
      if (a.side == side.index && a.corner == corner && a.r_load == r && a.v_term == t) return &a;
    }
    return nullptr;
  }
  void remember(const Side& side, int corner, double r_load, double v_term,
                const std::optional<OperatingPoint>& op) {
    if (asked_count_ == asked_.size()) return;  // more fixtures than kept: worked out again
    asked_[asked_count_++] = Asked{side.index, corner, std::bit_cast<uint64_t>(r_load),
                                   std::bit_cast<uint64_t>(v_term), op};
  }

  // A voltage a load of the corner will terminate to: each state's sum is then made once over
  // the span of them all, not widened question by question.
  void expect(int corner, double v_term) {
    std::optional<std::pair<double, double>>& span = terminations_[corner];
    span = span ? std::pair(std::min(span->first, v_term), std::max(span->second, v_term))
                : std::pair(v_term, v_term);
  }

  // Null when the state has no usable curve for the corner.
  StateCurve* get(const Side& side, int corner) {
    StateSlot& slot = states_[side.index][corner];
    if (!slot.built) {
      slot.built = true;
      try {
        slot.curve = state_curve(side, corner);
      } catch (const std::bad_alloc&) {
        CMN_ReportNoMemory();
      }
      const auto& span = terminations_[corner];
      if (slot.curve && span)
        slot.curve->sum.expect(std::min(slot.curve->low_rail, span->first),
                               std::max(slot.curve->high_rail, span->second));
    }
    return slot.curve ? &*slot.curve : nullptr;
  }

 private:
  struct TableSlot {
    bool built = false;
    bool present = false;  // the model has the table
    bool own = false;      // it gives the corner a column or a reference of its own
    std::optional<double> reference;
    std::optional<Curve> curve;  // empty when the corner cannot be had from the table
    bool numbers = true;         // every voltage of the curve is a number
  };
  struct StateSlot {
    bool built = false;
    std::optional<StateCurve> curve;
  };

  const TableSlot& table(TableIndex which, int corner) {
    TableSlot& slot = tables_[which][corner];
    if (slot.built) return slot;
    slot.built = true;
    const TableKind& kind = kTables[which];
    const ViTable* vi = nullptr;
    slot.present = kind.table(&model_, &vi) != 0;
    if (!slot.present) return slot;
    slot.reference = table_reference(model_, kind, corner);
    if (!slot.reference) return slot;
    const int column = column_of(*vi, corner);
    slot.own = column != kCornerTyp || own_corner(kind.reference, model_, corner);
    Curve points =
        column_curve(*vi, column, from_supply(model_, kind), *slot.reference, &slot.numbers);
    // A table of one point (reported when it ended) gives no curve to walk.
    if (points.size() >= 2) slot.curve = std::move(points);
    return slot;
  }

  // The span the pin settles in: ground, the supply and every table's own reference.
  bool rails(int corner, double* low, double* high) {
    *low = 0.0;
    *high = 0.0;
    const std::optional<double> supply = voltage_range(model_, corner);
    if (supply) {
      *low = std::min(*low, *supply);
      *high = std::max(*high, *supply);
    }
    for (size_t k = 0; k < kTableCount; ++k) {
      const TableSlot& t = table(static_cast<TableIndex>(k), corner);
      if (!t.present) continue;
      if (!t.reference) return false;
      *low = std::min(*low, *t.reference);
      *high = std::max(*high, *t.reference);
    }
    return true;
  }

  std::optional<StateCurve> state_curve(const Side& side, int corner) {
    StateCurve state;
    if (!rails(corner, &state.low_rail, &state.high_rail)) return std::nullopt;
    // A minimum or maximum made of typical data alone would only repeat the typical findings.
    bool own = corner == kCornerTyp || own_corner(mdl_get_voltage_range, model_, corner);
    const TableIndex parts[] = {side.driver, kClampTables[0], kClampTables[1]};
    for (TableIndex which : parts) {
      const TableSlot& t = table(which, corner);
      if (!t.present) continue;
      if (!t.curve) return std::nullopt;  // a table the corner cannot be had from
      own = own || t.own;
      state.sum.add(*t.curve, t.numbers);
    }
    if (!own || state.sum.part_count() == 0) return std::nullopt;
    return state;
  }

  const IbisModel& model_;
  std::array<std::array<TableSlot, 3>, kTableCount> tables_{};
  std::array<std::array<StateSlot, 3>, 2> states_{};
  std::array<Asked, 24> asked_{};
  size_t asked_count_ = 0;
  std::array<std::optional<std::pair<double, double>>, 3> terminations_{};
};

double load_conductance(double r_load) { return r_load < kTiny ? kHuge : 1.0 / r_load; }

enum class SegmentAnswer { kCrossing, kParallel, kBeyond };

// Where the load line of conductance `g` to `v_term` meets segment a-b of a walk: a crossing
// taken (on the segment, before the first or past the last one, or at the segment's start), a
// segment parallel to it (the walk ends with none), or a crossing beyond (the walk goes on).
SegmentAnswer segment_crossing(const CurvePoint& a, const CurvePoint& b, bool first, bool last,
                               double g, double v_term, OperatingPoint* crossing) {
  const double dv = b.v - a.v;
  const double slope = dv < kTiny ? kHuge : (b.i - a.i) / dv;
  if (std::fabs(-g - slope) < kTiny) return SegmentAnswer::kParallel;
  const double v = (a.i - slope * a.v - g * v_term) / (-g - slope) + 0.0;  // no -0
  *crossing = OperatingPoint{v, -g * v + g * v_term};
  const bool before_first = first && v < a.v;
  if (before_first || (a.v <= v && v <= b.v) || last || std::fabs(v - a.v) <= kSameVoltage)
    return SegmentAnswer::kCrossing;
  return SegmentAnswer::kBeyond;
}

// The crossing with the load line, segment by segment from the first point (see
// VICHK_OperatingPoint); `curve` is anything with size() and points by index.
template <class Points>
std::optional<OperatingPoint> walk(const Points& curve, double r_load, double v_term) {
  if (curve.size() < 2 || curve[1].v < curve[0].v) return std::nullopt;
  const double g = load_conductance(r_load);
  for (size_t k = 0; k + 1 < curve.size(); ++k) {
    OperatingPoint crossing;
    switch (segment_crossing(curve[k], curve[k + 1], k == 0, k + 2 == curve.size(), g, v_term,
                             &crossing)) {
      case SegmentAnswer::kCrossing: return crossing;
      case SegmentAnswer::kParallel: return std::nullopt;
      case SegmentAnswer::kBeyond: break;
    }
  }
  return std::nullopt;
}

// The part of a curve from `lo` to `hi`, its two ends taken on the curve (or its extension),
// seen in place: a walk over it copies nothing.
class ClippedCurve {
 public:
  ClippedCurve(std::span<const CurvePoint> curve, double lo, double hi)
      : first_{lo, VICHK_CurrentAt(curve, lo)}, last_{hi, VICHK_CurrentAt(curve, hi)} {
    const auto below = [](const CurvePoint& e, double v) { return e.v < v; };
    const auto begin = std::upper_bound(curve.begin(), curve.end(), lo,
                                        [](double v, const CurvePoint& e) { return v < e.v; });
    const auto end = std::lower_bound(begin, curve.end(), hi, below);
    inner_ = std::span<const CurvePoint>(begin, end);
  }
  size_t size() const { return inner_.size() + 2; }
  const CurvePoint& operator[](size_t k) const {
    if (k == 0) return first_;
    return k <= inner_.size() ? inner_[k - 1] : last_;
  }

 private:
  CurvePoint first_;
  CurvePoint last_;
  std::span<const CurvePoint> inner_;  // the points strictly between lo and hi
};

// A pin loaded by a resistance to `v_term` settles between its rails and `v_term`. So the
// curve is walked over that span only: the parts of the tables beyond describe overshoot, and
// a fold there must not pass for the crossing. A crossing outside the span means the curves
// never meet the load line there (a table of the wrong sense, say): the walk ran off the end,
// and there is no operating point to judge by.
std::optional<OperatingPoint> find_operating_point(StateCurves& curves, const Side& side,
                                                   int corner, double r_load, double v_term) {
  StateCurve* state = curves.get(side, corner);
  if (!state) return std::nullopt;
  const double lo = std::min(state->low_rail, v_term);
  const double hi = std::max(state->high_rail, v_term);
  if (hi - lo < kTiny) return std::nullopt;
  std::optional<OperatingPoint> op;
  try {
    op = state->sum.crossing(lo, hi, r_load, v_term);
  } catch (const std::bad_alloc&) {
    CMN_ReportNoMemory();
    return std::nullopt;
  }
  if (!op || op->v < lo - kSameVoltage || op->v > hi + kSameVoltage) return std::nullopt;
  return op;
}

std::optional<OperatingPoint> operating_point(StateCurves& curves, const Side& side, int corner,
                                              double r_load, double v_term) {
  if (const auto* asked = curves.recall(side, corner, r_load, v_term)) return asked->op;
  const auto op = find_operating_point(curves, side, corner, r_load, v_term);
  curves.remember(side, corner, r_load, v_term, op);
  return op;
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
      if (!kTables[side->driver].table(&m, &driver)) continue;
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

// The current of a corner of a table at `v` in the table's own voltage, as VICHK_CurrentAt reads
// the corner's points (ipwl_points with no reference). Rows in rising voltage, as nearly all
// tables are, are read in place; others are sorted into `spare` first. Empty where the corner
// gives no point.
std::optional<double> table_current_at(const ViTable& table, int corner, double v,
                                       std::vector<IPwlEntry>* spare) {
  if (table.rows.empty() || !row_corner_valid(table.rows.head(), corner)) return std::nullopt;
  CurvePoint before_last{};
  CurvePoint last{};
  std::optional<std::pair<CurvePoint, CurvePoint>> segment;
  size_t count = 0;
  bool rising = true;
  for (const RangeRow* row = table.rows.head(); row; row = row->next()) {
    const double* i = range_pick(*row, corner);
    if (row->x_status != ValueStatus::Value || !i) continue;
    const CurvePoint p{row->x + 0.0, *i};
    if (std::isnan(p.v) || (count > 0 && p.v < last.v)) {
      rising = false;
      break;
    }
    // The segment holding v ends at the first point after the first that is not below v.
    if (!segment && count > 0 && !(p.v < v)) segment = std::pair(last, p);
    before_last = last;
    last = p;
    ++count;
  }
  if (rising) {
    if (count == 0) return std::nullopt;
    if (count == 1) return last.i;
    if (!segment) segment = std::pair(before_last, last);
    return current_on(segment->first, segment->second, v);
  }
  if (!ipwl_points(&table, corner, kIPwlAdd, 0.0, spare) || spare->empty()) return std::nullopt;
  return current_at<IPwlEntry>(*spare, v);
}

// Vref and the waveforms' fixture voltages, corner by corner, as the checks will ask for them.
void expect_terminations(StateCurves& curves) {
  const IbisModel& m = curves.model();
  double vref = 0.0;
  const bool has_vref = mdl_get_vref(&m, &vref) != 0;
  for (const CornerWord& c : kCornerWords) {
    if (has_vref) curves.expect(c.corner, vref);
    for (const WaveformEdge& edge : kWaveformEdges) {
      const WaveformList* list = nullptr;
      if (!edge.list(&m, &list)) continue;
      const size_t count = std::min(list->size(), kWaveformsChecked);
      for (size_t k = 0; k < count; ++k)
        if (const auto v = fixture_voltage(*(*list)[k], c.corner)) curves.expect(c.corner, *v);
    }
  }
}

}  // namespace

void CurveSum::expect(double lo, double hi) {
  if (asked_) {
    lo = std::min(lo, asked_lo_);
    hi = std::max(hi, asked_hi_);
  }
  asked_ = true;
  asked_lo_ = lo;
  asked_hi_ = hi;
}

void CurveSum::add(std::span<const CurvePoint> part, bool numbers) {
  TARN_ASSERT(part_count_ < parts_.size() && part.size() >= 2);
  parts_[part_count_++] = part;
  orderly_ = orderly_ && numbers;
  started_ = false;
  whole_sum_.clear();
}

std::span<const CurvePoint> CurveSum::whole() {
  if (part_count_ == 1) return parts_[0];
  if (whole_sum_.empty() && part_count_ > 1) {
    whole_sum_ = add_curves(parts_[0], parts_[1]);
    for (size_t k = 2; k < part_count_; ++k) whole_sum_ = add_curves(whole_sum_, parts_[k]);
  }
  return whole_sum_;
}

// Each curve is taken from its last voltage below `lo` (two voltages at least), so every level
// holds the whole sum's points from a voltage below `lo` on: a level is made of all points of
// the level below and of its curve above both their starts, each current read on the segment
// the whole would read it on.
void CurveSum::start_levels(double lo) {
  const auto below_v = [](const CurvePoint& e, double v) { return e.v < v; };
  for (size_t k = 0; k < part_count_; ++k) {
    const std::span<const CurvePoint> part = parts_[k];
    const auto first_at = std::lower_bound(part.begin(), part.end(), lo, below_v);
    const auto first = static_cast<size_t>(first_at - part.begin());
    // A repeated voltage reads as its first point: a start is never one of the later.
    const auto run_start = [&](size_t at) {
      while (at > 0 && part[at - 1].v == part[at].v) --at;
      return at;
    };
    size_t start = first == 0 ? 0 : run_start(first - 1);
    // Two voltages at least from the start on, so that the sum's last segment is made too.
    if (start > 0 && part[start].v == part.back().v) start = run_start(start - 1);
    starts_[k] = start;
  }
  for (size_t k = 1; k < part_count_; ++k) {
    Level& l = levels_[k];
    const std::span<const CurvePoint> part = parts_[k];
    l = Level{};
    l.points.reserve(below(k).size() + part.size() - starts_[k]);
    double from = -std::numeric_limits<double>::infinity();
    bool from_start = starts_[k] == 0;
    if (starts_[k] > 0) from = part[starts_[k]].v;
    if (k == 1) {
      from_start = from_start && starts_[0] == 0;
      if (starts_[0] > 0) from = std::max(from, parts_[0][starts_[0]].v);
    } else if (!levels_[k - 1].from_start) {
      from_start = false;
      from = more(k - 1) ? std::max(from, levels_[k - 1].points.front().v)
                         : std::numeric_limits<double>::infinity();
    }
    l.from_start = from_start;
    l.valid_from = from;
  }
  started_ = true;
}

// The points of the level below `level` made so far (at the bottom, the first curve's).
std::span<const CurvePoint> CurveSum::below(size_t level) const {
  if (level == 1) return parts_[0].subspan(starts_[0]);
  return levels_[level - 1].points;
}

// Makes a few more points of a level (a walk pays one call for several); false when it has
// all. A point's own curve gives its current as it is: probing a curve at one of its points
// finds that point (the first of a repeated voltage, the one the merge takes).
bool CurveSum::more(size_t level) {
  constexpr size_t kBatch = 8;
  Level& l = levels_[level];
  if (l.done) return false;
  const std::span<const CurvePoint> b = parts_[level].subspan(starts_[level]);
  size_t next_a = l.next_a;
  size_t next_b = l.next_b;
  size_t probe_a = l.probe_a;
  size_t probe_b = l.probe_b;
  bool merged = l.merged;
  double last_v = l.last_v;
  const double valid_from = l.valid_from;
  std::span<const CurvePoint> a = below(level);
  size_t made = 0;
  while (made < kBatch) {
    // A current read from the level below needs the point above it made, or that level whole.
    if (next_a + 1 >= a.size() && level > 1 && more(level - 1)) {
      a = below(level);
      continue;
    }
    const bool a_left = next_a < a.size();
    const bool b_left = next_b < b.size();
    if (!a_left && !b_left) {
      l.done = true;
      break;
    }
    const bool from_a = !b_left || (a_left && a[next_a].v <= b[next_b].v);
    const CurvePoint& p = from_a ? a[next_a++] : b[next_b++];
    // A voltage both hold, or one holds twice, is one point of the sum.
    if (merged && last_v == p.v) continue;
    merged = true;
    last_v = p.v;
    if (p.v < valid_from) continue;
    const double i_a = from_a ? p.i : probe(a, &probe_a, p.v);
    const double i_b = from_a ? probe(b, &probe_b, p.v) : p.i;
    l.points.push_back(CurvePoint{p.v, i_a + i_b});
    ++made;
  }
  l.next_a = next_a;
  l.next_b = next_b;
  l.probe_a = probe_a;
  l.probe_b = probe_b;
  l.merged = merged;
  l.last_v = last_v;
  return made > 0;
}

// Whether the level's points reach v (or it has them all): a current at v can then be read.
bool CurveSum::reaches(size_t level, double v) {
  const std::vector<CurvePoint>& points = levels_[level].points;
  while (points.size() < 2 || points.back().v < v)
    if (!more(level)) return !points.empty();
  return true;
}

std::optional<OperatingPoint> CurveSum::crossing(double lo, double hi, double r_load,
                                                 double v_term) {
  if (part_count_ == 1 || !orderly_ || !(lo < hi))
    return walk(ClippedCurve(whole(), lo, hi), r_load, v_term);
  if (!started_) {
    expect(lo, hi);
    start_levels(asked_lo_);
  }
  const size_t top = part_count_ - 1;
  Level& t = levels_[top];
  if (!reaches(top, lo) || (!t.from_start && !(t.points.front().v < lo)))
    return walk(ClippedCurve(whole(), lo, hi), r_load, v_term);
  // The clipped sum: lo, the points strictly between, hi; walked as they are made.
  size_t probe_at = 1;
  CurvePoint a{lo, probe(t.points, &probe_at, lo)};
  auto next = static_cast<size_t>(
      std::upper_bound(t.points.begin(), t.points.end(), lo,
                       [](double v, const CurvePoint& e) { return v < e.v; }) -
      t.points.begin());
  const double g = load_conductance(r_load);
  for (bool first = true;; first = false) {
    if (next == t.points.size()) (void)more(top);
    const bool last = next == t.points.size() || !(t.points[next].v < hi);
    CurvePoint b{};
    if (last) {
      (void)reaches(top, hi);
      b = CurvePoint{hi, probe(t.points, &probe_at, hi)};
    } else {
      b = t.points[next++];
    }
    OperatingPoint crossing;
    switch (segment_crossing(a, b, first, last, g, v_term, &crossing)) {
      case SegmentAnswer::kCrossing: return crossing;
      case SegmentAnswer::kParallel: return std::nullopt;
      case SegmentAnswer::kBeyond: break;
    }
    if (last) return std::nullopt;
    a = b;
  }
}

std::optional<OperatingPoint> VICHK_OperatingPoint(std::span<const CurvePoint> curve, double r_load,
                                                   double v_term) {
  return walk(curve, r_load, v_term);
}

double VICHK_CurrentAt(std::span<const CurvePoint> curve, double v) { return current_at(curve, v); }

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
  std::vector<IPwlEntry> spare;  // for a table out of order, every corner of both clamps
  for (const auto& clamp : clamps) {
    const ViTable* table = nullptr;
    if (!clamp.get(model, &table)) continue;
    for (const CornerWord& c : kCornerWords) {
      // Both clamps are probed in their own table's voltage: 1.5 V past the rail.
      const std::optional<double> i = table_current_at(*table, c.corner, kClampProbe, &spare);
      if (!i || !(std::fabs(*i) > kClampLimit)) continue;
      RPT_Warning("Model '%s': Extreme currents present in %s %s VI Curve (%gA @ %gV)",
                  name.c_str(), clamp.word, c.word, *i, kClampProbe);
      quiet = 0;
    }
  }
  return quiet;
}

void VICHK_Model(const IbisModel& model) {
  StateCurves curves(model);
  expect_terminations(curves);
  drive_through(curves);
  ac_endpoints(curves);
  (void)VICHK_ClampCurrents(&model);
}

void VICHK_EndOfFile(const IbisDocument& document) {
  for (auto m = document.models.rbegin(); m != document.models.rend(); ++m)
    RPT_Replay((*m)->curve_findings);
}

}  // namespace tarn
