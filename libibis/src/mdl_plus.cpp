#include "libibis/src/mdl_plus.h"

#include "libibis/src/rpt.h"

namespace tarn {
namespace {

template <class T>
int get_optional(const IbisModel* model, std::optional<T> IbisModel::*field, T* out) {
  TARN_ASSERT(model != nullptr && out != nullptr);
  const std::optional<T>& value = model->*field;
  *out = value.value_or(T{});
  return value ? 1 : 0;
}

template <class T>
int get_pointer(const IbisModel* model, std::unique_ptr<T> IbisModel::*field, const T** out) {
  TARN_ASSERT(model != nullptr && out != nullptr);
  *out = (model->*field).get();
  return *out ? 1 : 0;
}

template <class T>
int get_list(const IbisModel* model, std::vector<T> IbisModel::*field, const std::vector<T>** out) {
  TARN_ASSERT(model != nullptr && out != nullptr);
  const std::vector<T>& list = model->*field;
  *out = list.empty() ? nullptr : &list;
  return list.empty() ? 0 : 1;
}

// The three codes are given once they are not NotGiven (0).
template <class Code>
int get_code(const IbisModel* model, Code IbisModel::*field, Code* out) {
  TARN_ASSERT(model != nullptr && out != nullptr);
  *out = model->*field;
  return *out != Code{} ? 1 : 0;
}

}  // namespace

int mdl_get_name(const IbisModel* model, std::string_view* out) {
  TARN_ASSERT(model != nullptr && out != nullptr);
  *out = model->name;
  return model->name.empty() ? 0 : 1;
}

int mdl_get_model_type(const IbisModel* model, ModelType* out) {
  return get_code(model, &IbisModel::model_type, out);
}

int mdl_get_polarity(const IbisModel* model, Polarity* out) {
  return get_code(model, &IbisModel::polarity, out);
}

int mdl_get_enable(const IbisModel* model, Enable* out) {
  return get_code(model, &IbisModel::enable, out);
}

int mdl_get_vinl(const IbisModel* model, double* out) {
  return get_optional(model, &IbisModel::vinl, out);
}

int mdl_get_vinh(const IbisModel* model, double* out) {
  return get_optional(model, &IbisModel::vinh, out);
}

int mdl_get_c_comp(const IbisModel* model, const Range** out) {
  return get_pointer(model, &IbisModel::c_comp, out);
}

int mdl_get_vmeas(const IbisModel* model, double* out) {
  return get_optional(model, &IbisModel::vmeas, out);
}

int mdl_get_cref(const IbisModel* model, double* out) {
  return get_optional(model, &IbisModel::cref, out);
}

int mdl_get_rref(const IbisModel* model, double* out) {
  return get_optional(model, &IbisModel::rref, out);
}

int mdl_get_vref(const IbisModel* model, double* out) {
  return get_optional(model, &IbisModel::vref, out);
}

int mdl_get_temperature_range(const IbisModel* model, const Range** out) {
  return get_pointer(model, &IbisModel::temperature_range, out);
}

int mdl_get_voltage_range(const IbisModel* model, const Range** out) {
  return get_pointer(model, &IbisModel::voltage_range, out);
}

int mdl_get_pullup_reference(const IbisModel* model, const Range** out) {
  return get_pointer(model, &IbisModel::pullup_reference, out);
}

int mdl_get_pulldown_reference(const IbisModel* model, const Range** out) {
  return get_pointer(model, &IbisModel::pulldown_reference, out);
}

int mdl_get_power_clamp_reference(const IbisModel* model, const Range** out) {
  return get_pointer(model, &IbisModel::power_clamp_reference, out);
}

int mdl_get_gnd_clamp_reference(const IbisModel* model, const Range** out) {
  return get_pointer(model, &IbisModel::gnd_clamp_reference, out);
}

int mdl_get_ttgnd(const IbisModel* model, const Range** out) {
  return get_pointer(model, &IbisModel::ttgnd, out);
}

int mdl_get_ttpower(const IbisModel* model, const Range** out) {
  return get_pointer(model, &IbisModel::ttpower, out);
}

int mdl_get_driver_schedule(const IbisModel* model, const DriverSchedule** out) {
  return get_pointer(model, &IbisModel::driver_schedule, out);
}

int mdl_get_model_spec(const IbisModel* model, const ModelSpec** out) {
  return get_pointer(model, &IbisModel::model_spec, out);
}

int mdl_get_on_block(const IbisModel* model, const SeriesInfo** out) {
  return get_pointer(model, &IbisModel::on_block, out);
}

int mdl_get_off_block(const IbisModel* model, const SeriesInfo** out) {
  return get_pointer(model, &IbisModel::off_block, out);
}

int mdl_get_add_submodels(const IbisModel* model, const std::vector<AddSubmodelEntry>** out) {
  return get_list(model, &IbisModel::add_submodels, out);
}

int mdl_get_pulldown(const IbisModel* model, const ViTable** out) {
  return get_pointer(model, &IbisModel::pulldown, out);
}

int mdl_get_pullup(const IbisModel* model, const ViTable** out) {
  return get_pointer(model, &IbisModel::pullup, out);
}

int mdl_get_gnd_clamp(const IbisModel* model, const ViTable** out) {
  return get_pointer(model, &IbisModel::gnd_clamp, out);
}

int mdl_get_power_clamp(const IbisModel* model, const ViTable** out) {
  return get_pointer(model, &IbisModel::power_clamp, out);
}

int mdl_get_rgnd(const IbisModel* model, const Range** out) {
  return get_pointer(model, &IbisModel::rgnd, out);
}

int mdl_get_rpower(const IbisModel* model, const Range** out) {
  return get_pointer(model, &IbisModel::rpower, out);
}

int mdl_get_rac(const IbisModel* model, const Range** out) {
  return get_pointer(model, &IbisModel::rac, out);
}

int mdl_get_cac(const IbisModel* model, const Range** out) {
  return get_pointer(model, &IbisModel::cac, out);
}

int mdl_get_ramp(const IbisModel* model, const Ramp** out) {
  return get_pointer(model, &IbisModel::ramp, out);
}

int mdl_get_rising_waveforms(const IbisModel* model, const WaveformList** out) {
  return get_list(model, &IbisModel::rising_waveforms, out);
}

int mdl_get_falling_waveforms(const IbisModel* model, const WaveformList** out) {
  return get_list(model, &IbisModel::falling_waveforms, out);
}

int mdl_get_plot_reference(const IbisModel* model, double* out) {
  return get_optional(model, &IbisModel::plot_reference, out);
}

namespace {

// The walk stops at the end marker, whose name is also the text of a code the table lacks.
template <class Code, size_t N>
const char* name_of(const NamedCode<Code> (&rows)[N], Code code) {
  for (const NamedCode<Code>& row : rows)
    if (row.code == code) return row.name.data();
  return rows[N - 1].name.data();
}

}  // namespace

int mdl_type_code(const IbisModel* model) {
  ModelType type = ModelType::NotGiven;
  if (!model || !mdl_get_model_type(model, &type) || type == ModelType::NotGiven)
    return static_cast<int>(ModelType::NoType);
  return static_cast<int>(type);
}

const char* model_type_text(const IbisModel* model) {
  TARN_ASSERT(model != nullptr);
  if (model->differential)
    for (size_t i = kModelTypesV32; i < kModelTypesDiff; ++i)
      if (kModelTypeNames[i].code == model->model_type) return kModelTypeNames[i].name.data();
  return name_of(kModelTypeNames, model->model_type);
}

const char* polarity_text(const IbisModel* model) {
  TARN_ASSERT(model != nullptr);
  return name_of(kPolarityNames, model->polarity);
}

const char* enable_text(const IbisModel* model) {
  TARN_ASSERT(model != nullptr);
  return name_of(kEnableNames, model->enable);
}

void mdl_set_plot_reference(IbisModel* model, double value) {
  TARN_ASSERT(model != nullptr);
  std::optional<double>& held = model->plot_reference;
  if (!held || *held != value) held = value;
}

}  // namespace tarn
