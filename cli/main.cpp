// tarn: checks IBIS sources and documents their components from the command line.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "tarn/reader.h"
#include "tarn/tarn.h"
#include "writers/doc.h"

namespace {

constexpr int kExitPassed = 0;
constexpr int kExitFailed = 1;
constexpr int kExitUsage = 2;

constexpr const char* kUsage =
    "usage: tarn <command> [arguments]\n"
    "\n"
    "commands:\n"
    "  check FILE...   read and check IBIS sources (.ibs, .pkg, .ebd); the report goes to\n"
    "                  standard output, one summary line per file\n"
    "  doc FILE [--component NAME] --output OUT\n"
    "                  read and check FILE as check does and, when it has no errors, write\n"
    "                  the documentation of component NAME (without NAME, the file's only\n"
    "                  component) to OUT\n"
    "\n"
    "options:\n"
    "  -h, --help      show this help\n"
    "  --version       show the version\n"
    "\n"
    "exit status: 0 every file passed (doc: OUT was written), 1 a file has errors (doc:\n"
    "nothing written), 2 usage error or unreadable file\n";

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

int run_check(const std::vector<const char*>& args) {
  if (args.empty()) return usage_error("check: no FILE given");
  std::vector<const char*> sources;
  bool unreadable = false;
  for (const char* path : args) {
    if (path[0] == '-' && path[1] != '\0') return usage_error(std::string("check: unknown option '") + path + "'");
    if (readable_source(path)) sources.push_back(path);
    else unreadable = true;
  }
  bool passed = true;
  if (!sources.empty()) {
    passed = tarn::IBIS_CheckFilesToStream(sources.data(), static_cast<int>(sources.size()), stdout) == 1;
  }
  std::fflush(stdout);
  if (unreadable) return kExitUsage;
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

int run_doc(const std::vector<const char*>& args) {
  ComponentArgs parsed;
  std::string error;
  if (!parse_component_args("doc", args, &parsed, &error)) return usage_error(error);
  if (!parsed.output) return usage_error("doc: --output OUT is required");
  if (!readable_source(parsed.file)) return kExitUsage;
  const int written =
      tarn::DOC_DocumentSource(parsed.file, parsed.component, parsed.output, stdout);
  std::fflush(stdout);
  return written ? kExitPassed : kExitFailed;
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
  if (command == "check") return run_check(rest);
  if (command == "doc") return run_doc(rest);
  return usage_error("unknown command '" + std::string(command) + "'");
}
