// The public views of the reader's records: each made on access from the record it points into,
// nothing copied but the few numbers of a value.
#include <mutex>
#include <new>
#include <string_view>
#include <type_traits>
#include <unordered_map>
#include <vector>

#include "api/view_access.h"
#include "libibis/src/hdr.h"
#include "libibis/src/mdl_plus.h"
#include "libibis/src/rpt.h"

namespace tarn {

// Which of two records of one name the reader uses: the last [Model], [Submodel] or package
// model, the first component, selector or board.
template <class Record>
constexpr bool kLastNameCounts = std::is_same_v<Record, IbisModel> ||
                                 std::is_same_v<Record, Submodel> ||
                                 std::is_same_v<Record, PackageModel>;

// The records of a document by name: a host finds each pin's model or each part of a board
// through these, not by a search of them all.
struct DocumentNames {
  template <class Record>
  using ByName = std::unordered_map<std::string_view, const Record*>;

  explicit DocumentNames(const IbisDocument& document)
      : components(of(document.components)),
        models(of(document.models)),
        submodels(of(document.submodels)),
        selectors(of(document.selectors)),
        package_models(of(document.package_models)),
        boards(of(document.boards)) {}

  template <class Record>
  static ByName<Record> of(const std::vector<std::unique_ptr<Record>>& records) {
    ByName<Record> names;
    names.reserve(records.size());
    for (const auto& record : records) {
      if constexpr (kLastNameCounts<Record>) names.insert_or_assign(record->name, record.get());
      else names.emplace(record->name, record.get());
    }
    return names;
  }

