#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <new>
#include <string>
#include <system_error>
#include <unordered_set>

#include "tarn/plot.h"
#include "writers/plot_data.h"

namespace tarn {

std::string PLT_Number(double value) {
  std::array<char, 32> buffer{};
  const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value);
  return std::string(buffer.data(), result.ptr);
}

std::string PLT_Cell(const Value& value) {
  return value.has_value() ? PLT_Number(value.value) : std::string("NA");
}

std::string PLT_Escape(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (const char c : text) {
    switch (c) {
      case '&': out += "&amp;"; break;
      case '<': out += "&lt;"; break;
      case '>': out += "&gt;"; break;
      case '"': out += "&quot;"; break;
      case '\'': out += "&#39;"; break;
      default: out += c;
    }
  }
  return out;
}

std::string PLT_SafeName(std::string_view name) {
  std::string out(name);
  for (char& c : out) {
    const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                       (c >= '0' && c <= '9') || c == '-' || c == '_' || c == '.';
    if (!plain) c = '_';
  }
  // A name of dots alone would name a folder, not a file.
  if (out.find_first_not_of('.') == std::string::npos) out.insert(0, "_");
  return out;
}

std::string engineering(double value, int digits) {
  if (value == 0.0 || !std::isfinite(value)) return value == 0.0 ? "0" : PLT_Number(value);
  static constexpr std::string_view kLetters = "fpnum kMGT";
  int exponent = static_cast<int>(std::floor(std::log10(std::fabs(value)) / 3.0)) * 3;
  exponent = std::clamp(exponent, -15, 12);
  double scaled = value / std::pow(10.0, exponent);
  // Rounding to the digits kept may carry into the next scale (999.9 -> 1k).
  std::array<char, 32> buffer{};
  auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), scaled,
                              std::chars_format::general, digits);
  std::string text(buffer.data(), result.ptr);
  if (std::fabs(std::stod(text)) >= 1000.0 && exponent < 12) {
    exponent += 3;
    scaled = value / std::pow(10.0, exponent);
    result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), scaled,
                           std::chars_format::general, digits);
    text.assign(buffer.data(), result.ptr);
  }
  const char letter = kLetters[static_cast<size_t>((exponent + 15) / 3)];
  if (letter != ' ') text += letter;
  return text;
}

namespace {

void add_table(std::vector<Curve>& out, CurveKind kind, const char* title, const char* stem,
               const std::optional<ViTableView>& table) {
  if (!table) return;
  Curve curve{kind, title, stem, {}, {}};
  for (const TableRow& row : table->rows()) curve.rows.push_back(row);
  out.push_back(std::move(curve));
}

void add_fixture(std::vector<std::string>& out, const char* name, std::optional<double> value,
                 const char* unit) {
  if (value) out.push_back(std::string(name) + " = " + engineering(*value, 6) + unit);
}

void add_waveforms(std::vector<Curve>& out, CurveKind kind, const char* title, const char* stem,
                   const List<WaveformView>& waveforms) {
  size_t number = 0;
  for (const WaveformView& waveform : waveforms) {
    ++number;
    Curve curve{kind, std::string(title) + " " + std::to_string(number),
                std::string(stem) + "_" + std::to_string(number), {}, {}};
    for (const TableRow& row : waveform.rows()) curve.rows.push_back(row);
    add_fixture(curve.fixture, "R_fixture", waveform.r_fixture(), "Ohm");
    add_fixture(curve.fixture, "V_fixture", waveform.v_fixture(), "V");
    add_fixture(curve.fixture, "V_fixture_min", waveform.v_fixture_min(), "V");
    add_fixture(curve.fixture, "V_fixture_max", waveform.v_fixture_max(), "V");
    add_fixture(curve.fixture, "C_fixture", waveform.c_fixture(), "F");
    add_fixture(curve.fixture, "L_fixture", waveform.l_fixture(), "H");
    add_fixture(curve.fixture, "R_dut", waveform.r_dut(), "Ohm");
    add_fixture(curve.fixture, "L_dut", waveform.l_dut(), "H");
    add_fixture(curve.fixture, "C_dut", waveform.c_dut(), "F");
    out.push_back(std::move(curve));
  }
}

bool is_waveform(CurveKind kind) { return kind == CurveKind::Rising || kind == CurveKind::Falling; }

}  // namespace

std::vector<Curve> model_curves(const ModelView& model) {
  std::vector<Curve> out;
  add_table(out, CurveKind::Pulldown, "Pulldown", "pulldown", model.pulldown());
  add_table(out, CurveKind::Pullup, "Pullup", "pullup", model.pullup());
  add_table(out, CurveKind::GndClamp, "GND Clamp", "gnd_clamp", model.gnd_clamp());
  add_table(out, CurveKind::PowerClamp, "POWER Clamp", "power_clamp", model.power_clamp());
  if (const auto on = model.on())
    add_table(out, CurveKind::SeriesCurrent, "Series Current", "series_current",
              on->series_current());
  add_waveforms(out, CurveKind::Rising, "Rising Waveform", "rising", model.rising_waveforms());
  add_waveforms(out, CurveKind::Falling, "Falling Waveform", "falling",
                model.falling_waveforms());
  return out;
}

