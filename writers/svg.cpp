#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <string>

#include "tarn/plot.h"
#include "writers/plot_data.h"

namespace tarn {
namespace {

// The picture's frame in user units; the plot area sits inside the margins.
constexpr double kWidth = 480;
constexpr double kPlotHeight = 300;
constexpr double kLeft = 70, kRight = 460, kTop = 40, kBottom = 250;
constexpr double kFixtureLine = 16;
constexpr int kTargetTicks = 6;

struct Corner {
  const char* name;
  eTypMinMax corner;
  const char* stroke;
  const char* dash;
};
// Typ solid, min and max dashed in colours that stay apart in grey print.
constexpr std::array<Corner, 3> kCorners = {{{"typ", eTyp, "#1f4e9c", ""},
                                              {"min", eMin, "#2e8b3a", "6,3"},
                                              {"max", eMax, "#c0392b", "2,3"}}};

std::string coord(double value) {
  std::array<char, 32> buffer{};
  const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value,
                                    std::chars_format::fixed, 1);
  return std::string(buffer.data(), result.ptr);
}

struct Range {
  double low = std::numeric_limits<double>::infinity();
  double high = -std::numeric_limits<double>::infinity();
  void take(double v) {
    low = std::min(low, v);
    high = std::max(high, v);
  }
  bool empty() const { return !(low <= high); }
};

// A step of 1, 2 or 5 times a power of ten giving about kTargetTicks ticks.
double tick_step(const Range& range) {
  const double raw = (range.high - range.low) / kTargetTicks;
  const double power = std::pow(10.0, std::floor(std::log10(raw)));
  for (const double factor : {1.0, 2.0, 5.0})
    if (raw <= factor * power) return factor * power;
  return 10.0 * power;
}

// The range widened to whole steps of `step`, a flat range opened around its value.
Range nice(Range range, double* step) {
  if (range.empty()) range = {0.0, 1.0};
  if (range.high == range.low) {
    const double pad = range.low == 0.0 ? 1.0 : std::fabs(range.low) * 0.1;
    range.low -= pad;
    range.high += pad;
  }
  *step = tick_step(range);
  return {std::floor(range.low / *step) * *step, std::ceil(range.high / *step) * *step};
}

struct Axes {
  Range x, y;
  double x_step = 1, y_step = 1;
  double px(double v) const { return kLeft + (v - x.low) / (x.high - x.low) * (kRight - kLeft); }
  double py(double v) const { return kBottom - (v - y.low) / (y.high - y.low) * (kBottom - kTop); }
};

Axes axes_of(const Curve& curve) {
  Range x, y;
  for (const TableRow& row : curve.rows) {
    if (!row.x.has_value()) continue;
    bool any = false;
    for (const Corner& c : kCorners)
      if (const auto v = row.at(c.corner).number()) {
        y.take(*v);
        any = true;
      }
    if (any) x.take(row.x.value);
  }
  Axes axes;
  axes.x = nice(x, &axes.x_step);
  axes.y = nice(y, &axes.y_step);
  return axes;
}

void put_ticks(std::string& out, const Axes& axes) {
  const double xs = axes.x_step, ys = axes.y_step;
  // Half a step of slack keeps the last tick that rounding pushed just past the end.
  for (double v = axes.x.low; v <= axes.x.high + xs / 2; v += xs) {
    const double at = std::round(v / xs) * xs;
    out += "<line class=\"grid\" x1=\"" + coord(axes.px(at)) + "\" y1=\"" + coord(kTop) +
           "\" x2=\"" + coord(axes.px(at)) + "\" y2=\"" + coord(kBottom) + "\"/>\n";
    out += "<text x=\"" + coord(axes.px(at)) + "\" y=\"" + coord(kBottom + 14) +
           "\" text-anchor=\"middle\">" + engineering(at) + "</text>\n";
  }
  for (double v = axes.y.low; v <= axes.y.high + ys / 2; v += ys) {
    const double at = std::round(v / ys) * ys;
    out += "<line class=\"grid\" x1=\"" + coord(kLeft) + "\" y1=\"" + coord(axes.py(at)) +
           "\" x2=\"" + coord(kRight) + "\" y2=\"" + coord(axes.py(at)) + "\"/>\n";
    out += "<text x=\"" + coord(kLeft - 4) + "\" y=\"" + coord(axes.py(at) + 4) +
           "\" text-anchor=\"end\">" + engineering(at) + "</text>\n";
  }
}

void put_lines(std::string& out, const Curve& curve, const Axes& axes) {
  for (const Corner& c : kCorners) {
    std::string points;
    for (const TableRow& row : curve.rows) {
      const auto v = row.at(c.corner).number();
      if (!row.x.has_value() || !v) continue;
      if (!points.empty()) points += ' ';
      points += coord(axes.px(row.x.value)) + "," + coord(axes.py(*v));
    }
    if (points.empty()) continue;
    out += "<polyline fill=\"none\" stroke=\"" + std::string(c.stroke) +
           "\" stroke-width=\"1.6\"" +
           (*c.dash ? " stroke-dasharray=\"" + std::string(c.dash) + "\"" : std::string()) +
           " points=\"" + points + "\"/>\n";
  }
}

void put_legend(std::string& out) {
  double x = kRight - 170;
  for (const Corner& c : kCorners) {
    out += "<line x1=\"" + coord(x) + "\" y1=\"30\" x2=\"" + coord(x + 22) +
           "\" y2=\"30\" stroke=\"" + c.stroke + "\" stroke-width=\"2\"" +
           (*c.dash ? " stroke-dasharray=\"" + std::string(c.dash) + "\"" : std::string()) +
           "/>\n<text x=\"" + coord(x + 26) + "\" y=\"34\">" + c.name + "</text>\n";
    x += 58;
  }
}

}  // namespace

