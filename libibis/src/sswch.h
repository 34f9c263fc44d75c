// [Series Switch Groups] of a component: each entry is a state, "On" or "Off", and the switch
// groups in that state, closed by "/" and free to run over several lines.
#pragma once

#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "libibis/src/defs.h"

namespace tarn {

struct SwitchGroupEntry {
  bool on = false;                  // the state: "On" or "Off"
  std::vector<std::string> groups;  // in file order, each at most 20 characters
};

/// The entries of a component's [Series Switch Groups] in file order.
struct SwitchGroupList {
  bool declared = false;  // a [Series Switch Groups] line was taken
  std::vector<SwitchGroupEntry> entries;
};

/// Forgets the module's reading state (an entry still open).
void SSWCH_Reset();
/// The [Series Switch Groups] line; 0 when refused (a second one).
[[nodiscard]] int SSWCH_KeywordLine(SwitchGroupList* list);
/// One data line: it opens entries, names groups and closes entries with "/".
void SSWCH_Line(SwitchGroupList* list, std::string_view line);
/// The keyword has ended; an entry without its "/" was reported by the line reader.
void SSWCH_KeywordDone();

/// Every group that some entry names, exactly as written.
std::unordered_set<std::string_view> SSWCH_GroupNames(const SwitchGroupList& list);

}  // namespace tarn
