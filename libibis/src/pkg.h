// [Package] of a component: the R_pkg, L_pkg and C_pkg typ/min/max lines.
#pragma once

#include <memory>
#include <string_view>

#include "libibis/src/rng.h"

namespace tarn {

/// Each triple stays null until its line has been read.
struct Package {
  std::unique_ptr<Range> r_pkg;
  std::unique_ptr<Range> l_pkg;
  std::unique_ptr<Range> c_pkg;
};

/// The [Package] keyword line, given the text after the keyword. Creates the record in
/// `*slot`; 0 when the keyword is refused (a second [Package]) or the record cannot be made.
[[nodiscard]] int PKG_KeywordLine(std::unique_ptr<Package>* slot, std::string_view argument);
/// One sub-parameter line of [Package].
void PKG_DataLine(Package* package, std::string_view line);
/// Reports, at the current line, the sub-parameters that [Package] left out.
void PKG_KeywordDone(const Package* package);

/// 1 and the triple when its line was read, else 0.
[[nodiscard]] int PKG_GetRpkg(const Package* package, const Range** out);
[[nodiscard]] int PKG_GetLpkg(const Package* package, const Range** out);
[[nodiscard]] int PKG_GetCpkg(const Package* package, const Range** out);

}  // namespace tarn
