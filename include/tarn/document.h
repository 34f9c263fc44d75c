// Reading an IBIS source (.ibs, .pkg, .ebd) into a document a program can walk, with the
// findings of the check as data.
//
//   tarn::ReadResult result = tarn::read_file("part.ibs");
//   for (const tarn::Finding& f : result.findings()) ...
//   if (auto model = result.document().find_model("DRV"))
//     if (auto pulldown = model->pulldown())
//       for (const tarn::TableRow& row : pulldown->rows()) ...
//
// Nothing here throws. Every view (a `...View` handle, a `...Info` record, a List, a RowRange,
// a string_view) points into the ReadResult it came from and is valid while that result lives
// and is not moved from; views are cheap to copy. Reads are serialised by the library's
// process-wide hold; a result may then be used and destroyed on any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <iterator>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tarn/export.h"
#include "tarn/ibis_types.h"

namespace tarn {

// The reader's own records, which the views point into.
struct IbisDocument;
struct Component;
struct IbisModel;
struct Submodel;
struct PackageModel;
struct BoardDescription;
struct ViTable;
struct Waveform;
struct SeriesInfo;
struct ModelSpec;
struct RangeRow;
struct ViewAccess;

// ---------------------------------------------------------------------------------------------
// Values

/// Whether an entry of the file was left out, given as "NA", or given as a number.
enum class ValueState : std::uint8_t { Absent = 0, NA = 1, Value = 2 };

/// One entry: `value` is meaningful only when `state` is ValueState::Value.
struct Value {
  ValueState state = ValueState::Absent;
  double value = 0.0;

  constexpr bool has_value() const noexcept { return state == ValueState::Value; }
  constexpr bool is_na() const noexcept { return state == ValueState::NA; }
  /// The number, or nothing when absent or "NA".
  constexpr std::optional<double> number() const noexcept {
    return has_value() ? std::optional<double>(value) : std::nullopt;
  }
  friend constexpr bool operator==(const Value&, const Value&) = default;
};

/// A typ/min/max triple, each entry with its own state.
struct TypMinMax {
  Value typ;
  Value min;
  Value max;

  /// The entry of one corner as the file gives it.
  constexpr const Value& at(eTypMinMax corner) const noexcept {
    return corner == eMin ? min : corner == eMax ? max : typ;
  }
  /// The number of a corner; a minimum or maximum that holds no number falls back to the
  /// typical one, as simulators read a table. Nothing when that holds none either.
  constexpr std::optional<double> select(eTypMinMax corner) const noexcept {
    const Value& v = at(corner);
    return v.has_value() ? v.number() : typ.number();
  }
  friend constexpr bool operator==(const TypMinMax&, const TypMinMax&) = default;
};

/// One row of a VI table (x the voltage, the currents) or of a waveform (x the time, the
/// voltages).
struct TableRow : TypMinMax {
  Value x;
  friend constexpr bool operator==(const TableRow&, const TableRow&) = default;
};

// ---------------------------------------------------------------------------------------------
// Ranges

/// A read-only, random-access sequence of items made on access (a record view or an Info
/// value). `operator[]` requires an index below size().
template <class Item>
class List {
 public:
  using value_type = Item;
  using size_type = std::size_t;
  using difference_type = std::ptrdiff_t;
  /// Makes item `index` of the sequence that `owner` stands for.
  using Maker = Item (*)(const void* owner, std::size_t index);

  class iterator {
   public:
    using iterator_concept = std::forward_iterator_tag;
    using iterator_category = std::input_iterator_tag;
    using value_type = Item;
    using difference_type = std::ptrdiff_t;

    iterator() = default;
    Item operator*() const { return (*list_)[index_]; }
    iterator& operator++() {
      ++index_;
      return *this;
    }
    iterator operator++(int) {
      iterator before = *this;
      ++index_;
      return before;
    }
    friend bool operator==(const iterator& a, const iterator& b) { return a.index_ == b.index_; }

