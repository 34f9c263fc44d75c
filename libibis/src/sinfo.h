// Series data of a Series model, or of the [On] and [Off] states of a Series_switch model:
// [R Series] ... [Rc Series], [Series Current] and [Series MOSFET], and the checks of a block
// once its model has ended.
#pragma once

#include <memory>
#include <string_view>
#include <vector>

#include "libibis/src/crv.h"
#include "libibis/src/defs.h"
#include "libibis/src/rng.h"
#include "libibis/src/smos.h"

namespace tarn {

struct SeriesInfo {
  std::unique_ptr<Range> r_series;
  std::unique_ptr<Range> l_series;
  std::unique_ptr<Range> rl_series;
  std::unique_ptr<Range> c_series;
  std::unique_ptr<Range> rc_series;
  std::unique_ptr<Range> lc_series;
  std::unique_ptr<ViTable> series_current;
  std::vector<std::unique_ptr<SeriesMosfet>> series_mosfets;  // in file order
};

/// Starts the series data of a state (`label` "[On]", "[Off]") in `slot`; a block already
/// there is reported and replaced. 0 when the record cannot be made.
[[nodiscard]] int series_open(std::string_view line, const char* label,
                              std::unique_ptr<SeriesInfo>* slot);
/// The checks of a block once its model has ended.
void series_end(const SeriesInfo& info, std::string_view model_name, const char* label);

/// 1 and the value when the block gives it, else 0 (and null).
[[nodiscard]] int series_get_r_series(const SeriesInfo* info, const Range** out);
[[nodiscard]] int series_get_l_series(const SeriesInfo* info, const Range** out);
[[nodiscard]] int series_get_rl_series(const SeriesInfo* info, const Range** out);
[[nodiscard]] int series_get_c_series(const SeriesInfo* info, const Range** out);
[[nodiscard]] int series_get_rc_series(const SeriesInfo* info, const Range** out);
[[nodiscard]] int series_get_lc_series(const SeriesInfo* info, const Range** out);
[[nodiscard]] int series_get_series_current(const SeriesInfo* info, const ViTable** out);

}  // namespace tarn
