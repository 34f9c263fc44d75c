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
#include <vector>

#include <unistd.h>

#include "check_output.h"
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

constexpr int kExitPassed = 0;
constexpr int kExitFailed = 1;
constexpr int kExitUsage = 2;

constexpr const char* kUsage =
    "usage: tarn <command> [arguments]\n"
    "\n"
    "commands:\n"
    "  check [OPTIONS] FILE|FOLDER|-...\n"
    "                  read and check IBIS sources (.ibs, .pkg, .ebd; a FOLDER is searched\n"
    "                  for them, hidden folders skipped); the report goes to standard\n"
    "                  output, one summary line per file\n"
    "      --format text|gcc|json|sarif  the report as text (default), as FILE:LINE:\n"
    "                  error: MESSAGE lines, as one JSON document or as a SARIF 2.1.0 log\n"
    "      --stdin-name NAME  the name of the source read from '-' (standard input)\n"
    "      -q, --quiet  only the findings of the files that fail, and the totals\n"
    "      --werror    a warning fails the file\n"
    "      --color auto|always|never  colour ERROR and WARNING (auto: when standard\n"
    "                  output is a terminal and NO_COLOR is not set)\n"
    "  compile FILE [--component NAME] --output OUT\n"
    "                  read and check FILE as check does and, when it has no errors, write\n"
    "                  the compiled model file of component NAME (without NAME, the file's\n"
    "                  only component) to OUT\n"
    "  index FOLDER    read every .ibs file of FOLDER and write its source index,\n"
    "                  FOLDER/ibisindex.ibx (component name to file)\n"
    "  lib --cache DIR --index FILE [--index FILE...] COMPONENT\n"
    "                  ask the model library (compiled files and log in DIR, sources found\n"
    "                  through the indexes) for COMPONENT, compiling it when needed, and\n"
    "                  show its status, compiled file and pins; exit 0 when usable\n"
    "  doc FILE [--component NAME] --output OUT\n"
    "                  read and check FILE as check does and, when it has no errors, write\n"
    "                  the documentation of component NAME (without NAME, the file's only\n"
    "                  component) to OUT\n"
    "\n"
    "options:\n"
    "  --accept-newer  check, compile, doc: read sources of IBIS 4.0 to 7.2 by the IBIS 3.2\n"
    "                  rules, with one warning per later keyword or subparameter read past\n"
    "  -h, --help      show this help\n"
    "  --version       show the version\n"
    "\n"
    "  plot FILE [--component NAME] [--model NAME] --output DIR\n"
    "                  plot files, SVG plots and an index.html of the curves of every model\n"
    "                  (or of model NAME, or of the models component NAME uses)\n"
    "  report PATH... --output report.html\n"
    "                  one self-contained HTML page: results, findings, components, models\n"
    "exit status: 0 every file passed (compile, doc: OUT was written), 1 a file has errors\n"
    "(compile, doc: nothing written), 2 usage error or unreadable file\n";

// Set by --accept-newer; the readings through the reading API take it from their options.
bool g_accept_newer = false;

// --accept-newer, anywhere among a command's arguments, is taken out and set for the reading.
std::vector<const char*> take_accept_newer(std::vector<const char*> args) {
  const auto it = std::remove_if(args.begin(), args.end(), [](const char* arg) {
    return std::string_view(arg) == "--accept-newer";
  });
  if (it != args.end()) {
    tarn::IBIS_SetAcceptNewer(1);
    g_accept_newer = true;
  }
  args.erase(it, args.end());
  return args;
}

int usage_error(const std::string& message) {
  std::fprintf(stderr, "tarn: %s\n", message.c_str());
  std::fprintf(stderr, "Try 'tarn --help'.\n");
  return kExitUsage;
}

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

// One line on standard error per source whose version the reader refused.
void explain_refused_versions(const std::vector<const char*>& sources) {
  for (const char* path : sources) {
    if (tarn::IBIS_DetectVersion(path, nullptr, tarn::IBIS_KindOf(path)) != 0) continue;
    std::fprintf(stderr, "tarn: '%s' %s\n", path, version_finding(path).c_str());
  }
}

// The options of check besides its sources.
struct CheckArgs {
  std::vector<std::string> paths;
  tarn::cli::Format format = tarn::cli::Format::Text;
  const char* stdin_name = nullptr;
  bool quiet = false;
  bool werror = false;
  std::string color = "auto";
};

