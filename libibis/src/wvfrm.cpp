#include "libibis/src/wvfrm.h"

#include <array>
#include <iterator>
#include <new>

#include "libibis/src/cmn.h"
#include "libibis/src/newer.h"
#include "libibis/src/parse.h"
#include "libibis/src/reading_state.h"
#include "libibis/src/rpt.h"

namespace tarn {
namespace {

constexpr size_t kMaxWaveforms = 100;
constexpr size_t kMaxPoints = 100;
constexpr size_t kMaxPointsLong = 1000;
constexpr size_t kLineItems = 3;  // enough for "R_fixture = value"

// A scratch list, reused so that a line allocates nothing.
struct WaveformState {
  ItemList items;
};

WaveformState g_wvfrm;
SavedWithReading<WaveformState> g_wvfrm_saved(&g_wvfrm);

struct FixtureParam {
  std::string_view name;  // a literal, so also a C string
  WaveformParam param;
  std::optional<double> Waveform::*field;
  bool required;  // by every waveform
};

constexpr FixtureParam kFixtureParams[] = {
    {"R_fixture", WaveformParam::RFixture, &Waveform::r_fixture, true},
    {"V_fixture", WaveformParam::VFixture, &Waveform::v_fixture, true},
    {"V_fixture_min", WaveformParam::VFixtureMin, &Waveform::v_fixture_min, false},
    {"V_fixture_max", WaveformParam::VFixtureMax, &Waveform::v_fixture_max, false},
    {"C_fixture", WaveformParam::CFixture, &Waveform::c_fixture, false},
    {"L_fixture", WaveformParam::LFixture, &Waveform::l_fixture, false},
    {"R_dut", WaveformParam::RDut, &Waveform::r_dut, false},
    {"L_dut", WaveformParam::LDut, &Waveform::l_dut, false},
    {"C_dut", WaveformParam::CDut, &Waveform::c_dut, false},
};

const FixtureParam* find_fixture_param(std::string_view name) {
  for (const FixtureParam& p : kFixtureParams)
    if (name == p.name) return &p;
  return nullptr;
}

void fixture_line(const FixtureParam& p, const ItemList& items, Waveform* w, const char* label) {
  // Taken all the same: the fixture is still known, only its place is wrong.
  if (!w->rows.empty())
    RPT_ErrorAtLine("%s specified after beginning of timing data", p.name.data());
  std::optional<double>& field = w->*p.field;
  if (field) {
    RPT_ErrorAtLine("Duplicate definition for %s %s", p.name.data(), label);
    return;
  }
  std::string_view text;
  if (!CMN_AssignedValue(items, p.name.data(), &text)) {
    RPT_ErrorAtLine("Invalid %s line", p.name.data());
    return;
  }
  double value = 0.0;
  if (CMN_ParseScaledField(text, label, p.name.data(), &value)) field = value;
}

// IBIS 4.0 raised the limit; generators of 4.2 files write the full 1000 rows.
size_t max_points() { return NEWER_Rules().long_waveforms ? kMaxPointsLong : kMaxPoints; }

void add_time_row(const RangeRow& parsed, Waveform* w, const char* label) {
  size_t count = 0;
  if (!row_append(&w->rows, parsed, &count)) return;
  const RangeRow& row = *w->rows.tail();
  const size_t limit = max_points();
  if (count == limit + 1)
    RPT_ErrorAtLine("More than %d data points provided for %s table", static_cast<int>(limit),
                    label);
  if (row.x_status == ValueStatus::NA) {
    RPT_ErrorAtLine("'NA' not allowed for %s value", "Time");
  } else if (row.x_status == ValueStatus::Value && row.prev() &&
             row.prev()->x_status == ValueStatus::Value && row.x <= row.prev()->x) {
    RPT_ErrorAtLine("Time value did not increase");
  }
}

void time_row(const ValueItem* items, size_t found, Waveform* w, const char* label) {
  RangeRow parsed;
  (void)row_from_items(items, found, "Time", &parsed);
  add_time_row(parsed, w, label);
}

// A line of four plain numbers, the bulk of a waveform, stored as a time row; false for any
// other line, which the caller reads item by item.
bool plain_time_row(std::string_view line, Waveform* w, const char* label) {
  RangeRow row;
  if (!row_scan_plain(line, &row)) return false;
  add_time_row(row, w, label);
  return true;
}

// A line that is no subparameter is a time row when it starts with a number (or "NA").
bool starts_with_number(std::string_view first) {
  double value = 0.0;
  bool is_na = false;
  return CMN_GetValueOrNA(first, &value, &is_na) != kNumberInvalid;
}

void report_endpoint_na(const RowList& rows, const char* label, int line) {
  rows_for_each_endpoint_na(rows, [&](const char* position, const CornerField& f) {
    RPT_Error("%s %s Value Cannot Be 'NA' for %s Waveform Beginning at Line %d", position, f.name,
              label, line);
  });
}

// A pulse returns to where it started.
void check_pulse_ends(const RowList& rows, const char* label, int line) {
  const RangeRow& first = *rows.head();
  const RangeRow& last = *rows.tail();
  for (const CornerField& f : kCornerFields) {
    if (first.*f.status != ValueStatus::Value || last.*f.status != ValueStatus::Value) continue;
    if (first.*f.value != last.*f.value)
      RPT_Error(
          "First %s Value should be the same as the Last for %s Waveform Beginning at Line %d",
          f.name, label, line);
  }
}

}  // namespace

int waveform_create(std::string_view line, const char* label, std::unique_ptr<Waveform>* out) {
  TARN_ASSERT(label != nullptr && out != nullptr);
  out->reset(new (std::nothrow) Waveform);
  if (!*out) {
    CMN_ReportNoMemory();
    return 0;
  }
  (*out)->start_line = PRS_GetLineNumber();
  CMN_CheckKeywordAlone(line, label);
  return 1;
}

int waveform_open(std::string_view line, WaveformList* list, const char* label) {
  TARN_ASSERT(list != nullptr && label != nullptr);
  if (list->size() >= kMaxWaveforms) RPT_ErrorAtLine("More than 100 %ss are defined", label);
  std::unique_ptr<Waveform> waveform;
  if (!waveform_create(line, label, &waveform)) return 0;
  try {
    list->push_back(std::move(waveform));
  } catch (const std::bad_alloc&) {
    CMN_ReportNoMemory();
    return 0;
  }
  return 1;
}

void waveform_line(std::string_view line, Waveform* waveform, const char* label) {
  TARN_ASSERT(waveform != nullptr && label != nullptr);
  // Time rows are the bulk of a waveform, so the line is read once as a row; a subparameter
  // line is split at "=" as well, which no row's first item holds. No subparameter's name
  // reads as a number, so a line that starts with one is a row.
  if (plain_time_row(line, waveform, label)) return;
  ValueItem items[kTableRowItems];
  const size_t found = CMN_ScanValues(line, kTableRowItems, items);
  const bool plain = items[0].text.find('=') == std::string_view::npos;
  if (plain && !items[0].text.empty() && items[0].result != kNumberInvalid) {
    time_row(items, found, waveform, label);
    return;
  }
  const std::string_view first = plain ? items[0].text : CMN_FirstItem(line, '=');
  if (const FixtureParam* p = find_fixture_param(first)) {
    ItemList& fixture = g_wvfrm.items;
    if (CMN_SplitLine(line, kLineItems, '=', &fixture)) fixture_line(*p, fixture, waveform, label);
  } else if (!plain && starts_with_number(first)) {
    time_row(items, found, waveform, label);
  } else {
    RPT_ErrorAtLine("Unknown Line Among %s Data", label);
  }
}

void waveform_row(std::string_view line, Waveform* waveform, const char* label) {
  TARN_ASSERT(waveform != nullptr && label != nullptr);
  if (plain_time_row(line, waveform, label)) return;
  ValueItem items[kTableRowItems];
  const size_t found = CMN_ScanValues(line, kTableRowItems, items);
  time_row(items, found, waveform, label);
}

void waveform_end(const Waveform& waveform, const char* label, bool is_waveform) {
  TARN_ASSERT(label != nullptr);
  const int line = static_cast<int>(waveform.start_line);
  if (is_waveform) {
    for (const FixtureParam& p : kFixtureParams)
      if (p.required && !(waveform.*p.field))
        RPT_Error("%s Not Defined For %s Waveform Beginning on Line %d", p.name.data(), label,
                  line);
  }
  if (waveform.rows.size() < 2) {
    RPT_Error("Require at least 2 Data Points for %s Waveform Beginning at Line %d", label, line);
    return;
  }
  report_endpoint_na(waveform.rows, label, line);
  if (!is_waveform) check_pulse_ends(waveform.rows, label, line);
}

int waveform_get(const Waveform* waveform, WaveformParam param, double* out) {
  TARN_ASSERT(waveform != nullptr && out != nullptr);
  for (const FixtureParam& p : kFixtureParams) {
    if (p.param != param) continue;
    const std::optional<double>& field = waveform->*p.field;
    if (!field) return 0;
    *out = *field;
    return 1;
  }
  return 0;
}

int waveform_get_rows(const Waveform* waveform, const RowList** out) {
  TARN_ASSERT(waveform != nullptr && out != nullptr);
  *out = &waveform->rows;
  return waveform->rows.empty() ? 0 : 1;
}

}  // namespace tarn
