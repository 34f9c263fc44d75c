// tarn: checks IBIS sources and documents their components from the command line.
#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include <unistd.h>

#include "arguments.h"
#include "check_output.h"
#include "component_findings.h"
#include "service/source_index.h"
#include "service/source_selectors.h"
#include "tarn/compile.h"
#include "tarn/document.h"
#include "tarn/documentation.h"
#include "tarn/plot.h"
#include "tarn/ibis_comp_mdls.h"
#include "tarn/navig_prs.h"
#include "tarn/reader.h"
#include "tarn/tarn.h"

namespace {

using tarn::cli::Arguments;
using tarn::cli::kExitFailed;
using tarn::cli::kExitPassed;
using tarn::cli::kExitUsage;
using tarn::cli::usage_error;

// A file that cannot be read is the tool's error, not a finding of the report.
bool readable_source(const char* path) {
  std::FILE* file = std::fopen(path, "rb");
  if (!file) {
    std::fprintf(stderr, "tarn: cannot open '%s': %s\n", path, std::strerror(errno));
    return false;
  }
  std::fclose(file);
  if (tarn::IBIS_KindOf(path) == 0) {
    std::fprintf(stderr, "tarn: '%s' is not an IBIS source (.ibs, .pkg or .ebd)\n", path);
    return false;
  }
  return true;
}

// Why the reader refused a source's version, for the user who sees only the report's
// "Unsupported or Illegal IBIS Version Number": no [IBIS Ver] line where the first
// keyword should be, or a version this reader does not take.
std::string version_finding(const char* path) {
  std::ifstream in(path, std::ios::binary);
  constexpr size_t kProbeLimit = 64 * 1024;  // a keyword is near the top, if anywhere
  std::string head(kProbeLimit, '\0');
  in.read(head.data(), static_cast<std::streamsize>(head.size()));
  head.resize(static_cast<size_t>(in.gcount()));
  if (head.empty()) return "is empty: it has no [IBIS Ver] line";
  std::istringstream lines(head);
  for (std::string line; std::getline(lines, line);) {
    const size_t first = line.find_first_not_of(" \t");
    if (first == std::string::npos || line[first] != '[') continue;
    std::string keyword = line.substr(first, 10);
    for (char& c : keyword) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    if (keyword != "[ibis ver]" && keyword != "[ibis_ver]")
      return "has no [IBIS Ver] line before its first keyword";
    std::string version = line.substr(first + 10);
    version = version.substr(0, version.find('|'));
    const size_t begin = version.find_first_not_of(" \t\r");
    const size_t end = version.find_last_not_of(" \t\r");
    version = begin == std::string::npos ? "" : version.substr(begin, end - begin + 1);
    if (version.empty()) return "gives no version on its [IBIS Ver] line";
    return "declares IBIS version " + version.substr(0, 16) +
           "; this reader takes versions 1.1 to 3.2 (4.0 to 7.2 with --accept-newer)";
  }
  return "has no [IBIS Ver] line";
}

// One line on standard error per source on disk whose version the reader refused.
void explain_refused_versions(const std::vector<std::string>& sources) {
  for (const std::string& source : sources) {
    const char* path = source.c_str();
    if (source == "-" || tarn::IBIS_DetectVersion(path, nullptr, tarn::IBIS_KindOf(path)) != 0)
      continue;
    std::fprintf(stderr, "tarn: '%s' %s\n", path, version_finding(path).c_str());
  }
}

bool is_ibis_name(const std::filesystem::path& path) {
  return tarn::IBIS_KindOf(path.string().c_str()) != 0;
}

// The sources under a folder, sorted; hidden folders (.git, .cache) are skipped.
std::vector<std::string> sources_in_folder(const std::filesystem::path& folder) {
  std::vector<std::string> found;
  std::error_code ec;
  std::filesystem::recursive_directory_iterator it(folder, ec), end;
  for (; !ec && it != end; it.increment(ec)) {
    const std::string name = it->path().filename().string();
    if (it->is_directory(ec)) {
      if (name.starts_with(".")) it.disable_recursion_pending();
      continue;
    }
    if (it->is_regular_file(ec) && is_ibis_name(it->path())) found.push_back(it->path().string());
  }
  std::sort(found.begin(), found.end());
  return found;
}

// An explicit --color=always wins over NO_COLOR; auto colours only a terminal.
bool wants_color(const std::string& color) {
  if (color != "auto") return color == "always";
  const char* no_color = std::getenv("NO_COLOR");
  return isatty(STDOUT_FILENO) && !(no_color && *no_color);
}

// The report with each ERROR red and each WARNING yellow where a line starts with it.
void print_colored(std::string_view report) {
  while (!report.empty()) {
    const size_t end = report.find('\n');
    const std::string_view line = report.substr(0, end == std::string_view::npos ? end : end + 1);
    report.remove_prefix(line.size());
    const char* color = line.starts_with("ERROR")     ? "31"
                        : line.starts_with("WARNING") ? "33"
                                                      : nullptr;
    if (!color) {
      std::fwrite(line.data(), 1, line.size(), stdout);
      continue;
    }
    const size_t word = line.find(' ');
    std::printf("\033[1;%sm%.*s\033[0m", color, static_cast<int>(word), line.data());
    std::fwrite(line.data() + word, 1, line.size() - word, stdout);
  }
}

std::string read_stdin() {
  std::string text;
  char buffer[65536];
  size_t n = 0;
  while ((n = std::fread(buffer, 1, sizeof buffer, stdin)) > 0) text.append(buffer, n);
  return text;
}

// Folders become the sources under them; "-" stays as it is.
bool expand_paths(const Arguments& args, std::vector<std::string>* sources) {
  bool all_readable = true;
  for (const std::string& path : args.operands) {
    std::error_code ec;
    if (path != "-" && std::filesystem::is_directory(path, ec)) {
      const std::vector<std::string> found = sources_in_folder(path);
      if (found.empty()) {
        std::fprintf(stderr, "tarn: '%s' holds no IBIS source (.ibs, .pkg or .ebd)\n",
                     path.c_str());
        all_readable = false;
      }
      sources->insert(sources->end(), found.begin(), found.end());
    } else if (path == "-" || readable_source(path.c_str())) {
      sources->push_back(path);
    } else {
      all_readable = false;
    }
  }
  return all_readable;
}

int run_check(const Arguments& args) {
  const bool reads_stdin = std::count(args.operands.begin(), args.operands.end(), "-") > 0;
  if (reads_stdin && args.stdin_name.empty())
    return usage_error("check", "'-' needs --stdin-name NAME (its extension tells the kind)");
  std::vector<std::string> sources;
  const bool all_readable = expand_paths(args, &sources);
  const bool text = args.format == tarn::cli::Format::Text;
  tarn::ReadOptions options;
  const bool color = text && wants_color(args.color);
  // Quiet keeps each report and shows only those of the files that failed.
  const bool keep = color || (text && args.quiet);
  options.report = text && !keep ? stdout : nullptr;
  options.keep_report_text = keep;
  options.banner = text && !args.quiet;
  options.accept_newer = args.accept_newer;
  options.keep_document = false;  // every output of check is built from the findings
  std::vector<tarn::cli::CheckedFile> checked;
  bool passed = true;
  for (const std::string& path : sources) {
    const std::string shown = path == "-" ? args.stdin_name : path;
    const tarn::ReadResult result = path == "-" ? tarn::read_text(read_stdin(), shown, options)
                                                : tarn::read_file(path, options);
    tarn::cli::CheckedFile file = tarn::cli::checked_file(shown, result);
    const bool failed = tarn::cli::file_failed(file, args.werror);
    if (failed) passed = false;
    const bool listed = !args.quiet || failed;
    if (keep && listed) {
      if (color) print_colored(result.report_text());
      else std::fwrite(result.report_text().data(), 1, result.report_text().size(), stdout);
    }
    if (args.format == tarn::cli::Format::Gcc && listed)
      std::fputs(tarn::cli::gcc_lines(file).c_str(), stdout);
    checked.push_back(std::move(file));
  }
  const bool one_document =
      args.format == tarn::cli::Format::Json || args.format == tarn::cli::Format::Sarif;
  if (one_document && !args.quiet)
    std::fputs(tarn::cli::structured_report(args.format, checked, args.werror).c_str(), stdout);
  std::fflush(stdout);
  explain_refused_versions(sources);
  // On standard error, so the report on standard output stays as it always was.
  if ((checked.size() > 1 || args.quiet) && !one_document)
    std::fputs(("tarn: " + tarn::cli::totals_line(checked, args.werror)).c_str(), stderr);
  if (!all_readable) return kExitUsage;
  return passed ? kExitPassed : kExitFailed;
}

// After a failed compile or doc: when the component was missing or unknown, the names the
// file offers, so the user can pick one (read again, quietly: only on this failing road).
void list_components_when_unmatched(const Arguments& args) {
  tarn::ReadOptions options;
  options.accept_newer = args.accept_newer;
  const std::string& file = args.operands.front();
  const tarn::ReadResult result = tarn::read_file(file, options);
  std::string names;
  bool matched = false;
  for (const tarn::ComponentView component : result.document().components()) {
    matched = matched || component.name() == args.component;
    names += (names.empty() ? "" : ", ") + std::string(component.name());
  }
  const size_t count = result.document().components().size();
  // A board or package file passes its check but has no component to write.
  if (count == 0 && tarn::IBIS_KindOf(file.c_str()) > 1) {
    std::fprintf(stderr, "tarn: %s: '%s' holds no component: only an .ibs file has one\n",
                 args.command.c_str(), file.c_str());
    return;
  }
  const bool unmatched = !args.component.empty() ? !matched : count > 1;
  if (!unmatched || names.empty()) return;
  std::fprintf(stderr, "tarn: %s: components of '%s': %s\n", args.command.c_str(), file.c_str(),
               names.c_str());
}

// compile and doc: check FILE and, when it passed, write one of its components to OUT.
int run_component_writer(const Arguments& args, tarn::cli::ComponentWriter write) {
  const std::string& file = args.operands.front();
  if (!readable_source(file.c_str())) return kExitUsage;
  const char* component = args.component.empty() ? nullptr : args.component.c_str();
  bool written = false;
  if (args.format == tarn::cli::Format::Text) {
    written = write(file.c_str(), component, args.output.c_str(), stdout) == 1;
  } else {
    tarn::cli::CheckedFile checked;
    written = tarn::cli::write_collecting(write, file, component, args.output, &checked);
    std::fputs(tarn::cli::structured_report(args.format, {checked}, false).c_str(), stdout);
  }
  std::fflush(stdout);
  if (!written) list_components_when_unmatched(args);
  return written ? kExitPassed : kExitFailed;
}

int run_compile(const Arguments& args) {
  return run_component_writer(args, tarn::IBIS_CompileSourceToStream);
}

int run_doc(const Arguments& args) {
  return run_component_writer(args, tarn::IBIS_DocumentSourceToStream);
}

int run_index(const Arguments& args) {
  const char* folder = args.operands.front().c_str();
  std::error_code ec;
  if (!std::filesystem::is_directory(folder, ec)) {
    std::fprintf(stderr, "tarn: '%s' is not a folder\n", folder);
    return kExitUsage;
  }
  const tarn::SourceIndexResult result = tarn::LIB_IndexFolder(folder);
  std::fflush(stdout);
  for (const std::string& file : result.unread)
    std::fprintf(stderr, "tarn: index: '%s' could not be read (no component found)\n",
                 file.c_str());
  if (!result.written) {
    std::fprintf(stderr, "tarn: cannot write '%s'\n", result.index_path.c_str());
    return kExitUsage;
  }
  std::printf("%s: %d component%s\n", result.index_path.c_str(), result.components,
              result.components == 1 ? "" : "s");
  return result.unread.empty() ? kExitPassed : kExitFailed;
}

// The tool's library: a manager whose source indexes come from the command line.
class ToolLibrary : public CIbisCompMdls {
 public:
  using CIbisCompMdls::AddSrcIndex;
};

const char* status_text(const CIbisCompInfo& info) {
  return CIbisCompInfo::GetIbisStatusLine(info.GetStatus());
}

std::string pin_text(const CIbisCompInfo& info, eIbisParam id, int pin) {
  const char* text = nullptr;
  return info.GetModelParam(id, &text, pin) && *text ? text : "-";
}

std::string pin_value(const CIbisCompInfo& info, eIbisParam id, int pin) {
  double value = 0.0;
  if (!info.GetModelParam(id, &value, pin, eTyp)) return "-";
  char buffer[24];
  return CNavigPrs::ut_dbl2eng(value, 8, buffer);
}

// The supply lists of a pin as "PU=3 PD=4": pull-up, pull-down, power and ground clamp.
std::string supplies_text(const CIbisCompInfo& info, int pin) {
  struct Supply {
    const char* label;
    eIbisParam id;
  };
  std::string text;
  for (const Supply s : {Supply{"PU", eIbisPullUpPins}, Supply{"PD", eIbisPullDownPins},
                         Supply{"PC", eIbisPowerClampPins}, Supply{"GC", eIbisGndClampPins}}) {
    const char* pins = nullptr;
    if (!info.GetModelParam(s.id, &pins, pin)) continue;
    if (!text.empty()) text += ' ';
    text += std::string(s.label) + "=" + pins;
  }
  return text.empty() ? "-" : text;
}

// A supply, NC, or no model name at all (shown as "-").
bool names_no_model(std::string_view model) {
  const auto same = [](char a, char b) { return std::toupper(static_cast<unsigned char>(a)) == b; };
  for (const std::string_view word : {"POWER", "GND", "NC", "-"})
    if (std::equal(model.begin(), model.end(), word.begin(), word.end(), same)) return true;
  return false;
}

// The selectors the pins name. The compiled file keeps only a selector's name, as the model of
// a pin of no type, so the source is read for its selectors: once, and only when a pin of no
// type names something other than a supply or NC.
class PinSelectors {
 public:
  explicit PinSelectors(const CIbisCompInfo& info) : info_(info) {}

