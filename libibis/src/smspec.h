// [Submodel Spec]: the trigger voltages and the delay of a submodel as typ/min/max values.
#pragma once

#include <memory>
#include <string_view>

#include "libibis/src/rng.h"

namespace tarn {

/// Each value is null until its line is read.
struct SubmodelSpec {
  std::unique_ptr<Range> v_trigger_r;
  std::unique_ptr<Range> v_trigger_f;
  std::unique_ptr<Range> off_delay;
};

/// The [Submodel Spec] keyword line: a spec already in `slot` is reported and replaced. 0 when
/// the spec cannot be made.
[[nodiscard]] int submodel_spec_open(std::string_view line, std::unique_ptr<SubmodelSpec>* slot);
/// One subparameter line; `submodel_name` names the submodel in the messages.
void submodel_spec_line(std::string_view line, SubmodelSpec* spec, std::string_view submodel_name);
/// The check once the spec has ended: it must give something.
void submodel_spec_end(const SubmodelSpec& spec, std::string_view submodel_name);

}  // namespace tarn
