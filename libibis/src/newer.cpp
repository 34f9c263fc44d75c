#include "libibis/src/newer.h"

#include <bitset>
#include <string>
#include <unordered_set>
#include <vector>

#include "libibis/src/parse.h"
#include "libibis/src/reading_state.h"
#include "libibis/src/rpt.h"

namespace tarn {
namespace {

struct VersionText {
  std::string_view text;
  uint8_t level;
};

constexpr VersionText kVersions[] = {
    {"4.0", 40}, {"4.1", 41}, {"4.2", 42}, {"5.0", 50}, {"5.1", 51},
    {"6.0", 60}, {"6.1", 61}, {"7.0", 70}, {"7.1", 71}, {"7.2", 72},
};

// A keyword whose data runs to an end keyword of its own; `inside` is the block it nests in.
struct Block {
  Kw opener;
  Kw closer;
  Kw inside = Kw::NOT_KEY;
};

constexpr Block kBlocks[] = {
    {Kw::ALTERNATE_PACKAGE_MODELS, Kw::END_ALTERNATE_PACKAGE_MODELS},
    {Kw::EXTERNAL_MODEL, Kw::END_EXTERNAL_MODEL},
    {Kw::EXTERNAL_CIRCUIT, Kw::END_EXTERNAL_CIRCUIT},
    {Kw::NODE_DECLARATIONS, Kw::END_NODE_DECLARATIONS},
    {Kw::CIRCUIT_CALL, Kw::END_CIRCUIT_CALL},
    {Kw::ALGORITHMIC_MODEL, Kw::END_ALGORITHMIC_MODEL},
    {Kw::BEGIN_EMI_COMPONENT, Kw::END_EMI_COMPONENT},
    {Kw::BEGIN_EMI_MODEL, Kw::END_EMI_MODEL},
    {Kw::INTERCONNECT_MODEL_SET, Kw::END_INTERCONNECT_MODEL_SET},
    {Kw::INTERCONNECT_MODEL, Kw::END_INTERCONNECT_MODEL, Kw::INTERCONNECT_MODEL_SET},
    {Kw::INTERCONNECT_MODEL_GROUP, Kw::END_INTERCONNECT_MODEL_GROUP},
    {Kw::C_COMP_MODEL, Kw::END_C_COMP_MODEL},
};

const Block* block_opened_by(Kw code) {
  for (const Block& b : kBlocks)
    if (b.opener == code) return &b;
  return nullptr;
}

const Block* block_closed_by(Kw code) {
  for (const Block& b : kBlocks)
    if (b.closer == code) return &b;
  return nullptr;
}

struct NewerState {
  NewerRules rules;
  std::bitset<kw_int(Kw::KEYWORD_COUNT)> keywords_warned;
  std::unordered_set<std::string_view> names_warned;  // views of the modules' constant tables
  std::vector<Kw> open_blocks;                        // outermost first; two at most
};

NewerState g_newer;
SavedWithReading<NewerState> g_newer_saved(&g_newer);

void warn_not_checked(std::string_view shown, uint8_t since) {
  RPT_WarningAtLine("%s (IBIS %d.%d) not checked by this reader", std::string(shown).c_str(),
                    since / 10, since % 10);
}

// "[Composite Current]" for COMPOSITE_CURRENT: the table spells later keywords as IBIS does.
std::string shown_keyword(Kw code) {
  const KeywordRow* row = PRS_KeywordRow(code);
  std::string text = "[";
  if (row) text += row->name;
  for (char& c : text)
    if (c == '_') c = ' ';
  return text + "]";
}

void warn_keyword_once(Kw code) {
  if (g_newer.keywords_warned[kw_int(code)]) return;
  g_newer.keywords_warned[kw_int(code)] = true;
  if (const KeywordRow* row = PRS_KeywordRow(code)) warn_not_checked(shown_keyword(code), row->since);
}

void report_unpaired(Kw present, Kw missing) {
  RPT_ErrorAtLine("%s without %s", shown_keyword(present).c_str(), shown_keyword(missing).c_str());
}

void close_block(Kw closer) {
  const Block* b = block_closed_by(closer);
  if (!g_newer.open_blocks.empty() && g_newer.open_blocks.back() == b->opener) {
    g_newer.open_blocks.pop_back();
    return;
  }
  report_unpaired(closer, b->opener);
}

// Keywords that no block holds: meeting one means the block lacks its end keyword.
bool ends_blocks(Kw code) {
  switch (code) {
    case Kw::END:
    case Kw::COMPONENT:
    case Kw::MODEL:
    case Kw::SUBMODEL:
    case Kw::MODEL_SELECTOR:
    case Kw::DEFINE_PACKAGE_MODEL:
    case Kw::BEGIN_BOARD_DESCRIPTION: return true;
    default: return PRS_SectionOf(code) == Section::Top;
  }
}

}  // namespace

NewerRules NEWER_RulesFor(std::string_view version) {
  NewerRules r;
  for (const VersionText& v : kVersions)
    if (v.text == version) r.declared = v.level;
  const uint8_t d = r.declared;
  r.later_keywords = d >= 40;
  r.long_waveforms = d >= 40;
  r.diff_model_types = d >= 41;
  r.circuit_call = d >= 41;
  r.long_lines = d >= 41;
  r.long_names = d >= 42;
  r.free_file_names = d >= 70;
  return r;
}

const NewerRules& NEWER_Rules() { return g_newer.rules; }

size_t NEWER_ModelNameLimit() {
  constexpr size_t kShort = 20;
  constexpr size_t kLong = 40;
  return NEWER_Rules().long_names ? kLong : kShort;
}

size_t NEWER_FileNameLimit() {
  constexpr size_t kDos = 24;
  // The 7.0 file-naming change aims at the path lengths of current systems.
  constexpr size_t kFree = 256;
  return NEWER_Rules().free_file_names ? kFree : kDos;
}
void NEWER_SetRules(const NewerRules& rules) { g_newer.rules = rules; }

bool NEWER_ReadPast(std::span<const NewerName> names, std::string_view name) {
  if (!g_newer.rules.later_keywords) return false;
  for (const NewerName& n : names) {
    if (n.name != name || n.since > g_newer.rules.declared) continue;
    if (g_newer.names_warned.insert(n.name).second) warn_not_checked(n.name, n.since);
    return true;
  }
  return false;
}

void NEWER_Reset() { g_newer = NewerState{}; }

void NEWER_Line(LineKind kind, Kw code, std::string_view) {
  if (kind != LineKind::Keyword) return;
  if (block_closed_by(code)) {
    close_block(code);
    return;
  }
  warn_keyword_once(code);
  if (block_opened_by(code)) g_newer.open_blocks.push_back(code);
}

bool NEWER_Swallows(LineKind kind, std::string_view line) {
  std::vector<Kw>& open = g_newer.open_blocks;
  if (open.empty()) return false;
  if (kind != LineKind::Keyword) return true;
  Kw code = Kw::NOT_KEY;
  // A line that names no keyword is the block's own business.
  if (!PRS_FindKeyword(line, &code)) return true;
  const Block* innermost = block_opened_by(open.back());
  if (code == innermost->closer) {
    if (open.size() == 1) return false;
    open.pop_back();
    return true;
  }
  const Block* nested = block_opened_by(code);
  if (nested && nested->inside == open.back()) {
    warn_keyword_once(code);
    open.push_back(code);
    return true;
  }
  if (ends_blocks(code)) {
    // Rather than swallow the rest of the file, the block is taken as ended here.
    for (auto it = open.rbegin(); it != open.rend(); ++it)
      report_unpaired(*it, block_opened_by(*it)->closer);
    open.clear();
    return false;
  }
  if (kw_newer(code)) warn_keyword_once(code);
  return true;
}

}  // namespace tarn