   private:
    friend class List;
    iterator(const List* list, std::size_t index) : list_(list), index_(index) {}
    const List* list_ = nullptr;
    std::size_t index_ = 0;
  };

  List() = default;
  /// Made by the library.
  List(const void* owner, std::size_t size, Maker maker) noexcept
      : owner_(owner), size_(size), maker_(maker) {}

  std::size_t size() const noexcept { return size_; }
  bool empty() const noexcept { return size_ == 0; }
  Item operator[](std::size_t index) const { return maker_(owner_, index); }
  Item front() const { return (*this)[0]; }
  Item back() const { return (*this)[size_ - 1]; }
  iterator begin() const { return iterator(this, 0); }
  iterator end() const { return iterator(this, size_); }

 private:
  const void* owner_ = nullptr;
  std::size_t size_ = 0;
  Maker maker_ = nullptr;
};

/// The rows of a table in file order, walked forward.
class TARN_API RowRange {
 public:
  class TARN_API iterator {
   public:
    using iterator_concept = std::forward_iterator_tag;
    using iterator_category = std::input_iterator_tag;
    using value_type = TableRow;
    using difference_type = std::ptrdiff_t;

    iterator() = default;
    TableRow operator*() const;
    iterator& operator++();
    iterator operator++(int) {
      iterator before = *this;
      ++*this;
      return before;
    }
    friend bool operator==(const iterator& a, const iterator& b) { return a.row_ == b.row_; }

   private:
    friend class RowRange;
    explicit iterator(const RangeRow* row) : row_(row) {}
    const RangeRow* row_ = nullptr;
  };

  RowRange() = default;
  std::size_t size() const noexcept { return size_; }
  bool empty() const noexcept { return size_ == 0; }
  iterator begin() const { return iterator(first_); }
  iterator end() const { return iterator(); }

