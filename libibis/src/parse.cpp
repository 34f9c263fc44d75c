#include "libibis/src/parse.h"

#include <sys/stat.h>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

#include "libibis/src/chars.h"
#include "libibis/src/cmn.h"
#include "libibis/src/cmpnt.h"
#include "libibis/src/ebdmdl.h"
#include "libibis/src/hdr.h"
#include "libibis/src/mdl.h"
#include "libibis/src/msel.h"
#include "libibis/src/newer.h"
#include "libibis/src/pkgmdl.h"
#include "libibis/src/reading_state.h"
#include "libibis/src/rpt.h"
#include "libibis/src/submdl.h"

namespace tarn {

namespace {
using S = Section;
}  // namespace

constexpr KeywordRow kKeywordRows[] = {
    {"IBIS_VER", Kw::IBIS_VER, S::Header, 21},
    {"FILE_NAME", Kw::FILE_NAME, S::Header, 21},
    {"FILE_REV", Kw::FILE_REV, S::Header, 21},
    {"DATE", Kw::DATE, S::Header, 21},
    {"SOURCE", Kw::SOURCE, S::Header, 21},
    {"NOTES", Kw::NOTES, S::Header, 21},
    {"DISCLAIMER", Kw::DISCLAIMER, S::Header, 21},
    {"COPYRIGHT", Kw::COPYRIGHT, S::Header, 21},
    {"COMPONENT", Kw::COMPONENT, S::Component, 21},
    {"MANUFACTURER", Kw::MANUFACTURER, S::Component, 21},
    {"PACKAGE", Kw::PACKAGE, S::Component, 21},
    {"PIN", Kw::PIN, S::Component, 21},
    {"PACKAGE_MODEL", Kw::PACKAGE_MODEL, S::Component, 21},
    {"PIN_MAPPING", Kw::PIN_MAPPING, S::Component, 21},
    {"DIFF_PIN", Kw::DIFF_PIN, S::Component, 21},
    {"SERIES_SWITCH_GROUPS", Kw::SERIES_SWITCH_GROUPS, S::Component, 32},
    {"SERIES_PIN_MAPPING", Kw::SERIES_PIN_MAPPING, S::Component, 32},
    {"MODEL", Kw::MODEL, S::Model, 21},
    {"TEMPERATURE_RANGE", Kw::TEMPERATURE_RANGE, S::Model, 21},
    {"VOLTAGE_RANGE", Kw::VOLTAGE_RANGE, S::Model, 21},
    {"PULLUP_REFERENCE", Kw::PULLUP_REFERENCE, S::Model, 21},
    {"PULLDOWN_REFERENCE", Kw::PULLDOWN_REFERENCE, S::Model, 21},
    {"POWER_CLAMP_REFERENCE", Kw::POWER_CLAMP_REFERENCE, S::Model, 21},
    {"GND_CLAMP_REFERENCE", Kw::GND_CLAMP_REFERENCE, S::Model, 21},
    {"PULLDOWN", Kw::PULLDOWN, S::Model, 21},
    {"PULLUP", Kw::PULLUP, S::Model, 21},
    {"GND_CLAMP", Kw::GND_CLAMP, S::Model, 21},
    {"POWER_CLAMP", Kw::POWER_CLAMP, S::Model, 21},
    {"RGND", Kw::RGND, S::Model, 21},
    {"RPOWER", Kw::RPOWER, S::Model, 21},
    {"RAC", Kw::RAC, S::Model, 21},
    {"CAC", Kw::CAC, S::Model, 21},
    {"RAMP", Kw::RAMP, S::Model, 21},
    {"RISING_WAVEFORM", Kw::RISING_WAVEFORM, S::Model, 21},
    {"FALLING_WAVEFORM", Kw::FALLING_WAVEFORM, S::Model, 21},
    {"TTGND", Kw::TTGND, S::Model, 32},
    {"TTPOWER", Kw::TTPOWER, S::Model, 32},
    {"MODEL_SPEC", Kw::MODEL_SPEC, S::Model, 32},
    {"DRIVER_SCHEDULE", Kw::DRIVER_SCHEDULE, S::Model, 32},
    {"ON", Kw::ON, S::Model, 32},
    {"OFF", Kw::OFF, S::Model, 32},
    {"R_SERIES", Kw::R_SERIES, S::Model, 32},
    {"L_SERIES", Kw::L_SERIES, S::Model, 32},
    {"RL_SERIES", Kw::RL_SERIES, S::Model, 32},
    {"C_SERIES", Kw::C_SERIES, S::Model, 32},
    {"LC_SERIES", Kw::LC_SERIES, S::Model, 32},
    {"RC_SERIES", Kw::RC_SERIES, S::Model, 32},
    {"SERIES_CURRENT", Kw::SERIES_CURRENT, S::Model, 32},
    {"SERIES_MOSFET", Kw::SERIES_MOSFET, S::Model, 32},
    {"ADD_SUBMODEL", Kw::ADD_SUBMODEL, S::Model, 32},
    {"DEFINE_PACKAGE_MODEL", Kw::DEFINE_PACKAGE_MODEL, S::PackageModel, 21},
    {"MANUFACTURER", Kw::PKG_MANUFACTURER, S::PackageModel, 21},
    {"OEM", Kw::OEM, S::PackageModel, 21},
    {"DESCRIPTION", Kw::DESCRIPTION, S::PackageModel, 21},
    {"NUMBER_OF_PINS", Kw::NUMBER_OF_PINS, S::PackageModel, 21},
    {"PIN_NUMBERS", Kw::PIN_NUMBERS, S::PackageModel, 21},
    {"MODEL_DATA", Kw::MODEL_DATA, S::PackageModel, 21},
    {"RESISTANCE_MATRIX", Kw::RESISTANCE_MATRIX, S::PackageModel, 21},
    {"INDUCTANCE_MATRIX", Kw::INDUCTANCE_MATRIX, S::PackageModel, 21},
    {"CAPACITANCE_MATRIX", Kw::CAPACITANCE_MATRIX, S::PackageModel, 21},
    {"BANDWIDTH", Kw::BANDWIDTH, S::PackageModel, 21},
    {"ROW", Kw::ROW, S::PackageModel, 21},
    {"END_MODEL_DATA", Kw::END_MODEL_DATA, S::PackageModel, 21},
    {"END_PACKAGE_MODEL", Kw::END_PACKAGE_MODEL, S::PackageModel, 21},
    {"NUMBER_OF_SECTIONS", Kw::NUMBER_OF_SECTIONS, S::PackageModel, 32},
    {"BEGIN_BOARD_DESCRIPTION", Kw::BEGIN_BOARD_DESCRIPTION, S::Board, 32},
    {"MANUFACTURER", Kw::EBD_MANUFACTURER, S::Board, 32},
    {"NUMBER_OF_PINS", Kw::EBD_NUMBER_OF_PINS, S::Board, 32},
    {"PIN_LIST", Kw::PIN_LIST, S::Board, 32},
    {"PATH_DESCRIPTION", Kw::PATH_DESCRIPTION, S::Board, 32},
    {"REFERENCE_DESIGNATOR_MAP", Kw::REFERENCE_DESIGNATOR_MAP, S::Board, 32},
    {"END_BOARD_DESCRIPTION", Kw::END_BOARD_DESCRIPTION, S::Board, 32},
    {"MODEL_SELECTOR", Kw::MODEL_SELECTOR, S::Selector, 32},
    {"SUBMODEL", Kw::SUBMODEL, S::Submodel, 32},
    {"SUBMODEL_SPEC", Kw::SUBMODEL_SPEC, S::Submodel, 32},
    {"GND_PULSE_TABLE", Kw::GND_PULSE_TABLE, S::Submodel, 32},
    {"POWER_PULSE_TABLE", Kw::POWER_PULSE_TABLE, S::Submodel, 32},
    {"PULLDOWN", Kw::SUB_PULLDOWN, S::Submodel, 32},
    {"PULLUP", Kw::SUB_PULLUP, S::Submodel, 32},
    {"GND_CLAMP", Kw::SUB_GND_CLAMP, S::Submodel, 32},
    {"POWER_CLAMP", Kw::SUB_POWER_CLAMP, S::Submodel, 32},
    {"RAMP", Kw::SUB_RAMP, S::Submodel, 32},
    {"RISING_WAVEFORM", Kw::SUB_RISING_WAVEFORM, S::Submodel, 32},
    {"FALLING_WAVEFORM", Kw::SUB_FALLING_WAVEFORM, S::Submodel, 32},
    {"COMMENT_CHAR", Kw::COMMENT_CHAR, S::Reader, 21},
    {"END", Kw::END, S::Reader, 21},
    // Later keywords: the version is the one that added it; where that is not certain, the
    // earliest that may have, so that no file of that version is refused for it. [Test Data]
    // and [Test Load] stood under [Model] before 5.1 made them top-level: read as the model's,
    // they fit both places.
    {"Receiver_Thresholds", Kw::RECEIVER_THRESHOLDS, S::Model, 40},
    {"Test_Data", Kw::TEST_DATA, S::Model, 40},
    {"Rising_Waveform_Near", Kw::RISING_WAVEFORM_NEAR, S::Model, 40},
    {"Falling_Waveform_Near", Kw::FALLING_WAVEFORM_NEAR, S::Model, 40},
    {"Rising_Waveform_Far", Kw::RISING_WAVEFORM_FAR, S::Model, 40},
    {"Falling_Waveform_Far", Kw::FALLING_WAVEFORM_FAR, S::Model, 40},
    {"Diff_Rising_Waveform_Near", Kw::DIFF_RISING_WAVEFORM_NEAR, S::Model, 40},
    {"Diff_Falling_Waveform_Near", Kw::DIFF_FALLING_WAVEFORM_NEAR, S::Model, 40},
    {"Diff_Rising_Waveform_Far", Kw::DIFF_RISING_WAVEFORM_FAR, S::Model, 40},
    {"Diff_Falling_Waveform_Far", Kw::DIFF_FALLING_WAVEFORM_FAR, S::Model, 40},
    {"Test_Load", Kw::TEST_LOAD, S::Model, 40},
    {"Alternate_Package_Models", Kw::ALTERNATE_PACKAGE_MODELS, S::Component, 40},
    {"End_Alternate_Package_Models", Kw::END_ALTERNATE_PACKAGE_MODELS, S::Component, 40},
    {"External_Model", Kw::EXTERNAL_MODEL, S::Model, 41},
    {"End_External_Model", Kw::END_EXTERNAL_MODEL, S::Model, 41},
    {"External_Circuit", Kw::EXTERNAL_CIRCUIT, S::Top, 41},
    {"End_External_Circuit", Kw::END_EXTERNAL_CIRCUIT, S::Top, 41},
    {"Node_Declarations", Kw::NODE_DECLARATIONS, S::Component, 41},
    {"End_Node_Declarations", Kw::END_NODE_DECLARATIONS, S::Component, 41},
    {"Circuit_Call", Kw::CIRCUIT_CALL, S::Component, 41},
    {"End_Circuit_Call", Kw::END_CIRCUIT_CALL, S::Component, 41},
    {"External_Reference", Kw::EXTERNAL_REFERENCE, S::Model, 41},
    {"ISSO_PU", Kw::ISSO_PU, S::Model, 50},
    {"ISSO_PD", Kw::ISSO_PD, S::Model, 50},
    {"Composite_Current", Kw::COMPOSITE_CURRENT, S::Model, 50},
    {"Algorithmic_Model", Kw::ALGORITHMIC_MODEL, S::Model, 50},
    {"End_Algorithmic_Model", Kw::END_ALGORITHMIC_MODEL, S::Model, 50},
    {"Begin_EMI_Component", Kw::BEGIN_EMI_COMPONENT, S::Component, 50},
    {"End_EMI_Component", Kw::END_EMI_COMPONENT, S::Component, 50},
    {"Pin_EMI", Kw::PIN_EMI, S::Component, 50},
    {"Pin_Domain_EMI", Kw::PIN_DOMAIN_EMI, S::Component, 50},
    {"Begin_EMI_Model", Kw::BEGIN_EMI_MODEL, S::Model, 50},
    {"End_EMI_Model", Kw::END_EMI_MODEL, S::Model, 50},
    {"C_Comp_Corner", Kw::C_COMP_CORNER, S::Model, 51},
    {"Repeater_Pin", Kw::REPEATER_PIN, S::Component, 60},
    {"Initial_Delay", Kw::INITIAL_DELAY, S::Model, 61},
    {"Merged_Pins", Kw::MERGED_PINS, S::PackageModel, 61},
    {"Interconnect_Model_Set", Kw::INTERCONNECT_MODEL_SET, S::Top, 70},
    {"End_Interconnect_Model_Set", Kw::END_INTERCONNECT_MODEL_SET, S::Top, 70},
    {"Interconnect_Model", Kw::INTERCONNECT_MODEL, S::Top, 70},
    {"End_Interconnect_Model", Kw::END_INTERCONNECT_MODEL, S::Top, 70},
    {"Interconnect_Model_Group", Kw::INTERCONNECT_MODEL_GROUP, S::Component, 70},
    {"End_Interconnect_Model_Group", Kw::END_INTERCONNECT_MODEL_GROUP, S::Component, 70},
    {"Bus_Label", Kw::BUS_LABEL, S::Component, 70},
    {"Die_Supply_Pads", Kw::DIE_SUPPLY_PADS, S::Component, 70},
    {"Clock_Pins", Kw::CLOCK_PINS, S::Component, 71},
    {"C_Comp_Model", Kw::C_COMP_MODEL, S::Model, 71},
    {"End_C_Comp_Model", Kw::END_C_COMP_MODEL, S::Model, 71},
};
const size_t kKeywordRowCount = std::size(kKeywordRows);

namespace {

constexpr size_t kLineBuffer = 1024;
constexpr size_t kChunk = 1 << 16;
constexpr size_t kLineWarn = 80;
constexpr size_t kLongLineWarn = 120;
constexpr size_t kLineMax = 1022;

struct ReaderState {
  FileKind kind = FileKind::Unknown;
  uint32_t line = 0;
  char comment = '|';
  Kw current = Kw::NOT_KEY;
  bool end_seen = false;
  bool submodel_context = false;
  int version = 3;
  bool switch_group_open = false;
  bool banner_printed = false;
  std::string file_name;
  std::time_t file_time = 0;
};

ReaderState g_prs;
SavedWithReading<ReaderState> g_prs_saved(&g_prs);

// What a reading leaves as it found it: the caller's settings, which apply to the readings
// nested in the one it starts, and the tab warning, given once for the life of the library.
struct ReaderSettings {
  bool silence_illegal = false;
  bool banner_enabled = true;
  DispatchObserver observer = nullptr;
  bool tab_reported = false;
};

ReaderSettings g_prs_settings;

// The reporter numbers its findings by the line being read here.
const bool g_line_source_installed = (RPT_SetLineSource(&PRS_GetLineNumber), true);

void observe(DispatchEvent event, Section section, LineKind kind, Kw code, std::string_view line) {
  if (g_prs_settings.observer) g_prs_settings.observer(event, section, kind, code, line);
}

constexpr size_t kCodes = kw_int(Kw::KEYWORD_COUNT);

std::array<Section, kCodes> make_section_index() {
  std::array<Section, kCodes> index{};
  index.fill(Section::None);
  for (size_t i = kKeywordRowCount; i-- > 0;) index[kw_int(kKeywordRows[i].code)] = kKeywordRows[i].section;
  return index;
}
const std::array<Section, kCodes> kSectionOf = make_section_index();

// Which rules the declared IBIS version brings, decided once per line from the version.
struct DispatchRules {
  KeywordTable table;
  bool switch_group_check;         // a switch-group entry left open is reported
  bool extended_sections;          // board descriptions, selectors and submodels exist
  bool package_models_any_kind;    // package models are read in every kind of file
  bool openers_silent_in_unknown;  // an unknown kind of file opens nothing, silently
};
constexpr DispatchRules kRules21{KeywordTable::V21, false, false, true, false};
constexpr DispatchRules kRules32{KeywordTable::V32, true, true, false, true};
constexpr DispatchRules kRulesNewer{KeywordTable::Newer, true, true, false, true};

const DispatchRules& rules() {
  if (g_prs.version < 3) return kRules21;
  return NEWER_Rules().later_keywords ? kRulesNewer : kRules32;
}

// The rows a table holds: those of its level and below.
uint8_t table_level(KeywordTable table) {
  switch (table) {
    case KeywordTable::V21: return 21;
    case KeywordTable::V32: return 32;
    default: return std::max<uint8_t>(32, NEWER_Rules().declared);
  }
}

const KeywordRow* find_row(std::string_view name, KeywordTable table) {
  const uint8_t level = table_level(table);
  for (const KeywordRow& row : kKeywordRows)
    if (row.since <= level && CMN_KeywordEqual(row.name, name)) return &row;
  return nullptr;
}

const char* kind_extension(FileKind kind) {
  switch (kind) {
    case FileKind::Ibs: return ".ibs";
    case FileKind::Pkg: return ".pkg";
    case FileKind::Ebd: return ".ebd";
    default: return "";
  }
}

void report_illegal_keyword(FileKind kind) {
  RPT_ErrorAtLine("Illegal keyword for a '%s' file.", kind_extension(kind));
}

// Whether a section takes lines in the file being read.
bool section_reads_here(Section section) {
  const FileKind kind = g_prs.kind;
  switch (section) {
    case Section::Header: return true;
    case Section::Component:
    case Section::Model:
    case Section::Top: return kind == FileKind::Ibs;
    case Section::PackageModel:
      return rules().package_models_any_kind || kind == FileKind::Ibs || kind == FileKind::Pkg;
    case Section::Board: return rules().extended_sections && kind == FileKind::Ebd;
    case Section::Selector:
    case Section::Submodel: return rules().extended_sections && kind == FileKind::Ibs;
    default: return false;
  }
}

// A later keyword leaves its section open, so the keyword after it tells that section
// whether it ends; the component needs no telling, as only a new [Component] ends it.
void newer_keyword_done(Section section, Kw next) {
  if (section == Section::Model && g_prs.submodel_context) SUBMDL_KeywordDone(next);
  else if (section == Section::Model) MDL_KeywordDone(next);
  else if (section == Section::PackageModel) PKGMDL_KeywordDone(next);
}

void keyword_done(Kw previous, Kw next) {
  const Section section = PRS_SectionOf(previous);
  if (!section_reads_here(section)) return;
  if (kw_newer(previous)) {
    newer_keyword_done(section, next);
    return;
  }
  observe(DispatchEvent::KeywordDone, section, LineKind::Keyword, next, {});
  switch (section) {
    case Section::Header: HDR_KeywordDone(next); break;
    case Section::Component: CMPNT_KeywordDone(next); break;
    case Section::Model: MDL_KeywordDone(next); break;
    case Section::PackageModel: PKGMDL_KeywordDone(next); break;
    case Section::Board: EBDMDL_KeywordDone(next); break;
    case Section::Selector: MSEL_KeywordDone(next); break;
    case Section::Submodel: SUBMDL_KeywordDone(next); break;
    default: break;
  }
}

// Checks that an opening keyword is legal in this kind of file and opens its section.
void open_section(Kw code) {
  const FileKind kind = g_prs.kind;
  const DispatchRules& r = rules();
  if (code == Kw::IBIS_VER) {
    if (HDR_VersionSeen()) RPT_ErrorAtLine("Duplicate IBIS_Ver keyword.");
    HDR_Init();
    return;
  }
  Section section = Section::None;
  switch (code) {
    case Kw::COMPONENT: section = Section::Component; break;
    case Kw::MODEL: section = Section::Model; break;
    case Kw::DEFINE_PACKAGE_MODEL: section = Section::PackageModel; break;
    case Kw::BEGIN_BOARD_DESCRIPTION: section = Section::Board; break;
    case Kw::MODEL_SELECTOR: section = Section::Selector; break;
    case Kw::SUBMODEL: section = Section::Submodel; break;
    default: return;
  }
  if (!section_reads_here(section)) {
    if (kind == FileKind::Unknown && r.openers_silent_in_unknown) return;
    // The IBIS 2.1 rules name every kind of file other than .ibs a '.pkg' file.
    report_illegal_keyword(r.extended_sections ? kind : FileKind::Pkg);
    return;
  }
  observe(DispatchEvent::Init, section, LineKind::Keyword, code, {});
  switch (section) {
    case Section::Component: CMPNT_Init(kind); break;
    case Section::Model: MDL_Init(kind); break;
    case Section::PackageModel: PKGMDL_Init(kind); break;
    case Section::Board: EBDMDL_Init(kind); break;
    case Section::Selector: MSEL_Init(kind); break;
    case Section::Submodel: SUBMDL_Init(kind); break;
    default: break;
  }
}

void print_banner() {
  if (g_prs.banner_printed || !g_prs_settings.banner_enabled) return;
  g_prs.banner_printed = true;
  std::printf("\nChecking %s for IBIS %s Compatibility...\n\n", g_prs.file_name.c_str(),
              g_prs.version >= 3 ? "3.2" : "2.1");
}

void end_keyword_line(LineKind kind, std::string_view line) {
  if (kind == LineKind::Keyword && !CMN_KeywordArgument(line).empty())
    RPT_ErrorAtLine("Extraneous data on End keyword line.");
  g_prs.end_seen = true;
}

// Hands a keyword or data line to the section that owns the current keyword.
void route_line(LineKind kind, std::string_view line) {
  const Kw code = g_prs.current;
  const Section section = PRS_SectionOf(code);
  // The bulk of a file, a row of a model's table, goes straight on: such a line passes every
  // check below.
  if (kind == LineKind::Data && section == Section::Model && code != Kw::MODEL &&
      !kw_newer(code) && g_prs.kind == FileKind::Ibs && !g_prs_settings.observer) {
    MDL_Line(kind, code, line);
    return;
  }
  if (code == Kw::MODEL) g_prs.submodel_context = false;
  if (code == Kw::SUBMODEL) g_prs.submodel_context = true;
  if (section == Section::Reader && code == Kw::END) {
    end_keyword_line(kind, line);
    return;
  }
  if (code == Kw::NOT_KEY) {
    RPT_ErrorAtLine("Data for unknown keyword.\n%s", std::string(line).c_str());
    return;
  }
  if (kw_newer(code)) {
    if (section_reads_here(section)) NEWER_Line(kind, code, line);
    return;
  }
  const bool known = section == Section::Header || section == Section::Component ||
                     section == Section::Model || section == Section::PackageModel ||
                     (rules().extended_sections &&
                      (section == Section::Board || section == Section::Selector ||
                       section == Section::Submodel));
  if (!known) {
    RPT_BugAtLine("%s:%d:Unknown current keyword.", __FILE__, __LINE__);
    return;
  }
  if (!section_reads_here(section)) return;
  observe(DispatchEvent::Line, section, kind, code, line);
  switch (section) {
    case Section::Header:
      HDR_Line(kind, code, line);
      if (code == Kw::IBIS_VER && kind == LineKind::Keyword) print_banner();
      break;
    case Section::Component: CMPNT_Line(kind, code, line); break;
    case Section::Model: MDL_Line(kind, code, line); break;
    case Section::PackageModel: PKGMDL_Line(kind, code, line); break;
    case Section::Board: EBDMDL_Line(kind, code, line); break;
    case Section::Selector: MSEL_Line(kind, code, line); break;
    case Section::Submodel: SUBMDL_Line(kind, code, line); break;
    default: break;
  }
}

void dispatch_keyword(std::string_view line) {
  const DispatchRules& r = rules();
  if (r.switch_group_check && g_prs.switch_group_open) {
    RPT_ErrorAtLine("Previous keyword not terminated properly. Possibly missing a \"/\"\n");
    g_prs.switch_group_open = false;
  }
  Kw code = Kw::NOT_KEY;
  if (!PRS_LookupKeyword(line, r.table, g_prs.current, &code)) {
    g_prs.current = Kw::NOT_KEY;
    return;
  }
  keyword_done(g_prs.current, code);
  g_prs.current = code;
  open_section(code);
  route_line(LineKind::Keyword, line);
}

void dispatch(LineKind kind, std::string_view line) {
  if (NEWER_Swallows(kind, line)) return;
  if (kind == LineKind::Keyword) dispatch_keyword(line);
  else route_line(LineKind::Data, line);
}

bool is_free_text(Kw code) {
  return code == Kw::SOURCE || code == Kw::NOTES || code == Kw::DISCLAIMER ||
         code == Kw::COPYRIGHT;
}

size_t line_warn_length() { return NEWER_Rules().long_lines ? kLongLineWarn : kLineWarn; }

// Removes the line feed, then the length and tab checks.
std::string_view check_line(char* buffer, size_t length, bool tab) {
  if (length > 0 && buffer[length - 1] == '\n') buffer[--length] = '\0';
  // The limit that the version sets is looked up only for a line that may pass it.
  if (length > kLineMax) RPT_ErrorAtLine("Exceeds %d chararacters.", static_cast<int>(kLineMax));
  else if (length > std::min(kLineWarn, kLongLineWarn) && length > line_warn_length())
    RPT_WarningAtLine("Exceeds official IBIS maximum length of %d chararacters.",
                      static_cast<int>(line_warn_length()));
  if (!g_prs_settings.tab_reported && tab) {
    RPT_WarningAtLine("IBIS files should not contain tab characters.");
    g_prs_settings.tab_reported = true;
  }
  return std::string_view(buffer, length);
}

LineKind classify(std::string_view line, size_t* first) {
  const size_t pos = CMN_SkipSpace(line, 0);
  *first = pos;
  if (pos >= line.size() || line[pos] == g_prs.comment) return LineKind::Comment;
  if (line[pos] != '[') return LineKind::Data;
  if (pos == 0) return LineKind::Keyword;
  if (is_free_text(g_prs.current)) return LineKind::Data;
  RPT_ErrorAtLine("Keywords Must Begin In Column 1.");
  return LineKind::Keyword;
}

bool is_comment_char_line(std::string_view keyword_line) {
  return CMN_EqualNoCaseN(keyword_line, "[COMMENT_CHAR]", 14) ||
         CMN_EqualNoCaseN(keyword_line, "[COMMENT CHAR]", 14);
}

void set_comment_char(std::string_view keyword_line) {
  constexpr std::string_view kRefused =
      "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ[]._/=+-";
  const std::string_view text = CMN_KeywordArgument(keyword_line);
  if (text.size() < 6 || text.substr(1, 5) != "_char") {
    RPT_ErrorAtLine("Invalid Comment Character Definition.");
    return;
  }
  const char c = text[0];
  if (kRefused.find(c) != std::string_view::npos) RPT_ErrorAtLine("Invalid Comment Character '%c'.", c);
  else g_prs.comment = c;
  const size_t rest = CMN_SkipSpace(text, 6);
  if (rest < text.size() && text[rest] != g_prs.comment)
    RPT_ErrorAtLine("Too Many Line Items For Keyword COMMENT_CHAR.");
}

// Cuts the comment, which starts at `comment` in the buffer, and the trailing white space; the
// view stays NUL-terminated.
std::string_view strip_comment(char* buffer, std::string_view line, size_t comment) {
  size_t length = std::min(comment, line.size());
  while (length > 0 && is_space(line[length - 1])) --length;
  buffer[line.data() - buffer + length] = '\0';
  return line.substr(0, length);
}

void process_line(char* buffer, size_t length, const LineSource::LineMarks& marks) {
  ++g_prs.line;
  std::string_view line = check_line(buffer, length, marks.tab);
  size_t first = 0;
  const LineKind kind = classify(line, &first);
  if (g_prs.end_seen && kind != LineKind::Comment) {
    RPT_ErrorAtLine("Non-comment line exists after 'End' keyword.");
    return;
  }
  // [Comment Char] is taken before comments are cut, since it may name the old character.
  if (kind == LineKind::Keyword && is_comment_char_line(line.substr(first))) {
    set_comment_char(line.substr(first));
    return;
  }
  if (kind == LineKind::Comment) return;
  line = strip_comment(buffer, line, marks.comment);
  if (kind == LineKind::Keyword) line = line.substr(first);
  dispatch(kind, line);
}

void reset_sections() {
  HDR_Reset();
  CMPNT_Reset();
  MDL_Reset();
  PKGMDL_Reset();
  EBDMDL_Reset();
  MSEL_Reset();
  SUBMDL_Reset();
  NEWER_Reset();
}

}  // namespace

Section PRS_SectionOf(Kw code) {
  const int i = kw_int(code);
  return i >= 0 && i < static_cast<int>(kSectionOf.size()) ? kSectionOf[i] : Section::None;
}

bool PRS_NewerIn(Kw code, Section section) {
  return kw_newer(code) && PRS_SectionOf(code) == section;
}

const KeywordRow* PRS_KeywordRow(Kw code) {
  for (const KeywordRow& row : kKeywordRows)
    if (row.code == code) return &row;
  return nullptr;
}

int PRS_FindKeyword(std::string_view line, Kw* code_out) {
  TARN_ASSERT(code_out != nullptr);
  const size_t close = line.find(']');
  if (line.empty() || line[0] != '[' || close == std::string_view::npos) return 0;
  const KeywordRow* row = find_row(line.substr(1, close - 1), rules().table);
  if (!row) return 0;
  *code_out = row->code;
  return 1;
}

// ---------------------------------------------------------------------------------------------
// Character-level line reading.

LineSource::LineSource(std::FILE* file, bool report)
    : file_(file), report_(report), chunk_(new unsigned char[kChunk]), data_(chunk_.get()) {}

LineSource::LineSource(std::string_view text, bool report)
    : report_(report), data_(reinterpret_cast<const unsigned char*>(text.data())),
      end_(text.size()) {}

LineSource::~LineSource() = default;

bool LineSource::refill() {
  if (eof_ || !file_) return false;
  pos_ = 0;
  end_ = std::fread(chunk_.get(), 1, kChunk, file_);
  if (end_ == 0) eof_ = true;
  return end_ != 0;
}

int LineSource::peek() {
  if (pos_ == end_ && !refill()) return EOF;
  return data_[pos_];
}

void LineSource::illegal(unsigned char c, bool room) {
  if (!report_ || g_prs_settings.silence_illegal) return;
  const char* suffix = room ? "  Converting to space." : "";
  static constexpr char kText[] = "Found illegal %s character (Hex code %x).%s";
  if (c == 0) {
    RPT_ErrorAtLine(kText, "NUL", c, suffix);
  } else if (c >= 128) {
    RPT_ErrorAtLine(kText, "non-7-bit ASCII", c, suffix);
  } else {
    RPT_WarningAtLine(kText, "control", c, suffix);
  }
}

namespace {

// The first character from `p` that the line reader must look at: a control character (the
// line feed and the tab among them), one beyond 7 bits, or the comment character. Eight at a
// time: a byte below 32 or equal to the comment character sets the high bit of its own byte
// and may set those above it, so the lowest flag is exact.
const unsigned char* find_special(const unsigned char* p, const unsigned char* e,
                                  unsigned char comment) {
#if defined(__SSE2__)
  // Sixteen at a time where the machine has it: compared as signed bytes, those beyond 7 bits
  // are negative and so fall below the blank with the control characters.
  const __m128i blanks = _mm_set1_epi8(' ');
  const __m128i comments = _mm_set1_epi8(static_cast<char>(comment));
  while (e - p >= 16) {
    const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    const __m128i special = _mm_or_si128(_mm_cmplt_epi8(x, blanks), _mm_cmpeq_epi8(x, comments));
    const auto mask = static_cast<unsigned>(_mm_movemask_epi8(special));
    if (mask != 0) return p + std::countr_zero(mask);
    p += 16;
  }
#endif
  if constexpr (std::endian::native == std::endian::little) {
    constexpr uint64_t kOnes = 0x0101010101010101ull;
    constexpr uint64_t kHighs = 0x8080808080808080ull;
    const uint64_t comments = kOnes * comment;
    while (e - p >= 8) {
      uint64_t x;
      std::memcpy(&x, p, sizeof x);
      const uint64_t y = x ^ comments;
      const uint64_t flags = (((x - kOnes * 0x20) & ~x) | x | ((y - kOnes) & ~y)) & kHighs;
      if (flags != 0) return p + std::countr_zero(flags) / 8;
      p += 8;
    }
  }
  while (p < e && (kCharTable[*p] & kCharStored) && *p != '\t' && *p != comment) ++p;
  return p;
}

}  // namespace

long LineSource::read_line(char* buffer, size_t size) {
  const size_t limit = size > 0 ? size - 1 : 0;
  size_t n = 0;
  bool line_feed = false;
  marks_ = LineMarks{};
  while (true) {
    if (pos_ == end_ && !refill()) break;
    // The common case: a run of characters that are stored as they are.
    const unsigned char* run = data_ + pos_;
    const unsigned char* p = find_special(run, data_ + end_, comment_);
    const size_t run_length = static_cast<size_t>(p - run);
    const size_t take = std::min(run_length, limit - n);
    std::memcpy(buffer + n, run, take);
    n += take;
    pos_ += run_length;
    if (pos_ == end_) continue;
    const unsigned char c = data_[pos_++];
    if (kCharTable[c] & kCharStored) {  // a tab or the comment character: kept and marked
      if (n == limit) continue;
      if (c == '\t') marks_.tab = true;
      if (c == comment_ && marks_.comment == std::string_view::npos) marks_.comment = n;
      buffer[n++] = static_cast<char>(c);
      continue;
    }
    if (c == '\n') {
      line_feed = true;
      if (n < limit) buffer[n++] = '\n';
      break;
    }
    if (c == '\r' && peek() == '\n') continue;
    if (c == 0x1A && peek() == EOF) continue;
    const bool room = n < limit;
    illegal(c, room);
    if (room) buffer[n++] = ' ';
  }
  if (size > 0) buffer[n] = '\0';
  // Nothing left but a dropped control-Z is no line at all.
  return n > 0 || line_feed ? static_cast<long>(n) : -1;
}

char* PRS_ReadLine(char* buffer, size_t size, LineSource& source) {
  TARN_ASSERT(buffer != nullptr && size > 0);
  return source.read_line(buffer, size) < 0 ? nullptr : buffer;
}

// ---------------------------------------------------------------------------------------------

namespace {

void read_lines(LineSource& source) {
  char buffer[kLineBuffer];
  long length = 0;
  source.set_comment(g_prs.comment);
  while ((length = source.read_line(buffer, sizeof buffer)) >= 0) {
    process_line(buffer, static_cast<size_t>(length), source.marks());
    source.set_comment(g_prs.comment);  // a [Comment Char] line may have changed it
  }
}

}  // namespace

int PRS_ReadFile(const char* name, FileKind kind) { return PRS_ReadSource({name, {}}, kind); }

int PRS_ReadSource(const SourceInput& input, FileKind kind) {
  const char* name = input.name;
  TARN_ASSERT(name != nullptr);
  const int version = g_prs.version;
  g_prs = ReaderState{};
  g_prs.version = version;
  g_prs.kind = kind;
  g_prs.file_name.assign(name, std::min(std::strlen(name), kPathMax));
  RPT_SetFileName(name);
  reset_sections();

  std::string base;
  std::string full;
  std::FILE* file = nullptr;
  if (input.text) {
    if (!CMN_ResolveSource(name, kind, &base, &full)) return 0;
  } else {
    file = CMN_OpenSource(name, kind, &base, &full);
    if (!file) return 0;
  }
  g_prs.file_name = full;
  if (file) {
    struct stat info {};
    if (fstat(fileno(file), &info) == 0) g_prs.file_time = info.st_mtime;
    LineSource source(file);
    read_lines(source);
  } else {
    // A text held in memory has no file time: it stays 0.
    LineSource source(*input.text);
    read_lines(source);
  }
  if (!g_prs.end_seen) {
    RPT_Error("Required keyword 'End' not found.");
    char end_line[] = "[END]";
    dispatch(LineKind::Keyword, std::string_view(end_line, 5));
  }
  if (file) std::fclose(file);
  return 1;
}

int PRS_LookupKeyword(std::string_view line, KeywordTable table, Kw previous, Kw* code_out) {
  TARN_ASSERT(code_out != nullptr);
  const size_t close = line.find(']');
  if (close == std::string_view::npos) {
    RPT_ErrorAtLine("Keyword Missing Ending Bracket (']').");
    return 0;
  }
  const std::string_view name = line.substr(1, close - 1);
  if (name.empty() || name.size() > static_cast<size_t>(kKeywordNameMax)) {
    RPT_ErrorAtLine("Invalid Keyword.");
    return 0;
  }
  const KeywordRow* found = find_row(name, table);
  if (!found) {
    std::string copy(name);
    for (char& c : copy)
      if (c == ' ') c = '_';
    RPT_ErrorAtLine("Invalid Keyword. %s", copy.c_str());
    return 0;
  }
  Kw code = found->code;
  if (code == Kw::MANUFACTURER) {
    if (kw_in(previous, Kw::DEFINE_PACKAGE_MODEL, Kw::DESCRIPTION)) code = Kw::PKG_MANUFACTURER;
    else if (previous == Kw::BEGIN_BOARD_DESCRIPTION || previous == Kw::EBD_MANUFACTURER)
      code = Kw::EBD_MANUFACTURER;
  }
  // Board and submodel keywords exist only under the IBIS 3.2 rules.
  if (table != KeywordTable::V21) {
    if (code == Kw::NUMBER_OF_PINS && g_prs.kind == FileKind::Ebd) code = Kw::EBD_NUMBER_OF_PINS;
    if (g_prs.submodel_context) {
      switch (code) {
        case Kw::PULLDOWN: code = Kw::SUB_PULLDOWN; break;
        case Kw::PULLUP: code = Kw::SUB_PULLUP; break;
        case Kw::GND_CLAMP: code = Kw::SUB_GND_CLAMP; break;
        case Kw::POWER_CLAMP: code = Kw::SUB_POWER_CLAMP; break;
        case Kw::RAMP: code = Kw::SUB_RAMP; break;
        case Kw::RISING_WAVEFORM: code = Kw::SUB_RISING_WAVEFORM; break;
        case Kw::FALLING_WAVEFORM: code = Kw::SUB_FALLING_WAVEFORM; break;
        default: break;
      }
    }
  }
  *code_out = code;
  return 1;
}

std::string PRS_KeywordName(Kw code) {
  for (const KeywordRow& row : kKeywordRows)
    if (row.since <= 21 && row.code == code) return std::string(row.name);
  RPT_Bug("Unknown enumerated keyword code.");
  return "Unknown enumerated keyword code";
}

const std::string& PRS_GetFileName() { return g_prs.file_name; }
uint32_t PRS_GetLineNumber() { return g_prs.line; }
std::time_t PRS_GetFileTime() { return g_prs.file_time; }
FileKind PRS_GetFileKind() { return g_prs.kind; }
Kw PRS_CurrentKeyword() { return g_prs.current; }
bool PRS_SubmodelContext() { return g_prs.submodel_context; }
void PRS_SetVersion(int version) { g_prs.version = version; }
int PRS_GetVersion() { return g_prs.version; }
void PRS_SetSwitchGroupOpen(bool open) { g_prs.switch_group_open = open; }
bool PRS_SwitchGroupOpen() { return g_prs.switch_group_open; }
void PRS_SetSilenceIllegalChars(bool silence) { g_prs_settings.silence_illegal = silence; }
void PRS_SetBannerEnabled(bool enabled) { g_prs_settings.banner_enabled = enabled; }
bool PRS_BannerEnabled() { return g_prs_settings.banner_enabled; }
void PRS_SetDispatchObserver(DispatchObserver observer) { g_prs_settings.observer = observer; }

}  // namespace tarn
