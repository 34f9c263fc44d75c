#include "test_support.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <random>
#include <sstream>

#include "libibis/src/ibis.h"
#include "libibis/src/parse.h"
#include "libibis/src/rpt.h"
#include "libibis/src/source.h"
#include "writers/safe_file.h"

namespace tarn::test {

TempDir::TempDir() {
  std::random_device rd;
  const auto base = std::filesystem::temp_directory_path();
  for (int attempt = 0; attempt < 100; ++attempt) {
    auto candidate = base / ("tarn-test-" + std::to_string(rd()));
    if (std::filesystem::create_directory(candidate)) {
      path_ = candidate;
      return;
    }
  }
  throw std::runtime_error("cannot create a temporary folder");
}

ProcessorScope::ProcessorScope(bool one) {
  cpu_set_t mask;
  if (!one || ::sched_getaffinity(0, sizeof mask, &mask) != 0) return;
  cpu_set_t single;
  CPU_ZERO(&single);
  CPU_SET(::sched_getcpu(), &single);
  if (::sched_setaffinity(0, sizeof single, &single) == 0) saved_ = mask;
}

ProcessorScope::~ProcessorScope() {
  if (saved_) (void)::sched_setaffinity(0, sizeof *saved_, &*saved_);
}

TempDir::~TempDir() {
  std::error_code ec;
  std::filesystem::remove_all(path_, ec);
}

std::string TempDir::write(std::string_view name, std::string_view text) const {
  const auto file = path_ / std::string(name);
  std::ofstream out(file, std::ios::binary);
  out.write(text.data(), static_cast<std::streamsize>(text.size()));
  return file.string();
}

ScopedCwd::ScopedCwd(const std::filesystem::path& dir) : previous_(std::filesystem::current_path()) {
  std::filesystem::current_path(dir);
}

ScopedCwd::~ScopedCwd() { std::filesystem::current_path(previous_); }

MemStream::MemStream() : file_(open_memstream(&data_, &size_)) {}

MemStream::~MemStream() {
  if (file_) std::fclose(file_);
  std::free(data_);
}

std::string MemStream::text() {
  std::fflush(file_);
  return std::string(data_, size_);
}

ReadResult read_source(std::string_view text, std::string_view name, bool want_document) {
  TempDir dir;
  dir.write(name, text);
  ScopedCwd cwd(dir.path());
  MemStream report;
  ReadResult r;
  IbisDocument* doc = nullptr;
  const std::string file(name);
  r.result = IBIS_ReadSourceToStream(file.c_str(), report.get(), want_document ? &doc : nullptr);
  r.document.reset(doc);
  r.report = report.text();
  return r;
}

ReadResult read_lines(std::string_view text, std::string_view name, int version, bool end_checks) {
  TempDir dir;
  dir.write(name, text);
  ScopedCwd cwd(dir.path());
  MemStream report;
  ReadResult r;
  const std::string file(name);
  RPT_ResetCounts();
  RPT_SetStream(report.get());
  IbisDocument* doc = IBIS_CreateDocument();
  PRS_SetVersion(version);
  const FileKind kind = SRC_KindOf(file);
  r.result = PRS_ReadFile(file.c_str(), kind);
  if (end_checks) IBIS_EndOfFileChecks(kind, false);
  IBIS_DetachDocument(doc);
  r.document.reset(doc);
  RPT_SetStream(nullptr);
  r.report = report.text();
  return r;
}

pid_t fork_settled() {
  SFL_AwaitReleases();
  return ::fork();
}

std::optional<std::string> file_bytes(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return std::nullopt;
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

namespace {

// The line of `text` that holds byte `at`, quoted, or a mark where the text has ended.
std::string line_at(std::string_view text, size_t at) {
  if (at >= text.size()) return "<end of file>";
  const size_t begin = at == 0 ? 0 : text.rfind('\n', at - 1) + 1;  // npos + 1 is the start
  return "\"" + std::string(text.substr(begin, text.find('\n', at) - begin)) + "\"";
}

}  // namespace

::testing::AssertionResult matches_golden(std::string_view name, std::string_view actual) {
  const std::filesystem::path path = std::filesystem::path(TARN_TEST_DATA) / "expected" / name;
  const char* update = std::getenv("TARN_UPDATE_GOLDEN");
  if (update && std::string_view(update) == "1") {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream out(path, std::ios::binary);
    out.write(actual.data(), static_cast<std::streamsize>(actual.size()));
    if (!out.flush()) return ::testing::AssertionFailure() << "cannot write " << path.string();
    return ::testing::AssertionSuccess() << "wrote " << path.string();
  }
  const std::optional<std::string> expected = file_bytes(path);
  if (!expected)
    return ::testing::AssertionFailure()
           << "no golden file " << path.string() << " (TARN_UPDATE_GOLDEN=1 writes it)";
  if (*expected == actual) return ::testing::AssertionSuccess();
  const auto left =
      std::mismatch(expected->begin(), expected->end(), actual.begin(), actual.end()).first;
  const size_t at = static_cast<size_t>(left - expected->begin());
  const auto line = std::count(expected->begin(), left, '\n') + 1;
  return ::testing::AssertionFailure()
         << path.string() << " differs at line " << line << ":\n  expected: "
         << line_at(*expected, at) << "\n  actual:   " << line_at(actual, at)
         << "\n(TARN_UPDATE_GOLDEN=1 rewrites it from the actual output)";
}

std::string file_text(const std::filesystem::path& path) { return file_bytes(path).value_or(""); }

std::string line_findings(const std::string& report) {
  std::istringstream in(report);
  std::string out;
  std::string line;
  bool keep = false;
  while (std::getline(in, line)) {
    // A two-line finding goes on with an indented line.
    if (line.rfind("    ", 0) != 0) keep = line.find(" (line ") != std::string::npos;
    if (keep) out += line + "\n";
  }
  return out;
}

}  // namespace tarn::test
