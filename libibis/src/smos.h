// [Series MOSFET] of a series block: each table is a Vds line followed by the rows of a VI
// table; a block holds up to 100 of them, each with its own Vds.
#pragma once

#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "libibis/src/crv.h"
#include "libibis/src/defs.h"

namespace tarn {

struct SeriesInfo;

struct SeriesMosfet {
  std::optional<double> vds;  // set once its line has been read with a number
  std::unique_ptr<ViTable> table;
};

/// The keyword line: a new table at the end of the block's list.
void series_mosfet_open(std::string_view line, SeriesInfo* info);
/// A data line of the table opened last: its Vds line, then its rows.
void series_mosfet_line(std::string_view line, SeriesInfo* info);
/// The checks of the table opened last, once it has ended.
void series_mosfet_end(const SeriesInfo& info, std::string_view model_name, ModelType type);
/// Reports each Vds value that two tables of a block share (`label` names the block).
void series_mosfet_check_vds(const std::vector<std::unique_ptr<SeriesMosfet>>& mosfets,
                             std::string_view model_name, const char* label);

}  // namespace tarn
