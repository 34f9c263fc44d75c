// [Define Package Model] with its pins, sections and matrices.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "libibis/src/defs.h"

namespace tarn {

struct PackageModel {
  std::string name;
  std::vector<std::string> pin_numbers;  // of [Pin Numbers], in file order
};

/// Forgets the section's current object at the start of a reading.
void PKGMDL_Reset();
/// Opens a new record in the current document and makes it the section's current object.
void PKGMDL_Init(FileKind kind);
void PKGMDL_Line(LineKind kind, Kw code, std::string_view line);
void PKGMDL_KeywordDone(Kw next);
/// The checks that run once the whole file has been read.
void PKGMDL_EndOfFile();

}  // namespace tarn
