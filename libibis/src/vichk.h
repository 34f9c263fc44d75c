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

/// Where a curve meets a resistive load.
struct OperatingPoint {
  double v = 0.0;
  double i = 0.0;  // into the pin
};

/// A stretch of a rising curve, and whether it reaches the curve's first and last points.
struct CurveStretch {
  std::span<const IPwlEntry> points;
  bool from_first = true;
  bool to_last = true;
};

/// The sum of up to three rising curves of two points or more (a driving state: its driver and
/// clamps), added in order over the voltages of all. A walk over a state reads only the
/// stretch between its rails, so the sum is made about what is asked, widened when a later
/// question needs more, and whole only where no stretch serves. The curves must outlive it.
class CurveSum {
 public:
  void add(std::span<const IPwlEntry> part);
  size_t part_count() const { return part_count_; }
  /// Widens the span the sum is first made over to hold lo..hi, for questions to come.
  void expect(double lo, double hi);
  /// Points with, about lo..hi, those of the whole sum: each point strictly between them,
  /// and the segments holding lo and hi. May throw std::bad_alloc.
  std::span<const IPwlEntry> points(double lo, double hi);
  /// The whole sum. May throw std::bad_alloc.
  std::span<const IPwlEntry> whole();

 private:
  std::optional<CurveStretch> sum_around(double lo, double hi);

  std::array<std::span<const IPwlEntry>, 3> parts_{};
  size_t part_count_ = 0;
  bool orderly_ = true;  // no voltage that is not a number, which no stretch can place
  std::vector<IPwlEntry> stretch_sum_;
  std::optional<CurveStretch> stretch_;
  bool asked_ = false;
  double asked_lo_ = 0.0;
  double asked_hi_ = 0.0;
  std::vector<IPwlEntry> whole_sum_;
};

/// The crossing of a curve (points in rising voltage) with the load line of a resistance
/// `r_load` to `v_term`, found segment by segment from the first; the first and last segments
/// extend beyond the curve. Empty when the curve has no segment, its second point lies below
/// its first, or the load line runs parallel to a segment reached.
std::optional<OperatingPoint> VICHK_OperatingPoint(std::span<const IPwlEntry> curve, double r_load,
                                                   double v_term);
/// The current of a curve (at least one point) at `v`; the end segments extend beyond it.
double VICHK_CurrentAt(std::span<const IPwlEntry> curve, double v);

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