 private:
  friend struct ViewAccess;
  RowRange(const RangeRow* first, std::size_t size) : first_(first), size_(size) {}
  const RangeRow* first_ = nullptr;
  std::size_t size_ = 0;
};

// ---------------------------------------------------------------------------------------------
// Findings

enum class Severity : std::uint8_t { Error = 0, Warning = 1, ProgramBug = 2 };

/// One line of the report as data.
struct Finding {
  Severity severity = Severity::Error;
  /// The file name the report shows: the name of the file being read (a package or board
  /// file read on the way shows its own), empty when names are hidden.
  std::string file;
  /// The source line; absent for the checks that run once a section or the file has ended.
  std::optional<std::uint32_t> line;
  /// The message as the report writes it, its two-line form joined on one line. The few
  /// messages that break a line themselves (a curve check's second line) keep that break.
  std::string message;
};

/// The findings by severity.
struct Counts {
  std::uint32_t errors = 0;
  std::uint32_t warnings = 0;
  std::uint32_t bugs = 0;
};

// ---------------------------------------------------------------------------------------------
// The document

/// The kind of a source, from its extension without regard to case.
enum class SourceKind : std::uint8_t { Unknown = 0, Ibs = 1, Pkg = 2, Ebd = 3 };

/// The file header; each text is absent when its keyword was not given. The free texts
/// ([Source], [Notes], [Disclaimer], [Copyright]) join their lines with a line feed.
struct HeaderInfo {
  std::optional<std::string_view> ibis_version;
  std::optional<std::string_view> file_name;
  std::optional<std::string_view> file_rev;
  std::optional<std::string_view> date;
  std::optional<std::string_view> source;
  std::optional<std::string_view> notes;
  std::optional<std::string_view> disclaimer;
  std::optional<std::string_view> copyright;
};

/// [Package] of a component; a line not given is absent.
struct PackageInfo {
  std::optional<TypMinMax> r_pkg;
  std::optional<TypMinMax> l_pkg;
  std::optional<TypMinMax> c_pkg;
};

/// A row of [Pin]. R_pin, L_pin and C_pin are absent where the row or its header has none.
struct PinInfo {
  std::string_view name;
  std::string_view signal;
  std::string_view model;
  Value r_pin;
  Value l_pin;
  Value c_pin;
};

/// A row of [Pin Mapping]; a bus column the row leaves out is absent ("NC" is kept as given).
struct PinMappingInfo {
  std::string_view pin;
  std::optional<std::string_view> pulldown_ref;
  std::optional<std::string_view> pullup_ref;
  std::optional<std::string_view> gnd_clamp_ref;
  std::optional<std::string_view> power_clamp_ref;
};

/// A row of [Diff Pin].
struct DiffPinInfo {
  std::string_view pin;
  std::string_view inv_pin;
  Value vdiff;
  TypMinMax tdelay;
};

/// A row of [Series Pin Mapping].
struct SeriesPinInfo {
  std::string_view pin1;
  std::string_view pin2;
  std::string_view model;
  std::optional<std::string_view> function_table_group;
};

/// An entry of [Series Switch Groups]: a state and the groups in it, in file order.
struct SwitchGroupInfo {
  bool on = false;  ///< "On"; false for "Off"
  std::span<const std::string> groups;
};

/// One dV/dt entry of [Ramp], such as 1.2/0.5n: dv and dt are meaningful only with the state
/// ValueState::Value.
struct RampSlope {
  ValueState state = ValueState::Absent;
  double dv = 0.0;
  double dt = 0.0;
};
struct RampSlopes {
  RampSlope typ;
  RampSlope min;
  RampSlope max;
};
/// [Ramp]: a line not given is absent.
struct RampInfo {
  std::optional<RampSlopes> dv_dt_r;
  std::optional<RampSlopes> dv_dt_f;
  std::optional<double> r_load;
};

/// A model [Driver Schedule] switches, with its four delays.
struct ScheduledModelInfo {
  std::string_view model;
  Value rise_on_dly;
  Value rise_off_dly;
  Value fall_on_dly;
  Value fall_off_dly;
};

/// The mode of an [Add Submodel] line; Invalid for a mode that was refused.
enum class AddSubmodelMode : std::uint8_t { Driving = 0, NonDriving = 1, All = 2, Invalid = 3 };
/// A line of [Add Submodel].
struct AddedSubmodelInfo {
  std::string_view name;
  AddSubmodelMode mode = AddSubmodelMode::Invalid;
};

/// Polarity and Enable of a model: not given, given with a value that was refused, or one of
/// the two settings.
enum class ModelPolarity : std::uint8_t { NotGiven = 0, Invalid = 1, NonInverting = 2, Inverting = 3 };
enum class ModelEnable : std::uint8_t { NotGiven = 0, Invalid = 1, ActiveHigh = 2, ActiveLow = 3 };
/// Submodel_type of a submodel.
enum class SubmodelKind : std::uint8_t { NotGiven = 0, Invalid = 1, DynamicClamp = 2, BusHold = 3 };

/// The subparameters of [Model Spec], in the order of its table.
enum class ModelSpecParam : std::uint8_t {
  Vinh, Vinl, VinhPlus, VinhMinus, VinlPlus, VinlMinus, SOvershootHigh, SOvershootLow,
  DOvershootHigh, DOvershootLow, DOvershootTime, PulseHigh, PulseLow, PulseTime, Vmeas,
};
inline constexpr std::size_t kModelSpecParams = 15;

/// The text a file writes for a setting: "I/O_open_drain", "Non-Inverting", "Active-Low",
/// "Dynamic_clamp", "Non-Driving", "S_overshoot_high", "WARNING"... Empty for NotGiven and
/// Invalid settings and for a model type without a name.
TARN_API std::string_view to_text(model_type type) noexcept;
TARN_API std::string_view to_text(ModelPolarity polarity) noexcept;
TARN_API std::string_view to_text(ModelEnable enable) noexcept;
TARN_API std::string_view to_text(SubmodelKind kind) noexcept;
TARN_API std::string_view to_text(AddSubmodelMode mode) noexcept;
TARN_API std::string_view to_text(ModelSpecParam param) noexcept;
TARN_API std::string_view to_text(Severity severity) noexcept;

/// A VI table ([Pulldown], [Pullup], [GND Clamp], [POWER Clamp], [Series Current], a table of
/// [Series MOSFET]): rows of the voltage and the typ/min/max currents in file order.
class TARN_API ViTableView {
 public:
  RowRange rows() const;

