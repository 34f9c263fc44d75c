#include "writers/doc.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdarg>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "libibis/src/cmn.h"
#include "libibis/src/cmpnt.h"
#include "libibis/src/difpin.h"
#include "libibis/src/guard.h"
#include "libibis/src/hdr.h"
#include "libibis/src/ibis.h"
#include "libibis/src/mdl.h"
#include "libibis/src/mdl_plus.h"
#include "libibis/src/msel.h"
#include "libibis/src/mspec.h"
#include "libibis/src/pin.h"
#include "libibis/src/pinmpg.h"
#include "libibis/src/pkg.h"
#include "libibis/src/ramp.h"
#include "libibis/src/rng.h"
#include "libibis/src/rngp.h"
#include "libibis/src/rpt.h"
#include "libibis/src/source.h"
#include "libibis/src/wvfrm.h"
#include "tarn/documentation.h"
#include "writers/safe_file.h"
#include "writers/worker.h"
#include "writers/wrt.h"

namespace tarn {
namespace {

constexpr int kSignificantDigits = 6;
// Scale letters from 1e-15 to 1e12, one per power of 1000; the blank stands for no letter.
constexpr std::string_view kScaleLetters = "fpnum kMGT";
constexpr int kSmallestScale = -15;
constexpr int kLargestScale = 12;

// The number with a scale letter, written into `buffer` (kNumberRoom characters); returns its
// length. The listing formats every number of every table, so nothing is allocated.
size_t format_number(double value, char* buffer) {
  if (value == 0.0) {  // -0 too
    buffer[0] = '0';
    return 1;
  }
  if (!std::isfinite(value)) {
    const auto result = std::to_chars(buffer, buffer + kNumberRoom, value);
    return static_cast<size_t>(result.ptr - buffer);
  }
  const SixDigits digits = WRT_RoundSix(std::fabs(value));
  // The scale is chosen after rounding, so 999.9999 becomes 1k rather than 1000.
  if (digits.exponent < kSmallestScale || digits.exponent > kLargestScale + 2) {
    const auto result = std::to_chars(buffer, buffer + kNumberRoom, value,
                                      std::chars_format::general, kSignificantDigits);
    return static_cast<size_t>(result.ptr - buffer);
  }
  const auto from_smallest = static_cast<size_t>(digits.exponent - kSmallestScale);
  const size_t letter = from_smallest / 3;
  char* p = buffer;
  *p = '-';
  p += value < 0 ? 1 : 0;
  p = WRT_PutPointed(p, digits, from_smallest - 3 * letter + 1);  // 1 to 3 before the point
  if (kScaleLetters[letter] != ' ') *p++ = kScaleLetters[letter];
  return static_cast<size_t>(p - buffer);
}

constexpr const char* kBanner =
    "| ============================================================================";
constexpr const char* kVariableTitle = "| variable           typ             min             max";
constexpr const char* kModelVariableTitle =
    "| variable              typ             min             max";
constexpr const char* kVoltageTitle = "| Voltage       I(typ)          I(min)          I(max)";
constexpr const char* kTimeTitle = "| Time          V(typ)          V(min)          V(max)";

// The width of the name before the three value columns of a row, as each block lays it out.
constexpr int kPackageLabelWidth = 21;
constexpr int kModelLabelWidth = 24;
constexpr int kRampLabelWidth = 20;
constexpr int kTableLabelWidth = 16;
// The width of each value column; one blank separates the columns.
constexpr size_t kColumnWidth = 15;

// The two forms of a pin table's title; the long one when the keyword line declared its
// long column count.
struct TableForm {
  int long_columns;
  const char* long_title;
  const char* short_title;
};
constexpr TableForm kPinForm = {
    6, "[Pin] signal_name          model_name       R_pin      L_pin      C_pin",
    "[Pin] signal_name    model_name"};
constexpr TableForm kPinMappingForm = {
    5, "[Pin Mapping]  pulldown_ref   pullup_ref  gnd_clamp_ref  power_clamp_ref",
    "[Pin Mapping]  pulldown_ref   pullup_ref"};
constexpr TableForm kDiffPinForm = {
    6, "[Diff Pin]   inv_pin   vdiff     tdelay_typ   tdelay_min   tdelay_max",
    "[Diff Pin]   inv_pin   vdiff   tdelay_typ"};

using Cells = std::array<std::string, 3>;  // typ, min, max

// The listing goes to the file a block of lines at a time, each line formatted once.
// The x texts of the table written last: the tables of a listing mostly share their sweep, so
// a row whose x is that of the same row there copies its text instead of formatting it again.
class XColumn {
 public:
  // The text of `x` for row `row` at `out` (kNumberRoom free bytes); returns its end.
  char* put(size_t row, double x, char* out) {
    if (row >= cells_.size()) cells_.resize(row + 1);
    Cell& cell = cells_[row];
    const auto bits = std::bit_cast<uint64_t>(x);
    if (cell.size == 0 || cell.bits != bits) {
      cell.bits = bits;
      cell.size = format_number(x, cell.text.data());
    }
    std::memcpy(out, cell.text.data(), kCopied);
    return out + cell.size;
  }