  ByName<Component> components;
  ByName<IbisModel> models;
  ByName<Submodel> submodels;
  ByName<ModelSelector> selectors;
  ByName<PackageModel> package_models;
  ByName<BoardDescription> boards;
};

namespace {

// The public codes share the reader's numbering, so a cast carries them over.
static_assert(static_cast<int>(ModelPolarity::Inverting) == static_cast<int>(Polarity::Inverting));
static_assert(static_cast<int>(ModelEnable::ActiveLow) == static_cast<int>(Enable::ActiveLow));
static_assert(static_cast<int>(SubmodelKind::BusHold) == static_cast<int>(SubmodelType::BusHold));
static_assert(static_cast<int>(AddSubmodelMode::Invalid) == static_cast<int>(SubmodelMode::NoMode));
static_assert(static_cast<int>(MatrixForm::Full) == static_cast<int>(MatrixType::Full));
static_assert(static_cast<int>(PathElementKind::NC) == static_cast<int>(ChainElementKind::NC));
static_assert(static_cast<int>(ModelSpecParam::Vmeas) == static_cast<int>(MspecParam::Vmeas));
static_assert(kModelSpecParams == kMspecParams);
static_assert(static_cast<int>(MT_3STATE_ECL) == static_cast<int>(ModelType::ThreeStateECL));

template <class To, class From>
To code_cast(From code) {
  return static_cast<To>(static_cast<std::underlying_type_t<From>>(code));
}

Value value_of(double value, ValueStatus status) {
  switch (status) {
    case ValueStatus::Value: return {ValueState::Value, value};
    case ValueStatus::NA: return {ValueState::NA, 0.0};
    case ValueStatus::Absent: break;
  }
  return {};
}

TypMinMax triple_of(const Range& range) {
  return {value_of(range.typ, range.typ_status), value_of(range.min, range.min_status),
          value_of(range.max, range.max_status)};
}

std::optional<TypMinMax> triple_of(const std::unique_ptr<Range>& range) {
  if (!range) return std::nullopt;
  return triple_of(*range);
}

// The reader keeps an unset text empty.
std::optional<std::string_view> text_of(const std::string& text) {
  if (text.empty()) return std::nullopt;
  return std::string_view(text);
}

std::optional<std::uint32_t> count_of(std::uint32_t count) {
  if (count == 0) return std::nullopt;
  return count;
}

template <class View, class Record>
std::optional<View> view_of(const std::unique_ptr<Record>& record) {
  if (!record) return std::nullopt;
  return ViewAccess::make<View>(record.get());
}

// A List over a vector of the reader's records, each item made by `Make`.
template <class Item, class Element, Item (*Make)(const Element&)>
List<Item> list_of(const std::vector<Element>& items) {
  return List<Item>(&items, items.size(), [](const void* owner, std::size_t index) {
    return Make((*static_cast<const std::vector<Element>*>(owner))[index]);
  });
}

template <class View, class Record>
View view_item(const std::unique_ptr<Record>& record) {
  return ViewAccess::make<View>(record.get());
}

template <class View, class Record>
List<View> views_of(const std::vector<std::unique_ptr<Record>>& records) {
  return list_of<View, std::unique_ptr<Record>, &view_item<View, Record>>(records);
}

// ---- records made as values

PinInfo pin_info(const Pin& pin) {
  return {pin.name, pin.signal, pin.model, value_of(pin.r_pin, pin.r_pin_status),
          value_of(pin.l_pin, pin.l_pin_status), value_of(pin.c_pin, pin.c_pin_status)};
}

PinMappingInfo pin_mapping_info(const PinMappingRow& row) {
  return {row.pin, text_of(row.refs[kPulldownRef]), text_of(row.refs[kPullupRef]),
          text_of(row.refs[kGndClampRef]), text_of(row.refs[kPowerClampRef])};
}

Value diff_value(const DiffPinValue& value) { return value_of(value.value, value.status); }

DiffPinInfo diff_pin_info(const DiffPinRow& row) {
  return {row.pin, row.inv_pin, diff_value(row.vdiff),
          {diff_value(row.tdelay_typ), diff_value(row.tdelay_min), diff_value(row.tdelay_max)}};
}

SeriesPinInfo series_pin_info(const SeriesPinRow& row) {
  return {row.pin1, row.pin2, row.model, text_of(row.group)};
}

SwitchGroupInfo switch_group_info(const SwitchGroupEntry& entry) {
  return {entry.on, entry.groups};
}

RampSlope slope_of(const RampEntry& entry) {
  if (entry.status != ValueStatus::Value) return {value_of(0.0, entry.status).state, 0.0, 0.0};
  return {ValueState::Value, entry.dv, entry.dt};
}

std::optional<RampSlopes> slopes_of(const std::unique_ptr<RampRatio>& ratio) {
  if (!ratio) return std::nullopt;
  return RampSlopes{slope_of(ratio->typ), slope_of(ratio->min), slope_of(ratio->max)};
}

std::optional<RampInfo> ramp_info(const std::unique_ptr<Ramp>& ramp) {
  if (!ramp) return std::nullopt;
  RampInfo info{slopes_of(ramp->dvdt_r), slopes_of(ramp->dvdt_f), std::nullopt};
  if (ramp->r_load_given) info.r_load = ramp->r_load;
  return info;
}

Value delay_value(const Delay& delay) { return value_of(delay.value, delay.status); }

ScheduledModelInfo scheduled_model_info(const DriverScheduleEntry& entry) {
  const DriverDelays& d = entry.delays;
  return {entry.model_name, delay_value(d[kRiseOnDly]), delay_value(d[kRiseOffDly]),
          delay_value(d[kFallOnDly]), delay_value(d[kFallOffDly])};
}

AddedSubmodelInfo added_submodel_info(const AddSubmodelEntry& entry) {
  return {entry.name, code_cast<AddSubmodelMode>(entry.mode)};
}

SeriesMosfetInfo series_mosfet_info(const std::unique_ptr<SeriesMosfet>& mosfet) {
  return {mosfet->vds, view_of<ViTableView>(mosfet->table)};
}

SelectorChoiceInfo selector_choice_info(const ModelSelectorEntry& entry) {
  return {entry.name, entry.descriptor};
}

ModelSelectorInfo selector_info(const ModelSelector& selector) {
  return {selector.name,
          list_of<SelectorChoiceInfo, ModelSelectorEntry, &selector_choice_info>(selector.models)};
}

ModelSelectorInfo selector_item(const std::unique_ptr<ModelSelector>& selector) {
  return selector_info(*selector);
}

PathElementInfo path_element_info(const ChainElement& element);

List<PathElementInfo> chain_of(const SectionChain& chain) {
  return list_of<PathElementInfo, ChainElement, &path_element_info>(chain);
}

PathElementInfo path_element_info(const ChainElement& element) {
  PathElementInfo info;
  info.kind = code_cast<PathElementKind>(element.kind);
  if (element.kind == ChainElementKind::Section) {
    info.len = element.section.len;
    info.l = element.section.l;
    info.r = element.section.r;
    info.c = element.section.c;
  }
  info.designator = element.designator;
  info.pin = element.pin;
  info.branch = chain_of(element.branch);
  return info;
}

MatrixEntryInfo matrix_entry_info(const RowEntry& entry) { return {entry.slot, entry.value}; }

MatrixRowInfo matrix_row_info(const MatrixRow& row) {
  return {row.pin, list_of<MatrixEntryInfo, RowEntry, &matrix_entry_info>(row.entries)};
}

std::optional<MatrixInfo> matrix_info(const std::unique_ptr<Matrix>& matrix) {
  if (!matrix) return std::nullopt;
  MatrixInfo info;
  info.form = code_cast<MatrixForm>(matrix->type);
  if (matrix->bandwidth_given) info.bandwidth = matrix->bandwidth;
  info.rows = list_of<MatrixRowInfo, MatrixRow, &matrix_row_info>(matrix->rows);
  return info;
}

// A package pin is its place in [Pin Numbers] and, with sections, the chain beside it.
PackagePinInfo package_pin(const PackageModel& package, std::size_t index) {
  PackagePinInfo info{package.pin_numbers[index], {}};
  if (index < package.pin_sections.size()) info.sections = chain_of(package.pin_sections[index]);
  return info;
}

BoardPinInfo board_pin_info(const BoardPin& pin) { return {pin.name, pin.signal}; }

BoardPathInfo board_path_info(const BoardPath& path) { return {path.name, chain_of(path.elements)}; }

DesignatorInfo designator_info(const ReferenceDesignator& designator) {
  DesignatorInfo info{designator.name, designator.file_name, std::nullopt};
  if (designator.component_given) info.component = designator.component;
  return info;
}

// The text of a code in a table of settings, without the table's end marker.
template <class Code, std::size_t N>
std::string_view setting_text(const NamedCode<Code> (&rows)[N], Code code) {
  for (std::size_t i = 0; i + 1 < N; ++i)
    if (rows[i].code == code) return rows[i].name;
  return {};
}

// An empty view walks the lists of an empty document.
const IbisDocument& records_of(const IbisDocument* document) {
  static const IbisDocument kEmpty;
  return document ? *document : kEmpty;
}

// The names of a finished document, made on its first look-up (views exist only once the
// reading is over); null without a document or when memory runs short, and look-ups then scan.
const DocumentNames* names_of(const IbisDocument* document) {
  if (!document) return nullptr;
  std::call_once(document->names_made, [document] {
    try {
      document->names = std::make_shared<const DocumentNames>(*document);
    } catch (const std::bad_alloc&) {
    }
  });
  return document->names.get();
}

// The record of exactly this name that the reader uses, or null.
template <class Record>
const Record* named(const IbisDocument* document, std::string_view name,
                    DocumentNames::ByName<Record> DocumentNames::*indexed,
                    std::vector<std::unique_ptr<Record>> IbisDocument::*listed) {
  if (const DocumentNames* names = names_of(document)) {
    const auto found = (names->*indexed).find(name);
    return found == (names->*indexed).end() ? nullptr : found->second;
  }
  const Record* found = nullptr;
  for (const auto& record : records_of(document).*listed) {
    if (record->name != name) continue;
    found = record.get();
    if (!kLastNameCounts<Record>) break;
  }
  return found;
}

template <class View, class Record>
std::optional<View> view_of(const Record* record) {
  if (!record) return std::nullopt;
  return ViewAccess::make<View>(record);
}

}  // namespace

// ---- texts

std::string_view to_text(model_type type) noexcept {
  return setting_text(kModelTypeNames, code_cast<ModelType>(type));
}
std::string_view to_text(ModelPolarity polarity) noexcept {
  return setting_text(kPolarityNames, code_cast<Polarity>(polarity));
}
std::string_view to_text(ModelEnable enable) noexcept {
  return setting_text(kEnableNames, code_cast<Enable>(enable));
}
std::string_view to_text(SubmodelKind kind) noexcept {
  return submodel_type_text(code_cast<SubmodelType>(kind));
}
std::string_view to_text(AddSubmodelMode mode) noexcept {
  return submodel_mode_text(code_cast<SubmodelMode>(mode));
}
std::string_view to_text(ModelSpecParam param) noexcept {
  if (static_cast<std::size_t>(param) >= kModelSpecParams) return {};
  return mspec_param_name(code_cast<MspecParam>(param));
}
std::string_view to_text(Severity severity) noexcept {
  switch (severity) {
    case Severity::Error: return RPT_SeverityWord(RptSeverity::Error);
    case Severity::Warning: return RPT_SeverityWord(RptSeverity::Warning);
    case Severity::ProgramBug: return RPT_SeverityWord(RptSeverity::Bug);
  }
  return {};
}

// ---- rows

TableRow RowRange::iterator::operator*() const {
  TableRow row;
  static_cast<TypMinMax&>(row) = triple_of(*row_);
  row.x = value_of(row_->x, row_->x_status);
  return row;
}

RowRange::iterator& RowRange::iterator::operator++() {
  row_ = row_->next();
  return *this;
}

RowRange ViTableView::rows() const { return ViewAccess::rows(table_->rows); }

std::optional<double> WaveformView::r_fixture() const { return waveform_->r_fixture; }
std::optional<double> WaveformView::v_fixture() const { return waveform_->v_fixture; }
std::optional<double> WaveformView::v_fixture_min() const { return waveform_->v_fixture_min; }
std::optional<double> WaveformView::v_fixture_max() const { return waveform_->v_fixture_max; }
std::optional<double> WaveformView::c_fixture() const { return waveform_->c_fixture; }
std::optional<double> WaveformView::l_fixture() const { return waveform_->l_fixture; }
std::optional<double> WaveformView::r_dut() const { return waveform_->r_dut; }
std::optional<double> WaveformView::l_dut() const { return waveform_->l_dut; }
std::optional<double> WaveformView::c_dut() const { return waveform_->c_dut; }
RowRange WaveformView::rows() const { return ViewAccess::rows(waveform_->rows); }

std::optional<TypMinMax> ModelSpecView::get(ModelSpecParam param) const {
  const auto index = static_cast<std::size_t>(param);
  if (index >= kModelSpecParams) return std::nullopt;
  return triple_of(spec_->values[index]);
}

// ---- series data

std::optional<TypMinMax> SeriesView::r_series() const { return triple_of(info_->r_series); }
std::optional<TypMinMax> SeriesView::l_series() const { return triple_of(info_->l_series); }
std::optional<TypMinMax> SeriesView::rl_series() const { return triple_of(info_->rl_series); }
std::optional<TypMinMax> SeriesView::c_series() const { return triple_of(info_->c_series); }
std::optional<TypMinMax> SeriesView::lc_series() const { return triple_of(info_->lc_series); }
std::optional<TypMinMax> SeriesView::rc_series() const { return triple_of(info_->rc_series); }
std::optional<ViTableView> SeriesView::series_current() const {
  return view_of<ViTableView>(info_->series_current);
}
List<SeriesMosfetInfo> SeriesView::series_mosfets() const {
  return list_of<SeriesMosfetInfo, std::unique_ptr<SeriesMosfet>, &series_mosfet_info>(
      info_->series_mosfets);
}

// ---- models

std::string_view ModelView::name() const { return model_->name; }
model_type ModelView::type() const { return code_cast<model_type>(model_->model_type); }
std::string_view ModelView::type_text() const { return to_text(type()); }
ModelPolarity ModelView::polarity() const { return code_cast<ModelPolarity>(model_->polarity); }
ModelEnable ModelView::enable() const { return code_cast<ModelEnable>(model_->enable); }
std::optional<double> ModelView::vinl() const { return model_->vinl; }
std::optional<double> ModelView::vinh() const { return model_->vinh; }
std::optional<double> ModelView::vmeas() const { return model_->vmeas; }
std::optional<double> ModelView::cref() const { return model_->cref; }
std::optional<double> ModelView::rref() const { return model_->rref; }
std::optional<double> ModelView::vref() const { return model_->vref; }
std::optional<TypMinMax> ModelView::c_comp() const { return triple_of(model_->c_comp); }
std::optional<TypMinMax> ModelView::temperature_range() const {
  return triple_of(model_->temperature_range);
}
std::optional<TypMinMax> ModelView::voltage_range() const {
  return triple_of(model_->voltage_range);
}
std::optional<TypMinMax> ModelView::pullup_reference() const {
  return triple_of(model_->pullup_reference);
}
std::optional<TypMinMax> ModelView::pulldown_reference() const {
  return triple_of(model_->pulldown_reference);
}
std::optional<TypMinMax> ModelView::power_clamp_reference() const {
  return triple_of(model_->power_clamp_reference);
}
std::optional<TypMinMax> ModelView::gnd_clamp_reference() const {
  return triple_of(model_->gnd_clamp_reference);
}
std::optional<TypMinMax> ModelView::ttgnd() const { return triple_of(model_->ttgnd); }
std::optional<TypMinMax> ModelView::ttpower() const { return triple_of(model_->ttpower); }
std::optional<TypMinMax> ModelView::rgnd() const { return triple_of(model_->rgnd); }
std::optional<TypMinMax> ModelView::rpower() const { return triple_of(model_->rpower); }
std::optional<TypMinMax> ModelView::rac() const { return triple_of(model_->rac); }
std::optional<TypMinMax> ModelView::cac() const { return triple_of(model_->cac); }
std::optional<ViTableView> ModelView::pulldown() const {
  return view_of<ViTableView>(model_->pulldown);
}
std::optional<ViTableView> ModelView::pullup() const { return view_of<ViTableView>(model_->pullup); }
std::optional<ViTableView> ModelView::gnd_clamp() const {
  return view_of<ViTableView>(model_->gnd_clamp);
}
std::optional<ViTableView> ModelView::power_clamp() const {
  return view_of<ViTableView>(model_->power_clamp);
}
std::optional<RampInfo> ModelView::ramp() const { return ramp_info(model_->ramp); }
List<WaveformView> ModelView::rising_waveforms() const {
  return views_of<WaveformView>(model_->rising_waveforms);
}
List<WaveformView> ModelView::falling_waveforms() const {
  return views_of<WaveformView>(model_->falling_waveforms);
}
std::optional<ModelSpecView> ModelView::model_spec() const {
  return view_of<ModelSpecView>(model_->model_spec);
}
std::optional<List<ScheduledModelInfo>> ModelView::driver_schedule() const {
  if (!model_->driver_schedule) return std::nullopt;
  return list_of<ScheduledModelInfo, DriverScheduleEntry, &scheduled_model_info>(
      model_->driver_schedule->entries);
}
List<AddedSubmodelInfo> ModelView::add_submodels() const {
  return list_of<AddedSubmodelInfo, AddSubmodelEntry, &added_submodel_info>(model_->add_submodels);
}
std::optional<SeriesView> ModelView::on() const { return view_of<SeriesView>(model_->on_block); }
std::optional<SeriesView> ModelView::off() const { return view_of<SeriesView>(model_->off_block); }

// ---- submodels

std::string_view SubmodelView::name() const { return submodel_->name; }
SubmodelKind SubmodelView::kind() const { return code_cast<SubmodelKind>(submodel_->submodel_type); }
std::optional<ViTableView> SubmodelView::pulldown() const {
  return view_of<ViTableView>(submodel_->pulldown);
}
std::optional<ViTableView> SubmodelView::pullup() const {
  return view_of<ViTableView>(submodel_->pullup);
}
std::optional<ViTableView> SubmodelView::gnd_clamp() const {
  return view_of<ViTableView>(submodel_->gnd_clamp);
}
std::optional<ViTableView> SubmodelView::power_clamp() const {
  return view_of<ViTableView>(submodel_->power_clamp);
}
std::optional<RampInfo> SubmodelView::ramp() const { return ramp_info(submodel_->ramp); }
List<WaveformView> SubmodelView::rising_waveforms() const {
  return views_of<WaveformView>(submodel_->rising);
}
List<WaveformView> SubmodelView::falling_waveforms() const {
  return views_of<WaveformView>(submodel_->falling);
}
std::optional<WaveformView> SubmodelView::gnd_pulse_table() const {
  return view_of<WaveformView>(submodel_->gnd_pulse);
}
std::optional<WaveformView> SubmodelView::power_pulse_table() const {
  return view_of<WaveformView>(submodel_->power_pulse);
}
bool SubmodelView::has_submodel_spec() const { return submodel_->spec != nullptr; }
std::optional<TypMinMax> SubmodelView::v_trigger_r() const {
  return submodel_->spec ? triple_of(submodel_->spec->v_trigger_r) : std::nullopt;
}
std::optional<TypMinMax> SubmodelView::v_trigger_f() const {
  return submodel_->spec ? triple_of(submodel_->spec->v_trigger_f) : std::nullopt;
}
std::optional<TypMinMax> SubmodelView::off_delay() const {
  return submodel_->spec ? triple_of(submodel_->spec->off_delay) : std::nullopt;
}

// ---- components

std::string_view ComponentView::name() const { return component_->name; }
std::optional<std::string_view> ComponentView::manufacturer() const {
  return text_of(component_->manufacturer);
}
std::optional<PackageInfo> ComponentView::package() const {
  const Package* package = component_->package.get();
  if (!package) return std::nullopt;
  return PackageInfo{triple_of(package->r_pkg), triple_of(package->l_pkg),
                     triple_of(package->c_pkg)};
}
std::optional<std::string_view> ComponentView::package_model() const {
  return text_of(component_->package_model);
}
std::optional<std::string_view> ComponentView::si_location() const {
  return text_of(component_->si_location);
}
std::optional<std::string_view> ComponentView::timing_location() const {
  return text_of(component_->timing_location);
}
List<PinInfo> ComponentView::pins() const {
  return list_of<PinInfo, Pin, &pin_info>(component_->pins.pins);
}
std::optional<PinInfo> ComponentView::find_pin(std::string_view name) const {
  const Pin* pin = nullptr;
  if (!PIN_Find(&component_->pins, name, &pin)) return std::nullopt;
  return pin_info(*pin);
}
List<PinMappingInfo> ComponentView::pin_mapping() const {
  return list_of<PinMappingInfo, PinMappingRow, &pin_mapping_info>(component_->pin_mapping.rows);
}
List<DiffPinInfo> ComponentView::diff_pins() const {
  return list_of<DiffPinInfo, DiffPinRow, &diff_pin_info>(component_->diff_pins.rows);
}
List<SeriesPinInfo> ComponentView::series_pin_mapping() const {
  return list_of<SeriesPinInfo, SeriesPinRow, &series_pin_info>(component_->series_pins.rows);
}
List<SwitchGroupInfo> ComponentView::series_switch_groups() const {
  return list_of<SwitchGroupInfo, SwitchGroupEntry, &switch_group_info>(
      component_->switch_groups.entries);
}

// ---- package models

std::string_view PackageModelView::name() const { return package_->name; }
std::optional<std::string_view> PackageModelView::manufacturer() const {
  return text_of(package_->manufacturer);
}
std::optional<std::string_view> PackageModelView::oem() const { return text_of(package_->oem); }
std::optional<std::string_view> PackageModelView::description() const {
  return text_of(package_->description);
}
std::optional<std::uint32_t> PackageModelView::number_of_pins() const {
  return count_of(package_->number_of_pins);
}
std::optional<std::uint32_t> PackageModelView::number_of_sections() const {
  return count_of(package_->number_of_sections);
}
List<PackagePinInfo> PackageModelView::pins() const {
  return List<PackagePinInfo>(package_, package_->pin_numbers.size(),
                              [](const void* owner, std::size_t index) {
                                return package_pin(*static_cast<const PackageModel*>(owner), index);
                              });
}
std::optional<MatrixInfo> PackageModelView::resistance_matrix() const {
  return matrix_info(package_->resistance);
}
std::optional<MatrixInfo> PackageModelView::inductance_matrix() const {
  return matrix_info(package_->inductance);
}
std::optional<MatrixInfo> PackageModelView::capacitance_matrix() const {
  return matrix_info(package_->capacitance);
}

// ---- boards

std::string_view BoardView::name() const { return board_->name; }
std::optional<std::string_view> BoardView::manufacturer() const {
  return text_of(board_->manufacturer);
}
std::optional<std::uint32_t> BoardView::number_of_pins() const {
  return count_of(board_->number_of_pins);
}
List<BoardPinInfo> BoardView::pins() const {
  return list_of<BoardPinInfo, BoardPin, &board_pin_info>(board_->pins);
}
List<BoardPathInfo> BoardView::paths() const {
  return list_of<BoardPathInfo, BoardPath, &board_path_info>(board_->paths);
}
List<DesignatorInfo> BoardView::reference_designators() const {
  return list_of<DesignatorInfo, ReferenceDesignator, &designator_info>(
      board_->reference_designators);
}

// ---- the document

HeaderInfo DocumentView::header() const {
  HeaderInfo info;
  const FileHeader* header = document_ ? document_->header.get() : nullptr;
  if (!header) return info;
  using Getter = int (*)(const FileHeader*, std::string_view*);
  const struct {
    Getter get;
    std::optional<std::string_view> HeaderInfo::*field;
  } texts[] = {
      {&HDR_GetIbisVersion, &HeaderInfo::ibis_version}, {&HDR_GetFileName, &HeaderInfo::file_name},
      {&HDR_GetFileRev, &HeaderInfo::file_rev},         {&HDR_GetDate, &HeaderInfo::date},
      {&HDR_GetSource, &HeaderInfo::source},            {&HDR_GetNotes, &HeaderInfo::notes},
      {&HDR_GetDisclaimer, &HeaderInfo::disclaimer},    {&HDR_GetCopyright, &HeaderInfo::copyright},
  };
  for (const auto& text : texts) {
    std::string_view value;
    if (text.get(header, &value)) info.*text.field = value;
  }
  return info;
}

List<ComponentView> DocumentView::components() const {
  return views_of<ComponentView>(records_of(document_).components);
}
std::optional<ComponentView> DocumentView::find_component(std::string_view name) const {
  return view_of<ComponentView>(
      named(document_, name, &DocumentNames::components, &IbisDocument::components));
}
List<ModelView> DocumentView::models() const {
  return views_of<ModelView>(records_of(document_).models);
}
std::optional<ModelView> DocumentView::find_model(std::string_view name) const {
  return view_of<ModelView>(named(document_, name, &DocumentNames::models, &IbisDocument::models));
}
List<SubmodelView> DocumentView::submodels() const {
  return views_of<SubmodelView>(records_of(document_).submodels);
}
std::optional<SubmodelView> DocumentView::find_submodel(std::string_view name) const {
  return view_of<SubmodelView>(
      named(document_, name, &DocumentNames::submodels, &IbisDocument::submodels));
}
List<ModelSelectorInfo> DocumentView::model_selectors() const {
  return list_of<ModelSelectorInfo, std::unique_ptr<ModelSelector>, &selector_item>(
      records_of(document_).selectors);
}
std::optional<ModelSelectorInfo> DocumentView::find_model_selector(std::string_view name) const {
  const ModelSelector* selector =
      named(document_, name, &DocumentNames::selectors, &IbisDocument::selectors);
  if (!selector) return std::nullopt;
  return selector_info(*selector);
}
List<PackageModelView> DocumentView::package_models() const {
  return views_of<PackageModelView>(records_of(document_).package_models);
}
std::optional<PackageModelView> DocumentView::find_package_model(std::string_view name) const {
  return view_of<PackageModelView>(
      named(document_, name, &DocumentNames::package_models, &IbisDocument::package_models));
}
List<BoardView> DocumentView::boards() const {
  return views_of<BoardView>(records_of(document_).boards);
}
std::optional<BoardView> DocumentView::find_board(std::string_view name) const {
  return view_of<BoardView>(named(document_, name, &DocumentNames::boards, &IbisDocument::boards));
}

}  // namespace tarn