 private:
  friend struct ViewAccess;
  explicit ViTableView(const ViTable* table) : table_(table) {}
  const ViTable* table_;
};

/// [Rising Waveform], [Falling Waveform], or a submodel's pulse table: the fixture (absent
/// where not given) and the rows of time and typ/min/max voltage in file order.
class TARN_API WaveformView {
 public:
  std::optional<double> r_fixture() const;
  std::optional<double> v_fixture() const;
  std::optional<double> v_fixture_min() const;
  std::optional<double> v_fixture_max() const;
  std::optional<double> c_fixture() const;
  std::optional<double> l_fixture() const;
  std::optional<double> r_dut() const;
  std::optional<double> l_dut() const;
  std::optional<double> c_dut() const;
  RowRange rows() const;

 private:
  friend struct ViewAccess;
  explicit WaveformView(const Waveform* waveform) : waveform_(waveform) {}
  const Waveform* waveform_;
};

/// [Model Spec] of a model.
class TARN_API ModelSpecView {
 public:
  /// The subparameter's values, absent when not given.
  std::optional<TypMinMax> get(ModelSpecParam param) const;

 private:
  friend struct ViewAccess;
  explicit ModelSpecView(const ModelSpec* spec) : spec_(spec) {}
  const ModelSpec* spec_;
};

/// A table of [Series MOSFET] with its Vds (absent when its line held no number).
struct SeriesMosfetInfo {
  std::optional<double> vds;
  std::optional<ViTableView> table;
};

/// The series data of a Series model, or of the [On] or [Off] state of a Series_switch model.
class TARN_API SeriesView {
 public:
  std::optional<TypMinMax> r_series() const;
  std::optional<TypMinMax> l_series() const;
  std::optional<TypMinMax> rl_series() const;
  std::optional<TypMinMax> c_series() const;
  std::optional<TypMinMax> lc_series() const;
  std::optional<TypMinMax> rc_series() const;
  std::optional<ViTableView> series_current() const;
  List<SeriesMosfetInfo> series_mosfets() const;

 private:
  friend struct ViewAccess;
  explicit SeriesView(const SeriesInfo* info) : info_(info) {}
  const SeriesInfo* info_;
};

/// One [Model]. Values whose keyword or subparameter was not given are absent.
class TARN_API ModelView {
 public:
  std::string_view name() const;
  model_type type() const;
  /// The Model_type as the file spells it; empty when not given or refused.
  std::string_view type_text() const;
  ModelPolarity polarity() const;
  ModelEnable enable() const;
  std::optional<double> vinl() const;
  std::optional<double> vinh() const;
  std::optional<double> vmeas() const;
  std::optional<double> cref() const;
  std::optional<double> rref() const;
  std::optional<double> vref() const;
  std::optional<TypMinMax> c_comp() const;
  std::optional<TypMinMax> temperature_range() const;
  std::optional<TypMinMax> voltage_range() const;
  std::optional<TypMinMax> pullup_reference() const;
  std::optional<TypMinMax> pulldown_reference() const;
  std::optional<TypMinMax> power_clamp_reference() const;
  std::optional<TypMinMax> gnd_clamp_reference() const;
  std::optional<TypMinMax> ttgnd() const;
  std::optional<TypMinMax> ttpower() const;
  std::optional<TypMinMax> rgnd() const;
  std::optional<TypMinMax> rpower() const;
  std::optional<TypMinMax> rac() const;
  std::optional<TypMinMax> cac() const;
  std::optional<ViTableView> pulldown() const;
  std::optional<ViTableView> pullup() const;
  std::optional<ViTableView> gnd_clamp() const;
  std::optional<ViTableView> power_clamp() const;
  std::optional<RampInfo> ramp() const;
  List<WaveformView> rising_waveforms() const;
  List<WaveformView> falling_waveforms() const;
  std::optional<ModelSpecView> model_spec() const;
  /// [Driver Schedule]; absent when the model has none.
  std::optional<List<ScheduledModelInfo>> driver_schedule() const;
  List<AddedSubmodelInfo> add_submodels() const;
  /// The series data: of [On], or the whole data of a Series model.
  std::optional<SeriesView> on() const;
  /// The series data of [Off].
  std::optional<SeriesView> off() const;

