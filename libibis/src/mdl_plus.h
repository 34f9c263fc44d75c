// The fields of a model as the writers and the plausibility checks read them: one accessor
// per field, each 1 and the value when the field is given, else 0 (and a null or 0 value).
#pragma once

#include <string_view>

#include "libibis/src/mdl.h"

namespace tarn {

[[nodiscard]] int mdl_get_name(const IbisModel* model, std::string_view* out);
[[nodiscard]] int mdl_get_model_type(const IbisModel* model, ModelType* out);
[[nodiscard]] int mdl_get_polarity(const IbisModel* model, Polarity* out);
[[nodiscard]] int mdl_get_enable(const IbisModel* model, Enable* out);
[[nodiscard]] int mdl_get_vinl(const IbisModel* model, double* out);
[[nodiscard]] int mdl_get_vinh(const IbisModel* model, double* out);
[[nodiscard]] int mdl_get_c_comp(const IbisModel* model, const Range** out);
[[nodiscard]] int mdl_get_vmeas(const IbisModel* model, double* out);
[[nodiscard]] int mdl_get_cref(const IbisModel* model, double* out);
[[nodiscard]] int mdl_get_rref(const IbisModel* model, double* out);
[[nodiscard]] int mdl_get_vref(const IbisModel* model, double* out);
[[nodiscard]] int mdl_get_temperature_range(const IbisModel* model, const Range** out);
[[nodiscard]] int mdl_get_voltage_range(const IbisModel* model, const Range** out);
[[nodiscard]] int mdl_get_pullup_reference(const IbisModel* model, const Range** out);
[[nodiscard]] int mdl_get_pulldown_reference(const IbisModel* model, const Range** out);
[[nodiscard]] int mdl_get_power_clamp_reference(const IbisModel* model, const Range** out);
[[nodiscard]] int mdl_get_gnd_clamp_reference(const IbisModel* model, const Range** out);
[[nodiscard]] int mdl_get_ttgnd(const IbisModel* model, const Range** out);
[[nodiscard]] int mdl_get_ttpower(const IbisModel* model, const Range** out);
[[nodiscard]] int mdl_get_driver_schedule(const IbisModel* model, const DriverSchedule** out);
[[nodiscard]] int mdl_get_model_spec(const IbisModel* model, const ModelSpec** out);
[[nodiscard]] int mdl_get_on_block(const IbisModel* model, const SeriesInfo** out);
[[nodiscard]] int mdl_get_off_block(const IbisModel* model, const SeriesInfo** out);
[[nodiscard]] int mdl_get_add_submodels(const IbisModel* model,
                                        const std::vector<AddSubmodelEntry>** out);
[[nodiscard]] int mdl_get_pulldown(const IbisModel* model, const ViTable** out);
[[nodiscard]] int mdl_get_pullup(const IbisModel* model, const ViTable** out);
[[nodiscard]] int mdl_get_gnd_clamp(const IbisModel* model, const ViTable** out);
[[nodiscard]] int mdl_get_power_clamp(const IbisModel* model, const ViTable** out);
[[nodiscard]] int mdl_get_rgnd(const IbisModel* model, const Range** out);
[[nodiscard]] int mdl_get_rpower(const IbisModel* model, const Range** out);
[[nodiscard]] int mdl_get_rac(const IbisModel* model, const Range** out);
[[nodiscard]] int mdl_get_cac(const IbisModel* model, const Range** out);
[[nodiscard]] int mdl_get_ramp(const IbisModel* model, const Ramp** out);
[[nodiscard]] int mdl_get_rising_waveforms(const IbisModel* model, const WaveformList** out);
[[nodiscard]] int mdl_get_falling_waveforms(const IbisModel* model, const WaveformList** out);
[[nodiscard]] int mdl_get_plot_reference(const IbisModel* model, double* out);

/// The Model_type code a pin of the model carries: 1 (no type) for a model without one, or for
/// no model at all.
int mdl_type_code(const IbisModel* model);
/// The name of the model's Model_type code ("No Type" for a code the table does not name).
const char* model_type_text(const IbisModel* model);
/// The same for Polarity ("No Polarity") and Enable ("No Enable").
const char* polarity_text(const IbisModel* model);
const char* enable_text(const IbisModel* model);
/// Sets the value the plot output attaches to the model; a value equal to the one held is
/// left as it is.
void mdl_set_plot_reference(IbisModel* model, double value);

}  // namespace tarn
