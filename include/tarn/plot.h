// Plots of a model's curves: the VI tables and waveforms as text columns and as SVG pictures,
// a folder of them with an index page, and a one-page HTML check report of several sources.
//
// Nothing here throws; the writers return false after saying why on `report`.
#pragma once

#include <cstdint>
#include <cstdio>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tarn/document.h"
#include "tarn/export.h"

namespace tarn {

/// The family of a curve, which sets its axes: VI tables plot current against voltage,
/// waveforms voltage against time.
enum class CurveKind : std::uint8_t {
  Pulldown, Pullup, GndClamp, PowerClamp, SeriesCurrent, Rising, Falling
};

/// One curve family of a model with its rows as the file gives them.
struct Curve {
  CurveKind kind = CurveKind::Pulldown;
  std::string title;      ///< "Pulldown", "Rising Waveform 2"
  std::string file_stem;  ///< "pulldown", "rising_2"
  std::vector<TableRow> rows;
  std::vector<std::string> fixture;  ///< "R_fixture = 50", ... of a waveform
};

/// The curve families of `model` in a fixed order: pulldown, pullup, GND clamp, POWER clamp,
/// series current, then each rising and each falling waveform.
TARN_API std::vector<Curve> model_curves(const ModelView& model);

/// A number in engineering notation with a scale letter and at most `digits` significant
/// digits: 1.5e-9 -> "1.5n", 0.02 -> "20m", 0 -> "0".
TARN_API std::string engineering(double value, int digits = 3);

/// The plot file of a curve: a comment header and columns x, typ, min, max, "NA" where absent.
TARN_API std::string curve_text(const Curve& curve, std::string_view model_name);

/// The curve as a self-contained SVG picture (typ/min/max lines, legend, axis titles, the
/// fixture below a waveform). The same curve always gives the same bytes.
TARN_API std::string curve_svg(const Curve& curve, std::string_view model_name);

/// Reads `source` and writes the plot files and SVGs of its models into `out_dir` (made when
/// missing) with an index.html. `model` picks one model, `component` the models its pins use;
/// empty: every model. false, with the reason on `report`, when nothing could be written.
/// `options` sets how the source is read (its report stream is not used).
[[nodiscard]] TARN_API bool write_plots(std::string_view source, std::string_view component,
                                        std::string_view model, std::string_view out_dir,
                                        std::FILE* report, const ReadOptions& options = {});

/// The HTML check report of `sources` as one self-contained page at `output`.
[[nodiscard]] TARN_API bool write_report(std::span<const std::string> sources,
                                         std::string_view output, std::FILE* report,
                                         const ReadOptions& options = {});

/// The page itself, as write_report writes it.
TARN_API std::string report_html(std::span<const std::string> sources,
                                 const ReadOptions& options = {});

}  // namespace tarn
