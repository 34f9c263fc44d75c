// [Component] and the keywords that describe it: [Manufacturer], [Package], [Pin],
// [Package Model], [Pin Mapping], [Diff Pin], [Series Switch Groups], [Series Pin Mapping].
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "libibis/src/defs.h"
#include "libibis/src/difpin.h"
#include "libibis/src/pin.h"
#include "libibis/src/pinmpg.h"
#include "libibis/src/pkg.h"
#include "libibis/src/spinmpg.h"
#include "libibis/src/sswch.h"

namespace tarn {

struct Component {
  std::string name;          // at most 40 characters
  std::string manufacturer;  // at most 40
  std::unique_ptr<Package> package;
  std::string package_model;  // the name given by [Package Model]
  std::string si_location;      // sub-parameters of [Component], kept as written
  std::string timing_location;
  PinList pins;
  PinMapping pin_mapping;
  DiffPinList diff_pins;
  SwitchGroupList switch_groups;
  SeriesPinMapping series_pins;
  Kw current = Kw::NOT_KEY;  // the keyword whose data lines are being read
};

/// Forgets the section's current object at the start of a reading.
void CMPNT_Reset();
/// Opens a new record in the current document and makes it the section's current object.
void CMPNT_Init(FileKind kind);
void CMPNT_Line(LineKind kind, Kw code, std::string_view line);
void CMPNT_KeywordDone(Kw next);
/// The checks that run once the whole file has been read, for each component in file order.
void CMPNT_EndOfFile();

/// 1 and the field when it is set, else 0.
[[nodiscard]] int CMPNT_GetName(const Component* component, std::string_view* out);
[[nodiscard]] int CMPNT_GetManufacturer(const Component* component, std::string_view* out);
[[nodiscard]] int CMPNT_GetPackage(const Component* component, const Package** out);
[[nodiscard]] int CMPNT_GetPackageModel(const Component* component, std::string_view* out);
/// The pin list, set once a pin row has been stored.
[[nodiscard]] int CMPNT_GetPins(const Component* component, const PinList** out);
/// The lists of the mapping keywords, each set once a row (an entry) has been stored.
[[nodiscard]] int CMPNT_GetPinMapping(const Component* component, const PinMapping** out);
[[nodiscard]] int CMPNT_GetDiffPins(const Component* component, const DiffPinList** out);
[[nodiscard]] int CMPNT_GetSwitchGroups(const Component* component, const SwitchGroupList** out);
[[nodiscard]] int CMPNT_GetSeriesPins(const Component* component, const SeriesPinMapping** out);

}  // namespace tarn
