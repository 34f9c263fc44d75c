// Series data of a Series model, or of the [On] and [Off] states of a Series_switch model:
// [R Series] ... [Rc Series], [Series Current] and [Series MOSFET] (records only, rules to
// come).
#pragma once

#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "libibis/src/crv.h"
#include "libibis/src/defs.h"
#include "libibis/src/rng.h"

namespace tarn {

struct SeriesMosfet {
  std::optional<double> vds;
  std::unique_ptr<ViTable> table;
};

struct SeriesInfo {
  std::unique_ptr<Range> r_series;
  std::unique_ptr<Range> l_series;
  std::unique_ptr<Range> rl_series;
  std::unique_ptr<Range> c_series;
  std::unique_ptr<Range> rc_series;
  std::unique_ptr<Range> lc_series;
  std::unique_ptr<ViTable> series_current;
  std::vector<std::unique_ptr<SeriesMosfet>> series_mosfets;
};

/// Starts the series data of a state (`label` "[On]", "[Off]") in `slot`, replacing what was
/// there. 0 when the record cannot be made.
[[nodiscard]] int series_open(std::string_view line, const char* label,
                              std::unique_ptr<SeriesInfo>* slot);
/// [Series MOSFET]: its keyword line, its data lines and its end.
void series_mosfet_open(std::string_view line, SeriesInfo* info);
void series_mosfet_line(std::string_view line, SeriesInfo* info);
void series_mosfet_end(const SeriesInfo& info, std::string_view model_name, ModelType type);
/// The checks of a record once its model has ended.
void series_end(const SeriesInfo& info, std::string_view model_name, const char* label);

}  // namespace tarn
