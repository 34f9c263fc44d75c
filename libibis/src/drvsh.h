// [Driver Schedule] of a model (record only, rules to come).
#pragma once

#include <memory>
#include <string_view>

namespace tarn {

struct DriverSchedule {};

/// The keyword line: starts the schedule in `slot` when it has none. 0 when it cannot be made.
[[nodiscard]] int driver_schedule_open(std::string_view line,
                                       std::unique_ptr<DriverSchedule>* slot);
/// One data line; `model_name` names the enclosing model.
void driver_schedule_line(std::string_view line, DriverSchedule* schedule,
                          std::string_view model_name);

}  // namespace tarn