 private:
  friend struct ViewAccess;
  explicit ModelView(const IbisModel* model) : model_(model) {}
  const IbisModel* model_;
};

/// One [Submodel]. Values whose keyword was not given are absent.
class TARN_API SubmodelView {
 public:
  std::string_view name() const;
  SubmodelKind kind() const;
  std::optional<ViTableView> pulldown() const;
  std::optional<ViTableView> pullup() const;
  std::optional<ViTableView> gnd_clamp() const;
  std::optional<ViTableView> power_clamp() const;
  std::optional<RampInfo> ramp() const;
  List<WaveformView> rising_waveforms() const;
  List<WaveformView> falling_waveforms() const;
  std::optional<WaveformView> gnd_pulse_table() const;
  std::optional<WaveformView> power_pulse_table() const;
  /// Whether [Submodel Spec] was given; its values follow.
  bool has_submodel_spec() const;
  std::optional<TypMinMax> v_trigger_r() const;
  std::optional<TypMinMax> v_trigger_f() const;
  std::optional<TypMinMax> off_delay() const;

 private:
  friend struct ViewAccess;
  explicit SubmodelView(const Submodel* submodel) : submodel_(submodel) {}
  const Submodel* submodel_;
};

/// A model line of [Model Selector].
struct SelectorChoiceInfo {
  std::string_view model;
  std::string_view description;
};
/// One [Model Selector] with its model lines in file order.
struct ModelSelectorInfo {
  std::string_view name;
  List<SelectorChoiceInfo> models;
};

/// One [Component].
class TARN_API ComponentView {
 public:
  std::string_view name() const;
  std::optional<std::string_view> manufacturer() const;
  std::optional<PackageInfo> package() const;
  /// The name [Package Model] gives.
  std::optional<std::string_view> package_model() const;
  std::optional<std::string_view> si_location() const;
  std::optional<std::string_view> timing_location() const;
  List<PinInfo> pins() const;
  /// The pin of exactly that name.
  std::optional<PinInfo> find_pin(std::string_view name) const;
  List<PinMappingInfo> pin_mapping() const;
  List<DiffPinInfo> diff_pins() const;
  List<SeriesPinInfo> series_pin_mapping() const;
  List<SwitchGroupInfo> series_switch_groups() const;

