// Checks of a model's VI curves against its other data: whether the driver can take the
// timing load through Vmeas, whether each waveform starts and ends where the curves put the
// pin in its fixture, and whether the clamps carry extreme currents.
#pragma once

#include <array>
#include <optional>
#include <span>
#include <vector>

#include "libibis/src/crv.h"

namespace tarn {

struct IbisDocument;
struct IbisModel;

/// A point of a VI curve: the pin's voltage and the current into it.
struct CurvePoint {
  double v = 0.0;
  double i = 0.0;
};

/// Where a curve meets a resistive load.
struct OperatingPoint {
  double v = 0.0;
  double i = 0.0;  // into the pin
};

/// The sum of up to three rising curves of two points or more (a driving state: its driver and
/// clamps), added in order over the voltages of all. A walk over a state stops at its crossing,
/// so the sum is made point by point as the walk reads it, from just below the lowest voltage
/// expected, and kept for the next walk; whole only where that start does not serve. The
/// curves must outlive it.
class CurveSum {
 public:
  /// Adds a curve; `numbers` tells that every voltage of it is a number.
  void add(std::span<const CurvePoint> part, bool numbers);
  size_t part_count() const { return part_count_; }
  /// Widens the span the sum is first made over to hold lo..hi, for questions to come.
  void expect(double lo, double hi);
  /// The crossing of the sum, clipped to lo..hi (its ends taken on the sum or its extension),
  /// with the load line of `r_load` to `v_term`, as VICHK_OperatingPoint finds it. May throw
  /// std::bad_alloc.
  std::optional<OperatingPoint> crossing(double lo, double hi, double r_load, double v_term);
  /// The whole sum. May throw std::bad_alloc.
  std::span<const CurvePoint> whole();

 private:
  // The sum of the level below (at the bottom, the first curve) and one curve more: the whole
  // sum's points from `valid_from` on, made as they are asked for.
  struct Level {
    std::vector<CurvePoint> points;
    double valid_from = 0.0;
    bool from_start = false;  // no point of the whole sum is missing below
    bool done = false;
    bool merged = false;  // a voltage was merged; `last_v` holds it
    double last_v = 0.0;
    size_t next_a = 0;  // the next point of the level below
    size_t next_b = 0;  // the next point of the curve added
    size_t probe_a = 1;
    size_t probe_b = 1;
  };
  void start_levels(double lo);
  std::span<const CurvePoint> below(size_t level) const;
  bool more(size_t level);
  bool reaches(size_t level, double v);

  std::array<std::span<const CurvePoint>, 3> parts_{};
  size_t part_count_ = 0;
  bool orderly_ = true;  // no voltage that is not a number, which no start can place
  std::array<size_t, 3> starts_{};  // each curve's first point taken
  std::array<Level, 3> levels_{};   // 1 and 2 used
  bool started_ = false;
  bool asked_ = false;
  double asked_lo_ = 0.0;
  double asked_hi_ = 0.0;
  std::vector<CurvePoint> whole_sum_;
};

/// The crossing of a curve (points in rising voltage) with the load line of a resistance
/// `r_load` to `v_term`, found segment by segment from the first; the first and last segments
/// extend beyond the curve. Empty when the curve has no segment, its second point lies below
/// its first, or the load line runs parallel to a segment reached.
std::optional<OperatingPoint> VICHK_OperatingPoint(std::span<const CurvePoint> curve, double r_load,
                                                   double v_term);
/// The current of a curve (at least one point) at `v`; the end segments extend beyond it.
double VICHK_CurrentAt(std::span<const CurvePoint> curve, double v);

/// Warns for each corner whose high state (the pullup with both clamps) cannot lift the pin
/// above Vmeas, or whose low state (the pulldown with both clamps) cannot pull it below, into
/// Rref to Vref. A corner whose curves never meet the load line between the rails is skipped.
void VICHK_DriveThrough(const IbisModel* model);
/// Warns for each waveform corner whose first or last voltage is off the states' operating
/// points in its fixture by more than the tolerance; skipped like the drive-through check.
void VICHK_AcEndpoints(const IbisModel* model);
/// Warns for each clamp corner drawing more than 10 A at 1.5 V beyond its rail. 1 when
/// neither clamp gave a warning.
int VICHK_ClampCurrents(const IbisModel* model);

/// The three checks of one model.
void VICHK_Model(const IbisModel& model);
/// The findings of the three checks, held since each model ended, for the document's models
/// newest first.
void VICHK_EndOfFile(const IbisDocument& document);

}  // namespace tarn
