#include "libibis/src/ebdmdl.h"

#include <algorithm>
#include <filesystem>
#include <memory>
#include <new>
#include <optional>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "libibis/src/cmn.h"
#include "libibis/src/ibis.h"
#include "libibis/src/newer.h"
#include "libibis/src/parse.h"
#include "libibis/src/pin.h"
#include "libibis/src/reading_state.h"
#include "libibis/src/rpt.h"
#include "libibis/src/srcver.h"

namespace tarn {
namespace {

constexpr size_t kTextLimit = 40;
constexpr size_t kSignalLimit = 20;
// Path names have no limit of their own; they get the one of the description's other names.
constexpr size_t kPathNameLimit = 40;
constexpr size_t kDesignatorLimit = 10;
constexpr size_t kComponentLimit = 40;
// Real boards nest a fork or two; the bound keeps the walks and the release of a hostile
// path's branches off a deep stack.
constexpr int kForkDepthLimit = 16;
// Files read for parts, one inside another; each file is read once per reading, so this
// only bounds the stack of a long chain of distinct files.
constexpr size_t kNestingLimit = 16;

// What is known while one description is read; cleared when it ends.
struct DescriptionState {
  Kw last = Kw::NOT_KEY;
  bool pin_list_seen = false;
  bool map_seen = false;
  bool end_seen = false;
  ChainBuilder chain;     // the elements of the last path
  int ignored_forks = 0;  // forks past the depth limit, each waiting for its Endfork
  std::unordered_set<std::string> pin_names;
  std::unordered_set<std::string> path_names;
  std::unordered_set<std::string> designators;
  ItemList items;
};

struct BoardState {
  BoardDescription* current = nullptr;
  DescriptionState description;
};

// The files read for the parts of boards. Only the board module changes them, around each
// reading of a part's file; a top-level reading starts and ends them.
struct PartFiles {
  struct Link {
    std::string key;    // the file, canonical, for comparing
    std::string shown;  // its name as the report shows it
  };
  struct Located {
    std::string path;  // as the reader opens it
    std::string key;
  };
  std::vector<Link> chain;  // the files being read, outermost first
  // The files read in this reading, kept for later references (null: it could not be read).
  std::unordered_map<std::string, std::unique_ptr<IbisDocument>> read;
  // Where each name of a map was found, by the folder it was looked up in.
  std::unordered_map<std::string, std::optional<Located>> located;
  // The pin names of each board looked up as a part.
  std::unordered_map<const BoardDescription*, std::unordered_set<std::string_view>> board_pins;
  // The parts of each file looked in, by name, so that a board of thousands of parts from one
  // library file costs no scan of its components per part.
  struct Parts {
    std::unordered_map<std::string_view, const Component*> components;
    std::unordered_map<std::string_view, const BoardDescription*> boards;
  };
  std::unordered_map<const IbisDocument*, Parts> parts;
};

// A nested reading resets and restores `board`, the state of the reading; `parts` lives apart
// from it, as it spans the readings nested in one top-level reading.
struct BoardModule {
  BoardState board;
  PartFiles parts;
};

BoardModule g_ebd;
constexpr SectionWords kWords{BugForm::Located, "EBDMDL_Init unable to get IBIS?", BugForm::Located,
                              "Unable to create new EBDMDL.", kIllegalLineType,
                              nullptr, "Orphan Electrical Board Description keyword.",
                              kOrphanDataLine};
SavedWithReading<BoardState> g_ebd_saved(&g_ebd.board);


// Words that begin the items of a path line; a pin of that name is likely a slip.
constexpr std::string_view kPathWords[] = {"Pin", "Node", "Len", "Fork", "Endfork", "NC"};

// A text cut to its limit; the caller reports the cut in its own words.
std::string cut(std::string_view text, size_t limit) { return std::string(text.substr(0, limit)); }

using Report = void (*)(const char* fmt, ...);

// A path's fork left open is reported where it is found, then closed.
void close_open_forks(Report report) {
  DescriptionState& d = g_ebd.board.description;
  d.ignored_forks = 0;
  if (d.chain.open_forks() == 0) return;
  report("Detected previous unterminated Forks");
  d.chain.close_forks();
}

// ------------------------------------------------------------------------------------------
// Keyword lines.

// A second value is refused in the description's own words; the rest is the common rule.
void number_of_pins(BoardDescription& b, std::string_view value) {
  if (!value.empty() && b.number_of_pins != 0) {
    RPT_ErrorAtLine("Duplicate [Number of Pins] keyword");
    return;
  }
  uint32_t count = 0;
  if (CMN_ReadCount(value, "Number_of_Pins", false, &count)) b.number_of_pins = count;
}

void pin_list(std::string_view headers) {
  DescriptionState& d = g_ebd.board.description;
  if (d.pin_list_seen) RPT_ErrorAtLine("Duplicate [Pin List] keyword found.");
  d.pin_list_seen = true;
  if (!CMN_SplitLine(headers, 1, 0, &d.items)) return;
  if (d.items.found == 0) RPT_ErrorAtLine("Unable to find 'signal_name' after [Pin List] keyword.");
  else if (d.items[0] != "signal_name") RPT_ErrorAtLine("'signal_name' column header not found.");
  else if (d.items.found > 1) RPT_ErrorAtLine("Unrecognized data after 'signal_name'");
}

void path_description(BoardDescription& b, std::string_view argument) {
  DescriptionState& d = g_ebd.board.description;
  close_open_forks(RPT_ErrorAtLine);
  d.chain.stop();
  try {
    b.paths.emplace_back();
  } catch (const std::bad_alloc&) {
    RPT_ErrorAtLine("Unable to create new EBDPATH.");
    return;
  }
  BoardPath& path = b.paths.back();
  CMN_CopyField(&path.name, argument, kPathNameLimit, "Path Description");
  if (!d.path_names.insert(path.name).second)
    RPT_ErrorAtLine("Duplicate Path_Description '%s'", path.name.c_str());
  d.chain.start(&path.elements, true);
}

void keyword_line(BoardDescription& b, Kw code, std::string_view line) {
  DescriptionState& d = g_ebd.board.description;
  d.last = code;
  const std::string_view argument = CMN_KeywordArgument(line);
  switch (code) {
    case Kw::BEGIN_BOARD_DESCRIPTION:
      CMN_CopyField(&b.name, argument, kTextLimit, "Define Ebd Model");
      break;
    case Kw::EBD_MANUFACTURER:
      CMN_CopyField(&b.manufacturer, argument, kTextLimit, "Manufacturer");
      break;
    case Kw::EBD_NUMBER_OF_PINS: number_of_pins(b, argument); break;
    case Kw::PIN_LIST: pin_list(argument); break;
    case Kw::PATH_DESCRIPTION: path_description(b, argument); break;
    case Kw::REFERENCE_DESIGNATOR_MAP:
      CMN_MarkerKeyword(&d.map_seen, "Reference_Designator_Map", argument);
      break;
    case Kw::END_BOARD_DESCRIPTION:
      CMN_MarkerKeyword(&d.end_seen, "End_Board_Description", argument);
      break;
    default: CMN_ReportIllegalKeyword(); break;
  }
}

// ------------------------------------------------------------------------------------------
// [Pin List] lines.

// Stores a pin of the list; false (reported) when it cannot be. The list grows with the pins
// the file holds, whatever count it declares; a repeated pin is reported and kept.
bool store_pin(BoardDescription& b, std::string name) {
  const size_t stored = b.pins.size();
  if (!CMN_PinSlotFree(b.number_of_pins, stored)) return false;
  try {
    b.pins.push_back(BoardPin{name, {}});
  } catch (const std::bad_alloc&) {
    if (stored == 0) RPT_ErrorAtLine("Unable to allocate Pin_Name array.");
    else CMN_ReportPinNotAllocated();
    return false;
  }
  if (!g_ebd.board.description.pin_names.insert(std::move(name)).second)
    CMN_ReportDuplicatePin(b.pins.back().name);
  return true;
}

void pin_line(BoardDescription& b, std::string_view line) {
  ItemList& items = g_ebd.board.description.items;
  if (!CMN_SplitLine(line, 2, 0, &items)) return;
  if (items.found == 0) {
    RPT_ErrorAtLine("No Pin_name found .");
    return;
  }
  if (items[0].size() > kBoardPinLimit)
    RPT_ErrorAtLine("Pin name string too long. will be truncated.");
  if (!store_pin(b, cut(items[0], kBoardPinLimit))) return;
  const std::string_view signal = items[1];
  if (signal.empty()) RPT_ErrorAtLine("No signal_name found");
  if (signal.size() > kSignalLimit) RPT_ErrorAtLine("signal_name too long. will be truncated.");
  b.pins.back().signal = cut(signal, kSignalLimit);
  if (items.found > 2) RPT_ErrorAtLine("Unexpected data after signal_name.");
}

// ------------------------------------------------------------------------------------------
// [Path Description] lines, token by token.

// The next blank-delimited word of `rest`, which moves past it.
std::string_view next_word(std::string_view* rest) {
  const size_t start = CMN_SkipSpace(*rest, 0);
  const size_t end = CMN_SkipWord(*rest, start);
  const std::string_view word = rest->substr(start, end - start);
  *rest = rest->substr(end);
  return word;
}

// Pins and nodes: the element's texts are made, then it joins the chain; each step names its
// own failure.
void add_point(ChainElementKind kind, std::string_view designator, std::string_view pin) {
  ChainElement element;
  element.kind = kind;
  try {
    element.designator.assign(designator);
    element.pin.assign(pin);
  } catch (const std::bad_alloc&) {
    if (kind == ChainElementKind::Node) RPT_ErrorAtLine("Cannot allocate path element node");
    else RPT_ErrorAtLine("Cannot allocate path element pin");
    return;
  }
  try {
    g_ebd.board.description.chain.add(std::move(element));
  } catch (const std::bad_alloc&) {
    RPT_ErrorAtLine("Cannot allocate path element");
  }
}

// Sections, forks and NC.
template <class Add>
void add_element(Add add) {
  try {
    add(g_ebd.board.description.chain);
  } catch (const std::bad_alloc&) {
    RPT_ErrorAtLine("Could not allocate path element");
  }
}

void pin_token(std::string_view* rest) {
  const std::string_view name = next_word(rest);
  if (name.empty()) {
    RPT_ErrorAtLine("No Pin Name found after Pin sub param");
    return;
  }
  if (name.size() > kBoardPinLimit) RPT_ErrorAtLine("Pin_name string too long. will be truncated.");
  CMN_WarnPinNameSyntax(name, kPathWords);
  add_point(ChainElementKind::Pin, {}, name.substr(0, kBoardPinLimit));
}

void node_token(const BoardPath& path, std::string_view* rest) {
  const std::string_view node = next_word(rest);
  if (node.empty()) {
    RPT_ErrorAtLine("No ref_designatior.pin found after Node sub param");
    return;
  }
  if (path.elements.empty()) {
    RPT_ErrorAtLine("Detected an orphan 'Node' sub param");
    return;
  }
  const size_t dot = node.find('.');
  if (dot == std::string_view::npos) {
    RPT_ErrorAtLine("Invalid Node specified. Missing '.'");
    return;
  }
  const std::string_view designator = node.substr(0, dot);
  const std::string_view pin = node.substr(dot + 1);
  if (designator.size() > kDesignatorLimit)
    RPT_ErrorAtLine("Node Reference designator string too long. will be truncated.");
  if (pin.size() > kBoardPinLimit)
    RPT_ErrorAtLine("Node Pin name string too long. will be truncated.");
  const std::string text(node);
  if (node.find('=') != std::string_view::npos)
    RPT_WarningAtLine("Found a Node '%s' containing '='. Possible syntax error", text.c_str());
  if (node.find('/') != std::string_view::npos)
    RPT_WarningAtLine("Found a Node '%s' containing '/'. Possible syntax error", text.c_str());
  add_point(ChainElementKind::Node, designator.substr(0, kDesignatorLimit),
            pin.substr(0, kBoardPinLimit));
}

// A section begins at `text`; false when a finding ended the line.
bool section_token(std::string_view text, std::string_view* rest) {
  if (!g_ebd.board.description.chain.may_continue()) return false;
  PinSection section;
  if (!SECT_ReadSection(text, &section, rest)) return false;
  add_element([&](ChainBuilder& chain) { chain.add(section); });
  return true;
}

void fork_token() {
  DescriptionState& d = g_ebd.board.description;
  if (d.chain.open_forks() >= static_cast<size_t>(kForkDepthLimit)) {
    RPT_ErrorAtLine("Forks nested deeper than %d levels; this Fork and its Endfork are ignored",
                    kForkDepthLimit);
    ++d.ignored_forks;
    return;
  }
  add_element([](ChainBuilder& chain) { (void)chain.open_fork(); });
}

void endfork_token() {
  DescriptionState& d = g_ebd.board.description;
  if (d.ignored_forks > 0) --d.ignored_forks;
  else (void)d.chain.close_fork();
}

void nc_token(const BoardPath& path) {
  if (path.elements.empty()) {
    RPT_ErrorAtLine("Detected the start of an orphan 'NC'");
    return;
  }
  add_element([](ChainBuilder& chain) {
    ChainElement nc;
    nc.kind = ChainElementKind::NC;
    chain.add(std::move(nc));
  });
}

// A stray "=" is refused in the words of the R/L/C item reader.
void refuse_equals(std::string_view token) {
  double value = 0.0;
  std::string_view after;
  (void)CMN_ParseRlcToken(token, &value, &after);
}

bool begins_section(std::string_view token) {
  return token == "Len" || token.substr(0, 4) == "Len=";
}

// One token at the start of `text`; `rest` moves past what it took. false when the rest of
// the line is dropped.
bool path_token(const BoardPath& path, std::string_view text, std::string_view* rest) {
  const std::string_view token = next_word(rest);
  if (token == "Pin") pin_token(rest);
  else if (token == "Node") node_token(path, rest);
  else if (begins_section(token)) return section_token(text, rest);
  else if (token == "Fork") fork_token();
  else if (token == "Endfork") endfork_token();
  else if (token == "NC") nc_token(path);
  else if (token == "=") refuse_equals(token);
  else if (token == "/") RPT_ErrorAtLine("Unexpected '/' found");
  else RPT_ErrorAtLine("Unknown token found: '%s'", std::string(token).c_str());
  return true;
}

void path_line(BoardDescription& b, std::string_view line) {
  // Without a path (it could not be made, which was reported) the line has nowhere to go.
  if (b.paths.empty() || !g_ebd.board.description.chain.started()) return;
  const BoardPath& path = b.paths.back();
  std::string_view rest = line.substr(CMN_SkipSpace(line, 0));
  while (!rest.empty()) {
    const std::string_view text = rest;
    if (!path_token(path, text, &rest)) return;
    rest = rest.substr(CMN_SkipSpace(rest, 0));
  }
}

// ------------------------------------------------------------------------------------------
// [Reference Designator Map] lines.

// The kind of file a map entry names, after the rules its name must follow.
FileKind map_file_kind(const std::string& name) {
  const size_t dot = name.rfind('.');
  FileKind kind = FileKind::Unknown;
  if (dot == std::string::npos) {
    RPT_ErrorAtLine("Invalid file name '%s'. It has no extension", name.c_str());
  } else {
    kind = SRC_KindOf(name);
    if (kind != FileKind::Ibs && kind != FileKind::Ebd) {
      kind = FileKind::Unknown;
      RPT_ErrorAtLine("Unknown file extension'%s'. Should be '.ibs' or '.ebd'",
                      name.substr(dot).c_str());
    }
  }
  (void)CMN_CheckFileNameCharacters(name, NEWER_Rules().free_file_names);
  return kind;
}

// An entry missing its file or component still defines its designator; a repeated designator
// is reported and the first entry kept.
void map_line(BoardDescription& b, std::string_view line) {
  DescriptionState& d = g_ebd.board.description;
  const ItemList& items = d.items;
  if (!CMN_SplitLine(line, 3, 0, &d.items)) return;
  if (items.found == 0) {
    RPT_ErrorAtLine("No Reference Designator name found");
    return;
  }
  ReferenceDesignator r;
  const std::string designator(items[0]);
  if (designator.size() > kDesignatorLimit)
    RPT_ErrorAtLine("Reference Designator name '%s' too long. Will be truncated",
                    designator.c_str());
  r.name = cut(designator, kDesignatorLimit);
  const bool repeated = d.designators.count(r.name) != 0;
  if (repeated) RPT_ErrorAtLine("Duplicate Reference Designator '%s'", r.name.c_str());
  const std::string file(items[1]);
  if (file.empty()) RPT_ErrorAtLine("No file name found");
  if (file.size() > NEWER_FileNameLimit())
    RPT_ErrorAtLine("File name '%s' too long. Will be truncated", file.c_str());
  r.file_name = cut(file, NEWER_FileNameLimit());
  const std::string component(items[2]);
  if (component.empty()) RPT_ErrorAtLine("No Component name found");
  if (component.size() > kComponentLimit)
    RPT_ErrorAtLine("Component name '%s' too long. Will be truncated", component.c_str());
  r.component = cut(component, kComponentLimit);
  r.component_given = !component.empty();
  if (items.found > 3) RPT_ErrorAtLine("Unknown data after component name");
  if (!r.file_name.empty()) r.file_kind = map_file_kind(r.file_name);
  if (repeated) return;
  try {
    b.reference_designators.push_back(std::move(r));
    d.designators.insert(b.reference_designators.back().name);
  } catch (const std::bad_alloc&) {
    RPT_ErrorAtLine("Cannot allocate reference designator");
  }
}

void data_line(BoardDescription& b, std::string_view line) {
  switch (g_ebd.board.description.last) {
    case Kw::PIN_LIST: pin_line(b, line); break;
    case Kw::PATH_DESCRIPTION: path_line(b, line); break;
    case Kw::REFERENCE_DESIGNATOR_MAP: map_line(b, line); break;
    default: RPT_ErrorAtLine(kOrphanDataLineOfKeyword); break;
  }
}

// ------------------------------------------------------------------------------------------
// The checks when a description ends.

// Visits every element of a chain, its branches included, in file order.
template <class Visit>
void walk(const SectionChain& chain, Visit& visit) {
  for (const ChainElement& element : chain) {
    visit(element);
    if (element.kind == ChainElementKind::Fork) walk(element.branch, visit);
  }
}

template <class Visit>
void walk_points(const BoardDescription& b, ChainElementKind kind, Visit visit) {
  for (const BoardPath& path : b.paths) {
    auto on_element = [&](const ChainElement& element) {
      if (element.kind == kind) visit(path, element);
    };
    walk(path.elements, on_element);
  }
}

void check_texts(const BoardDescription& b) {
  const char* name = b.name.c_str();
  if (b.name.empty()) RPT_Error("Ebd Model keyword 'Begin_Board_Description' not found or blank.");
  if (b.manufacturer.empty())
    RPT_Error("Keyword '%s' not found or blank for Ebd Model '%s'.", "Manufacturer", name);
  if (b.number_of_pins == 0)
    RPT_Error("Number_of_Pins keyword not found or value bad for Ebd Model '%s'.", name);
}

// A pin whose signal is a reserved word (a ground, a supply, no connection) may stay off
// every path. A pin listed twice is checked once.
void check_pin_references(const BoardDescription& b) {
  std::unordered_map<std::string_view, int> uses;
  walk_points(b, ChainElementKind::Pin,
              [&](const BoardPath&, const ChainElement& e) { ++uses[e.pin]; });
  std::unordered_set<std::string_view> checked;
  for (const BoardPin& pin : b.pins) {
    if (!checked.insert(pin.name).second) continue;
    const auto it = uses.find(pin.name);
    const int count = it == uses.end() ? 0 : it->second;
    if (count == 0 && CMN_IsReservedWord(pin.signal) != 0)
      RPT_Error("Pin '%s' was not referenced on any Electrical Path", pin.name.c_str());
    else if (count > 1)
      RPT_Error("Pin '%s' was referenced %d times on Electrical Paths", pin.name.c_str(), count);
  }
}

void check_path_points(const BoardDescription& b) {
  const std::unordered_set<std::string>& pins = g_ebd.board.description.pin_names;
  walk_points(b, ChainElementKind::Pin, [&](const BoardPath& path, const ChainElement& e) {
    if (pins.count(e.pin) == 0)
      RPT_Error("Pin '%s' used in Path '%s' not defined", e.pin.c_str(), path.name.c_str());
  });
  const std::unordered_set<std::string>& designators = g_ebd.board.description.designators;
  walk_points(b, ChainElementKind::Node, [&](const BoardPath& path, const ChainElement& e) {
    if (designators.count(e.designator) == 0)
      RPT_Error("Reference Designator '%s' used in Path '%s' not defined", e.designator.c_str(),
                path.name.c_str());
  });
}

// NC ends its chain: nothing may follow it, in the path or in a branch.
bool continues_after_nc(const SectionChain& chain) {
  for (size_t i = 0; i < chain.size(); ++i) {
    if (chain[i].kind == ChainElementKind::NC && i + 1 < chain.size()) return true;
    if (chain[i].kind == ChainElementKind::Fork && continues_after_nc(chain[i].branch))
      return true;
  }
  return false;
}

void check_paths(const BoardDescription& b) {
  for (const BoardPath& path : b.paths)
    if (continues_after_nc(path.elements))
      RPT_Error("Path %s or a branch does not terminate after NC", path.name.c_str());
  close_open_forks(RPT_Error);
  if (b.paths.empty()) RPT_Error("EBD Model '%s' has no paths defined", b.name.c_str());
  for (const BoardPath& path : b.paths)
    if (path.elements.empty()) RPT_Error("Path Descriptor '%s' has no segments", path.name.c_str());
}

void end_of_description(const BoardDescription& b) {
  const DescriptionState& d = g_ebd.board.description;
  check_texts(b);
  if (!d.pin_list_seen) RPT_Error("Required keyword Pin_List not found.");
  else CMN_CheckPinNamesFound(b.number_of_pins, static_cast<uint32_t>(b.pins.size()));
  check_pin_references(b);
  check_path_points(b);
  check_paths(b);
  if (!d.end_seen) RPT_Error("Required End_Board_Description keyword not found.");
}

// A description is ended by the next keyword outside it, by the next description when an
// unknown keyword came between, or by the end of the file.
void finish_open_description() {
  if (!g_ebd.board.current) return;
  end_of_description(*g_ebd.board.current);
  g_ebd.board.current = nullptr;
  g_ebd.board.description = DescriptionState{};
}

// ------------------------------------------------------------------------------------------
// The parts a board places, looked up in the files of its map.

namespace fs = std::filesystem;

std::string file_key(const std::string& path) {
  std::error_code ec;
  fs::path key = fs::weakly_canonical(path, ec);
  if (ec) key = fs::absolute(path, ec).lexically_normal();
  return ec ? path : key.string();
}

bool readable(const std::string& path) {
  std::error_code ec;
  if (!fs::is_regular_file(path, ec)) return false;
  std::FILE* file = std::fopen(path.c_str(), "rb");
  if (!file) return false;
  std::fclose(file);
  return true;
}

// The file of a map entry, in the folder of the file being read: the name as written, else
// the first name equal to it without regard to case, since board files often come from
// systems where case does not count.
std::optional<std::string> find_file(const std::string& directory, const std::string& name) {
  if (readable(directory + name)) return directory + name;
  std::vector<std::string> matches;
  std::error_code ec;
  fs::directory_iterator it(directory.empty() ? fs::path(".") : fs::path(directory), ec);
  for (; !ec && it != fs::directory_iterator(); it.increment(ec)) {
    const std::string candidate = it->path().filename().string();
    if (CMN_EqualNoCase(candidate, name) && readable(directory + candidate))
      matches.push_back(candidate);
  }
  if (matches.empty()) return std::nullopt;
  return directory + *std::min_element(matches.begin(), matches.end());
}

// Each name is looked up once per folder in a reading, however many entries name it.
const std::optional<PartFiles::Located>& locate(const std::string& name) {
  std::string directory;
  CMN_SourceDirectory(&directory);
  const auto [it, added] = g_ebd.parts.located.try_emplace(directory + '\0' + name);
  if (added) {
    const std::optional<std::string> path = find_file(directory, name);
    if (path) it->second = PartFiles::Located{*path, file_key(*path)};
  }
  return it->second;
}

// The reading in progress that references start from.
void begin_parts() {
  g_ebd.parts = PartFiles{};
  g_ebd.parts.chain.push_back({file_key(PRS_GetFileName()), IBIS_CallingFileName()});
}

const IbisDocument* read_part_file(const PartFiles::Located& file, FileKind kind) {
  PartFiles& s = g_ebd.parts;
  // The file's place is made before the reading, so that its document always has a home; a
  // file whose place is left empty counts as one that could not be read.
  std::unique_ptr<IbisDocument>* slot = nullptr;
  try {
    slot = &s.read.try_emplace(file.key).first->second;
    s.chain.push_back({file.key, file.path});
  } catch (const std::bad_alloc&) {
    RPT_Error("Unable to allocate FILEREF.");
    return nullptr;
  }
  IbisDocument* document = nullptr;
  (void)IBIS_ReadNested(file.path.c_str(), kind, &document);
  s.chain.pop_back();
  slot->reset(document);
  return document;
}

// The document that defines the part of a map entry: this file's own when the entry names
// it, else that of its file, read once in this reading. null when there is none to look in
// (reported where that is a finding; a file that failed was reported when it was read).
const IbisDocument* part_document(const BoardDescription& b, const ReferenceDesignator& r) {
  const std::optional<PartFiles::Located>& file = locate(r.file_name);
  if (!file) {
    RPT_Error("Unable to read file '%s' for Reference Designator '%s'", r.file_name.c_str(),
              r.name.c_str());
    return nullptr;
  }
  const PartFiles& s = g_ebd.parts;
  if (file->key == s.chain.back().key) {
    if (r.component != b.name) return IBIS_Current();
    RPT_Error("Reference Designator '%s' refers to the Component '%s' itself being defined",
              r.name.c_str(), r.component.c_str());
    return nullptr;
  }
  for (const PartFiles::Link& link : s.chain) {
    if (link.key != file->key) continue;
    RPT_Error("Ebd file '%s' recursively references the component %s in the calling Ebd file '%s'",
              s.chain.back().shown.c_str(), r.component.c_str(), link.shown.c_str());
    return nullptr;
  }
  const auto read = s.read.find(file->key);
  if (read != s.read.end()) return read->second.get();
  if (s.chain.size() > kNestingLimit) {
    RPT_Error("Ebd file '%s' nests its referenced files deeper than %d; '%s' not read",
              s.chain.back().shown.c_str(), static_cast<int>(kNestingLimit), r.file_name.c_str());
    return nullptr;
  }
  return read_part_file(*file, r.file_kind);
}

// The pins a part has: those of a component of a .ibs file, or of a board of a .ebd file.
// The newest of equal names is taken, as everywhere.
struct PartPins {
  const PinList* component = nullptr;
  const std::unordered_set<std::string_view>* board = nullptr;
  size_t limit = 0;  // the longest pin name the part's file can hold