  const tarn::SourceSelector* find(int type, const std::string& model) {
    if (type != MT_NO_TYPE || names_no_model(model)) return nullptr;
    if (!loaded_) Load();
    const auto found = first_.find(model);
    if (found == first_.end()) return nullptr;
    used_.insert(model);
    return &selectors_[found->second];
  }

  // "model selector SEL: fast (default), slow" for each selector a pin named, in file order.
  void print_used() const {
    for (const tarn::SourceSelector& selector : selectors_) {
      if (used_.count(selector.name) == 0) continue;
      std::printf("model selector %s:", selector.name.c_str());
      for (size_t k = 0; k < selector.models.size(); ++k)
        std::printf("%s %s%s", k == 0 ? "" : ",", selector.models[k].c_str(),
                    k == 0 ? " (default)" : "");
      std::printf("\n");
    }
  }

 private:
  // A name given to two selectors means the first, as the reader takes it.
  void Load() {
    selectors_ = tarn::LIB_ModelSelectors(info_.SourceFile());
    for (size_t i = 0; i < selectors_.size(); ++i) first_.try_emplace(selectors_[i].name, i);
    loaded_ = true;
  }

  const CIbisCompInfo& info_;
  bool loaded_ = false;
  std::vector<tarn::SourceSelector> selectors_;
  std::unordered_map<std::string, size_t> first_;  // a pin's selector found without a scan
  std::set<std::string> used_;
};

void print_pins(const CIbisCompInfo& info) {
  constexpr const char* kRow = "%-6s %-12s %-14s %-25s %-9s %-9s %-9s %-16s %-6s %s\n";
  std::printf(kRow, "pin", "signal", "model", "model type", "R_pin", "L_pin", "C_pin", "supplies",
              "diff", "series");
  PinSelectors selectors(info);
  for (int pin = 0; pin < info.GetPinCount(); ++pin) {
    int type = 0;
    (void)info.GetModelParam(eIbisModelType, &type, pin);
    const std::string model = pin_text(info, eIbisModelName, pin);
    const char* type_text = selectors.find(type, model) ? "model selector"
                                                        : CIbisCompInfo::GetModelTypeText(type);
    std::printf(kRow, pin_text(info, eIbisPinName, pin).c_str(),
                pin_text(info, eIbisSignalName, pin).c_str(), model.c_str(), type_text,
                pin_value(info, eIbisRPin, pin).c_str(), pin_value(info, eIbisLPin, pin).c_str(),
                pin_value(info, eIbisCPin, pin).c_str(), supplies_text(info, pin).c_str(),
                pin_text(info, eIbisDiffPartner, pin).c_str(),
                pin_text(info, eIbisSeriesPartners, pin).c_str());
  }
  selectors.print_used();
}

int run_lib(const Arguments& args) {
  const char* component = args.operands.front().c_str();
  ToolLibrary library;
  if (!library.Init(args.cache.c_str())) return usage_error("lib", "cannot use the cache folder");
  for (const std::string& index : args.indexes)
    (void)library.AddSrcIndex(index.c_str(), index.c_str());
  library.SetSearchPaths(1);
  eRdIbisResult result = eRdIbisNone;
  const CIbisCompInfo* info = library.GetIbisCompInfo(component, &result, 0);
  std::fflush(stdout);
  if (!info) {
    library.Fini(1);
    std::fprintf(stderr, "tarn: lib: cannot make the component's information\n");
    return kExitFailed;
  }
  const char* compiled = nullptr;
  (void)info->GetModelParam(eIbisCompiledFile, &compiled, 0);
  std::printf("component: %s\nsource: %s\nstatus: %d %s\ncompiled file: %s\n", info->Name(),
              *info->SourceFile() ? info->SourceFile() : "-", static_cast<int>(info->GetStatus()),
              status_text(*info), compiled && *compiled ? compiled : "-");
  if (result == eRdIbisSuccess || result == eRdIbisWarnings)
    std::printf("compiled: now (report in %s)\n", library.GetCompileLogPath());
  else if (result == eRdIbisFailed)
    std::printf("compiled: failed (report in %s)\n", library.GetCompileLogPath());
  else
    std::printf("compiled: no compile needed\n");
  if (info->IsStatusOk()) print_pins(*info);
  const bool usable = info->IsStatusOk();
  library.Fini(1);
  return usable ? kExitPassed : kExitFailed;
}


int run_plot(const Arguments& args) {
  const std::string& file = args.operands.front();
  if (!readable_source(file.c_str())) return kExitUsage;
  tarn::ReadOptions options;
  options.accept_newer = args.accept_newer;
  const bool written =
      tarn::write_plots(file, args.component, args.model, args.output, stderr, options);
  if (!written) explain_refused_versions({file});  // "cannot read" alone tells no why
  return written ? kExitPassed : kExitFailed;
}

// The page of the sources the paths name, folders searched as check searches them. A path that
// cannot be read is the tool's error, as for check: said here, and the page shows the others.
int run_report(const Arguments& args) {
  if (std::count(args.operands.begin(), args.operands.end(), "-") > 0)
    return usage_error("report", "standard input ('-') is not read: name the files");
  std::vector<std::string> sources;
  const bool all_readable = expand_paths(args, &sources);
  if (sources.empty()) return kExitUsage;
  tarn::ReadOptions options;
  options.accept_newer = args.accept_newer;
  const bool written = tarn::write_report(sources, args.output, stderr, options);
  explain_refused_versions(sources);
  if (!written) return kExitFailed;
  return all_readable ? kExitPassed : kExitUsage;
}

}  // namespace

int main(int argc, char** argv) {
  Arguments args;
  if (const int status = tarn::cli::parse_arguments(argc, argv, &args); status >= 0) return status;
  // The compile and doc writers read through the library's own setting.
  if (args.accept_newer) tarn::IBIS_SetAcceptNewer(1);
  struct Command {
    const char* name;
    int (*run)(const Arguments&);
  };
  for (const Command command : {Command{"check", run_check}, Command{"compile", run_compile},
                                Command{"doc", run_doc}, Command{"index", run_index},
                                Command{"lib", run_lib}, Command{"plot", run_plot},
                                Command{"report", run_report}})
    if (args.command == command.name) return command.run(args);
  return kExitUsage;
}
