#include "libibis/src/pkgmdl.h"

#include <algorithm>
#include <filesystem>
#include <memory>
#include <new>
#include <set>
#include <unordered_map>

#include "libibis/src/cmn.h"
#include "libibis/src/ibis.h"
#include "libibis/src/parse.h"
#include "libibis/src/reading_state.h"
#include "libibis/src/rpt.h"

namespace tarn {
namespace {

constexpr size_t kTextLimit = 40;
constexpr size_t kPinLimit = 5;

// What is known while one block is read; cleared when it ends.
struct BlockState {
  Kw last = Kw::NOT_KEY;
  Kw before_last = Kw::NOT_KEY;
  bool pin_numbers_seen = false;
  bool model_data_seen = false;
  bool end_model_data_seen = false;
  bool end_package_model_seen = false;
  bool sections_given = false;
  ChainBuilder chain;    // the sections of the current pin
  SectionChain scratch;  // sections of a pin that could not be stored, read for their findings
  std::unordered_map<std::string, uint32_t> pin_repeats;  // how often each pin name was stored
};

struct PackageModelState {
  PackageModel* current = nullptr;
  BlockState block;
  // .pkg files the search has read in this reading. Shared, not copied, by the state a nested
  // reading saves: a copy per package file read made a folder of them quadratic.
  std::shared_ptr<std::set<std::string>> searched = std::make_shared<std::set<std::string>>();
};

PackageModelState g_pkgmdl;
constexpr SectionWords kWords{BugForm::Located, "PKGMDL_Init unable to get IBIS?", BugForm::Located,
                              "Unable to create new PKGMDL.", kIllegalLineType,
                              nullptr, "Orphan Package Model keyword.", kOrphanDataLine};
SavedWithReading<PackageModelState> g_pkgmdl_saved(&g_pkgmdl);

// [Number Of Sections] came with IBIS 3.2; under the 2.1 rules pin lines are plain names.
struct PackageRules {
  bool sections;
};

PackageRules package_rules() { return PackageRules{PRS_GetVersion() >= 3}; }

struct TextField {
  Kw code;
  std::string PackageModel::*field;
  const char* label;
};

constexpr TextField kTextFields[] = {
    {Kw::DEFINE_PACKAGE_MODEL, &PackageModel::name, "Define Package Model"},
    {Kw::PKG_MANUFACTURER, &PackageModel::manufacturer, "Manufacturer"},
    {Kw::OEM, &PackageModel::oem, "OEM"},
    {Kw::DESCRIPTION, &PackageModel::description, "Description"},
};

// Keywords that take no value and may appear once.
struct Marker {
  Kw code;
  bool BlockState::*seen;
  const char* label;
};

constexpr Marker kMarkers[] = {
    {Kw::PIN_NUMBERS, &BlockState::pin_numbers_seen, "Pin_Numbers"},
    {Kw::MODEL_DATA, &BlockState::model_data_seen, "Model_Data"},
    {Kw::END_MODEL_DATA, &BlockState::end_model_data_seen, "End_Model_Data"},
    {Kw::END_PACKAGE_MODEL, &BlockState::end_package_model_seen, "End_Package_Model"},
};

struct MatrixKeyword {
  Kw code;
  MatrixKind kind;
  std::unique_ptr<Matrix> PackageModel::*field;
  const char* label;    // of the final check
  const char* keyword;  // as named when sections forbid it
  bool required;        // without sections
};

constexpr MatrixKeyword kMatrices[] = {
    {Kw::RESISTANCE_MATRIX, MatrixKind::Resistance, &PackageModel::resistance, "Resistance",
     "Resistance_Matrix", false},
    {Kw::INDUCTANCE_MATRIX, MatrixKind::Inductance, &PackageModel::inductance, "Inductance",
     "Inductance_Matrix", true},
    {Kw::CAPACITANCE_MATRIX, MatrixKind::Capacitance, &PackageModel::capacitance, "Capacitance",
     "Capacitance_Matrix", true},
};

// Words that begin the parts of a section pin line; a pin of that name is likely a slip.
constexpr std::string_view kSectionWords[] = {"Len", "Fork", "Endfork", "C", "R", "L"};

template <class Row, size_t N>
const Row* find_row(const Row (&rows)[N], Kw code) {
  for (const Row& row : rows)
    if (row.code == code) return &row;
  return nullptr;
}

void text_field(PackageModel& p, Kw code, std::string_view text) {
  const TextField* f = find_row(kTextFields, code);
  TARN_ASSERT(f != nullptr);
  CMN_CopyField(&(p.*f->field), text, kTextLimit, f->label);
}

void marker(Kw code, std::string_view argument) {
  const Marker* m = find_row(kMarkers, code);
  TARN_ASSERT(m != nullptr);
  CMN_MarkerKeyword(&(g_pkgmdl.block.*m->seen), m->label, argument);
}

void number_of_pins(PackageModel& p, std::string_view value) {
  uint32_t count = 0;
  if (CMN_ReadCount(value, "Number_of_Pins", p.number_of_pins != 0, &count))
    p.number_of_pins = count;
}

void number_of_sections(PackageModel& p, std::string_view value) {
  BlockState& b = g_pkgmdl.block;
  uint32_t count = 0;
  if (!CMN_ReadCount(value, "Number_of_Sections", b.sections_given, &count)) return;
  p.number_of_sections = count;
  b.sections_given = true;
  if (!p.pin_numbers.empty())
    RPT_ErrorAtLine("Number of Sections should be specified before Pin Numbers");
}

void matrix_keyword(PackageModel& p, Kw code, std::string_view type) {
  const MatrixKeyword* m = find_row(kMatrices, code);
  TARN_ASSERT(m != nullptr);
  MTX_Keyword(&(p.*m->field), m->kind, p.number_of_pins, type);
}

void keyword_line(PackageModel& p, Kw code, std::string_view line) {
  BlockState& b = g_pkgmdl.block;
  b.before_last = b.last;
  b.last = code;
  const std::string_view argument = CMN_KeywordArgument(line);
  switch (code) {
    case Kw::DEFINE_PACKAGE_MODEL:
    case Kw::PKG_MANUFACTURER:
    case Kw::OEM:
    case Kw::DESCRIPTION: text_field(p, code, argument); break;
    case Kw::NUMBER_OF_PINS: number_of_pins(p, argument); break;
    case Kw::NUMBER_OF_SECTIONS: number_of_sections(p, argument); break;
    case Kw::PIN_NUMBERS:
    case Kw::MODEL_DATA:
    case Kw::END_PACKAGE_MODEL: marker(code, argument); break;
    case Kw::END_MODEL_DATA:
      marker(code, argument);
      MTX_Close();
      break;
    case Kw::RESISTANCE_MATRIX:
    case Kw::INDUCTANCE_MATRIX:
    case Kw::CAPACITANCE_MATRIX: matrix_keyword(p, code, argument); break;
    case Kw::BANDWIDTH: MTX_Bandwidth(b.before_last, argument); break;
    case Kw::ROW: MTX_Row(argument, p.pin_positions); break;
    default: CMN_ReportIllegalKeyword(); break;
  }
}

// Stores a pin of [Pin Numbers]; false (reported) when it cannot be. The list grows with the
// pins the file holds, whatever count it declares. Returns how many pins of that name came
// before it through `earlier`.
bool store_pin(PackageModel& p, const std::string& name, bool with_sections, uint32_t* earlier) {
  const size_t stored = p.pin_numbers.size();
  if (!CMN_PinSlotFree(p.number_of_pins, stored)) return false;
  // The failure of the first pin names the list it makes; null names the pin itself.
  const char* failure = stored == 0 ? "Unable to allocate Pin_Numbers array." : nullptr;
  try {
    p.pin_numbers.push_back(name);
    if (with_sections) {
      if (stored == 0) failure = "Unable to allocate Pin_Sections array.";
      // Pins stored before [Number Of Sections] get empty chains.
      p.pin_sections.resize(stored + 1);
    }
    failure = nullptr;
    p.pin_positions.try_emplace(name, static_cast<uint32_t>(stored + 1));
    *earlier = g_pkgmdl.block.pin_repeats[name]++;
  } catch (const std::bad_alloc&) {
    p.pin_numbers.resize(stored);
    p.pin_sections.resize(std::min(p.pin_sections.size(), stored));
    if (failure) RPT_ErrorAtLine("%s", failure);
    else CMN_ReportPinNotAllocated();
    return false;
  }
  return true;
}

std::string pin_name(std::string_view text) {
  if (text.size() > kPinLimit) {
    RPT_ErrorAtLine("Pin Numbers name string too long. will be truncated.");
    text = text.substr(0, kPinLimit);
  }
  return std::string(text);
}

// Indentation is not part of a pin name.
std::string_view skip_indent(std::string_view line) { return line.substr(CMN_SkipSpace(line, 0)); }

void plain_pin_line(PackageModel& p, std::string_view line) {
  const std::string name = pin_name(skip_indent(line));
  uint32_t earlier = 0;
  if (store_pin(p, name, false, &earlier) && earlier > 0) CMN_ReportDuplicatePin(name);
}

void read_sections(std::string_view text) {
  PinSection section;
  while (SECT_ReadSection(text, &section, &text)) g_pkgmdl.block.chain.add(section);
}

// A pin line with sections begins with a new pin name; its sections follow on the line.
void new_pin(PackageModel& p, std::string_view text) {
  BlockState& b = g_pkgmdl.block;
  const size_t end = CMN_SkipWord(text, 0);
  const std::string word(text.substr(0, end));
  if (b.chain.open_forks() > 0) {
    RPT_ErrorAtLine(
        "A new Pin %s has been defined before terminating a previous Fork with the "
        "corresponding Endfork",
        word.c_str());
    b.chain.close_forks();
  }
  b.chain.stop();
  const std::string name = pin_name(word);
  CMN_WarnPinNameSyntax(word, kSectionWords);
  uint32_t earlier = 0;
  if (store_pin(p, name, true, &earlier)) {
    // Once per repeated pin, not once per earlier equal one: a file that repeats a name many
    // times must not get a quadratic report.
    if (earlier > 0) CMN_ReportDuplicatePin(name);
    b.chain.start(&p.pin_sections.back());
  } else {
    b.scratch.clear();
    b.chain.start(&b.scratch);
  }
  read_sections(text.substr(end));
}

bool begins_with_len(std::string_view text) {
  if (text.substr(0, 3) != "Len") return false;
  const size_t pos = CMN_SkipSpace(text, 3);
  return pos < text.size() && text[pos] == '=';
}

void section_pin_line(PackageModel& p, std::string_view line) {
  BlockState& b = g_pkgmdl.block;
  const std::string_view text = skip_indent(line);
  if (text == "Fork") {
    if (b.chain.started() && b.chain.open_forks() > 0) RPT_ErrorAtLine("Cannot Nest Forks");
    else (void)b.chain.open_fork();
  } else if (text == "Endfork") {
    (void)b.chain.close_fork();
  } else if (begins_with_len(text)) {
    if (b.chain.may_continue()) read_sections(text);
  } else {
    new_pin(p, text);
  }
}

void data_line(PackageModel& p, std::string_view line) {
  const BlockState& b = g_pkgmdl.block;
  switch (b.last) {
    case Kw::PIN_NUMBERS:
      if (package_rules().sections && b.sections_given) section_pin_line(p, line);
      else plain_pin_line(p, line);
      break;
    case Kw::ROW: MTX_RowData(line, p.pin_positions); break;
    default: RPT_ErrorAtLine(kOrphanDataLineOfKeyword); break;
  }
}

// ------------------------------------------------------------------------------------------
// The checks when a block ends.

void check_texts(const PackageModel& p) {
  const char* name = p.name.c_str();
  if (p.name.empty()) RPT_Error("Package Model keyword 'Define_Package_Model' not found or blank.");
  if (p.manufacturer.empty())
    RPT_Error("Keyword '%s' not found or blank for Package Model '%s'.", "Manufacturer", name);
  if (p.oem.empty()) RPT_Error("OEM keyword not found for Package Model '%s'.", name);
  if (p.description.empty())
    RPT_Error("Description keyword not found for Package Model '%s'.", name);
  if (p.number_of_pins == 0)
    RPT_Error("Number_of_Pins keyword not found or value bad for Package Model '%s'.", name);
}

// One finding for the pin list, the first that applies.
void check_pin_numbers(const PackageModel& p) {
  const auto found = static_cast<uint32_t>(p.pin_numbers.size());
  if (!g_pkgmdl.block.pin_numbers_seen) RPT_Error("Required keyword Pin_Numbers not found.");
  else CMN_CheckPinNamesFound(p.number_of_pins, found);
}

// A pin's sections are all those of its chain, its fork branches included.
void check_sections(const PackageModel& p) {
  BlockState& b = g_pkgmdl.block;
  if (b.chain.open_forks() > 0) {
    RPT_Error("Some Fork sub parameters were not terminated with Endfork");
    b.chain.close_forks();
  }
  for (size_t i = 0; i < p.pin_sections.size() && i < p.pin_numbers.size(); ++i) {
    const size_t count = SECT_CountSections(p.pin_sections[i]);
    if (count > p.number_of_sections)
      RPT_Error(
          "Pin '%s' has %d sections. This is greater than the Number of Sections %d specified",
          p.pin_numbers[i].c_str(), static_cast<int>(count),
          static_cast<int>(p.number_of_sections));
  }
}

void check_model_data(const PackageModel& p, bool sections) {
  const BlockState& b = g_pkgmdl.block;
  const char* name = p.name.c_str();
  const std::pair<bool, const char*> keywords[] = {{b.model_data_seen, "Model_Data"},
                                                   {b.end_model_data_seen, "End_Model_Data"}};
  for (const auto& [seen, keyword] : keywords) {
    if (!sections && !seen)
      RPT_Error("Required %s keyword not found for package %s.", keyword, name);
    if (sections && seen)
      RPT_Error("%s cannot be specified when Number_Of_Sections is specified for package %s.",
                keyword, name);
  }
}

void check_matrices(const PackageModel& p, bool sections) {
  const char* name = p.name.c_str();
  for (const MatrixKeyword& m : kMatrices) {
    const Matrix* matrix = (p.*m.field).get();
    if (sections && matrix)
      RPT_Error("%s cannot be specified when Number_Of_Sections is specified for Package Model %s.",
                m.keyword, name);
    else if (!sections && matrix) MTX_FinalCheck(*matrix, m.label);
    else if (!sections && m.required)
      RPT_Error("%s matrix not found for Package Model '%s'.", m.label, name);
  }
}

void end_of_block(const PackageModel& p) {
  const bool sections = g_pkgmdl.block.sections_given;
  check_texts(p);
  check_pin_numbers(p);
  if (sections) check_sections(p);
  check_model_data(p, sections);
  check_matrices(p, sections);
  if (!g_pkgmdl.block.end_package_model_seen)
    RPT_Error("Required End_Package_Model keyword not found.");
}

// ------------------------------------------------------------------------------------------
// The search of .pkg files.

namespace fs = std::filesystem;

constexpr std::string_view kDefineKeyword = "[DEFINE_PACKAGE_MODEL]";
constexpr size_t kScanLine = 1025;

// Plain files ending in .pkg in any case; hidden files (a leading period) are left out.
bool is_package_file(const fs::directory_entry& entry) {
  std::error_code ec;
  if (!entry.is_regular_file(ec)) return false;
  const std::string name = entry.path().filename().string();
  return name.size() > 4 && name[0] != '.' &&
         CMN_EqualNoCase(std::string_view(name).substr(name.size() - 4), ".pkg");
}

// The names, sorted so that the files are read in the same order on every system.
std::vector<std::string> package_files(const std::string& directory) {
  std::vector<std::string> names;
  std::error_code ec;
  fs::directory_iterator it(directory.empty() ? fs::path(".") : fs::path(directory), ec);
  for (; !ec && it != fs::directory_iterator(); it.increment(ec))
    if (is_package_file(*it)) names.push_back(it->path().filename().string());
  std::sort(names.begin(), names.end());
  return names;
}

// Whether a line of the file opens a package model whose name begins with `name` (with case,
// as names are compared everywhere).
bool defines_package(const std::string& path, std::string_view name) {
  std::FILE* file = std::fopen(path.c_str(), "rb");
  if (!file) return false;
  bool found = false;
  {
    LineSource source(file, false);
    char buffer[kScanLine + 1];
    long length = 0;
    while (!found && (length = source.read_line(buffer, sizeof buffer)) >= 0) {
      std::string_view line = skip_indent(std::string_view(buffer, static_cast<size_t>(length)));
      if (line.size() < kDefineKeyword.size() ||
          !CMN_KeywordEqual(kDefineKeyword, line.substr(0, kDefineKeyword.size())))
        continue;
      line = line.substr(CMN_SkipSpace(line, kDefineKeyword.size()));
      found = line.substr(0, name.size()) == name;
    }
  }
  std::fclose(file);
  return found;
}

void read_package_file(const std::string& path) {
  (void)IBIS_ReadNested(path.c_str(), FileKind::Pkg, nullptr);
}

}  // namespace

void PKGMDL_Reset() {
  g_pkgmdl = PackageModelState{};
  MTX_Reset();
}

void PKGMDL_Init(FileKind) {
  g_pkgmdl.current = nullptr;
  g_pkgmdl.block = BlockState{};
  MTX_Reset();
  IbisDocument* doc = IBIS_Current();
  g_pkgmdl.current = CMN_OpenRecord(doc ? &doc->package_models : nullptr, kWords);
}

void PKGMDL_Line(LineKind kind, Kw code, std::string_view line) {
  PackageModel* p = g_pkgmdl.current;
  if (!CMN_SectionTakesLine(kind, true, p != nullptr, kWords)) return;
  if (kind == LineKind::Keyword) keyword_line(*p, code, line);
  else data_line(*p, line);
}

void PKGMDL_KeywordDone(Kw next) {
  if (!g_pkgmdl.current) return;
  if (kw_in(next, Kw::PKG_MANUFACTURER, Kw::ROW) || next == Kw::NUMBER_OF_SECTIONS ||
      PRS_NewerIn(next, Section::PackageModel))
    return;
  MTX_Close();
  if (next == Kw::END_MODEL_DATA || next == Kw::END_PACKAGE_MODEL) return;
  end_of_block(*g_pkgmdl.current);
  g_pkgmdl.current = nullptr;
  g_pkgmdl.block = BlockState{};
}

// Each repeated name is one finding, walking newest first. Once per repeat rather than once per
// pair: a file that repeats a name many times must not get a quadratic report.
void PKGMDL_EndOfFile() {
  const IbisDocument* doc = IBIS_Current();
  TARN_ASSERT(doc != nullptr);
  std::unordered_map<std::string_view, size_t> older;  // models of each name not yet walked
  for (const auto& model : doc->package_models) ++older[model->name];
  for (auto it = doc->package_models.rbegin(); it != doc->package_models.rend(); ++it) {
    const std::string& name = (*it)->name;
    if (--older[name] > 0)
      RPT_Error("Define_Package_Model '%s' is duplicated within the .ibs file.", name.c_str());
  }
}

int PKGMDL_Find(std::string_view name, const PackageModel** out) {
  const IbisDocument* doc = IBIS_Current();
  TARN_ASSERT(doc != nullptr);
  for (auto it = doc->package_models.rbegin(); it != doc->package_models.rend(); ++it) {
    if ((*it)->name != name) continue;
    if (out) *out = it->get();
    return 1;
  }
  return 0;
}

int PKGMDL_SearchPackageFiles(std::string_view name) {
  std::string directory;
  CMN_SourceDirectory(&directory);
  int matched = 0;
  for (const std::string& file : package_files(directory)) {
    const std::string path = directory + file;
    // A file is read once per reading: a second time would only duplicate its models.
    if (g_pkgmdl.searched->count(path) != 0 || !defines_package(path, name)) continue;
    matched = 1;
    g_pkgmdl.searched->insert(path);
    read_package_file(path);
  }
  return matched;
}

}  // namespace tarn
