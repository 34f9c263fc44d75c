// [Driver Schedule] of a model: the models it switches on and off, each with its four delays,
// and the checks of those models once the whole file has been read.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "libibis/src/dly.h"

namespace tarn {

struct IbisDocument;

struct DriverScheduleEntry {
  std::string model_name;  // at most 20 characters
  DriverDelays delays;
};

struct DriverSchedule {
  std::vector<DriverScheduleEntry> entries;  // in file order; the checks walk newest first
  std::unordered_set<std::string> names;     // of the entries, so a repeat is found at once
};

/// The keyword line: a model that has a schedule already is told so and keeps it; otherwise
/// the schedule is started in `slot`. 0 when it cannot be made.
[[nodiscard]] int driver_schedule_open(std::string_view line,
                                       std::unique_ptr<DriverSchedule>* slot);
/// One data line: a model name and its delays; `model_name` names the enclosing model.
void driver_schedule_line(std::string_view line, DriverSchedule* schedule,
                          std::string_view model_name);
/// The checks of every scheduled model against the document's models.
void driver_schedule_end_of_file(const IbisDocument& document);

/// 1 and the entries when the schedule has any, else 0.
[[nodiscard]] int driver_schedule_get_entries(const DriverSchedule* schedule,
                                              const std::vector<DriverScheduleEntry>** out);

}  // namespace tarn