 private:
  static constexpr size_t kCopied = 16;  // more than the longest text, "-1.23456e-308"
  static_assert(kGeneralLongest < kCopied);
  struct Cell {
    uint64_t bits = 0;
    size_t size = 0;  // 0 until formatted: no text is empty
    std::array<char, kNumberRoom> text;
  };
  std::vector<Cell> cells_;
};

class DocText {
 public:
  explicit DocText(SafeFile* file) : sink_(file) {}
  explicit DocText(std::string* text) : sink_(text) {}
  // The characters of the listing so far.
  uint64_t size() const { return sink_.size(); }
  void append(std::string_view text) { sink_.append(text); }
  // Hands the lines not yet written to the file; a failed write fails the commit.
  void flush() { sink_.flush(); }
  // One line, formatted; the line feed is added.
  void put(const char* fmt, ...) TARN_PRINTF(2, 3);
  // A banner line and a bar line, which open every block.
  void banner() {
    put("%s", kBanner);
    put("|");
  }
  // Room for a line of `size` characters that the caller lays out, then its end.
  char* room(size_t size) { return sink_.room(size); }
  void commit(const char* end) { sink_.commit(end); }
  XColumn& x_column() { return x_column_; }
  // "name typ min max": the name in its field, then the three value columns.
  void range_row(std::string_view label, int width, const Cells& cells) {
    pad_to(label, static_cast<size_t>(width));  // the first column follows without a blank
    fields({{cells[0], kColumnWidth}, {cells[1], kColumnWidth}, {cells[2], kColumnWidth}});
  }
  // One line of texts, each left-aligned in its width and never cut, one blank between: as
  // printf's "%-*s" lays them out, a text ending at a NUL as it would there.
  struct Field {
    std::string_view text;
    size_t width;
  };
  void fields(std::initializer_list<Field> line) {
    for (const Field& field : line) {
      if (&field != line.begin()) sink_.append(" ");
      pad_to(field.text.substr(0, field.text.find('\0')), field.width);
    }
    sink_.append("\n");
  }

 private:
  // Left-aligned in `width`, never cut, as printf's "%-*s".
  void pad_to(std::string_view text, size_t width) {
    sink_.append(text);
    if (text.size() >= width) return;
    char* blanks = sink_.room(width - text.size());
    sink_.commit(std::fill_n(blanks, width - text.size(), ' '));
  }