  bool has(std::string_view pin) const {
    const Pin* found = nullptr;
    if (component) return PIN_Find(component, pin, &found) == 1;
    return board->count(pin) != 0;
  }
};

const std::unordered_set<std::string_view>* pins_of(const BoardDescription* board) {
  const auto [it, added] = g_ebd.parts.board_pins.try_emplace(board);
  if (added)
    for (const BoardPin& pin : board->pins) it->second.insert(pin.name);
  return &it->second;
}

// A file's parts are looked up once it has been read whole. Of equal names the later replaces
// the earlier: the newest is taken.
const PartFiles::Parts& parts_of(const IbisDocument& doc) {
  const auto [it, added] = g_ebd.parts.parts.try_emplace(&doc);
  if (added) {
    for (const auto& component : doc.components)
      it->second.components[component->name] = component.get();
    for (const auto& board : doc.boards) it->second.boards[board->name] = board.get();
  }
  return it->second;
}

std::optional<PartPins> find_part(const IbisDocument& doc, const ReferenceDesignator& r) {
  const PartFiles::Parts& parts = parts_of(doc);
  if (r.file_kind == FileKind::Ibs) {
    const auto it = parts.components.find(r.component);
    if (it != parts.components.end()) return PartPins{&it->second->pins, nullptr, kPinNameLimit};
  } else {
    const auto it = parts.boards.find(r.component);
    if (it != parts.boards.end()) return PartPins{nullptr, pins_of(it->second), kBoardPinLimit};
  }
  return std::nullopt;
}

// The pins of each designator's nodes, each once, in file order.
using NodePins = std::unordered_map<std::string_view, std::vector<std::string_view>>;

bool index_nodes(const BoardDescription& b, NodePins* out) {
  std::unordered_set<std::string> seen;  // designator and pin, apart by a NUL
  try {
    walk_points(b, ChainElementKind::Node, [&](const BoardPath&, const ChainElement& e) {
      if (seen.insert(e.designator + '\0' + e.pin).second) (*out)[e.designator].push_back(e.pin);
    });
  } catch (const std::bad_alloc&) {
    RPT_Error("Unable to allocate PINREF.");
    return false;
  }
  return true;
}

void check_part(const BoardDescription& b, const ReferenceDesignator& r, const NodePins& nodes) {
  const IbisDocument* doc = part_document(b, r);
  if (!doc) return;
  const std::optional<PartPins> part = find_part(*doc, r);
  const char* component = r.component.c_str();
  if (!part) {
    RPT_Error("Component '%s' not found in file '%s'", component, r.file_name.c_str());
    return;
  }
  const auto placed = nodes.find(r.name);
  if (placed == nodes.end()) return;
  for (std::string_view pin : placed->second) {
    const std::string name(pin);
    if (pin.size() > part->limit)
      RPT_Error("Length of Pin '%s' referenced for Component '%s' is too long", name.c_str(),
                component);
    else if (!part->has(pin))
      RPT_Error("Pin '%s' not found on Component '%s' in file '%s'", name.c_str(), component,
                r.file_name.c_str());
  }
}

void check_parts(const BoardDescription& b) {
  NodePins nodes;
  if (!index_nodes(b, &nodes)) return;
  for (const ReferenceDesignator& r : b.reference_designators)
    if (r.component_given && r.file_kind != FileKind::Unknown) check_part(b, r, nodes);
}

// A description named as an earlier one is reported once.
void check_duplicates(const IbisDocument& doc) {
  std::unordered_set<std::string_view> names;
  for (const auto& board : doc.boards)
    if (!names.insert(board->name).second)
      RPT_Error("Board Description '%s' is duplicated within the .ebd file.", board->name.c_str());
}

}  // namespace

void EBDMDL_Reset() { g_ebd.board = BoardState{}; }

void EBDMDL_Init(FileKind) {
  finish_open_description();
  IbisDocument* doc = IBIS_Current();
  g_ebd.board.current = CMN_OpenRecord(doc ? &doc->boards : nullptr, kWords);
}

void EBDMDL_Line(LineKind kind, Kw code, std::string_view line) {
  BoardDescription* b = g_ebd.board.current;
  if (!CMN_SectionTakesLine(kind, true, b != nullptr, kWords)) return;
  if (kind == LineKind::Keyword) keyword_line(*b, code, line);
  else data_line(*b, line);
}

void EBDMDL_KeywordDone(Kw next) {
  if (kw_in(next, Kw::EBD_MANUFACTURER, Kw::END_BOARD_DESCRIPTION)) return;
  finish_open_description();
}

void EBDMDL_EndOfFile(bool nested) {
  const IbisDocument* doc = IBIS_Current();
  TARN_ASSERT(doc != nullptr);
  finish_open_description();
  // A file read by itself, or by a caller other than a board, starts the chain of files.
  const bool first = !nested || g_ebd.parts.chain.empty();
  if (first) begin_parts();
  for (const auto& board : doc->boards) check_parts(*board);
  if (first) g_ebd.parts = PartFiles{};
  check_duplicates(*doc);
}

}  // namespace tarn
