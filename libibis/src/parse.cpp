#include "libibis/src/parse.h"

#include <sys/stat.h>

#include <array>
#include <cstring>

#include "libibis/src/chars.h"
#include "libibis/src/cmn.h"
#include "libibis/src/cmpnt.h"
#include "libibis/src/ebdmdl.h"
#include "libibis/src/hdr.h"
#include "libibis/src/mdl.h"
#include "libibis/src/msel.h"
#include "libibis/src/pkgmdl.h"
#include "libibis/src/reading_state.h"
#include "libibis/src/rpt.h"
#include "libibis/src/submdl.h"

namespace tarn {

namespace {
using S = Section;
}  // namespace

const KeywordRow kKeywordRows[] = {
    {"IBIS_VER", Kw::IBIS_VER, S::Header, true},
    {"FILE_NAME", Kw::FILE_NAME, S::Header, true},
    {"FILE_REV", Kw::FILE_REV, S::Header, true},
    {"DATE", Kw::DATE, S::Header, true},
    {"SOURCE", Kw::SOURCE, S::Header, true},
    {"NOTES", Kw::NOTES, S::Header, true},
    {"DISCLAIMER", Kw::DISCLAIMER, S::Header, true},
    {"COPYRIGHT", Kw::COPYRIGHT, S::Header, true},
    {"COMPONENT", Kw::COMPONENT, S::Component, true},
    {"MANUFACTURER", Kw::MANUFACTURER, S::Component, true},
    {"PACKAGE", Kw::PACKAGE, S::Component, true},
    {"PIN", Kw::PIN, S::Component, true},
    {"PACKAGE_MODEL", Kw::PACKAGE_MODEL, S::Component, true},
    {"PIN_MAPPING", Kw::PIN_MAPPING, S::Component, true},
    {"DIFF_PIN", Kw::DIFF_PIN, S::Component, true},
    {"SERIES_SWITCH_GROUPS", Kw::SERIES_SWITCH_GROUPS, S::Component, false},
    {"SERIES_PIN_MAPPING", Kw::SERIES_PIN_MAPPING, S::Component, false},
    {"MODEL", Kw::MODEL, S::Model, true},
    {"TEMPERATURE_RANGE", Kw::TEMPERATURE_RANGE, S::Model, true},
    {"VOLTAGE_RANGE", Kw::VOLTAGE_RANGE, S::Model, true},
    {"PULLUP_REFERENCE", Kw::PULLUP_REFERENCE, S::Model, true},
    {"PULLDOWN_REFERENCE", Kw::PULLDOWN_REFERENCE, S::Model, true},
    {"POWER_CLAMP_REFERENCE", Kw::POWER_CLAMP_REFERENCE, S::Model, true},
    {"GND_CLAMP_REFERENCE", Kw::GND_CLAMP_REFERENCE, S::Model, true},
    {"PULLDOWN", Kw::PULLDOWN, S::Model, true},
    {"PULLUP", Kw::PULLUP, S::Model, true},
    {"GND_CLAMP", Kw::GND_CLAMP, S::Model, true},
    {"POWER_CLAMP", Kw::POWER_CLAMP, S::Model, true},
    {"RGND", Kw::RGND, S::Model, true},
    {"RPOWER", Kw::RPOWER, S::Model, true},
    {"RAC", Kw::RAC, S::Model, true},
    {"CAC", Kw::CAC, S::Model, true},
    {"RAMP", Kw::RAMP, S::Model, true},
    {"RISING_WAVEFORM", Kw::RISING_WAVEFORM, S::Model, true},
    {"FALLING_WAVEFORM", Kw::FALLING_WAVEFORM, S::Model, true},
    {"TTGND", Kw::TTGND, S::Model, false},
    {"TTPOWER", Kw::TTPOWER, S::Model, false},
    {"MODEL_SPEC", Kw::MODEL_SPEC, S::Model, false},
    {"DRIVER_SCHEDULE", Kw::DRIVER_SCHEDULE, S::Model, false},
    {"ON", Kw::ON, S::Model, false},
    {"OFF", Kw::OFF, S::Model, false},
    {"R_SERIES", Kw::R_SERIES, S::Model, false},
    {"L_SERIES", Kw::L_SERIES, S::Model, false},
    {"RL_SERIES", Kw::RL_SERIES, S::Model, false},
    {"C_SERIES", Kw::C_SERIES, S::Model, false},
    {"LC_SERIES", Kw::LC_SERIES, S::Model, false},
    {"RC_SERIES", Kw::RC_SERIES, S::Model, false},
    {"SERIES_CURRENT", Kw::SERIES_CURRENT, S::Model, false},
    {"SERIES_MOSFET", Kw::SERIES_MOSFET, S::Model, false},
    {"ADD_SUBMODEL", Kw::ADD_SUBMODEL, S::Model, false},
    {"DEFINE_PACKAGE_MODEL", Kw::DEFINE_PACKAGE_MODEL, S::PackageModel, true},
    {"MANUFACTURER", Kw::PKG_MANUFACTURER, S::PackageModel, true},
    {"OEM", Kw::OEM, S::PackageModel, true},
    {"DESCRIPTION", Kw::DESCRIPTION, S::PackageModel, true},
    {"NUMBER_OF_PINS", Kw::NUMBER_OF_PINS, S::PackageModel, true},
    {"PIN_NUMBERS", Kw::PIN_NUMBERS, S::PackageModel, true},
    {"MODEL_DATA", Kw::MODEL_DATA, S::PackageModel, true},
    {"RESISTANCE_MATRIX", Kw::RESISTANCE_MATRIX, S::PackageModel, true},
    {"INDUCTANCE_MATRIX", Kw::INDUCTANCE_MATRIX, S::PackageModel, true},
    {"CAPACITANCE_MATRIX", Kw::CAPACITANCE_MATRIX, S::PackageModel, true},
    {"BANDWIDTH", Kw::BANDWIDTH, S::PackageModel, true},
    {"ROW", Kw::ROW, S::PackageModel, true},
    {"END_MODEL_DATA", Kw::END_MODEL_DATA, S::PackageModel, true},
    {"END_PACKAGE_MODEL", Kw::END_PACKAGE_MODEL, S::PackageModel, true},
    {"NUMBER_OF_SECTIONS", Kw::NUMBER_OF_SECTIONS, S::PackageModel, false},
    {"BEGIN_BOARD_DESCRIPTION", Kw::BEGIN_BOARD_DESCRIPTION, S::Board, false},
    {"MANUFACTURER", Kw::EBD_MANUFACTURER, S::Board, false},
    {"NUMBER_OF_PINS", Kw::EBD_NUMBER_OF_PINS, S::Board, false},
    {"PIN_LIST", Kw::PIN_LIST, S::Board, false},
    {"PATH_DESCRIPTION", Kw::PATH_DESCRIPTION, S::Board, false},
    {"REFERENCE_DESIGNATOR_MAP", Kw::REFERENCE_DESIGNATOR_MAP, S::Board, false},
    {"END_BOARD_DESCRIPTION", Kw::END_BOARD_DESCRIPTION, S::Board, false},
    {"MODEL_SELECTOR", Kw::MODEL_SELECTOR, S::Selector, false},
    {"SUBMODEL", Kw::SUBMODEL, S::Submodel, false},
    {"SUBMODEL_SPEC", Kw::SUBMODEL_SPEC, S::Submodel, false},
    {"GND_PULSE_TABLE", Kw::GND_PULSE_TABLE, S::Submodel, false},
    {"POWER_PULSE_TABLE", Kw::POWER_PULSE_TABLE, S::Submodel, false},
    {"PULLDOWN", Kw::SUB_PULLDOWN, S::Submodel, false},
    {"PULLUP", Kw::SUB_PULLUP, S::Submodel, false},
    {"GND_CLAMP", Kw::SUB_GND_CLAMP, S::Submodel, false},
    {"POWER_CLAMP", Kw::SUB_POWER_CLAMP, S::Submodel, false},
    {"RAMP", Kw::SUB_RAMP, S::Submodel, false},
    {"RISING_WAVEFORM", Kw::SUB_RISING_WAVEFORM, S::Submodel, false},
    {"FALLING_WAVEFORM", Kw::SUB_FALLING_WAVEFORM, S::Submodel, false},
    {"COMMENT_CHAR", Kw::COMMENT_CHAR, S::Reader, true},
    {"END", Kw::END, S::Reader, true},
};
const size_t kKeywordRowCount = std::size(kKeywordRows);

namespace {

constexpr size_t kLineBuffer = 1024;
constexpr size_t kChunk = 1 << 16;
constexpr size_t kLineWarn = 80;
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

// Process-wide on purpose: the tab warning is given once for the life of the library.
bool g_tab_reported = false;
bool g_silence_illegal = false;
bool g_banner_enabled = true;
DispatchObserver g_observer = nullptr;

void observe(DispatchEvent event, Section section, LineKind kind, Kw code, std::string_view line) {
  if (g_observer) g_observer(event, section, kind, code, line);
}

std::array<Section, 87> make_section_index() {
  std::array<Section, 87> index{};
  index.fill(Section::None);
  for (size_t i = kKeywordRowCount; i-- > 0;) index[kw_int(kKeywordRows[i].code)] = kKeywordRows[i].section;
  return index;
}
const std::array<Section, 87> kSectionOf = make_section_index();

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

const DispatchRules& rules() { return g_prs.version >= 3 ? kRules32 : kRules21; }

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
  const DispatchRules& r = rules();
  switch (section) {
    case Section::Header: return true;
    case Section::Component:
    case Section::Model: return kind == FileKind::Ibs;
    case Section::PackageModel:
      return r.package_models_any_kind || kind == FileKind::Ibs || kind == FileKind::Pkg;
    case Section::Board: return r.extended_sections && kind == FileKind::Ebd;
    case Section::Selector:
    case Section::Submodel: return r.extended_sections && kind == FileKind::Ibs;
    default: return false;
  }
}

void keyword_done(Kw previous, Kw next) {
  const Section section = PRS_SectionOf(previous);
  if (!section_reads_here(section)) return;
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
  if (g_prs.banner_printed || !g_banner_enabled) return;
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
  if (kind == LineKind::Keyword) dispatch_keyword(line);
  else route_line(LineKind::Data, line);
}

bool is_free_text(Kw code) {
  return code == Kw::SOURCE || code == Kw::NOTES || code == Kw::DISCLAIMER ||
         code == Kw::COPYRIGHT;
}

// Removes the line feed, then the length and tab checks.
std::string_view check_line(char* buffer, size_t length) {
  if (length > 0 && buffer[length - 1] == '\n') buffer[--length] = '\0';
  if (length > kLineMax) RPT_ErrorAtLine("Exceeds %d chararacters.", static_cast<int>(kLineMax));
  else if (length > kLineWarn) RPT_WarningAtLine("Exceeds official IBIS maximum length of 80 chararacters.");
  if (!g_tab_reported && std::memchr(buffer, '\t', length) != nullptr) {
    RPT_WarningAtLine("IBIS files should not contain tab characters.");
    g_tab_reported = true;
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

// Cuts the comment and the trailing white space; the view stays NUL-terminated.
std::string_view strip_comment(char* buffer, std::string_view line) {
  const void* at = std::memchr(line.data(), g_prs.comment, line.size());
  size_t length = at ? static_cast<size_t>(static_cast<const char*>(at) - line.data()) : line.size();
  while (length > 0 && is_space(line[length - 1])) --length;
  buffer[line.data() - buffer + length] = '\0';
  return line.substr(0, length);
}

void process_line(char* buffer, size_t length) {
  ++g_prs.line;
  std::string_view line = check_line(buffer, length);
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
  line = strip_comment(buffer, line);
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
}

}  // namespace

Section PRS_SectionOf(Kw code) {
  const int i = kw_int(code);
  return i >= 0 && i < static_cast<int>(kSectionOf.size()) ? kSectionOf[i] : Section::None;
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
  if (!report_ || g_silence_illegal) return;
  const char* suffix = room ? "  Converting to space." : "";
  if (c == 0) {
    RPT_ErrorAtLine("Found illegal %s character (Hex code %x).%s", "NUL", c, suffix);
  } else if (c >= 128) {
    RPT_ErrorAtLine("Found illegal %s character (Hex code %x).%s", "non-7-bit ASCII", c, suffix);
  } else {
    RPT_WarningAtLine("Found illegal %s character (Hex code %x).%s", "control", c, suffix);
  }
}

long LineSource::read_line(char* buffer, size_t size) {
  const size_t limit = size > 0 ? size - 1 : 0;
  size_t n = 0;
  bool line_feed = false;
  while (true) {
    if (pos_ == end_ && !refill()) break;
    // The common case: a run of characters that are stored as they are.
    const unsigned char* p = data_ + pos_;
    const unsigned char* e = data_ + end_;
    const unsigned char* run = p;
    while (p < e && (kCharTable[*p] & kCharStored)) ++p;
    const size_t run_length = static_cast<size_t>(p - run);
    const size_t take = std::min(run_length, limit - n);
    std::memcpy(buffer + n, run, take);
    n += take;
    pos_ += run_length;
    if (p == e) continue;
    const unsigned char c = data_[pos_++];
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
  while ((length = source.read_line(buffer, sizeof buffer)) >= 0)
    process_line(buffer, static_cast<size_t>(length));
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
  const KeywordRow* found = nullptr;
  for (const KeywordRow& row : kKeywordRows) {
    if (table == KeywordTable::V21 && !row.in_v21) continue;
    if (CMN_KeywordEqual(row.name, name)) {
      found = &row;
      break;
    }
  }
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
  if (table == KeywordTable::V32) {
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
    if (row.in_v21 && row.code == code) return std::string(row.name);
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
void PRS_SetSilenceIllegalChars(bool silence) { g_silence_illegal = silence; }
void PRS_SetBannerEnabled(bool enabled) { g_banner_enabled = enabled; }
bool PRS_BannerEnabled() { return g_banner_enabled; }
void PRS_SetDispatchObserver(DispatchObserver observer) { g_observer = observer; }

}  // namespace tarn