bool parse_check_args(const std::vector<const char*>& args, CheckArgs* out, std::string* error) {
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string_view arg = args[i];
    std::string_view value;
    const auto take = [&](std::string_view name) {
      if (arg == name && i + 1 < args.size()) {
        value = args[++i];
        return true;
      }
      if (arg.size() > name.size() && arg.starts_with(name) && arg[name.size()] == '=') {
        value = arg.substr(name.size() + 1);
        return true;
      }
      return false;
    };
    if (arg == "--quiet" || arg == "-q") out->quiet = true;
    else if (arg == "--werror") out->werror = true;
    else if (take("--format")) {
      if (!tarn::cli::parse_format(std::string(value), &out->format)) {
        *error = "check: --format takes text, gcc, json or sarif, not '" + std::string(value) + "'";
        return false;
      }
    } else if (take("--color")) {
      out->color = value;
      if (out->color != "auto" && out->color != "always" && out->color != "never") {
        *error = "check: --color takes auto, always or never, not '" + out->color + "'";
        return false;
      }
    } else if (take("--stdin-name")) {
      out->stdin_name = value.data();
    } else if (arg == "--format" || arg == "--stdin-name" || arg == "--color") {
      *error = "check: " + std::string(arg) + " needs a value";
      return false;
    } else if (arg.size() > 1 && arg[0] == '-') {
      *error = "check: unknown option '" + std::string(arg) + "'";
      return false;
    } else {
      out->paths.emplace_back(arg);
    }
  }
  if (out->paths.empty()) {
    *error = "check: no FILE given";
    return false;
  }
  return true;
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
bool expand_paths(const CheckArgs& args, std::vector<std::string>* sources) {
  bool all_readable = true;
  for (const std::string& path : args.paths) {
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

int run_check(const std::vector<const char*>& raw) {
  CheckArgs args;
  std::string error;
  if (!parse_check_args(raw, &args, &error)) return usage_error(error);
  const bool reads_stdin = std::count(args.paths.begin(), args.paths.end(), "-") > 0;
  if (reads_stdin && !args.stdin_name)
    return usage_error("check: '-' needs --stdin-name NAME (its extension tells the kind)");
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
  options.accept_newer = g_accept_newer;
  std::vector<tarn::cli::CheckedFile> checked;
  bool passed = true;
  for (const std::string& path : sources) {
    tarn::cli::CheckedFile file;
    file.path = path == "-" ? args.stdin_name : path;
    file.result = path == "-" ? tarn::read_text(read_stdin(), file.path, options)
                              : tarn::read_file(path, options);
    const bool failed = tarn::cli::file_failed(file.result, args.werror);
    if (failed) passed = false;
    const bool shown = !args.quiet || failed;
    if (keep && shown) {
      if (color) print_colored(file.result.report_text());
      else std::fwrite(file.result.report_text().data(), 1, file.result.report_text().size(), stdout);
    }
    if (args.format == tarn::cli::Format::Gcc && shown)
      std::fputs(tarn::cli::gcc_lines(file).c_str(), stdout);
    checked.push_back(std::move(file));
  }
  if (args.format == tarn::cli::Format::Json && !args.quiet)
    std::fputs(tarn::cli::json_report(checked, args.werror).c_str(), stdout);
  if (args.format == tarn::cli::Format::Sarif && !args.quiet)
    std::fputs(tarn::cli::sarif_report(checked).c_str(), stdout);
  std::fflush(stdout);
  std::vector<const char*> on_disk;
  for (const std::string& path : sources)
    if (path != "-") on_disk.push_back(path.c_str());
  explain_refused_versions(on_disk);
  // On standard error, so the report on standard output stays as it always was.
  const bool one_document =
      args.format == tarn::cli::Format::Json || args.format == tarn::cli::Format::Sarif;
  if ((checked.size() > 1 || args.quiet) && !one_document)
    std::fputs(("tarn: " + tarn::cli::totals_line(checked, args.werror)).c_str(), stderr);
  if (!all_readable) return kExitUsage;
  return passed ? kExitPassed : kExitFailed;
}

// The arguments of a command that works on one component of one source.
struct ComponentArgs {
  const char* file = nullptr;
  const char* component = nullptr;
  const char* output = nullptr;
};

// FILE with --component NAME and --output OUT (each also as --option=VALUE), in any order.
bool parse_component_args(const char* command, const std::vector<const char*>& args,
                          ComponentArgs* out, std::string* error) {
  const std::string prefix = std::string(command) + ": ";
  struct Option {
    std::string_view name;
    const char** value;
  };
  const Option options[] = {{"--component", &out->component}, {"--output", &out->output}};
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string_view arg = args[i];
    const Option* matched = nullptr;
    for (const Option& option : options) {
      if (arg == option.name) {
        if (i + 1 == args.size()) {
          *error = prefix + std::string(option.name) + " needs a value";
          return false;
        }
        *option.value = args[++i];
        matched = &option;
      } else if (arg.size() > option.name.size() && arg.starts_with(option.name) &&
                 arg[option.name.size()] == '=') {
        *option.value = args[i] + option.name.size() + 1;
        matched = &option;
      }
      if (matched) break;
    }
    if (matched) {
      if (**matched->value == '\0') {
        *error = prefix + std::string(matched->name) + " needs a value";
        return false;
      }
      continue;
    }
    if (arg.size() > 1 && arg[0] == '-') {
      *error = prefix + "unknown option '" + std::string(arg) + "'";
      return false;
    }
    if (out->file) {
      *error = prefix + "one FILE only";
      return false;
    }
    out->file = args[i];
  }
  if (!out->file) {
    *error = prefix + "no FILE given";
    return false;
  }
  return true;
}

// After a failed compile or doc: when the component was missing or unknown, the names the
// file offers, so the user can pick one (read again, quietly: only on this failing road).
void list_components_when_unmatched(const char* command, const ComponentArgs& parsed) {
  tarn::ReadOptions options;
  options.accept_newer = g_accept_newer;
  const tarn::ReadResult result = tarn::read_file(parsed.file, options);
  std::string names;
  bool matched = false;
  for (const tarn::ComponentView component : result.document().components()) {
    matched = matched || (parsed.component && component.name() == parsed.component);
    names += (names.empty() ? "" : ", ") + std::string(component.name());
  }
  const size_t count = result.document().components().size();
  const bool unmatched = parsed.component ? !matched : count > 1;
  if (!unmatched || names.empty()) return;
  std::fprintf(stderr, "tarn: %s: components of '%s': %s\n", command, parsed.file, names.c_str());
}

int run_compile(const std::vector<const char*>& args) {
  ComponentArgs parsed;
  std::string error;
  if (!parse_component_args("compile", args, &parsed, &error)) return usage_error(error);
  // The library takes "-" as "check only"; on the command line it would look like stdout.
  if (!parsed.output || !*parsed.output || std::string_view(parsed.output) == "-")
    return usage_error("compile: --output OUT is required (a file name)");
  if (!readable_source(parsed.file)) return kExitUsage;
  const int written =
      tarn::IBIS_CompileSourceToStream(parsed.file, parsed.component, parsed.output, stdout);
  std::fflush(stdout);
  if (written != 1) list_components_when_unmatched("compile", parsed);
  return written == 1 ? kExitPassed : kExitFailed;
}

int run_index(const std::vector<const char*>& args) {
  if (args.size() != 1) return usage_error("index: one FOLDER expected");
  if (args[0][0] == '-') return usage_error(std::string("index: unknown option '") + args[0] + "'");
  std::error_code ec;
  if (!std::filesystem::is_directory(args[0], ec)) {
    std::fprintf(stderr, "tarn: '%s' is not a folder\n", args[0]);
    return kExitUsage;
  }
  const tarn::SourceIndexResult result = tarn::LIB_IndexFolder(args[0]);
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
    if (!loaded_) {
      selectors_ = tarn::LIB_ModelSelectors(info_.SourceFile());
      loaded_ = true;
    }
    for (const tarn::SourceSelector& selector : selectors_) {
      if (selector.name != model) continue;
      used_.insert(selector.name);
      return &selector;
    }
    return nullptr;
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
  const CIbisCompInfo& info_;
  bool loaded_ = false;
  std::vector<tarn::SourceSelector> selectors_;
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

int run_lib(const std::vector<const char*>& args) {
  const char* cache = nullptr;
  const char* component = nullptr;
  std::vector<const char*> indexes;
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string_view arg = args[i];
    if (arg == "--cache" || arg == "--index") {
      if (i + 1 == args.size()) return usage_error("lib: " + std::string(arg) + " needs a value");
      if (arg == "--cache")
        cache = args[++i];
      else indexes.push_back(args[++i]);
    } else if (arg.size() > 1 && arg[0] == '-') {
      return usage_error("lib: unknown option '" + std::string(arg) + "'");
    } else if (component) {
      return usage_error("lib: one COMPONENT only");
    } else {
      component = args[i];
    }
  }
  if (!cache) return usage_error("lib: --cache DIR is required");
  if (indexes.empty()) return usage_error("lib: at least one --index FILE is required");
  if (!component) return usage_error("lib: no COMPONENT given");
  ToolLibrary library;
  if (!library.Init(cache)) return usage_error("lib: cannot use the cache folder");
  for (const char* index : indexes) (void)library.AddSrcIndex(index, index);
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

int run_doc(const std::vector<const char*>& args) {
  ComponentArgs parsed;
  std::string error;
  if (!parse_component_args("doc", args, &parsed, &error)) return usage_error(error);
  if (!parsed.output) return usage_error("doc: --output OUT is required");
  if (!readable_source(parsed.file)) return kExitUsage;
  const int written =
      tarn::IBIS_DocumentSourceToStream(parsed.file, parsed.component, parsed.output, stdout);
  std::fflush(stdout);
  if (!written) list_components_when_unmatched("doc", parsed);
  return written ? kExitPassed : kExitFailed;
}

int run_plot(const std::vector<const char*>& args) {
  // --model is taken out first; the rest is a one-component command's arguments.
  const char* model = "";
  std::vector<const char*> rest;
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string_view arg = args[i];
    if (arg == "--model" && i + 1 < args.size()) model = args[++i];
    else if (arg.starts_with("--model=")) model = args[i] + 8;
    else if (arg == "--model") return usage_error("plot: --model needs a value");
    else rest.push_back(args[i]);
  }
  ComponentArgs parsed;
  std::string error;
  if (!parse_component_args("plot", rest, &parsed, &error)) return usage_error(error);
  if (!parsed.output) return usage_error("plot: --output DIR is required");
  if (!readable_source(parsed.file)) return kExitUsage;
  tarn::ReadOptions options;
  options.accept_newer = g_accept_newer;
  const bool written = tarn::write_plots(parsed.file, parsed.component ? parsed.component : "",
                                         model, parsed.output, stderr, options);
  return written ? kExitPassed : kExitFailed;
}

int run_report(const std::vector<const char*>& args) {
  std::vector<std::string> paths;
  const char* output = nullptr;
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string_view arg = args[i];
    if (arg == "--output" && i + 1 < args.size()) output = args[++i];
    else if (arg.starts_with("--output=")) output = args[i] + 9;
    else if (arg.starts_with("-")) return usage_error("report: unknown option '" + std::string(arg) + "'");
    else paths.emplace_back(arg);
  }
  if (paths.empty()) return usage_error("report: no PATH given");
  if (!output || !*output) return usage_error("report: --output report.html is required");
  tarn::ReadOptions options;
  options.accept_newer = g_accept_newer;
  return tarn::write_report(paths, output, stderr, options) ? kExitPassed : kExitFailed;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) return usage_error("no command given");
  const std::string_view command = argv[1];
  if (command == "-h" || command == "--help" || command == "help") {
    std::fputs(kUsage, stdout);
    return kExitPassed;
  }
  if (command == "--version") {
    std::printf("tarn %s\n", tarn_version());
    return kExitPassed;
  }
  const std::vector<const char*> rest(argv + 2, argv + argc);
  if (command == "check") return run_check(take_accept_newer(rest));
  if (command == "compile") return run_compile(take_accept_newer(rest));
  if (command == "index") return run_index(rest);
  if (command == "lib") return run_lib(rest);
  if (command == "doc") return run_doc(take_accept_newer(rest));
  if (command == "plot") return run_plot(take_accept_newer(rest));
  if (command == "report") return run_report(take_accept_newer(rest));
  return usage_error("unknown command '" + std::string(command) + "'");
}
