// [Submodel] with its tables.
#pragma once

#include <string>
#include <string_view>

#include "libibis/src/defs.h"

namespace tarn {

struct Submodel {
  std::string name;
};

/// Forgets the section's current object at the start of a reading.
void SUBMDL_Reset();
/// Opens a new record in the current document and makes it the section's current object.
void SUBMDL_Init(FileKind kind);
void SUBMDL_Line(LineKind kind, Kw code, std::string_view line);
void SUBMDL_KeywordDone(Kw next);
/// The checks that run once the whole file has been read.
void SUBMDL_EndOfFile();

}  // namespace tarn
