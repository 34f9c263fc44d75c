// [Submodel]: a named partial model that a [Model] adds through [Add Submodel], with its
// [Submodel Spec], pulse tables, VI tables, ramp and waveforms, and the checks that tie them
// together.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "libibis/src/crv.h"
#include "libibis/src/defs.h"
#include "libibis/src/ramp.h"
#include "libibis/src/smspec.h"
#include "libibis/src/wvfrm.h"

namespace tarn {

struct IbisDocument;

/// NoType: a Submodel_type line was given with a value that was refused.
enum class SubmodelType : uint8_t { NotGiven = 0, NoType = 1, DynamicClamp = 2, BusHold = 3 };

/// One [Submodel]. A table, ramp or spec is null until its keyword is read.
struct Submodel {
  std::string name;  // at most 20 characters
  SubmodelType submodel_type = SubmodelType::NotGiven;
  std::unique_ptr<ViTable> pulldown;
  std::unique_ptr<ViTable> pullup;
  std::unique_ptr<ViTable> gnd_clamp;
  std::unique_ptr<ViTable> power_clamp;
  std::unique_ptr<Ramp> ramp;
  WaveformList rising;  // in file order
  WaveformList falling;
  std::unique_ptr<Waveform> gnd_pulse;
  std::unique_ptr<Waveform> power_pulse;
  std::unique_ptr<SubmodelSpec> spec;
};

/// Forgets the section's current submodel and the names seen, at the start of a reading.
void SUBMDL_Reset();
/// [Submodel]: a new record in the current document becomes the current submodel (one still
/// open is ended first).
void SUBMDL_Init(FileKind kind);
/// A keyword line (kind 1) or data line (kind 2) of the submodel section.
void SUBMDL_Line(LineKind kind, Kw code, std::string_view line);
/// The keyword just read has ended; a keyword that does not belong inside a submodel ends the
/// submodel, which is then checked as a whole.
void SUBMDL_KeywordDone(Kw next);
/// Once the whole file is read: a submodel still open is ended, every model's [Add Submodel]
/// entries are looked up among the submodels, then the submodels' plausibility checks run.
void SUBMDL_EndOfFile();

/// The Submodel_type as the file writes it; empty when not given or refused.
std::string_view submodel_type_text(SubmodelType type);

/// The submodel of exactly this name, the one defined last when there are several; null if
/// none.
const Submodel* SUBMDL_Find(const IbisDocument* document, std::string_view name);

/// The plausibility checks of the document's submodels (their ramps, as a model's).
void SUBMDL_PlausibilityChecks(const IbisDocument& document);

}  // namespace tarn
