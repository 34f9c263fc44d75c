// [Model Selector]: a named choice among models.
#pragma once

#include <string>
#include <string_view>

#include "libibis/src/defs.h"

namespace tarn {

struct ModelSelector {
  std::string name;
};

/// Forgets the section's current object at the start of a reading.
void MSEL_Reset();
/// Opens a new record in the current document and makes it the section's current object.
void MSEL_Init(FileKind kind);
void MSEL_Line(LineKind kind, Kw code, std::string_view line);
void MSEL_KeywordDone(Kw next);
/// The checks that run once the whole file has been read.
void MSEL_EndOfFile();

}  // namespace tarn
