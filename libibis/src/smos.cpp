#include "libibis/src/smos.h"

#include <new>
#include <string>
#include <unordered_map>

#include "libibis/src/cmn.h"
#include "libibis/src/reading_state.h"
#include "libibis/src/rpt.h"
#include "libibis/src/sinfo.h"

namespace tarn {
namespace {

constexpr size_t kMosfetLimit = 100;
constexpr size_t kVdsItems = 3;  // Vds, "=", value
constexpr const char* kLabel = "Series_MOSFET";

struct SeriesMosfetState {
  // The table opened last has had its Vds line, even one whose value was refused, so its
  // rows are read as rows.
  bool vds_line_read = false;
};

SeriesMosfetState g_smos;
SavedWithReading<SeriesMosfetState> g_smos_saved(&g_smos);

void vds_line(std::string_view line, SeriesMosfet* mosfet) {
  ItemList items;  // once per table
  if (!CMN_SplitLine(line, kVdsItems, '=', &items)) {
    CMN_ReportUnparsed("Vds");
    return;
  }
  if (g_smos.vds_line_read) {
    RPT_ErrorAtLine("Vds is already defined");
    return;
  }
  g_smos.vds_line_read = true;
  std::string_view text;
  if (!CMN_AssignedValue(items, "Vds", &text)) {
    RPT_ErrorAtLine(kInvalidLine, "Vds");
    return;
  }
  double vds = 0.0;
  if (CMN_ParseScaledField(text, kLabel, "Vds", &vds)) mosfet->vds = vds;
}

}  // namespace

void series_mosfet_open(std::string_view line, SeriesInfo* info) {
  TARN_ASSERT(info != nullptr);
  // The table is still read, so that its own findings are given.
  if (info->series_mosfets.size() >= kMosfetLimit)
    RPT_ErrorAtLine("More than 100 [Series_MOSFET]s are defined");
  CMN_CheckKeywordAlone(line, "[Series_MOSFET]");
  g_smos = SeriesMosfetState{};
  std::unique_ptr<SeriesMosfet> mosfet(new (std::nothrow) SeriesMosfet);
  // The keyword line was checked above; the table only starts its reading state.
  if (!mosfet || !vi_open(std::string_view(), kLabel, &mosfet->table)) {
    CMN_ReportNoMemory();
    return;
  }
  try {
    info->series_mosfets.push_back(std::move(mosfet));
  } catch (const std::bad_alloc&) {
    CMN_ReportNoMemory();
  }
}

void series_mosfet_line(std::string_view line, SeriesInfo* info) {
  TARN_ASSERT(info != nullptr);
  if (info->series_mosfets.empty()) return;  // it could not be made, which was reported
  SeriesMosfet& mosfet = *info->series_mosfets.back();
  if (CMN_FirstItem(line, '=') == "Vds") {
    vds_line(line, &mosfet);
  } else if (!g_smos.vds_line_read) {
    RPT_ErrorAtLine("Unknown data line in Series_MOSFET");
  } else {
    vi_row(line, mosfet.table.get(), kLabel);
  }
}

void series_mosfet_end(const SeriesInfo& info, std::string_view model_name, ModelType type) {
  if (info.series_mosfets.empty()) return;
  vi_end("Model", model_name, type, Kw::SERIES_MOSFET, info.series_mosfets.back()->table.get(),
         kLabel);
}

// Each shared value once, when its second table is met, so that many equal tables do not
// draw a finding for every pair.
void series_mosfet_check_vds(const std::vector<std::unique_ptr<SeriesMosfet>>& mosfets,
                             std::string_view model_name, const char* label) {
  if (mosfets.size() < 2) return;
  const std::string model(model_name);
  std::unordered_map<double, int> tables_with;
  for (const auto& mosfet : mosfets) {
    if (!mosfet->vds) continue;
    if (++tables_with[*mosfet->vds] == 2)
      RPT_Error("Model %s %s: Found two Series_MOSFETs with identical Vds value %e", model.c_str(),
                label, *mosfet->vds);
  }
}

}  // namespace tarn
