#include "libibis/src/dly.h"

#include <string>

#include "libibis/src/cmn.h"
#include "libibis/src/reading_state.h"
#include "libibis/src/rpt.h"

namespace tarn {
namespace {

constexpr const char* kColumnNames[kDelayColumns] = {"Rise_on_dly", "Rise_off_dly", "Fall_on_dly",
                                                     "Fall_off_dly"};

// Scratch list, reused so that a line allocates nothing.
struct DelayState {
  ItemList items;
};

DelayState g_dly;
SavedWithReading<DelayState> g_dly_saved(&g_dly);

bool given(const DriverDelays& d, DelayColumn column) {
  return d[column].status == ValueStatus::Value;
}

// Only the first column missing is named: the line stops there.
void report_item_count(size_t found, std::string_view model) {
  if (found > kDelayColumns)
    CMN_ReportItemCount(found, std::string(model).c_str(), kDelayColumns);
  else if (found != 0 && found < kDelayColumns)
    RPT_ErrorAtLine(kNoValueProvided, kColumnNames[found],
                    std::string(model).c_str());
}

}  // namespace

const char* delay_column_name(DelayColumn column) { return kColumnNames[column]; }

void dly_read(std::string_view text, std::string_view model_name, DriverDelays* out) {
  TARN_ASSERT(out != nullptr);
  *out = DriverDelays{};
  ItemList& items = g_dly.items;
  if (!CMN_SplitLine(text, kDelayColumns, 0, &items)) {
    CMN_ReportUnparsed("Driver Schedule");
    return;
  }
  report_item_count(items.found, model_name);
  for (size_t c = 0; c < kDelayColumns; ++c)
    (void)CMN_ParseValueField(items[c], "Driver Schedule", kColumnNames[c], &(*out)[c].value,
                              &(*out)[c].status);
  dly_check(*out);
}

void dly_check(const DriverDelays& d) {
  size_t count = 0;
  for (const Delay& delay : d)
    if (delay.status == ValueStatus::Value) ++count;
  // Too few delays make the line meaningless, so its values are not judged further.
  if (count < 2) {
    RPT_ErrorAtLine("At least two delays must be specified");
    return;
  }
  // The second name of each pair is spelled "delay" in these messages.
  static constexpr char kTogether[] = "%s and %s cannot be specified together";
  if (given(d, kRiseOnDly) && given(d, kFallOffDly))
    RPT_ErrorAtLine(kTogether, "Rise_on_dly", "Fall_off_delay");
  if (given(d, kRiseOffDly) && given(d, kFallOnDly))
    RPT_ErrorAtLine(kTogether, "Rise_off_dly", "Fall_on_delay");
  for (size_t c = 0; c < kDelayColumns; ++c)
    if (d[c].status == ValueStatus::Value && d[c].value < 0.0)
      RPT_ErrorAtLine("%s is less than zero", kColumnNames[c]);
}

int dly_get(const DriverDelays* delays, DelayColumn column, double* out) {
  TARN_ASSERT(delays != nullptr && out != nullptr && column < kDelayColumns);
  if ((*delays)[column].status != ValueStatus::Value) return 0;
  *out = (*delays)[column].value;
  return 1;
}

}  // namespace tarn