 private:
  friend struct ViewAccess;
  explicit ComponentView(const Component* component) : component_(component) {}
  const Component* component_;
};

/// What an element of a package pin's sections or of a board path is.
enum class PathElementKind : std::uint8_t { Fork = 0, Pin = 1, Node = 2, Section = 3, NC = 4 };
/// An element of a chain: an R/L/C section (its items absent where not given), a fork with
/// its branch, a board pin, a node (a pin of a placed part) or the NC that ends a branch.
struct PathElementInfo {
  PathElementKind kind = PathElementKind::Section;
  std::optional<double> len;
  std::optional<double> l;
  std::optional<double> r;
  std::optional<double> c;
  std::string_view designator;  ///< of a node
  std::string_view pin;         ///< of a pin or a node
  List<PathElementInfo> branch;  ///< of a fork
};

/// A pin of [Pin Numbers] with its sections (empty without [Number Of Sections]).
struct PackagePinInfo {
  std::string_view name;
  List<PathElementInfo> sections;
};

/// A given value of a matrix row and its slot, from 1: for banded and full rows slot 1 is the
/// diagonal and slot k the k-th column from it; for sparse rows slot k is column k.
struct MatrixEntryInfo {
  std::uint32_t slot = 0;
  double value = 0.0;
};
/// A [Row] of a matrix: its pin and the slots the file fills.
struct MatrixRowInfo {
  std::string_view pin;
  List<MatrixEntryInfo> entries;
};
/// How a matrix is stored; a banded matrix whose rows run past the last column is BandedWrap.
enum class MatrixForm : std::uint8_t { Unknown = 0, Banded = 1, BandedWrap = 2, Sparse = 3, Full = 4 };
/// [Resistance Matrix], [Inductance Matrix] or [Capacitance Matrix].
struct MatrixInfo {
  MatrixForm form = MatrixForm::Unknown;
  std::optional<std::uint32_t> bandwidth;
  List<MatrixRowInfo> rows;
};

/// One [Define Package Model].
class TARN_API PackageModelView {
 public:
  std::string_view name() const;
  std::optional<std::string_view> manufacturer() const;
  std::optional<std::string_view> oem() const;
  std::optional<std::string_view> description() const;
  /// Absent when not given or refused.
  std::optional<std::uint32_t> number_of_pins() const;
  std::optional<std::uint32_t> number_of_sections() const;
  /// [Pin Numbers] in file order.
  List<PackagePinInfo> pins() const;
  std::optional<MatrixInfo> resistance_matrix() const;
  std::optional<MatrixInfo> inductance_matrix() const;
  std::optional<MatrixInfo> capacitance_matrix() const;

 private:
  friend struct ViewAccess;
  explicit PackageModelView(const PackageModel* package) : package_(package) {}
  const PackageModel* package_;
};

/// A line of a board's [Pin List].
struct BoardPinInfo {
  std::string_view name;
  std::string_view signal;
};
/// A [Path Description] from a board pin: its pins, nodes, sections, forks and NC in file order.
struct BoardPathInfo {
  std::string_view name;
  List<PathElementInfo> elements;
};
/// A line of [Reference Designator Map].
struct DesignatorInfo {
  std::string_view name;
  std::string_view file_name;
  std::optional<std::string_view> component;
};

/// One [Begin Board Description].
class TARN_API BoardView {
 public:
  std::string_view name() const;
  std::optional<std::string_view> manufacturer() const;
  /// Absent when not given or refused.
  std::optional<std::uint32_t> number_of_pins() const;
  List<BoardPinInfo> pins() const;
  List<BoardPathInfo> paths() const;
  List<DesignatorInfo> reference_designators() const;

 private:
  friend struct ViewAccess;
  explicit BoardView(const BoardDescription* board) : board_(board) {}
  const BoardDescription* board_;
};

/// The records of one reading, each list in file order. A look-up compares names exactly and,
/// where a name is defined twice, finds the one the reader uses (the last [Model], [Submodel]
/// or package model; the first component, selector or board).
class TARN_API DocumentView {
 public:
  /// An empty document: no header, no records.
  DocumentView() = default;
  HeaderInfo header() const;
  List<ComponentView> components() const;
  std::optional<ComponentView> find_component(std::string_view name) const;
  List<ModelView> models() const;
  std::optional<ModelView> find_model(std::string_view name) const;
  List<SubmodelView> submodels() const;
  std::optional<SubmodelView> find_submodel(std::string_view name) const;
  List<ModelSelectorInfo> model_selectors() const;
  std::optional<ModelSelectorInfo> find_model_selector(std::string_view name) const;
  List<PackageModelView> package_models() const;
  std::optional<PackageModelView> find_package_model(std::string_view name) const;
  List<BoardView> boards() const;
  std::optional<BoardView> find_board(std::string_view name) const;

