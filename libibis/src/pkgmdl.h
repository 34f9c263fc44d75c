// [Define Package Model] ... [End Package Model]: a package described by its pin list and
// either R/L/C matrices or, with [Number Of Sections], a chain of sections per pin; and the
// search of .pkg files for a package model that a component names.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "libibis/src/defs.h"
#include "libibis/src/mtx.h"
#include "libibis/src/row.h"
#include "libibis/src/sect.h"

namespace tarn {

struct PackageModel {
  std::string name;                 // at most 40 characters
  std::string manufacturer;         // at most 40
  std::string oem;                  // at most 40
  std::string description;          // at most 40
  uint32_t number_of_pins = 0;      // 0: not given or bad
  uint32_t number_of_sections = 0;  // 0: not given or bad
  /// The pins of [Pin Numbers] as stored, in file order; never more than number_of_pins.
  std::vector<std::string> pin_numbers;
  PinPositions pin_positions;
  /// With sections: the chain of each stored pin, beside pin_numbers.
  std::vector<SectionChain> pin_sections;
  std::unique_ptr<Matrix> resistance;
  std::unique_ptr<Matrix> inductance;
  std::unique_ptr<Matrix> capacitance;
};

/// Forgets the section's current object at the start of a reading.
void PKGMDL_Reset();
/// Opens a new record in the current document and makes it the section's current object.
void PKGMDL_Init(FileKind kind);
void PKGMDL_Line(LineKind kind, Kw code, std::string_view line);
/// Completes the keyword just finished; a keyword outside the block ends it, with its checks.
void PKGMDL_KeywordDone(Kw next);
/// The checks that run once the whole file has been read.
void PKGMDL_EndOfFile();

/// The package model of that name (exactly) in the current document, the newest of equal
/// names; `out` may be null. 1 when found.
[[nodiscard]] int PKGMDL_Find(std::string_view name, const PackageModel** out);
/// Reads, into the current document, every .pkg file in the folder of the file being read
/// that defines a package model whose name begins with `name`. 1 when a file matched.
[[nodiscard]] int PKGMDL_SearchPackageFiles(std::string_view name);

}  // namespace tarn
