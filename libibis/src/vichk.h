// Checks of a model's VI curves against its other data: whether the driver can take the
// timing load through Vmeas, whether each waveform starts and ends where the curves put the
// pin in its fixture, and whether the clamps carry extreme currents.
#pragma once

#include <optional>
#include <span>

#include "libibis/src/crv.h"

namespace tarn {

struct IbisDocument;
struct IbisModel;

/// Where a curve meets a resistive load.
struct OperatingPoint {
  double v = 0.0;
  double i = 0.0;  // into the pin
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
