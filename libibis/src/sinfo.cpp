#include "libibis/src/sinfo.h"

#include <new>

#include "libibis/src/rpt.h"

namespace tarn {

int series_open(std::string_view, const char*, std::unique_ptr<SeriesInfo>* slot) {
  TARN_ASSERT(slot != nullptr);
  slot->reset(new (std::nothrow) SeriesInfo);
  if (!*slot) {
    RPT_Bug("Unable to Allocate Memory: %s %d", __FILE__, __LINE__);
    return 0;
  }
  return 1;
}

// The MOSFET tables and the record's own checks are read by rules still to come.
void series_mosfet_open(std::string_view, SeriesInfo*) {}
void series_mosfet_line(std::string_view, SeriesInfo*) {}
void series_mosfet_end(const SeriesInfo&, std::string_view, ModelType) {}
void series_end(const SeriesInfo&, std::string_view, const char*) {}

}  // namespace tarn
