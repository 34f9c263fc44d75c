// [Pin Mapping] of a component: the buses that each pin's pullup, pulldown and clamps connect
// to, with the checks of those buses once the file has been read.
#pragma once

#include <array>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "libibis/src/defs.h"

namespace tarn {

struct PinList;

/// The bus columns of a row, in the order of the headers.
enum PinMappingColumn : size_t { kPulldownRef = 0, kPullupRef, kGndClampRef, kPowerClampRef };
inline constexpr size_t kPinMappingRefs = 4;

struct PinMappingRow {
  std::string pin;                                // at most 5 characters
  std::array<std::string, kPinMappingRefs> refs;  // bus names, at most 15; empty when absent
  int items = 0;                                  // found on the row
};

/// The rows of a component's [Pin Mapping] in file order.
struct PinMapping {
  bool declared = false;  // a [Pin Mapping] line was taken
  int columns = 0;        // its headers plus the pin column
  bool ext_ref = false;   // a last header ext_ref (IBIS 4.1), whose column is read past
  std::vector<PinMappingRow> rows;
  std::unordered_map<std::string, size_t> index;  // pin name to its row
};

/// Forgets the module's reading state.
void PINMPG_Reset();
/// The [Pin Mapping] line, given the text after the keyword; 0 when refused (a second one).
[[nodiscard]] int PINMPG_KeywordLine(PinMapping* mapping, std::string_view headers);
/// One row; 0 when it was not stored (a pin already mapped, or no memory).
int PINMPG_Row(PinMapping* mapping, std::string_view line);
/// The end-of-file checks of one component's rows against its pins.
void PINMPG_EndOfFile(std::string_view component, const PinMapping& mapping, const PinList& pins);

/// 1 and the column count its [Pin Mapping] line declared (3 or 5) once one was taken, else 0.
[[nodiscard]] int PINMPG_GetColumns(const PinMapping* mapping, int* out);
/// The row of that pin, exactly as written.
[[nodiscard]] int PINMPG_Find(const PinMapping* mapping, std::string_view pin,
                              const PinMappingRow** out);
/// Whether a reference names a bus: "NC" says the structure is not connected.
bool PINMPG_NamesBus(std::string_view ref);
/// 1 and the row's pin when it names one, else 0.
[[nodiscard]] int PINMPG_GetPin(const PinMappingRow* row, std::string_view* out);
/// 1 and the bus name of a column when the row gives one, else 0.
[[nodiscard]] int PINMPG_GetRef(const PinMappingRow* row, PinMappingColumn column,
                                std::string_view* out);

}  // namespace tarn
