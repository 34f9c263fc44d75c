#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "tarn/plot.h"
#include "writers/plot_data.h"

namespace tarn {
namespace {

// Readable on a laptop, and in print where every section is open and plots keep whole.
constexpr const char* kStyle =
    "body{font-family:sans-serif;max-width:1100px;margin:1em auto;padding:0 1em;color:#222}"
    "table{border-collapse:collapse;margin:.5em 0}td,th{border:1px solid #bbb;padding:2px 6px;"
    "text-align:left;vertical-align:top}th{background:#eee}code{font-size:90%}"
    ".pass{color:#1a7f37}.fail{color:#b42318}.ERROR{color:#b42318}.WARNING{color:#9a6700}"
    "summary{cursor:pointer;font-weight:bold;margin:.4em 0}.plots{display:flex;flex-wrap:wrap;"
    "gap:6px}.plots svg{max-width:100%;height:auto;border:1px solid #ddd}"
    "@media print{body{max-width:none}.plots svg{break-inside:avoid;width:48%}"
    "section{break-before:page}}";

// The source lines of each file findings point into, read once.
class SourceLines {
 public:
  explicit SourceLines(std::filesystem::path folder) : folder_(std::move(folder)) {}
  std::string line(const std::string& file, std::uint32_t number) {
    auto [it, fresh] = files_.try_emplace(file);
    if (fresh) load(file, it->second);
    return number >= 1 && number <= it->second.size() ? it->second[number - 1] : std::string();
  }