std::string curve_text(const Curve& curve, std::string_view model_name) {
  std::string out = "# " + std::string(model_name) + " " + curve.title + "\n";
  for (const std::string& line : curve.fixture) out += "# " + line + "\n";
  out += is_waveform(curve.kind) ? "# time(s) V(typ) V(min) V(max)\n"
                                 : "# voltage(V) I(typ) I(min) I(max)\n";
  for (const TableRow& row : curve.rows) {
    out += PLT_Cell(row.x) + ' ' + PLT_Cell(row.typ) + ' ' + PLT_Cell(row.min) + ' ' +
           PLT_Cell(row.max) + '\n';
  }
  return out;
}

bool PLT_Save(const std::filesystem::path& path, const std::string& text, std::FILE* report) {
  std::ofstream file(path, std::ios::binary);
  file << text;
  file.close();
  if (file) return true;
  if (report) std::fprintf(report, "tarn: cannot write %s\n", path.string().c_str());
  return false;
}

void PLT_ReportFailure(const std::exception& failure, std::FILE* report) {
  if (report) std::fprintf(report, "tarn: %s\n", failure.what());
}

namespace {

// The models to plot: one by name, those a component's pins use, or all; what is missing is said.
std::vector<ModelView> chosen_models(const DocumentView& document, std::string_view source,
                                     std::string_view component, std::string_view model,
                                     std::FILE* report) {
  std::vector<ModelView> out;
  if (!model.empty()) {
    if (auto found = document.find_model(model)) out.push_back(*found);
    else if (report) std::fprintf(report, "tarn: no model '%.*s'\n", int(model.size()), model.data());
    return out;
  }
  if (!component.empty()) {
    // Component names compared without regard to case, as the other one-component commands do.
    std::optional<ComponentView> chosen;
    for (const ComponentView& each : document.components()) {
      const std::string_view name = each.name();
      if (!chosen && name.size() == component.size() &&
          std::equal(name.begin(), name.end(), component.begin(), [](char a, char b) {
            return std::tolower(static_cast<unsigned char>(a)) ==
                   std::tolower(static_cast<unsigned char>(b));
          }))
        chosen = each;
    }
    if (!chosen) {
      if (report)
        std::fprintf(report, "tarn: no component '%.*s'\n", int(component.size()), component.data());
      return out;
    }
    // Each model once, in the order the pins first name it. A pin that names a selector may use
    // any model it offers, so all of them are plotted, in the selector's order.
    std::unordered_set<std::string_view> listed;
    const auto add = [&](const ModelView& used) {
      if (listed.insert(used.name()).second) out.push_back(used);
    };
    for (const PinInfo& pin : chosen->pins()) {
      if (const auto used = document.find_model(pin.model)) {
        add(*used);
      } else if (const auto selector = document.find_model_selector(pin.model)) {
        for (const SelectorChoiceInfo& choice : selector->models)
          if (const auto offered = document.find_model(choice.model)) add(*offered);
      }
    }
    if (out.empty() && report)
      std::fprintf(report, "tarn: no model in component '%.*s'\n", int(component.size()),
                   component.data());
    return out;
  }
  for (const ModelView& each : document.models()) out.push_back(each);
  if (out.empty() && report)
    std::fprintf(report, "tarn: no model in %.*s\n", int(source.size()), source.data());
  return out;
}

std::string index_page(std::string_view source, const std::vector<ModelView>& models) {
  std::string out =
      "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\"/><title>Plots of " +
      PLT_Escape(source) +
      "</title><style>body{font-family:sans-serif;margin:1em}img{margin:4px;border:1px solid "
      "#ccc}</style></head><body>\n<h1>Plots of " + PLT_Escape(source) + "</h1>\n";
  for (const ModelView& model : models) {
    out += "<h2>" + PLT_Escape(model.name()) + "</h2>\n<p>";
    for (const Curve& curve : model_curves(model)) {
      const std::string stem = PLT_SafeName(model.name()) + "_" + curve.file_stem;
      out += "<a href=\"" + stem + ".txt\"><img src=\"" + stem + ".svg\" alt=\"" +
             PLT_Escape(curve.title) + "\"/></a>";
    }
    out += "</p>\n";
  }
  return out + "</body></html>\n";
}

}  // namespace

bool write_plots(std::string_view source, std::string_view component, std::string_view model,
                 std::string_view out_dir, std::FILE* report, const ReadOptions& options) try {
  ReadOptions quiet = options;
  quiet.report = nullptr;
  quiet.banner = false;
  const ReadResult result = read_file(source, quiet);
  if (!result.read()) {
    if (report) std::fprintf(report, "tarn: cannot read %.*s\n", int(source.size()), source.data());
    return false;
  }
  const std::vector<ModelView> models =
      chosen_models(result.document(), source, component, model, report);
  if (models.empty()) return false;
  const std::filesystem::path dir(out_dir);
  std::error_code error;
  std::filesystem::create_directories(dir, error);
  for (const ModelView& each : models) {
    for (const Curve& curve : model_curves(each)) {
      const std::string stem = PLT_SafeName(each.name()) + "_" + curve.file_stem;
      if (!PLT_Save(dir / (stem + ".txt"), curve_text(curve, each.name()), report) ||
          !PLT_Save(dir / (stem + ".svg"), curve_svg(curve, each.name()), report))
        return false;
    }
  }
  return PLT_Save(dir / "index.html", index_page(source, models), report);
} catch (const std::exception& e) {
  PLT_ReportFailure(e, report);
  return false;
}

}  // namespace tarn
