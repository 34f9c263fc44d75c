// [Diff Pin] of a component: pairs of pins that form a differential pair, with the pair's
// threshold voltage and delay, and the checks of the pairs once the file has been read.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "libibis/src/defs.h"

namespace tarn {

struct PinList;

/// One value of a row with its state: absent, a number or "NA".
struct DiffPinValue {
  double value = 0.0;
  ValueStatus status = ValueStatus::Absent;
};

struct DiffPinRow {
  std::string pin;      // at most 5 characters
  std::string inv_pin;  // at most 5
  DiffPinValue vdiff;
  DiffPinValue tdelay_typ;
  DiffPinValue tdelay_min;
  DiffPinValue tdelay_max;
  int items = 0;  // found on the row
};

/// The rows of a component's [Diff Pin] in file order.
struct DiffPinList {
  bool declared = false;  // a [Diff Pin] line was taken
  int columns = 0;        // its headers plus the pin column
  std::vector<DiffPinRow> rows;
};

/// Forgets the module's reading state.
void DIFPIN_Reset();
/// The [Diff Pin] line, given the text after the keyword; 0 when refused (a second one).
[[nodiscard]] int DIFPIN_KeywordLine(DiffPinList* list, std::string_view headers);
/// One row; 0 when it could not be stored.
int DIFPIN_Row(DiffPinList* list, std::string_view line);
/// The end-of-file checks of one component's pairs against its pins.
void DIFPIN_EndOfFile(std::string_view component, const DiffPinList& list, const PinList& pins);

/// 1 and the value when the entry holds a number, else 0.
[[nodiscard]] int DIFPIN_GetValue(const DiffPinValue* value, double* out);
/// 1 and the pin (or the inverting pin) when the row names one, else 0.
[[nodiscard]] int DIFPIN_GetPin(const DiffPinRow* row, std::string_view* out);
[[nodiscard]] int DIFPIN_GetInvPin(const DiffPinRow* row, std::string_view* out);
/// 1 and the column count its [Diff Pin] line declared (4 or 6) once one was taken, else 0.
[[nodiscard]] int DIFPIN_GetColumns(const DiffPinList* list, int* out);

}  // namespace tarn
