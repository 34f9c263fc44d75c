// Plausibility checks once a file has been read: values that are legal but physically
// unlikely (package and pin parasitics, C_comp, ramp times), currents in a table an open
// device should not drive, and a driver schedule with too few models. They only warn.
#pragma once

#include <string_view>

#include "libibis/src/rng.h"

namespace tarn {

struct Component;
struct IbisDocument;
struct IbisModel;
struct Ramp;

/// The corners in the order the checks visit them, with the word their warnings print.
struct CornerWord {
  Corner corner;
  const char* word;
};
inline constexpr CornerWord kCornerWords[] = {
    {kCornerTyp, "TYP"}, {kCornerMin, "MIN"}, {kCornerMax, "MAX"}};

/// Warns about each corner of a ramp whose time exceeds a millisecond. `owner_kind` is
/// "Model" or "Sub Model", so that submodels share the check.
void PLAUS_RampTime(const char* owner_kind, std::string_view owner_name, const Ramp* ramp);
/// The checks of one model: C_comp, ramp time, open-device currents, schedule size.
void PLAUS_Model(const IbisModel* model);
/// The checks of one component: the package's R, L and C, and each pin's.
void PLAUS_Component(const Component* component);

/// The findings of PLAUS_Model, held since each model ended, for the document's models newest
/// first.
void PLAUS_ModelsEndOfFile(const IbisDocument& document);
/// PLAUS_Component for the document's components, in file order.
void PLAUS_ComponentsEndOfFile(const IbisDocument& document);

}  // namespace tarn
