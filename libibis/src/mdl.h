// [Model] with its subparameters, tables and waveforms.
#pragma once

#include <string>
#include <string_view>

#include "libibis/src/defs.h"

namespace tarn {

struct IbisModel {
  std::string name;
};

/// Forgets the section's current object at the start of a reading.
void MDL_Reset();
/// Opens a new record in the current document and makes it the section's current object.
void MDL_Init(FileKind kind);
void MDL_Line(LineKind kind, Kw code, std::string_view line);
void MDL_KeywordDone(Kw next);
/// The checks that run once the whole file has been read.
void MDL_EndOfFile();

}  // namespace tarn
