#include "libibis/src/crv.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>
#include <new>
#include <string>

#include "libibis/src/cmn.h"
#include "libibis/src/parse.h"
#include "libibis/src/reading_state.h"
#include "libibis/src/rpt.h"

namespace tarn {
namespace {

constexpr size_t kMaxPoints = 100;
constexpr double kTiny = 1e-32;  // below this a voltage step or a slope counts as none
constexpr double kHuge = 1e32;

enum class Sense : uint8_t { Unknown, Rising, Falling };

// Each column of a table goes one way; the first reversal is reported.
struct ColumnTracker {
  bool has_last = false;
  double last = 0.0;
  Sense sense = Sense::Unknown;
  bool reported = false;
};

// The row nearest to 0 V on one side of it.
struct ZeroSide {
  bool seen = false;
  double v = 0.0;
  double i = 0.0;
  ValueStatus i_status = ValueStatus::Absent;
};

// Tables are read one at a time, so one reading state serves them all.
struct ViState {
  uint32_t start_line = 0;
  std::array<ColumnTracker, 4> columns{};
  ZeroSide below;  // under 0 V
  ZeroSide above;  // at 0 V or over: a table that ends at 0 V is still checked
};

ViState g_vi;
SavedWithReading<ViState> g_vi_saved(&g_vi);

struct Column {
  const char* name;
  double RangeRow::*value;
  ValueStatus RangeRow::*status;
};

constexpr Column kColumns[] = {
    {"Voltage", &RangeRow::x, &RangeRow::x_status},
    {"Typical", &RangeRow::typ, &RangeRow::typ_status},
    {"Minimum", &RangeRow::min, &RangeRow::min_status},
    {"Maximum", &RangeRow::max, &RangeRow::max_status},
};

void note_zero_side(const RangeRow& row) {
  ZeroSide& side = row.x < 0.0 ? g_vi.below : g_vi.above;
  // Of two rows equally near, the first one met stays.
  if (side.seen && std::fabs(side.v) <= std::fabs(row.x)) return;
  side = ZeroSide{true, row.x, row.typ, row.typ_status};
}

void track(ColumnTracker& t, double value, const char* label, const char* column) {
  if (t.has_last) {
    if (t.sense == Sense::Unknown) {
      if (value > t.last) t.sense = Sense::Rising;
      else if (value < t.last) t.sense = Sense::Falling;
    } else if ((t.sense == Sense::Rising && value < t.last) ||
               (t.sense == Sense::Falling && value > t.last)) {
      RPT_WarningAtLine("%s %s data is non-monotonic", label, column);
      t.reported = true;
    }
  }
  t.last = value;
  t.has_last = true;
}

void track_columns(const RangeRow& row, const char* label) {
  for (size_t c = 0; c < std::size(kColumns); ++c) {
    ColumnTracker& t = g_vi.columns[c];
    if (t.reported || row.*kColumns[c].status != ValueStatus::Value) continue;
    track(t, row.*kColumns[c].value, label, kColumns[c].name);
  }
}

// The submodel's copies of the VI keywords follow the rules of the model's.
Kw base_keyword(Kw keyword) {
  switch (keyword) {
    case Kw::SUB_PULLDOWN: return Kw::PULLDOWN;
    case Kw::SUB_PULLUP: return Kw::PULLUP;
    case Kw::SUB_GND_CLAMP: return Kw::GND_CLAMP;
    case Kw::SUB_POWER_CLAMP: return Kw::POWER_CLAMP;
    default: return keyword;
  }
}

bool is_ecl(ModelType type) {
  return type == ModelType::InputECL || type == ModelType::OutputECL ||
         type == ModelType::IOECL || type == ModelType::ThreeStateECL;
}

bool is_series(ModelType type) {
  return type == ModelType::Series || type == ModelType::SeriesSwitch;
}

// How the typical current must go with rising voltage through 0 V.
Sense expected_sense(ModelType type, Kw keyword) {
  if (type == ModelType::NotGiven || type == ModelType::NoType) return Sense::Unknown;
  keyword = base_keyword(keyword);
  if (is_ecl(type)) return keyword == Kw::GND_CLAMP ? Sense::Rising : Sense::Falling;
  if (is_series(type) && keyword == Kw::SERIES_CURRENT) return Sense::Unknown;
  if (is_series(type) && keyword == Kw::SERIES_MOSFET) return Sense::Rising;
  if (keyword == Kw::PULLDOWN || keyword == Kw::GND_CLAMP) return Sense::Rising;
  return Sense::Falling;
}

void check_direction(const char* owner_kind, const std::string& owner, ModelType type,
                     Kw keyword, const char* label) {
  const ZeroSide& lo = g_vi.below;
  const ZeroSide& hi = g_vi.above;
  if (!lo.seen || !hi.seen || lo.i_status != ValueStatus::Value ||
      hi.i_status != ValueStatus::Value)
    return;
  const Sense expected = expected_sense(type, keyword);
  char text[160];
  if (expected == Sense::Rising && hi.i < lo.i)
    std::snprintf(text, sizeof text, "%s %s: %s has Decreasing Current", owner_kind, owner.c_str(),
                  label);
  else if (expected == Sense::Falling && hi.i > lo.i)
    std::snprintf(text, sizeof text, "%s %s: %s has Increasing Current", owner_kind, owner.c_str(),
                  label);
  else
    return;
  // The sense of a MOSFET's table decides the switch it models, so there it is an error.
  if (keyword == Kw::SERIES_MOSFET) RPT_Error("%s", text);
  else RPT_Warning("%s", text);
}

void report_endpoint_na(const RowList& rows, const char* label, int line) {
  rows_for_each_endpoint_na(rows, [&](const char* position, const CornerField& f) {
    RPT_Error("%s %s Value Cannot Be 'NA' for %s Beginning at Line %d", f.name, position, label,
              line);
  });
}

// The slope from one point to the next, steep where the voltage does not move.
double segment_slope(const IPwlEntry& a, const IPwlEntry& b) {
  const double dv = b.v - a.v;
  return dv < kTiny ? kHuge : (b.i - a.i) / dv;
}

void fill_segments(std::vector<IPwlEntry>& points) {
  const size_t n = points.size();
  for (size_t k = 0; k < n; ++k) {
    IPwlEntry& e = points[k];
    if (k + 1 < n) e.didv = segment_slope(e, points[k + 1]);
    else if (k > 0) e.didv = points[k - 1].didv;
    const double r = std::fabs(e.didv) < kTiny ? kHuge : 1.0 / e.didv;
    e.r_thev = r;
    e.v_thev = e.v - e.i * r;
  }
}

}  // namespace

int vi_open(std::string_view line, const char* label, std::unique_ptr<ViTable>* slot) {
  TARN_ASSERT(label != nullptr && slot != nullptr);
  if (*slot) {
    RPT_ErrorAtLine("%s Already Defined", label);
    slot->reset();
  }
  slot->reset(new (std::nothrow) ViTable);
  if (!*slot) {
    CMN_ReportNoMemory();
    return 0;
  }
  CMN_CheckKeywordAlone(line, label);
  g_vi = ViState{};
  g_vi.start_line = PRS_GetLineNumber();
  return 1;
}

void vi_row(std::string_view line, ViTable* table, const char* label) {
  TARN_ASSERT(table != nullptr && label != nullptr);
  RangeRow parsed;
  (void)row_parse_into(line, "Voltage", &parsed);
  size_t count = 0;
  if (!row_append(&table->rows, parsed, &count)) return;
  const RangeRow& row = *table->rows.tail();
  if (row.x_status == ValueStatus::NA) RPT_ErrorAtLine("Voltage Value Cannot Be 'NA'");
  else if (row.x_status == ValueStatus::Value) note_zero_side(row);
  track_columns(row, label);
  if (count == kMaxPoints + 1)
    RPT_ErrorAtLine("More Than 100 Voltage Points Provided For %s", label);
}

void vi_end(const char* owner_kind, std::string_view owner_name, ModelType model_type,
            Kw keyword, const ViTable* table, const char* label) {
  TARN_ASSERT(owner_kind != nullptr && label != nullptr);
  if (!table) return;  // it could not be made, which was reported
  const int line = static_cast<int>(g_vi.start_line);
  if (table->rows.size() < 2) {
    RPT_Error("Require at least 2 Voltage Points for %s Beginning at Line %d", label, line);
    return;
  }
  report_endpoint_na(table->rows, label, line);
  check_direction(owner_kind, std::string(owner_name), model_type, keyword, label);
}

namespace {

// Whether a stable sort by voltage would keep the points as they are: no voltage below the one
// before it, and none that is not a number (which no order places).
bool rising_in_order(const std::vector<IPwlEntry>& points) {
  for (size_t k = 0; k < points.size(); ++k) {
    if (std::isnan(points[k].v)) return false;
    if (k > 0 && points[k].v < points[k - 1].v) return false;
  }
  return true;
}

}  // namespace

bool ipwl_points(const ViTable* table, int corner, int mode, double reference,
                 std::vector<IPwlEntry>* points) {
  TARN_ASSERT(points != nullptr);
  points->clear();
  if (!table || table->rows.empty() || !row_corner_valid(table->rows.head(), corner))
    return false;
  try {
    points->reserve(table->rows.size());
    for (const RangeRow* row = table->rows.head(); row; row = row->next()) {
      const double* i = range_pick(*row, corner);
      if (row->x_status != ValueStatus::Value || !i) continue;
      const double v = mode == kIPwlFromReference ? reference - row->x : row->x + reference;
      points->push_back(IPwlEntry{v, *i});
    }
  } catch (const std::bad_alloc&) {
    CMN_ReportNoMemory();
    return false;
  }
  // Tables are nearly always written in rising voltage; such a table is left as it is.
  if (!rising_in_order(*points))
    std::stable_sort(points->begin(), points->end(),
                     [](const IPwlEntry& a, const IPwlEntry& b) { return a.v < b.v; });
  return true;
}

std::unique_ptr<IPwlTable> ipwl_build(const ViTable* table, int corner, int mode,
                                      double reference) {
  try {
    auto ipwl = std::make_unique<IPwlTable>();
    if (!ipwl_points(table, corner, mode, reference, &ipwl->entries)) return nullptr;
    fill_segments(ipwl->entries);
    ipwl->extrapolation = ipwl->entries.size() >= 2 ? 1 : 0;
    return ipwl;
  } catch (const std::bad_alloc&) {
    CMN_ReportNoMemory();
    return nullptr;
  }
}

void ipwl_print(std::FILE* stream, const IPwlTable& ipwl) {
  TARN_ASSERT(stream != nullptr);
  std::fprintf(stream, "      I_PWL table with %d entries.", static_cast<int>(ipwl.entries.size()));
  std::fputs(
      ipwl.extrapolation ? "    (Extrapolation enabled)\n" : "    (Extrapolation disabled)\n",
      stream);
  std::fputs("         V         I         di/dv     V_thev    R_thev\n", stream);
  for (const IPwlEntry& e : ipwl.entries) {
    std::fprintf(stream, "        %8g  %8g  %8g  ", e.v, e.i, e.didv);
    std::fprintf(stream, "%8g  %8g\n", e.v_thev, e.r_thev);
  }
}

}  // namespace tarn
