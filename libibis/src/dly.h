// The four delays of a driver schedule line: Rise_on_dly, Rise_off_dly, Fall_on_dly and
// Fall_off_dly, each a number or "NA", and the rules on which of them may be given together.
#pragma once

#include <array>
#include <cstddef>
#include <string_view>

#include "libibis/src/defs.h"

namespace tarn {

enum DelayColumn : size_t { kRiseOnDly = 0, kRiseOffDly, kFallOnDly, kFallOffDly };
inline constexpr size_t kDelayColumns = 4;

struct Delay {
  double value = 0.0;
  ValueStatus status = ValueStatus::Absent;  // a delay is given only with the status Value
};

/// Indexed by DelayColumn.
using DriverDelays = std::array<Delay, kDelayColumns>;

/// The column's name as the file's header writes it.
const char* delay_column_name(DelayColumn column);

/// Reads the delay items of a schedule line (the text after the model name), reporting
/// missing, extra and invalid items at the line; `model_name` names the scheduled model.
void dly_read(std::string_view text, std::string_view model_name, DriverDelays* out);
/// The rules between the delays of one line, reported at the line.
void dly_check(const DriverDelays& delays);

/// 1 and the value when the column holds a number, else 0.
[[nodiscard]] int dly_get(const DriverDelays* delays, DelayColumn column, double* out);

}  // namespace tarn
