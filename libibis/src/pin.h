// [Pin] of a component: the column headers, the pin rows and the checks of each pin's model
// and package-model pin once the file has been read.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "libibis/src/defs.h"

namespace tarn {

struct IbisDocument;
struct PackageModel;
struct PinMapping;

/// Longest pin name of a component; a board naming a longer pin of one cannot find it.
constexpr size_t kPinNameLimit = 5;

struct Pin {
  std::string name;    // at most kPinNameLimit characters
  std::string signal;  // at most 20
  std::string model;   // at most 20
  double r_pin = 0.0;
  ValueStatus r_pin_status = ValueStatus::Absent;
  double l_pin = 0.0;
  ValueStatus l_pin_status = ValueStatus::Absent;
  double c_pin = 0.0;
  ValueStatus c_pin_status = ValueStatus::Absent;
  int items = 0;  // found on the row
};

/// The pins of a component in file order, with what its [Pin] line declared.
struct PinList {
  bool declared = false;  // a [Pin] line was taken
  int columns = 0;        // its headers plus the pin column
  std::array<bool, 3> named{};  // R_pin, L_pin, C_pin among the headers
  std::array<uint8_t, 3> value_order{0, 1, 2};  // the value each of columns 4 to 6 holds
  std::vector<Pin> pins;
  std::unordered_map<std::string, size_t> index;  // pin name to its place in `pins`
};

/// The [Pin] line, given the text after the keyword; 0 when refused (a second [Pin]).
[[nodiscard]] int PIN_KeywordLine(PinList* list, std::string_view headers);
/// One pin row; 0 only when the row could not be stored.
int PIN_Row(PinList* list, std::string_view line);

/// The names a pin's model may take in this file: models, and model selectors under the
/// IBIS 3.2 rules. Gathered once for all components.
struct PinModelNames {
  std::unordered_set<std::string_view> names;
};
PinModelNames PIN_ModelNames(const IbisDocument& document);

/// The end-of-file checks of one component's pins; `mapping` is the component's [Pin Mapping]
/// when it has one, `package_model` its package model when the document holds it.
void PIN_EndOfFile(std::string_view component, const PinList& list, const PinModelNames& models,
                   const PinMapping* mapping, const PackageModel* package_model);

/// 1 and the column count its [Pin] line declared (3 or 6) once one was taken, else 0.
[[nodiscard]] int PIN_GetColumns(const PinList* list, int* out);
/// The pin of that name, exactly as written.
[[nodiscard]] int PIN_Find(const PinList* list, std::string_view name, const Pin** out);
/// 1 and the text or value when set, else 0.
[[nodiscard]] int PIN_GetName(const Pin* pin, std::string_view* out);
[[nodiscard]] int PIN_GetSignal(const Pin* pin, std::string_view* out);
[[nodiscard]] int PIN_GetModel(const Pin* pin, std::string_view* out);
[[nodiscard]] int PIN_GetRpin(const Pin* pin, double* out);
[[nodiscard]] int PIN_GetLpin(const Pin* pin, double* out);
[[nodiscard]] int PIN_GetCpin(const Pin* pin, double* out);

}  // namespace tarn
