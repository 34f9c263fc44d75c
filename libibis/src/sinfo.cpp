#include "libibis/src/sinfo.h"

#include <new>
#include <string>

#include "libibis/src/cmn.h"
#include "libibis/src/rpt.h"

namespace tarn {
namespace {

// A value that only refines another: a parallel R of an L, or an R or L in series with a C.
struct Refinement {
  std::unique_ptr<Range> SeriesInfo::*value;
  const char* value_name;
  std::unique_ptr<Range> SeriesInfo::*base;
  const char* base_name;
};

constexpr Refinement kRefinements[] = {
    {&SeriesInfo::rl_series, "Rl_series", &SeriesInfo::l_series, "L_series"},
    {&SeriesInfo::rc_series, "Rc_series", &SeriesInfo::c_series, "C_series"},
    {&SeriesInfo::lc_series, "Lc_series", &SeriesInfo::c_series, "C_series"},
};

// Rl, Rc and Lc alone describe no element, so they do not count as data.
bool has_series_data(const SeriesInfo& info) {
  return info.r_series || info.l_series || info.c_series || info.series_current ||
         !info.series_mosfets.empty();
}

int get_range(const SeriesInfo* info, std::unique_ptr<Range> SeriesInfo::*field,
              const Range** out) {
  TARN_ASSERT(info != nullptr && out != nullptr);
  *out = (info->*field).get();
  return *out ? 1 : 0;
}

}  // namespace

int series_open(std::string_view line, const char* label, std::unique_ptr<SeriesInfo>* slot) {
  TARN_ASSERT(label != nullptr && slot != nullptr);
  if (*slot) {
    RPT_ErrorAtLine("%s Series Info: Already Defined for this model", label);
    slot->reset();
  }
  slot->reset(new (std::nothrow) SeriesInfo);
  if (!*slot) {
    CMN_ReportNoMemory();
    return 0;
  }
  CMN_CheckKeywordAlone(line, label);
  return 1;
}

void series_end(const SeriesInfo& info, std::string_view model_name, const char* label) {
  TARN_ASSERT(label != nullptr);
  const std::string model(model_name);
  const char* m = model.c_str();
  if (!has_series_data(info)) RPT_Error("Model %s %s: No series data found", m, label);
  // An open switch conducts nothing a MOSFET could describe.
  if (std::string_view(label) == "[Off]" && !info.series_mosfets.empty())
    RPT_Error("Model %s: [Series_MOSFET] is not allowed in conjunction with the [Off] keyword", m);
  for (const Refinement& r : kRefinements)
    if (info.*r.value && !(info.*r.base))
      RPT_Error("Model %s %s: %s cannot be specified if %s is not specified", m, label,
                r.value_name, r.base_name);
  series_mosfet_check_vds(info.series_mosfets, model_name, label);
}

int series_get_r_series(const SeriesInfo* info, const Range** out) {
  return get_range(info, &SeriesInfo::r_series, out);
}
int series_get_l_series(const SeriesInfo* info, const Range** out) {
  return get_range(info, &SeriesInfo::l_series, out);
}
int series_get_rl_series(const SeriesInfo* info, const Range** out) {
  return get_range(info, &SeriesInfo::rl_series, out);
}
int series_get_c_series(const SeriesInfo* info, const Range** out) {
  return get_range(info, &SeriesInfo::c_series, out);
}
int series_get_rc_series(const SeriesInfo* info, const Range** out) {
  return get_range(info, &SeriesInfo::rc_series, out);
}
int series_get_lc_series(const SeriesInfo* info, const Range** out) {
  return get_range(info, &SeriesInfo::lc_series, out);
}
int series_get_series_current(const SeriesInfo* info, const ViTable** out) {
  TARN_ASSERT(info != nullptr && out != nullptr);
  *out = info->series_current.get();
  return *out ? 1 : 0;
}

}  // namespace tarn
