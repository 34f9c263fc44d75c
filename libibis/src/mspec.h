// [Model Spec]: input and hysteresis thresholds, overshoot and pulse limits as typ/min/max
// values, and the consistency checks between them.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string_view>

#include "libibis/src/rng.h"

namespace tarn {

/// The subparameters, in the order of the model spec's table.
enum class MspecParam : uint8_t {
  Vinh, Vinl, VinhPlus, VinhMinus, VinlPlus, VinlMinus, SOvershootHigh, SOvershootLow,
  DOvershootHigh, DOvershootLow, DOvershootTime, PulseHigh, PulseLow, PulseTime, Vmeas,
};
inline constexpr size_t kMspecParams = 15;

struct ModelSpec {
  std::array<std::unique_ptr<Range>, kMspecParams> values;  // by MspecParam; null until read
  uint32_t line = 0;  // of the keyword, named in every end message
};

/// The [Model Spec] keyword line: a spec already in `slot` is reported and replaced. 0 when
/// the spec cannot be made.
[[nodiscard]] int model_spec_open(std::string_view line, std::unique_ptr<ModelSpec>* slot);
/// One subparameter line; `model_name` names the model in the messages.
void model_spec_line(std::string_view line, ModelSpec* spec, std::string_view model_name);
/// The checks once the spec has ended.
void model_spec_end(const ModelSpec& spec);

/// The subparameter's name as the file writes it.
const char* mspec_param_name(MspecParam param);
/// 1 and the values when the subparameter was given, else 0.
[[nodiscard]] int mspec_get(const ModelSpec* spec, MspecParam param, const Range** out);

}  // namespace tarn
