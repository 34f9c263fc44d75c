#include "check_output.h"

#include <algorithm>

#include <nlohmann/json.hpp>

#include "tarn/tarn.h"

namespace tarn::cli {
namespace {

const char* severity_word(Severity severity) {
  switch (severity) {
    case Severity::Warning:
      return "warning";
    case Severity::ProgramBug:
      return "bug";
    default:
      return "error";
  }
}

// A curve check's two-line message is kept on one line so each finding stays one record.
std::string one_line(std::string text) {
  for (char& c : text)
    if (c == '\n') c = ' ';
  return text;
}

std::string plural(unsigned n, const char* word) {
  return std::to_string(n) + " " + word + (n == 1 ? "" : "s");
}

// The message with its quoted names blanked: "Model 'n': Ramp Not Defined" becomes
// "Model '{}': Ramp Not Defined", so every model's finding falls under one rule.
std::string message_template(const std::string& message) {
  std::string out;
  char quote = 0;
  for (char c : message) {
    if (quote) {
      if (c != quote) continue;
      out += "{}";
      quote = 0;
    } else if (c == '\'' || c == '"') {
      quote = c;
    }
    out += c;
  }
  if (quote) out += "{}";
  return one_line(out);
}

}  // namespace

bool parse_format(const std::string& name, Format* format) {
  if (name == "text") *format = Format::Text;
  else if (name == "gcc") *format = Format::Gcc;
  else if (name == "json") *format = Format::Json;
  else if (name == "sarif") *format = Format::Sarif;
  else return false;
  return true;
}

CheckedFile checked_file(std::string path, const ReadResult& result) {
  const std::span<const Finding> findings = result.findings();
  return {std::move(path), result.ibis_version(), result.passed(), result.counts(),
          std::vector<Finding>(findings.begin(), findings.end())};
}

bool file_failed(const CheckedFile& file, bool werror) {
  return !file.passed || (werror && file.counts.warnings > 0);
}

std::string gcc_lines(const CheckedFile& file) {
  std::string out;
  for (const Finding& f : file.findings) {
    out += file.path;
    if (f.line) out += ":" + std::to_string(*f.line);
    // Editors know "error" and "warning"; a program bug is an error to them.
    out += f.severity == Severity::Warning ? ": warning: " : ": error: ";
    out += one_line(f.message) + "\n";
  }
  return out;
}

std::string json_report(const std::vector<CheckedFile>& files, bool werror) {
  nlohmann::ordered_json doc;
  doc["tool"] = "tarn";
  doc["version"] = tarn_version();
  doc["files"] = nlohmann::ordered_json::array();
  for (const CheckedFile& file : files) {
    nlohmann::ordered_json entry;
    entry["path"] = file.path;
    entry["ibis_version"] = file.ibis_version > 0 ? nlohmann::ordered_json(file.ibis_version)
                                                  : nlohmann::ordered_json();
    entry["result"] = file_failed(file, werror) ? "failed" : "passed";
    const Counts& counts = file.counts;
    entry["counts"] = {{"errors", counts.errors}, {"warnings", counts.warnings},
                       {"bugs", counts.bugs}};
    entry["findings"] = nlohmann::ordered_json::array();
    for (const Finding& f : file.findings) {
      nlohmann::ordered_json finding;
      finding["severity"] = severity_word(f.severity);
      finding["line"] = f.line ? nlohmann::ordered_json(*f.line) : nlohmann::ordered_json();
      finding["message"] = f.message;
      entry["findings"].push_back(std::move(finding));
    }
    doc["files"].push_back(std::move(entry));
  }
  return doc.dump(2) + "\n";
}

std::string sarif_report(const std::vector<CheckedFile>& files) {
  using nlohmann::ordered_json;
  ordered_json rules = ordered_json::array();
  ordered_json results = ordered_json::array();
  std::vector<std::string> rule_ids;
  for (const CheckedFile& file : files) {
    for (const Finding& f : file.findings) {
      // The template is the rule's id: stable from run to run without a numbering to keep.
      const std::string id = message_template(f.message);
      if (std::find(rule_ids.begin(), rule_ids.end(), id) == rule_ids.end()) {
        rule_ids.push_back(id);
        rules.push_back({{"id", id}, {"shortDescription", {{"text", id}}}});
      }
      ordered_json location = {{"artifactLocation", {{"uri", file.path}}}};
      if (f.line) location["region"] = {{"startLine", *f.line}};
      results.push_back({{"ruleId", id},
                         {"level", f.severity == Severity::Warning ? "warning" : "error"},
                         {"message", {{"text", one_line(f.message)}}},
                         {"locations", {{{"physicalLocation", location}}}}});
    }
  }
  ordered_json driver = {{"name", "tarn"}, {"version", tarn_version()}, {"rules", rules}};
  ordered_json log = {
      {"version", "2.1.0"},
      {"$schema", "https://json.schemastore.org/sarif-2.1.0.json"},
      {"runs", {{{"tool", {{"driver", driver}}}, {"results", results}}}}};
  return log.dump(2) + "\n";
}

std::string totals_line(const std::vector<CheckedFile>& files, bool werror) {
  unsigned failed = 0, errors = 0, warnings = 0;
  for (const CheckedFile& file : files) {
    if (file_failed(file, werror)) ++failed;
    errors += file.counts.errors + file.counts.bugs;
    warnings += file.counts.warnings;
  }
  const unsigned total = static_cast<unsigned>(files.size());
  return plural(total, "file") + ": " + std::to_string(total - failed) + " passed, " +
         std::to_string(failed) + " failed; " + plural(errors, "error") + ", " +
         plural(warnings, "warning") + "\n";
}

std::string structured_report(Format format, const std::vector<CheckedFile>& files, bool werror) {
  switch (format) {
    case Format::Gcc: {
      std::string lines;
      for (const CheckedFile& file : files) lines += gcc_lines(file);
      return lines;
    }
    case Format::Json:
      return json_report(files, werror);
    case Format::Sarif:
      return sarif_report(files);
    case Format::Text:
      break;
  }
  return {};
}

}  // namespace tarn::cli
