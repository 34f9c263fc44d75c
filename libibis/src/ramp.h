// [Ramp]: the rising and falling slew as typ/min/max ratios of volts over seconds, and the
// load they were measured into.
#pragma once

#include <memory>
#include <string_view>

#include "libibis/src/defs.h"
#include "libibis/src/rng.h"

namespace tarn {

/// One ratio entry such as 1.2V/0.5n; dv and dt are meaningful only with the status Value.
struct RampEntry {
  double dv = 0.0;
  double dt = 0.0;
  ValueStatus status = ValueStatus::Absent;
};

/// A dV/dt line: typical, minimum, maximum.
struct RampRatio {
  RampEntry typ;
  RampEntry min;
  RampEntry max;
};

struct Ramp {
  std::unique_ptr<RampRatio> dvdt_r;
  std::unique_ptr<RampRatio> dvdt_f;
  double r_load = 0.0;
  bool r_load_given = false;
};

/// The [Ramp] keyword line: a ramp already in `slot` is reported and replaced. 0 when the
/// ramp cannot be made.
[[nodiscard]] int ramp_open(std::string_view line, std::unique_ptr<Ramp>* slot);
/// One data line of the ramp; `owner_name` names the model in the messages.
void ramp_line(std::string_view line, Ramp* ramp, std::string_view owner_name);

/// 1 and the ratio or value when its line was read, else 0.
[[nodiscard]] int ramp_get_dvdt_r(const Ramp* ramp, const RampRatio** out);
[[nodiscard]] int ramp_get_dvdt_f(const Ramp* ramp, const RampRatio** out);
[[nodiscard]] int ramp_get_r_load(const Ramp* ramp, double* out);
/// The dv and dt of a corner's own entry, without falling back: 0 when it holds no ratio.
[[nodiscard]] int ramp_get_corner(const RampRatio* ratio, Corner corner, double* dv_out,
                                  double* dt_out);
/// The dv and dt of a corner (0 minimum, 1 typical, 2 maximum); a minimum or maximum that
/// holds no ratio falls back to the typical one. 0 when neither holds one.
[[nodiscard]] int ramp_select(const RampRatio* ratio, int corner, double* dv_out, double* dt_out);

}  // namespace tarn
