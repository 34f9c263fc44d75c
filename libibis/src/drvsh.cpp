#include "libibis/src/drvsh.h"

#include <new>

#include "libibis/src/rpt.h"

namespace tarn {

int driver_schedule_open(std::string_view, std::unique_ptr<DriverSchedule>* slot) {
  TARN_ASSERT(slot != nullptr);
  if (*slot) return 1;
  slot->reset(new (std::nothrow) DriverSchedule);
  if (!*slot) {
    RPT_Bug("Unable to Allocate Memory: %s %d", __FILE__, __LINE__);
    return 0;
  }
  return 1;
}

// The schedule's entries are read by rules still to come.
void driver_schedule_line(std::string_view, DriverSchedule*, std::string_view) {}

}  // namespace tarn
