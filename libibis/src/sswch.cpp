#include "libibis/src/sswch.h"

#include <new>

#include "libibis/src/cmn.h"
#include "libibis/src/parse.h"
#include "libibis/src/reading_state.h"
#include "libibis/src/rpt.h"

namespace tarn {
namespace {

constexpr size_t kGroupNameLimit = 20;
// A line holds at most 1,023 characters, so at most this many items.
constexpr size_t kLineItems = 512;

struct SwitchGroupState {
  bool open = false;                      // the last entry still waits for its "/"
  std::unordered_set<std::string> names;  // of the open entry
  ItemList items;                         // scratch, reused line after line
};

SwitchGroupState g_sswch;
SavedWithReading<SwitchGroupState> g_sswch_saved(&g_sswch);

// The state words are fixed words, read in any case; the group names are names, compared
// exactly.
bool is_state_word(std::string_view word, bool* on_out) {
  if (CMN_EqualNoCase(word, "On")) *on_out = true;
  else if (CMN_EqualNoCase(word, "Off")) *on_out = false;
  else return false;
  return true;
}

// Opens an entry with the state `word`; false (reported) when the word is no state.
bool open_entry(SwitchGroupList* list, std::string_view word) {
  SwitchGroupEntry entry;
  if (!is_state_word(word, &entry.on)) {
    RPT_ErrorAtLine("Unknown sub parameter '%s'", std::string(word).c_str());
    return false;
  }
  try {
    list->entries.push_back(std::move(entry));
  } catch (const std::bad_alloc&) {
    RPT_ErrorAtLine("Unable to add Series_Switch_Groups.");
    return false;
  }
  g_sswch.open = true;
  g_sswch.names.clear();
  return true;
}

void add_group(SwitchGroupEntry* entry, std::string_view name) {
  bool on = false;
  if (name.size() > kGroupNameLimit) {
    RPT_ErrorAtLine("Series switch Group name '%s' over %d characters long",
                    std::string(name).c_str(), static_cast<int>(kGroupNameLimit));
  } else if (is_state_word(name, &on)) {
    RPT_ErrorAtLine("Series switch Group name cannot be 'On' or 'Off'");
  } else if (g_sswch.names.count(std::string(name)) != 0) {
    RPT_ErrorAtLine("Duplicate Series switch Group name '%s'", std::string(name).c_str());
  } else {
    try {
      entry->groups.emplace_back(name);
      g_sswch.names.emplace(name);
    } catch (const std::bad_alloc&) {
      RPT_ErrorAtLine("Unable to allocate new Series Switch Group name.");
    }
  }
}

}  // namespace

void SSWCH_Reset() { g_sswch = SwitchGroupState{}; }

int SSWCH_KeywordLine(SwitchGroupList* list) {
  TARN_ASSERT(list != nullptr);
  if (list->declared) {
    RPT_ErrorAtLine("Duplicate [Series_Switch_Groups] keyword found.");
    return 0;
  }
  list->declared = true;
  g_sswch.open = false;
  return 1;
}

// An entry may close and the next open on the same line: "On a / Off b /".
void SSWCH_Line(SwitchGroupList* list, std::string_view line) {
  TARN_ASSERT(list != nullptr);
  if (list->entries.empty()) g_sswch.open = false;
  ItemList& items = g_sswch.items;
  if (!CMN_SplitLine(line, kLineItems, '/', &items)) return;
  size_t i = 0;
  while (i < items.stored()) {
    if (!g_sswch.open) {
      if (!open_entry(list, items[i++])) break;  // the rest of the line goes with it
      if (i == items.stored() || items[i] == "/")
        RPT_ErrorAtLine("No Group names specified on this line");
      continue;
    }
    const std::string_view item = items[i++];
    if (item == "/") g_sswch.open = false;
    else add_group(&list->entries.back(), item);
  }
  PRS_SetSwitchGroupOpen(g_sswch.open);
}

void SSWCH_KeywordDone() { g_sswch.open = false; }

std::unordered_set<std::string_view> SSWCH_GroupNames(const SwitchGroupList& list) {
  std::unordered_set<std::string_view> names;
  for (const SwitchGroupEntry& entry : list.entries)
    for (const std::string& group : entry.groups) names.insert(group);
  return names;
}

}  // namespace tarn
