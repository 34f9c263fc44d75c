// [Model]: the model record, its subparameters, the routing of every keyword of a model to
// the module that reads it, and the checks once a model has ended.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "libibis/src/cmn.h"
#include "libibis/src/crv.h"
#include "libibis/src/defs.h"
#include "libibis/src/drvsh.h"
#include "libibis/src/mspec.h"
#include "libibis/src/ramp.h"
#include "libibis/src/rng.h"
#include "libibis/src/rpt.h"
#include "libibis/src/sinfo.h"
#include "libibis/src/wvfrm.h"

namespace tarn {

struct IbisDocument;

enum class Polarity : uint8_t { NotGiven = 0, Invalid = 1, NonInverting = 2, Inverting = 3 };
enum class Enable : uint8_t { NotGiven = 0, Invalid = 1, ActiveHigh = 2, ActiveLow = 3 };
enum class SubmodelMode : uint8_t { Driving = 0, NonDriving = 1, All = 2, NoMode = 3 };

/// The IBIS 2.1 rules search only the first 14 rows, the IBIS 3.2 rules 17, and a file of IBIS
/// 4.1 or later also the differential types, each stored as its base type with `differential`
/// set. The end marker "No Type" is never matched.
inline constexpr NamedCode<ModelType> kModelTypeNames[] = {
    {"Input", ModelType::Input},
    {"Output", ModelType::Output},
    {"I/O", ModelType::IO},
    {"3-state", ModelType::ThreeState},
    {"Open_drain", ModelType::OpenDrain},
    {"I/O_open_drain", ModelType::IOOpenDrain},
    {"Open_sink", ModelType::OpenSink},
    {"I/O_open_sink", ModelType::IOOpenSink},
    {"Open_source", ModelType::OpenSource},
    {"I/O_open_source", ModelType::IOOpenSource},
    {"Input_ECL", ModelType::InputECL},
    {"Output_ECL", ModelType::OutputECL},
    {"I/O_ECL", ModelType::IOECL},
    {"Terminator", ModelType::Terminator},
    {"Series", ModelType::Series},
    {"Series_switch", ModelType::SeriesSwitch},
    {"3-state_ECL", ModelType::ThreeStateECL},
    {"Input_diff", ModelType::Input},
    {"Output_diff", ModelType::Output},
    {"I/O_diff", ModelType::IO},
    {"3-state_diff", ModelType::ThreeState},
    {"No Type", ModelType::NoType},
};
inline constexpr size_t kModelTypesV21 = 14;
inline constexpr size_t kModelTypesV32 = 17;
inline constexpr size_t kModelTypesDiff = 21;

/// Each table ends with the marker that also names a refused setting.
inline constexpr NamedCode<Polarity> kPolarityNames[] = {
    {"Non-Inverting", Polarity::NonInverting},
    {"Inverting", Polarity::Inverting},
    {"No Polarity", Polarity::Invalid},
};
inline constexpr NamedCode<Enable> kEnableNames[] = {
    {"Active-High", Enable::ActiveHigh},
    {"Active-Low", Enable::ActiveLow},
    {"No Enable", Enable::Invalid},
};

/// One [Add Submodel] line.
struct AddSubmodelEntry {
  std::string name;  // at most 20 characters
  SubmodelMode mode = SubmodelMode::NoMode;
};

/// One [Model]. A field is "given" when its pointer or optional holds something, or its code
/// is not NotGiven (Invalid/NoType: given with a value that was refused).
struct IbisModel {
  std::string name;  // at most 20 characters
  ModelType model_type = ModelType::NotGiven;
  Polarity polarity = Polarity::NotGiven;
  Enable enable = Enable::NotGiven;
  bool differential = false;  // Model_type was one of the *_diff types of IBIS 4.1
  bool c_comp_split = false;  // C_comp_pullup and the like of IBIS 4.0 were given
  std::optional<double> vinl;
  std::optional<double> vinh;
  std::unique_ptr<Range> c_comp;
  std::optional<double> vmeas;
  std::optional<double> cref;
  std::optional<double> rref;
  std::optional<double> vref;
  std::unique_ptr<Range> temperature_range;
  std::unique_ptr<Range> voltage_range;
  std::unique_ptr<Range> pullup_reference;
  std::unique_ptr<Range> pulldown_reference;
  std::unique_ptr<Range> power_clamp_reference;
  std::unique_ptr<Range> gnd_clamp_reference;
  std::unique_ptr<Range> ttgnd;
  std::unique_ptr<Range> ttpower;
  std::unique_ptr<DriverSchedule> driver_schedule;
  std::unique_ptr<ModelSpec> model_spec;
  std::unique_ptr<SeriesInfo> on_block;  // [On], or a Series model's implicit block
  std::unique_ptr<SeriesInfo> off_block;
  std::vector<AddSubmodelEntry> add_submodels;  // in file order
  std::unique_ptr<ViTable> pulldown;
  std::unique_ptr<ViTable> pullup;
  std::unique_ptr<ViTable> gnd_clamp;
  std::unique_ptr<ViTable> power_clamp;
  std::unique_ptr<Range> rgnd;
  std::unique_ptr<Range> rpower;
  std::unique_ptr<Range> rac;
  std::unique_ptr<Range> cac;
  std::unique_ptr<Ramp> ramp;
  WaveformList rising_waveforms;
  WaveformList falling_waveforms;
  std::optional<double> plot_reference;  // set by the plot output
  // The end-of-file checks of the curves and of plausibility run when the model ends, while its
  // tables are at hand; their findings wait here for the end of the file.
  RptHeldList curve_findings;
  RptHeldList plausibility_findings;
};

/// Forgets the section's current model at the start of a reading.
void MDL_Reset();
/// [Model]: a new record in the current document becomes the current model (a model still
/// open is ended first).
void MDL_Init(FileKind kind);
/// A keyword line (kind 1) or data line (kind 2) of the model section.
void MDL_Line(LineKind kind, Kw code, std::string_view line);
/// The keyword just read has ended; a keyword outside the model section ends the model too.
void MDL_KeywordDone(Kw next);
/// The checks that run once the whole file has been read (a model still open is ended).
void MDL_EndOfFile();

/// The mode as an [Add Submodel] line writes it; empty for a mode that was refused.
std::string_view submodel_mode_text(SubmodelMode mode);

/// The checks of a model whose section has closed.
void model_end(const IbisModel* model);
/// A model's VI tables and waveforms, taken out of it so that they can be freed elsewhere.
struct ModelTables {
  std::unique_ptr<ViTable> pulldown, pullup, gnd_clamp, power_clamp;
  WaveformList rising_waveforms, falling_waveforms;
};
/// Takes the model's tables, once nothing reads their rows from the model any more.
ModelTables mdl_take_tables(IbisModel* m);
/// The model of exactly this name, the one defined last when there are several; null if none.
const IbisModel* find_model(const IbisDocument* document, std::string_view name);

/// The models of a document by exact name, gathered once for many look-ups (one per pin, say);
/// finds what find_model finds. The document's models must not change while it is used.
class ModelIndex {
 public:
  explicit ModelIndex(const IbisDocument& document);
  const IbisModel* find(std::string_view name) const;

 private:
  std::unordered_map<std::string_view, const IbisModel*> by_name_;
};

}  // namespace tarn