 private:
  friend struct ViewAccess;
  explicit DocumentView(const IbisDocument* document) : document_(document) {}
  const IbisDocument* document_ = nullptr;
};

// ---------------------------------------------------------------------------------------------
// Reading

/// How the report shows the file name in each line: the name of the file being read, or none.
enum class ShownName : std::uint8_t { FileName = 0, None = 1 };

struct ReadOptions {
  /// Where the text report goes, line for line what `tarn check` prints for the source (its
  /// findings and the summary line); null: no report. The findings are collected either way.
  std::FILE* report = nullptr;
  /// Keep the text report in the result as well (ReadResult::report_text).
  bool keep_report_text = false;
  /// Print the compatibility banner on standard output, as the tool does.
  bool banner = false;
  /// Accept [IBIS Ver] 1.x, read under the IBIS 2.1 rules.
  bool accept_version_1 = false;
  /// Accept [IBIS Ver] 4.0 to 7.2: their IBIS 3.2 constructs are checked as usual and what the
  /// later versions added is read past, with one warning per newer keyword or subparameter.
  bool accept_newer = false;
  ShownName shown_name = ShownName::FileName;
  /// Keep the document in the result. Without it only the findings are kept, and each model's
  /// tables are let go once they are checked, so a large source is checked in little memory.
  bool keep_document = true;
};

/// What a reading gave: the findings and the document, which it owns. Movable, not copyable.
class TARN_API ReadResult {
 public:
  /// Nothing read.
  ReadResult() noexcept;
  ReadResult(ReadResult&& other) noexcept;
  ReadResult& operator=(ReadResult&& other) noexcept;
  ReadResult(const ReadResult&) = delete;
  ReadResult& operator=(const ReadResult&) = delete;
  ~ReadResult();

  /// The source was opened and read to its end, with or without findings.
  bool read() const noexcept;
  /// Read, with no error and no program bug (warnings never fail a file).
  bool passed() const noexcept;
  Counts counts() const noexcept;
  /// In the order of the report.
  std::span<const Finding> findings() const noexcept;
  /// The name the reading was given (the path, or read_text's shown name).
  std::string_view file_name() const noexcept;
  SourceKind kind() const noexcept;
  /// The major IBIS version the source declares (1, 2 or 3), 0 when it cannot be told.
  int ibis_version() const noexcept;
  /// The text report, when ReadOptions::keep_report_text asked for it; else empty.
  std::string_view report_text() const noexcept;
  /// The document; empty when the source was not read.
  DocumentView document() const noexcept;

 private:
  friend struct ViewAccess;
  struct State;
  std::unique_ptr<State> state_;
};

/// Reads and checks the file at `path`; its kind comes from the extension. Package and board
/// files that the source names are read from beside it.
[[nodiscard]] TARN_API ReadResult read_file(std::string_view path, const ReadOptions& options = {});

/// Reads and checks `text` as the source `shown_name` (no file is written or read for it); the
/// kind comes from that name's extension. Package and board files that the source names are
/// read from the folder of `shown_name` when it has one, else from the working directory.
/// An empty shown name (like an empty path) reads nothing and finds nothing.
[[nodiscard]] TARN_API ReadResult read_text(std::string_view text, std::string_view shown_name,
                                            const ReadOptions& options = {});

/// Runs `work` (one of the library's entries, such as IBIS_CompileSourceToStream) with no
/// banner and every finding reported meanwhile, its reading's and its writer's, appended to
/// `findings` as data. The text report still goes wherever `work` sends it.
TARN_API void collect_findings(const std::function<void()>& work, std::vector<Finding>* findings);

}  // namespace tarn
