#include "libibis/src/msel.h"

#include <new>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <unordered_set>

#include "libibis/src/cmn.h"
#include "libibis/src/ibis.h"
#include "libibis/src/newer.h"
#include "libibis/src/reading_state.h"
#include "libibis/src/rpt.h"

namespace tarn {
namespace {

constexpr size_t kLineLimit = 80;  // a model's name and descriptor together
constexpr size_t kModelLineItems = 2;

struct SelectorState {
  ModelSelector* current = nullptr;
  Kw keyword = Kw::NOT_KEY;  // the last keyword handled
  bool check_due = false;    // the current selector's section has not been checked yet
  std::unordered_set<std::string_view> names;  // of the selectors of this reading
  std::unordered_map<std::string, uint32_t> models;  // entries of the current selector, by name
  ItemList items;                              // scratch, reused line after line
};

SelectorState g_msel;
constexpr SectionWords kWords{BugForm::Located, "MSEL_Init unable to get IBIS?", BugForm::Located,
                              "Unable to create new MSEL.", kIllegalLineType,
                              nullptr, "Orphan Model Selector keyword.", kOrphanDataLine};
SavedWithReading<SelectorState> g_msel_saved(&g_msel);

std::string str(std::string_view text) { return std::string(text); }

void selector_name(ModelSelector& s, std::string_view line) {
  ItemList& items = g_msel.items;
  if (!CMN_SplitLine(CMN_KeywordArgument(line), 1, 0, &items)) {
    RPT_Error("Unable to Save Model Selector Name");
    return;
  }
  bool cut = false;
  const std::string_view name =
      CMN_OpenerName(items, "Model Selector", NEWER_ModelNameLimit(), &cut);
  if (name.empty()) return;
  // Unlike a model's, a cut name is still checked: two names that differ only past the limit
  // are the same selector.
  if (!CMN_IsReservedWord(name))
    RPT_ErrorAtLine("Invalid Model SelectorName (\"%s\"); Reserved Word.", str(name).c_str());
  if (g_msel.names.count(name) != 0)
    RPT_ErrorAtLine("Model Selector Name Previously Defined (\"%s\")", str(name).c_str());
  try {
    s.name.assign(name);
    g_msel.names.insert(s.name);
  } catch (const std::bad_alloc&) {
    CMN_ReportNoMemory();
  }
}

// The rest of the line after the model's name as written.
std::string_view descriptor_of(std::string_view line) {
  const size_t start = CMN_SkipSpace(line, CMN_SkipWord(line, CMN_SkipSpace(line, 0)));
  return line.substr(start);
}

void model_line(ModelSelector& s, std::string_view line) {
  ItemList& items = g_msel.items;
  if (!CMN_SplitLine(line, kModelLineItems, 0, &items)) {
    CMN_ReportUnparsed("Model Selector Sub-Parameter");
    return;
  }
  if (items.found == 0) {
    RPT_ErrorAtLine("'Model Selector' Keyword: Missing model name");
    return;
  }
  // More items are the words of the descriptor.
  if (items.found == 1)
    RPT_ErrorAtLine(kKeywordItemCount, 1,
                    "Model Selector", static_cast<int>(kModelLineItems));
  ModelSelectorEntry entry;
  std::string_view name = items[0];
  const size_t name_limit = NEWER_ModelNameLimit();
  if (name.size() > name_limit) {
    RPT_ErrorAtLine(kModelNameTooLong, static_cast<int>(name_limit));
    name = name.substr(0, name_limit);
  }
  // Other reserved words are taken here; the end of the file does not look them up.
  if (CMN_EqualNoCase(name, "NA"))
    RPT_ErrorAtLine("Invalid Model Name (\"NA\")");
  const std::string_view rest = descriptor_of(line);
  const size_t limit = kLineLimit - name.size();
  if (rest.size() > limit)
    RPT_ErrorAtLine("Model Descriptor string '%s' is too long, truncating to %u characters.",
                    str(rest).c_str(), static_cast<unsigned>(limit));
  try {
    entry.name.assign(name);
    entry.descriptor.assign(rest.substr(0, limit));
    // One finding per earlier equal entry: a name used a third time gives two.
    uint32_t& earlier = g_msel.models[entry.name];
    for (uint32_t i = 0; i < earlier; ++i)
      RPT_ErrorAtLine("Model '%s'. already used in this Model Selector", entry.name.c_str());
    ++earlier;
    s.models.push_back(std::move(entry));
  } catch (const std::bad_alloc&) {
    RPT_ErrorAtLine("Unable to create new MSEL Model.");
  }
}

void check_section(const ModelSelector& s) {
  if (s.models.empty()) RPT_Error("Model Selector: '%s' has no models defined", s.name.c_str());
  else if (s.models.size() == 1)
    RPT_Warning("Model Selector: '%s' has only one model defined", s.name.c_str());
}

// The check of a selector whose section no keyword closed (an unknown keyword came between).
void check_section_if_due() {
  if (!g_msel.check_due || !g_msel.current) return;
  g_msel.check_due = false;
  check_section(*g_msel.current);
}

void check_against_models(const ModelSelector& s,
                          const std::unordered_set<std::string_view>& models) {
  if (models.count(s.name) != 0)
    RPT_Error("'%s' is the name of a Model and a Model Selector", s.name.c_str());
  for (const ModelSelectorEntry& e : s.models) {
    if (!CMN_IsReservedWord(e.name)) continue;
    if (models.count(e.name) == 0)
      RPT_Error("Model '%s' in Model Selector '%s' is not defined in the file", e.name.c_str(),
                s.name.c_str());
  }
}

}  // namespace

void MSEL_Reset() { g_msel = SelectorState{}; }

void MSEL_Init(FileKind) {
  check_section_if_due();
  IbisDocument* doc = IBIS_Current();
  g_msel.models.clear();
  g_msel.current = CMN_OpenRecord(doc ? &doc->selectors : nullptr, kWords);
  if (g_msel.current) g_msel.check_due = true;
}

void MSEL_Line(LineKind kind, Kw code, std::string_view line) {
  ModelSelector* s = g_msel.current;
  if (!CMN_SectionTakesLine(kind, true, s != nullptr, kWords)) return;
  if (kind == LineKind::Data) {
    if (g_msel.keyword == Kw::MODEL_SELECTOR) model_line(*s, line);
    else RPT_ErrorAtLine(kOrphanDataLineOfKeyword);
    return;
  }
  g_msel.keyword = code;
  if (code == Kw::MODEL_SELECTOR) selector_name(*s, line);
  else CMN_ReportIllegalKeyword();
}

void MSEL_KeywordDone(Kw) { check_section_if_due(); }

void MSEL_EndOfFile() {
  check_section_if_due();
  const IbisDocument* doc = IBIS_Current();
  if (!doc) {
    RPT_Bug("%s:%d:Unable to get IBIS?", __FILE__, __LINE__);
    return;
  }
  // The file's models are indexed once, so that a long file is not walked per model line.
  std::unordered_set<std::string_view> models;
  try {
    for (const auto& m : doc->models) models.insert(m->name);
  } catch (const std::bad_alloc&) {
    CMN_ReportNoMemory();
    return;
  }
  for (auto it = doc->selectors.rbegin(); it != doc->selectors.rend(); ++it)
    check_against_models(**it, models);
}

}  // namespace tarn