  BlockSink sink_;  // whole lines not yet written
  XColumn x_column_;
};

void DocText::put(const char* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  va_list again;
  va_copy(again, args);
  char line[256];
  const int formatted = std::vsnprintf(line, sizeof line - 1, fmt, args);
  const size_t length = formatted > 0 ? static_cast<size_t>(formatted) : 0;
  if (length < sizeof line - 1) {
    sink_.append(std::string_view(line, length));
  } else {
    std::string long_line(length + 1, '\0');
    std::vsnprintf(long_line.data(), length + 1, fmt, again);
    sink_.append(std::string_view(long_line.data(), length));
  }
  sink_.append("\n");
  va_end(again);
  va_end(args);
}

std::string text_of(std::string_view view) { return std::string(view); }

// A value with its unit, or NA where the file gives none (absent or "NA").
std::string value_or_na(int has_value, double value, std::string_view unit = {}) {
  if (!has_value) return "NA";
  std::string text = DOC_FormatNumber(value);
  text += unit;
  return text;
}

// The typ, min and max of a range, in the order of the columns.
using CornerGet = int (*)(const Range*, double*);
constexpr CornerGet kCorners[] = {range_get_typ, range_get_min, range_get_max};

Cells range_cells(const Range* range, std::string_view unit) {
  Cells cells;
  for (size_t i = 0; i < cells.size(); ++i) {
    double value = 0.0;
    const int has_value = kCorners[i](range, &value);
    cells[i] = value_or_na(has_value, value, unit);
  }
  return cells;
}

// One row of a typ/min/max group; a null range is a row the file does not give.
struct RangeLine {
  const char* label;
  const Range* range;
  std::string_view unit;
};

// The group's title, then its rows; nothing at all when the file gives none of them.
void write_range_group(DocText& out, const char* title, int width,
                       std::span<const RangeLine> lines) {
  bool titled = false;
  for (const RangeLine& line : lines) {
    if (!line.range) continue;
    if (!titled) out.put("%s", title);
    titled = true;
    out.range_row(line.label, width, range_cells(line.range, line.unit));
  }
}

// The rows of a VI table or a waveform: x, then the typ, min and max columns, laid out as
// range_row would. The bulk of a listing, so each row is written in place: every number's text
// (at most 13 characters, "-1.23456e-308") fits its column of 15.
void write_table_rows(DocText& out, const char* title, const RowList& rows) {
  out.put("%s", title);
  constexpr size_t kStarts[] = {0, kTableLabelWidth, kTableLabelWidth + kColumnWidth + 1,
                                kTableLabelWidth + 2 * (kColumnWidth + 1)};
  constexpr size_t kLength = kStarts[3] + kColumnWidth + 1;  // with the line feed
  XColumn& x_column = out.x_column();
  size_t index = 0;
  for (const RangeRow* row = rows.head(); row; row = row->next(), ++index) {
    char* const line = out.room(kStarts[3] + 2 * kNumberRoom);
    // The entries read in place rather than through an accessor call each.
    const ValueStatus status[] = {row->x_status, row->typ_status, row->min_status, row->max_status};
    const double values[] = {row->x, row->typ, row->min, row->max};
    for (size_t i = 0; i < std::size(kStarts); ++i) {
      char* start = line + kStarts[i];
      // Left to right, blanks after each text: a number may write past its end into the next
      // column, never beyond its own room.
      char* end = status[i] != ValueStatus::Value ? std::copy_n("NA", 2, start)
                  : i == 0                        ? x_column.put(index, values[i], start)
                                                  : start + format_number(values[i], start);
      TARN_ASSERT(static_cast<size_t>(end - start) <= kColumnWidth);
      std::fill_n(end, kColumnWidth + 1, ' ');
    }
    line[kLength - 1] = '\n';
    out.commit(line + kLength);
  }
}

// The header keywords the file gives; a free text keeps its further lines as the file wrote them.
void write_header(DocText& out, const FileHeader* header, std::string_view component) {
  std::string_view file_name;
  (void)HDR_GetFileName(header, &file_name);
  out.banner();
  out.put("|               IBIS Description for Component %s", text_of(component).c_str());
  out.put("|               Extracted from file %s", text_of(file_name).c_str());
  out.banner();
  struct Field {
    const char* label;
    int (*get)(const FileHeader*, std::string_view*);
  };
  constexpr Field kFields[] = {
      {"[IBIS Ver]      ", HDR_GetIbisVersion}, {"[File Name]     ", HDR_GetFileName},
      {"[File Rev]      ", HDR_GetFileRev},     {"[Source]        ", HDR_GetSource},
      {"[Notes]         ", HDR_GetNotes},       {"[Date]          ", HDR_GetDate},
      {"[Disclaimer]    ", HDR_GetDisclaimer},  {"[Copyright]     ", HDR_GetCopyright},
  };
  for (const Field& field : kFields) {
    std::string_view text;
    if (field.get(header, &text)) out.put("%s%s", field.label, text_of(text).c_str());
  }
}

void write_package(DocText& out, const Package* package) {
  out.put("[Package]");
  const Range* c_pkg = nullptr;
  const Range* r_pkg = nullptr;
  const Range* l_pkg = nullptr;
  (void)PKG_GetCpkg(package, &c_pkg);
  (void)PKG_GetRpkg(package, &r_pkg);
  (void)PKG_GetLpkg(package, &l_pkg);
  const RangeLine lines[] = {{"C_pkg", c_pkg, ""}, {"R_pkg", r_pkg, "Ohms"}, {"L_Pkg", l_pkg, ""}};
  write_range_group(out, kVariableTitle, kPackageLabelWidth, lines);
}

// Opens the block of a pin table with its title; true for the long form.
template <class List>
bool open_pin_table(DocText& out, const List* list, int (*columns_of)(const List*, int*),
                    const TableForm& form) {
  out.banner();
  int columns = 0;
  const bool wide = columns_of(list, &columns) && columns == form.long_columns;
  out.put("%s", wide ? form.long_title : form.short_title);
  return wide;
}

// The pin's own R, L and C are shown when the [Pin] line declared their columns.
void write_pins(DocText& out, const PinList* pins) {
  const bool wide = open_pin_table(out, pins, PIN_GetColumns, kPinForm);
  for (const Pin& pin : pins->pins) {
    std::string_view name, signal, model;
    (void)PIN_GetName(&pin, &name);
    (void)PIN_GetSignal(&pin, &signal);
    (void)PIN_GetModel(&pin, &model);
    if (!wide) {
      out.fields({{name, 5}, {signal, 15}, {model, 20}});
      continue;
    }
    double r = 0.0, l = 0.0, c = 0.0;
    const int has_r = PIN_GetRpin(&pin, &r);
    const int has_l = PIN_GetLpin(&pin, &l);
    const int has_c = PIN_GetCpin(&pin, &c);
    out.fields({{name, 5},
                {signal, 15},
                {model, 20},
                {value_or_na(has_r, r), 10},
                {value_or_na(has_l, l), 10},
                {value_or_na(has_c, c), 10}});
  }
}

// Rows sit under the title's columns; a reference the row leaves out is NA, as a file would
// write it.
void write_pin_mapping(DocText& out, const PinMapping* mapping) {
  const bool wide = open_pin_table(out, mapping, PINMPG_GetColumns, kPinMappingForm);
  for (const PinMappingRow& row : mapping->rows) {
    std::string_view pin;
    (void)PINMPG_GetPin(&row, &pin);
    std::array<std::string, kPinMappingRefs> refs;
    for (size_t c = 0; c < kPinMappingRefs; ++c) {
      std::string_view bus;
      refs[c] = PINMPG_GetRef(&row, static_cast<PinMappingColumn>(c), &bus) ? text_of(bus) : "NA";
    }
    if (wide)
      out.fields({{pin, 14},
                  {refs[kPulldownRef], 14},
                  {refs[kPullupRef], 11},
                  {refs[kGndClampRef], 14},
                  {refs[kPowerClampRef], 0}});
    else
      out.fields({{pin, 14}, {refs[kPulldownRef], 14}, {refs[kPullupRef], 0}});
  }
}

void write_diff_pins(DocText& out, const DiffPinList* diff_pins) {
  const bool wide = open_pin_table(out, diff_pins, DIFPIN_GetColumns, kDiffPinForm);
  for (const DiffPinRow& row : diff_pins->rows) {
    std::string_view pin, inv_pin;
    (void)DIFPIN_GetPin(&row, &pin);
    (void)DIFPIN_GetInvPin(&row, &inv_pin);
    std::array<std::string, 4> values;
    const DiffPinValue* entries[] = {&row.vdiff, &row.tdelay_typ, &row.tdelay_min, &row.tdelay_max};
    for (size_t i = 0; i < values.size(); ++i) {
      double value = 0.0;
      const int has_value = DIFPIN_GetValue(entries[i], &value);
      values[i] = value_or_na(has_value, value);
    }
    if (wide)
      out.put("%-5s        %-5s    %-9s  %-9s   %-9s     %-9s", text_of(pin).c_str(),
              text_of(inv_pin).c_str(), values[0].c_str(), values[1].c_str(), values[2].c_str(),
              values[3].c_str());
    else
      out.put("%-5s        %-5s    %-9s  %-9s", text_of(pin).c_str(), text_of(inv_pin).c_str(),
              values[0].c_str(), values[1].c_str());
  }
}

void write_settings(DocText& out, const IbisModel* model) {
  ModelType type{};
  if (mdl_get_model_type(model, &type)) out.put("Model_type     %s", model_type_text(model));
  Polarity polarity{};
  if (mdl_get_polarity(model, &polarity)) out.put("Polarity       %s", polarity_text(model));
  Enable enable{};
  if (mdl_get_enable(model, &enable)) out.put("Enable         %s", enable_text(model));
  struct Scalar {
    const char* label;
    int (*get)(const IbisModel*, double*);
    const char* unit;  // Rref and Vref carry the F of the listing's layout
  };
  constexpr Scalar kScalars[] = {
      {"Vinl =         ", mdl_get_vinl, "V"},  {"Vinh =         ", mdl_get_vinh, "V"},
      {"Vmeas =        ", mdl_get_vmeas, "V"}, {"Cref =         ", mdl_get_cref, "F"},
      {"Rref =         ", mdl_get_rref, "F"},  {"Vref =         ", mdl_get_vref, "F"},
  };
  for (const Scalar& scalar : kScalars) {
    double value = 0.0;
    if (scalar.get(model, &value))
      out.put("%s%s", scalar.label, value_or_na(1, value, scalar.unit).c_str());
  }
}

using ModelRangeGet = int (*)(const IbisModel*, const Range**);
struct ModelRange {
  const char* label;
  ModelRangeGet get;
  const char* unit;
};

// Each under a title of its own.
void write_model_ranges(DocText& out, const IbisModel* model, const char* title,
                        std::span<const ModelRange> fields) {
  for (const ModelRange& field : fields) {
    const Range* range = nullptr;
    if (!field.get(model, &range)) continue;
    const RangeLine line[] = {{field.label, range, field.unit}};
    write_range_group(out, title, kModelLabelWidth, line);
  }
}

// The input thresholds form one group; each overshoot limit stands under its own title.
void write_model_spec(DocText& out, const IbisModel* model) {
  const ModelSpec* spec = nullptr;
  if (!mdl_get_model_spec(model, &spec)) return;
  const auto line_of = [spec](MspecParam param) {
    const Range* range = nullptr;
    (void)mspec_get(spec, param, &range);
    return RangeLine{mspec_param_name(param), range, ""};
  };
  const RangeLine thresholds[] = {line_of(MspecParam::VinhPlus), line_of(MspecParam::VinhMinus),
                                  line_of(MspecParam::VinlPlus), line_of(MspecParam::VinlMinus)};
  write_range_group(out, kModelVariableTitle, kModelLabelWidth, thresholds);
  for (const MspecParam param : {MspecParam::SOvershootHigh, MspecParam::SOvershootLow}) {
    const RangeLine line[] = {line_of(param)};
    write_range_group(out, kModelVariableTitle, kModelLabelWidth, line);
  }
}

void write_vi_tables(DocText& out, const IbisModel* model) {
  struct Table {
    const char* label;
    int (*get)(const IbisModel*, const ViTable**);
  };
  constexpr Table kTables[] = {{"[Pullup]", mdl_get_pullup},
                               {"[Pulldown]", mdl_get_pulldown},
                               {"[POWER Clamp]", mdl_get_power_clamp},
                               {"[GND Clamp]", mdl_get_gnd_clamp}};
  for (const Table& table : kTables) {
    const ViTable* vi = nullptr;
    if (!table.get(model, &vi)) continue;
    out.put("%s", table.label);
    write_table_rows(out, kVoltageTitle, vi->rows);
  }
}

// A ratio shows as the file writes it, volts over seconds ("1.2/500p").
std::string ratio_text(const RampRatio* ratio, Corner corner) {
  double dv = 0.0, dt = 0.0;
  if (!ramp_get_corner(ratio, corner, &dv, &dt)) return "NA";
  return DOC_FormatNumber(dv) + "/" + DOC_FormatNumber(dt);
}

void write_ramp(DocText& out, const IbisModel* model) {
  const Ramp* ramp = nullptr;
  if (!mdl_get_ramp(model, &ramp)) return;
  out.put("[Ramp]");
  out.put("%s", kVariableTitle);
  struct Slew {
    const char* label;
    int (*get)(const Ramp*, const RampRatio**);
  };
  constexpr Slew kSlews[] = {{"dV/dt_r", ramp_get_dvdt_r}, {"dV/dt_f", ramp_get_dvdt_f}};
  for (const Slew& slew : kSlews) {
    const RampRatio* ratio = nullptr;
    if (!slew.get(ramp, &ratio)) continue;
    const Cells cells = {ratio_text(ratio, kCornerTyp), ratio_text(ratio, kCornerMin),
                         ratio_text(ratio, kCornerMax)};
    out.range_row(slew.label, kRampLabelWidth, cells);
  }
  double r_load = 0.0;
  if (ramp_get_r_load(ramp, &r_load)) out.put("R_load = %sohms", DOC_FormatNumber(r_load).c_str());
}

void write_waveforms(DocText& out, const IbisModel* model) {
  struct Kind {
    const char* label;
    int (*get)(const IbisModel*, const WaveformList**);
  };
  constexpr Kind kKinds[] = {{"[Rising Waveform]", mdl_get_rising_waveforms},
                             {"[Falling Waveform]", mdl_get_falling_waveforms}};
  struct Fixture {
    const char* name;
    WaveformParam param;
  };
  // The fixture lines of the listing's layout, in its order.
  constexpr Fixture kFixtures[] = {
      {"V_fixture", WaveformParam::VFixture},
      {"V_fixture_min", WaveformParam::VFixtureMin},
      {"V_fixture_max", WaveformParam::VFixtureMax},
      {"L_fixture", WaveformParam::LFixture},
      {"C_fixture", WaveformParam::CFixture},
      {"R_dut", WaveformParam::RDut},
      {"L_dut", WaveformParam::LDut},
      {"C_dut", WaveformParam::CDut},
  };
  for (const Kind& kind : kKinds) {
    const WaveformList* list = nullptr;
    if (!kind.get(model, &list)) continue;
    for (const std::unique_ptr<Waveform>& waveform : *list) {
      out.put("%s", kind.label);
      for (const Fixture& fixture : kFixtures) {
        double value = 0.0;
        if (waveform_get(waveform.get(), fixture.param, &value))
          out.put("%s = %s", fixture.name, DOC_FormatNumber(value).c_str());
      }
      const RowList* rows = nullptr;
      (void)waveform_get_rows(waveform.get(), &rows);
      write_table_rows(out, kTimeTitle, *rows);
    }
  }
}

constexpr ModelRange kModelRanges[] = {
    {"C_comp", mdl_get_c_comp, ""},
    {"[Voltage Range]", mdl_get_voltage_range, ""},
    {"[Temperature Range]", mdl_get_temperature_range, "degC"},
    {"[Pullup Reference]", mdl_get_pullup_reference, ""},
    {"[Pulldown Reference]", mdl_get_pulldown_reference, ""},
    {"[POWER Clamp Reference]", mdl_get_power_clamp_reference, ""},
    {"[GND Clamp Reference]", mdl_get_gnd_clamp_reference, ""},
};
constexpr ModelRange kResistorRanges[] = {
    {"[Rgnd]", mdl_get_rgnd, ""},
    {"[Rpower]", mdl_get_rpower, ""},
    {"[Rac]", mdl_get_rac, ""},
    {"[Cac]", mdl_get_cac, ""},
};

void write_model(DocText& out, const IbisModel* model, std::string_view name) {
  out.banner();
  out.put("[Model]        %s", text_of(name).c_str());
  write_settings(out, model);
  write_model_spec(out, model);
  write_model_ranges(out, model, kModelVariableTitle, kModelRanges);
  write_vi_tables(out, model);
  // The resistors and the AC termination stand alone: their references are listed above.
  write_model_ranges(out, model, kVariableTitle, kResistorRanges);
  write_ramp(out, model);
  write_waveforms(out, model);
}

// A pin may name a selector in place of a model: the selector's block lists the models it
// offers, the first being the one used unless the user picks another, and those models are
// then listed as the pins' own. Selectors in the order of the file, each once.
void write_selectors(DocText& out, const IbisDocument* document,
                     std::unordered_set<std::string_view>* used) {
  const std::vector<std::unique_ptr<ModelSelector>>* selectors = nullptr;
  if (!IBIS_GetList(document->selectors, &selectors)) return;
  const ModelIndex models(*document);
  for (const std::unique_ptr<ModelSelector>& selector : *selectors) {
    if (models.find(selector->name) || used->erase(selector->name) == 0) continue;
    out.banner();
    out.put("[Model Selector] %s", selector->name.c_str());
    if (!selector->models.empty()) out.put("| default: %s", selector->models[0].name.c_str());
    for (const ModelSelectorEntry& entry : selector->models) {
      out.put("%-20s %s", entry.name.c_str(), entry.descriptor.c_str());
      used->insert(entry.name);
    }
  }
}

using UsedNames = std::unordered_set<std::string_view>;

void write_component(DocText& out, const Component* component, std::string_view name) {
  out.banner();
  out.put("[Component]     %s", text_of(name).c_str());
  std::string_view manufacturer;
  if (CMPNT_GetManufacturer(component, &manufacturer))
    out.put("[Manufacturer]  %s", text_of(manufacturer).c_str());
  const Package* package = nullptr;
  if (CMPNT_GetPackage(component, &package)) write_package(out, package);
}

// The listing up to its models: the header, the package-model note, the component block and
// the selectors its pins name. Gives the names of the models listed next: none when the
// component has no pins.
UsedNames write_head(DocText& out, const IbisDocument* document, const FileHeader* header,
                     const Component* component) {
  std::string_view name;
  (void)CMPNT_GetName(component, &name);
  write_header(out, header, name);
  const std::vector<std::unique_ptr<PackageModel>>* package_models = nullptr;
  if (IBIS_GetList(document->package_models, &package_models)) {
    // Package models are never listed; the note says so.
    out.put("| Information: Package Models are not yet supported");
    out.put("|              and have not been copied to this file");
  }
  write_component(out, component, name);
  UsedNames used;
  const PinList* pins = nullptr;
  if (!CMPNT_GetPins(component, &pins)) return used;
  write_pins(out, pins);
  const PinMapping* mapping = nullptr;
  if (CMPNT_GetPinMapping(component, &mapping)) write_pin_mapping(out, mapping);
  const DiffPinList* diff_pins = nullptr;
  if (CMPNT_GetDiffPins(component, &diff_pins)) write_diff_pins(out, diff_pins);
  for (const Pin& pin : pins->pins) {
    std::string_view model;
    if (PIN_GetModel(&pin, &model)) used.insert(model);
  }
  write_selectors(out, document, &used);
  return used;
}

// Models in the order of the file, each once however many pins use it; a name defined twice
// means the definition the pins resolve to.
std::vector<const IbisModel*> listed_models(const IbisDocument* document, const UsedNames& used) {
  const ModelIndex models(*document);
  std::vector<const IbisModel*> listed;
  for (const std::unique_ptr<IbisModel>& model : document->models) {
    std::string_view name;
    if (mdl_get_name(model.get(), &name) && used.count(name) != 0 &&
        models.find(name) == model.get())
      listed.push_back(model.get());
  }
  return listed;
}

void write_listed_model(DocText& out, const IbisModel* model) {
  std::string_view name;
  (void)mdl_get_name(model, &name);
  write_model(out, model, name);
}

// Replaced whole, so a failure leaves the earlier listing rather than half of a new one.
bool opened(const char* path, const SafeFile& file) {
  if (file.stream()) return true;
  RPT_Error("Unable to open documentation file.");
  WRT_ReportUnopened(path);
  return false;
}

// A short write shows as a failed commit: the listing is not complete either way.
bool unwritten(const char* path, int error) {
  RPT_Error("Unable to close documentation file.");
  WRT_ReportUnwritten(path, error);
  return false;
}

bool committed(const char* path, SafeFile& file) {
  return file.Commit() || unwritten(path, file.error());
}

// -- the listing written while the source is read ------------------------------------------

// Models go to the worker a few at a time, which spares a wake-up each; few enough, with the
// batches that may wait, that the tables held stay a small part of the memory.
constexpr size_t kBatchModels = 4;
constexpr size_t kPendingBatches = 4;

// The head of the listing of `document` as it stands, with the names of the models it goes on
// to list.
std::string head_text(const IbisDocument* document, const FileHeader* header,
                      const Component* component, UsedNames* used) {
  std::string text;
  DocText out(&text);
  *used = write_head(out, document, header, component);
  out.flush();
  return text;
}

// Each model's listing is written as soon as the model has been read and checked, by a worker
// beside the reading, into the target's replacement; the worker then hands the model's tables
// back to the reading thread, which frees them where they were allocated. Meanwhile the worker
// takes hold of the listing the new one will replace, let go of once replaced. The head goes
// first, as the document stands at the first model. At the end the listing needs only "[End]"
// when the head and the models listed are those written; otherwise (the component, a selector
// or a package model after the models, models the component does not use) it is put together
// again in its own order, from the final head and the models' texts read back.
class DocStream final : public ModelObserver {
 public:
  DocStream(const char* path, const char* component) : path_(path), component_(component) {
    worker_.Post([this] { replaced_.Hold(path_); });
  }
  void ModelEnded(IbisModel& model) override;
  void ReadingEnded() override;
  // Completes the listing of a document that passed; reports as DOC_WriteComponent does.
  bool Finish(const IbisDocument& document);

