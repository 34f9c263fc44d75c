// [Series Pin Mapping] of a component: the pairs of pins joined by a series model, with the
// switch group that controls a series switch, and the checks of each pair once the file has
// been read.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "libibis/src/defs.h"

namespace tarn {

struct IbisDocument;
struct PinList;
struct SwitchGroupList;

struct SeriesPinRow {
  std::string pin1;   // at most 5 characters
  std::string pin2;   // at most 5
  std::string model;  // at most 20
  std::string group;  // the function_table_group, at most 20; empty when absent
  int items = 0;      // found on the row
};

/// The rows of a component's [Series Pin Mapping] in file order.
struct SeriesPinMapping {
  bool declared = false;  // a [Series Pin Mapping] line was taken
  int columns = 0;        // its headers plus the first pin's column
  std::vector<SeriesPinRow> rows;
};

/// Forgets the module's reading state.
void SPINMPG_Reset();
/// The [Series Pin Mapping] line, given the text after the keyword; 0 when refused (a second
/// one).
[[nodiscard]] int SPINMPG_KeywordLine(SeriesPinMapping* mapping, std::string_view headers);
/// One row; 0 when it could not be stored.
int SPINMPG_Row(SeriesPinMapping* mapping, std::string_view line);
/// The end-of-file checks of one component's rows: their pins (`pins` null when the component
/// has none), their models in `document`, and their groups in `groups`.
/// 1 and the first pin, the second pin or the model when the row names one, else 0.
[[nodiscard]] int SPINMPG_GetPin1(const SeriesPinRow* row, std::string_view* out);
[[nodiscard]] int SPINMPG_GetPin2(const SeriesPinRow* row, std::string_view* out);
[[nodiscard]] int SPINMPG_GetModel(const SeriesPinRow* row, std::string_view* out);

void SPINMPG_EndOfFile(std::string_view component, const SeriesPinMapping& mapping,
                       const PinList* pins, const SwitchGroupList& groups,
                       const IbisDocument& document);

}  // namespace tarn
