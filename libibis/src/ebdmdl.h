// [Begin Board Description]: an electrical board description.
#pragma once

#include <string>
#include <string_view>

#include "libibis/src/defs.h"

namespace tarn {

struct BoardDescription {
  std::string name;
};

/// Forgets the section's current object at the start of a reading.
void EBDMDL_Reset();
/// Opens a new record in the current document and makes it the section's current object.
void EBDMDL_Init(FileKind kind);
void EBDMDL_Line(LineKind kind, Kw code, std::string_view line);
void EBDMDL_KeywordDone(Kw next);
/// The checks that run once the whole file has been read.
void EBDMDL_EndOfFile();

}  // namespace tarn