std::string curve_svg(const Curve& curve, std::string_view model_name) {
  const bool waveform = curve.kind == CurveKind::Rising || curve.kind == CurveKind::Falling;
  const double height = kPlotHeight + kFixtureLine * static_cast<double>(curve.fixture.size());
  const Axes axes = axes_of(curve);
  std::string out = "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + coord(kWidth) +
                    "\" height=\"" + coord(height) + "\" viewBox=\"0 0 " + coord(kWidth) + " " +
                    coord(height) + "\" font-family=\"sans-serif\" font-size=\"11\">\n";
  out += "<style>.grid{stroke:#ddd;stroke-width:1}</style>\n";
  out += "<rect width=\"100%\" height=\"100%\" fill=\"#fff\"/>\n";
  out += "<text x=\"" + coord(kLeft) + "\" y=\"16\" font-size=\"13\" font-weight=\"bold\">" +
         PLT_Escape(model_name) + ": " + PLT_Escape(curve.title) + "</text>\n";
  put_ticks(out, axes);
  out += "<rect x=\"" + coord(kLeft) + "\" y=\"" + coord(kTop) + "\" width=\"" +
         coord(kRight - kLeft) + "\" height=\"" + coord(kBottom - kTop) +
         "\" fill=\"none\" stroke=\"#444\"/>\n";
  put_lines(out, curve, axes);
  put_legend(out);
  out += "<text x=\"" + coord((kLeft + kRight) / 2) + "\" y=\"" + coord(kBottom + 32) +
         "\" text-anchor=\"middle\">" + (waveform ? "Time (s)" : "Voltage (V)") + "</text>\n";
  out += "<text transform=\"translate(14," + coord((kTop + kBottom) / 2) +
         ") rotate(-90)\" text-anchor=\"middle\">" +
         (waveform ? "Voltage (V)" : "Current (A)") + "</text>\n";
  double y = kPlotHeight - 4;
  for (const std::string& line : curve.fixture) {
    out += "<text x=\"" + coord(kLeft) + "\" y=\"" + coord(y) + "\">" + PLT_Escape(line) +
           "</text>\n";
    y += kFixtureLine;
  }
  return out + "</svg>\n";
}

}  // namespace tarn