 private:
  void load(const std::string& file, std::vector<std::string>& lines) {
    std::ifstream in(file, std::ios::binary);
    // A package or board file read on the way is named as given, beside its source.
    if (!in) in.open(folder_ / std::filesystem::path(file).filename(), std::ios::binary);
    for (std::string text; std::getline(in, text);) {
      if (!text.empty() && text.back() == '\r') text.pop_back();
      lines.push_back(std::move(text));
    }
  }
  std::filesystem::path folder_;
  std::map<std::string, std::vector<std::string>> files_;
};

std::string optional_text(std::optional<double> value, const char* unit) {
  return value ? engineering(*value, 4) + unit : std::string("&#8212;");
}
std::string corners_text(const std::optional<TypMinMax>& value, const char* unit) {
  if (!value) return "&#8212;";
  const auto cell = [&](const Value& v) {
    return v.has_value() ? engineering(v.value, 4) + unit : std::string("NA");
  };
  return cell(value->typ) + " / " + cell(value->min) + " / " + cell(value->max);
}

std::string anchor(size_t file, std::string_view model) {
  return "f" + std::to_string(file) + "-" + PLT_SafeName(model);
}

void put_findings(std::string& out, const ReadResult& result, SourceLines& lines) {
  if (result.findings().empty()) return;
  out += "<table><tr><th>Severity</th><th>Line</th><th>Message</th><th>Source line</th></tr>\n";
  for (const Finding& f : result.findings()) {
    const std::string sev(to_text(f.severity));
    const std::string file = f.file.empty() ? std::string(result.file_name()) : f.file;
    out += "<tr><td class=\"" + PLT_SafeName(sev) + "\">" + PLT_Escape(sev) + "</td><td>" +
           (f.line ? std::to_string(*f.line) : std::string()) + "</td><td>" +
           PLT_Escape(f.message) + "</td><td><code>" +
           (f.line ? PLT_Escape(lines.line(file, *f.line)) : std::string()) +
           "</code></td></tr>\n";
  }
  out += "</table>\n";
}

void put_components(std::string& out, const DocumentView& document) {
  for (const ComponentView& component : document.components()) {
    out += "<details open=\"open\"><summary>Component " + PLT_Escape(component.name()) + " (" +
           std::to_string(component.pins().size()) + " pins)</summary>\n";
    out += "<table><tr><th>Pin</th><th>Signal</th><th>Model</th></tr>\n";
    for (const PinInfo& pin : component.pins())
      out += "<tr><td>" + PLT_Escape(pin.name) + "</td><td>" + PLT_Escape(pin.signal) +
             "</td><td>" + PLT_Escape(pin.model) + "</td></tr>\n";
    out += "</table></details>\n";
  }
}

void put_model(std::string& out, size_t file, const ModelView& model) {
  out += "<details open=\"open\" id=\"" + anchor(file, model.name()) + "\"><summary>Model " +
         PLT_Escape(model.name()) + " &#8212; " + PLT_Escape(to_text(model.type())) +
         "</summary>\n<table>";
  const auto row = [&](const char* name, const std::string& value) {
    out += std::string("<tr><th>") + name + "</th><td>" + value + "</td></tr>";
  };
  const auto setting = [](std::string_view text) {
    return text.empty() ? std::string("&#8212;") : PLT_Escape(text);
  };
  row("Polarity", setting(to_text(model.polarity())));
  row("Enable", setting(to_text(model.enable())));
  row("C_comp typ/min/max", corners_text(model.c_comp(), "F"));
  row("Voltage Range typ/min/max", corners_text(model.voltage_range(), "V"));
  row("Vinl / Vinh", optional_text(model.vinl(), "V") + " / " + optional_text(model.vinh(), "V"));
  row("Vmeas", optional_text(model.vmeas(), "V"));
  row("Cref / Rref / Vref", optional_text(model.cref(), "F") + " / " +
                                optional_text(model.rref(), "Ohm") + " / " +
                                optional_text(model.vref(), "V"));
  out += "</table>\n<div class=\"plots\">\n";
  for (const Curve& curve : model_curves(model)) out += curve_svg(curve, model.name());
  out += "</div></details>\n";
}

void put_source(std::string& out, size_t index, const std::string& path, const ReadResult& result) {
  out += "<section id=\"f" + std::to_string(index) + "\"><h2>" + PLT_Escape(path) + "</h2>\n";
  SourceLines lines(std::filesystem::path(path).parent_path());
  if (!result.read()) {
    // Say why: a refused version or an unopenable file comes as a finding.
    out += "<p class=\"fail\">Could not be read.</p>\n";
    put_findings(out, result, lines);
    out += "</section>\n";
    return;
  }
  const Counts counts = result.counts();
  out += std::string("<p class=\"") + (result.passed() ? "pass\">Passed" : "fail\">Failed") +
         ": " + std::to_string(counts.errors) + " errors, " + std::to_string(counts.warnings) +
         " warnings" +
         (counts.bugs ? ", " + std::to_string(counts.bugs) + " program bugs" : std::string()) +
         "</p>\n";
  put_findings(out, result, lines);
  put_components(out, result.document());
  for (const ModelView& model : result.document().models()) put_model(out, index, model);
  out += "</section>\n";
}

std::string contents(std::span<const std::string> sources, const std::vector<ReadResult>& results) {
  std::string out = "<nav><h2>Contents</h2><ul>\n";
  for (size_t i = 0; i < sources.size(); ++i) {
    out += "<li><a href=\"#f" + std::to_string(i) + "\">" + PLT_Escape(sources[i]) + "</a>";
    std::string models;
    for (const ModelView& model : results[i].document().models())
      models += (models.empty() ? "" : ", ") + std::string("<a href=\"#") +
                anchor(i, model.name()) + "\">" + PLT_Escape(model.name()) + "</a>";
    if (!models.empty()) out += "<br/>Models: " + models;
    out += "</li>\n";
  }
  return out + "</ul></nav>\n";
}

}  // namespace

std::string report_html(std::span<const std::string> sources, const ReadOptions& options) {
  ReadOptions quiet = options;
  quiet.report = nullptr;
  quiet.banner = false;
  std::vector<ReadResult> results;
  for (const std::string& path : sources) results.push_back(read_file(path, quiet));
  std::string out =
      "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\"/>"
      "<meta name=\"viewport\" content=\"width=device-width\"/><title>IBIS check report</title>"
      "<style>" + std::string(kStyle) + "</style></head><body>\n<h1>IBIS check report</h1>\n";
  out += contents(sources, results);
  for (size_t i = 0; i < sources.size(); ++i) put_source(out, i, sources[i], results[i]);
  return out + "</body></html>\n";
}

bool write_report(std::span<const std::string> sources, std::string_view output,
                  std::FILE* report, const ReadOptions& options) try {
  return PLT_Save(std::filesystem::path(output), report_html(sources, options), report);
} catch (const std::exception& e) {
  PLT_ReportFailure(e, report);
  return false;
}

}  // namespace tarn
