// tarn: checks IBIS sources from the command line.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

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
    "  check FILE...   read and check IBIS sources (.ibs, .pkg, .ebd); the report goes to\n"
    "                  standard output, one summary line per file\n"
    "\n"
    "options:\n"
    "  -h, --help      show this help\n"
    "  --version       show the version\n"
    "\n"
    "exit status: 0 every file passed, 1 a file has errors, 2 usage error or unreadable file\n";

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
  return usage_error("unknown command '" + std::string(command) + "'");
}