 private:
  struct Streamed {
    uint64_t begin;
    uint64_t end;
  };
  void Start(const IbisDocument* document);
  void PostBatch();
  void StreamModels(const std::vector<IbisModel*>& models);
  bool Rebuild(const std::string& head, const std::vector<const IbisModel*>& listed);
  bool CopyStreamed(const Streamed& streamed, DocText& out);
  // The listing committed: the one it replaced is freed in the background.
  bool Committed(SafeFile& file);

  const char* path_;
  const char* component_;
  bool started_ = false;
  std::optional<SafeFile> file_;  // opened at the first model
  std::optional<DocText> text_;   // set while the file is usable
  std::string head_;              // as written first; empty when the component was not there yet
  std::vector<IbisModel*> batch_;  // models not yet handed to the worker
  std::vector<const IbisModel*> order_;  // the models written, in their order
  std::unordered_map<const IbisModel*, Streamed> streamed_;
  HandBack<ModelTables> spent_;  // tables written out, for the reading thread to free
  ReplacedFile replaced_;
  OrderedWorker worker_{kPendingBatches};  // last, so that it is drained first
};

void DocStream::Start(const IbisDocument* document) {
  started_ = true;
  // A pipe or a device gets the listing in one go at the end: what went into it cannot be read
  // back to put the listing together again.
  if (!SFL_Replaces(path_)) return;
  file_.emplace(path_);
  // A file that cannot be made leaves the models their tables: the listing is then written
  // from the document at the end, which reports why it cannot be.
  if (!file_->stream()) {
    file_.reset();
    return;
  }
  text_.emplace(&*file_);
  const FileHeader* header = nullptr;
  if (!document || !IBIS_GetHeader(document, &header)) return;
  const Component* component = WRT_FindComponent(document->components, component_);
  if (!component) return;
  UsedNames used;
  head_ = head_text(document, header, component, &used);
  text_->append(head_);
}

void DocStream::ModelEnded(IbisModel& model) {
  if (!started_) Start(IBIS_Current());
  if (!text_) return;
  batch_.push_back(&model);
  if (batch_.size() == kBatchModels) PostBatch();
}

void DocStream::ReadingEnded() {
  if (!batch_.empty()) PostBatch();
  worker_.Drain();
  spent_.Release();
}

void DocStream::PostBatch() {
  spent_.Release();
  worker_.Post([this, models = std::move(batch_)] { StreamModels(models); });
  batch_.clear();
}

void DocStream::StreamModels(const std::vector<IbisModel*>& models) {
  for (IbisModel* model : models) {
    const uint64_t begin = text_->size();
    write_listed_model(*text_, model);
    order_.push_back(model);
    streamed_[model] = {begin, text_->size()};
    spent_.Give(mdl_take_tables(model));
  }
}

bool DocStream::Finish(const IbisDocument& document) {
  if (!text_) return DOC_WriteComponent(&document, path_, component_);
  WriterSource source;
  if (!WRT_GetSource(&document, &source)) return false;
  const Component* chosen = WRT_ChooseComponent(*source.components, component_);
  if (!chosen) return false;
  UsedNames used;
  const std::string head = head_text(&document, source.header, chosen, &used);
  const std::vector<const IbisModel*> listed = listed_models(&document, used);
  if (head != head_ || listed != order_) return Rebuild(head, listed);
  text_->put("[End]");
  text_->flush();
  return Committed(*file_);
}

bool DocStream::Rebuild(const std::string& head, const std::vector<const IbisModel*>& listed) {
  text_->flush();
  const int stream_error = file_->error();
  file_->Abandon();  // its name is the target's replacement's
  SafeFile file(path_);
  if (!opened(path_, file)) return false;
  // The texts written so far cannot be trusted after a failed write; that write's error stands
  // for the listing's.
  if (stream_error != 0) return unwritten(path_, stream_error);
  DocText out(&file);
  out.append(head);
  for (const IbisModel* model : listed) {
    const auto streamed = streamed_.find(model);
    if (streamed == streamed_.end())
      write_listed_model(out, model);  // never told of: its tables are still there
    else if (!CopyStreamed(streamed->second, out))
      return unwritten(path_, file_->error());
  }
  out.put("[End]");
  out.flush();
  return Committed(file);
}

bool DocStream::Committed(SafeFile& file) {
  if (!committed(path_, file)) return false;
  replaced_.Release();  // the worker took hold of it before the reading ended
  return true;
}

bool DocStream::CopyStreamed(const Streamed& streamed, DocText& out) {
  for (uint64_t at = streamed.begin; at < streamed.end;) {
    const auto step =
        static_cast<size_t>(std::min<uint64_t>(BlockSink::kBlock, streamed.end - at));
    char* room = out.room(step);
    if (!file_->ReadBack(at, step, room)) return false;
    out.commit(room + step);
    at += step;
  }
  return true;
}

}  // namespace

std::string DOC_FormatNumber(double value) {
  char buffer[kNumberRoom];
  return std::string(buffer, format_number(value, buffer));
}

bool DOC_WriteComponent(const IbisDocument* document, const char* path, const char* component) {
  ApiGuard guard;
  WriterSource source;
  if (!WRT_GetSource(document, &source)) return false;
  const Component* chosen = WRT_ChooseComponent(*source.components, component);
  if (!chosen) return false;
  if (!path) return true;

  SafeFile file(path);
  if (!opened(path, file)) return false;
  DocText out(&file);
  const UsedNames used = write_head(out, document, source.header, chosen);
  for (const IbisModel* model : listed_models(document, used)) write_listed_model(out, model);
  out.put("[End]");
  out.flush();
  return committed(path, file);
}

int IBIS_DocumentComponent(const IbisDocument* document, const char* output,
                           const char* component, std::FILE* report) {
  ApiGuard guard;
  if (!document) return 0;
  RPT_SetStream(report);
  const bool written = DOC_WriteComponent(document, output, component);
  RPT_SetStream(nullptr);
  return written ? 1 : 0;
}

int IBIS_DocumentSourceToStream(const char* source, const char* component, const char* output,
                                std::FILE* report) {
  ApiGuard guard;
  bool written = false;
  // Without a file to write there is nothing to stream.
  std::optional<DocStream> stream;
  if (output) stream.emplace(output, component);
  (void)WRT_CheckSource(
      source, report,
      [&](const IbisDocument& document) {
        written = stream ? stream->Finish(document)
                         : DOC_WriteComponent(&document, output, component);
      },
      stream ? &*stream : nullptr);
  return written ? 1 : 0;
}

}  // namespace tarn
