// Reading speed and memory against the targets, each beside the naive floor (std::getline over
// the file, strtod on every numeric token) measured in the same run, on generated files of 4 MB
// (vendor size), 10 MB and 100 MB. Counters: x_floor is the median time over the floor's median,
// x_check over the check's median of the same file, mem_x_file the tool's peak resident memory
// over the file size; the label gives each target (time, memory) and whether this run met it.
#include <benchmark/benchmark.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <initializer_list>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "ibis_gen.h"
#include "quiet_stdout.h"
#include "tarn/compile.h"
#include "tarn/document.h"
#include "tarn/documentation.h"
#include "tarn/plot.h"
#include "tarn/reader.h"

namespace {

namespace fs = std::filesystem;

// Generated once per size and kept for the run.
const std::string& fixture(int megabytes) {
  static std::map<int, std::string> paths;
  auto it = paths.find(megabytes);
  if (it != paths.end()) return it->second;
  const std::string path =
      (fs::temp_directory_path() / ("tarn_bench_" + std::to_string(megabytes) + "mb.ibs")).string();
  if (!fs::exists(path) || fs::file_size(path) < size_t(megabytes) * 900000) {
    tarn::bench::generate_ibis(path, size_t(megabytes) * 1000000);
  }
  return paths[megabytes] = path;
}

double naive_floor(const std::string& path) {
  std::ifstream in(path);
  std::string line;
  double sum = 0;
  while (std::getline(in, line)) {
    const char* p = line.c_str();
    while (*p) {
      while (*p == ' ' || *p == '\t') ++p;
      const char* start = p;
      while (*p && *p != ' ' && *p != '\t') ++p;
      const char c = *start;
      if ((c >= '0' && c <= '9') || c == '-' || c == '+' || c == '.')
        sum += std::strtod(start, nullptr);
    }
  }
  return sum;
}

double seconds_of(const std::function<void()>& run) {
  const auto start = std::chrono::steady_clock::now();
  run();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double median(std::vector<double> times) {
  std::sort(times.begin(), times.end());
  return times[times.size() / 2];
}

// Times every iteration, hands the times to the benchmark and returns their median.
double timed_loop(benchmark::State& state, const std::function<void()>& run) {
  std::vector<double> times;
  for (auto _ : state) {
    const double s = seconds_of(run);
    state.SetIterationTime(s);
    times.push_back(s);
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(fs::file_size(fixture(int(state.range(0))))));
  return median(times);
}

// Medians per file, so later benchmarks compare with earlier ones of the same run.
std::map<std::string, double>& floor_medians() {
  static std::map<std::string, double> m;
  return m;
}
std::map<std::string, double>& check_medians() {
  static std::map<std::string, double> m;
  return m;
}

double floor_median(const std::string& path) {
  auto& m = floor_medians();
  if (!m.count(path)) {
    std::vector<double> t;
    for (int i = 0; i < 3; ++i) t.push_back(seconds_of([&] { benchmark::DoNotOptimize(naive_floor(path)); }));
    m[path] = median(t);
  }
  return m[path];
}

void check_once(const std::string& path) {
  static std::FILE* report = std::fopen("/dev/null", "w");
  const char* files[] = {path.c_str()};
  benchmark::DoNotOptimize(tarn::IBIS_CheckFilesToStream(files, 1, report));
}

double check_median(const std::string& path) {
  auto& m = check_medians();
  if (!m.count(path)) {
    tarn::bench::QuietStdout quiet;
    std::vector<double> t;
    for (int i = 0; i < 3; ++i) t.push_back(seconds_of([&] { check_once(path); }));
    m[path] = median(t);
  }
  return m[path];
}

// A child's peak memory counts the pages it shared with its parent when forked, and the benchmark
// process has grown by then; so a freshly started copy of this program ("--peak-of TOOL ARGS...")
// runs the tool and prints its peak in KiB, while still too small to hide it.
int print_peak(char** argv) {
  const pid_t pid = fork();
  if (pid == 0) {
    std::freopen("/dev/null", "w", stdout);
    std::freopen("/dev/null", "w", stderr);
    execv(argv[0], argv);
    _exit(127);
  }
  int status = 0;
  rusage usage{};
  if (pid < 0 || wait4(pid, &status, 0, &usage) != pid || !WIFEXITED(status) ||
      WEXITSTATUS(status) == 127)
    return 1;
  std::printf("%ld\n", usage.ru_maxrss);
  return 0;
}

// Peak resident memory of the tool running `args`, over the file's size; -1 when it failed.
double peak_memory_ratio(const std::string& path, const std::vector<std::string>& args) {
  char self[4096];
  const ssize_t n = readlink("/proc/self/exe", self, sizeof self - 1);
  if (n <= 0) return -1;
  std::string command = std::string(self, size_t(n)) + " --peak-of " TARN_BENCH_TOOL;
  for (const std::string& a : args) command += " '" + a + "'";
  std::FILE* pipe = popen(command.c_str(), "r");
  if (!pipe) return -1;
  long kib = -1;
  if (std::fscanf(pipe, "%ld", &kib) != 1) kib = -1;
  if (pclose(pipe) != 0 || kib < 0) return -1;
  return double(kib) * 1024.0 / double(fs::file_size(path));
}

// One verdict per target, so that a met memory target is not hidden by a missed time target.
struct Target {
  const char* text;
  bool met;
};

void label_targets(benchmark::State& state, std::initializer_list<Target> targets) {
  std::string label;
  for (const Target& t : targets) {
    if (!label.empty()) label += ", ";
    label += std::string(t.text) + (t.met ? ": met" : ": NOT met");
  }
  state.SetLabel(label);
}

std::string output_path(const char* what) {
  return (fs::temp_directory_path() / (std::string("tarn_bench_out.") + what)).string();
}

void BM_Floor(benchmark::State& state) {
  const std::string& path = fixture(int(state.range(0)));
  floor_medians()[path] =
      timed_loop(state, [&] { benchmark::DoNotOptimize(naive_floor(path)); });
}

// check: at most 0.5x the floor and 1.0x the file in memory; vendor size: at most 0.6x the floor.
void BM_Check(benchmark::State& state) {
  const int mb = int(state.range(0));
  const std::string& path = fixture(mb);
  double t;
  {
    tarn::bench::QuietStdout quiet;
    t = timed_loop(state, [&] { check_once(path); });
  }
  check_medians()[path] = t;
  const double x = t / floor_median(path);
  state.counters["x_floor"] = x;
  if (mb < 10) {
    label_targets(state, {{"x_floor<=0.6", x <= 0.6}});
    return;
  }
  const double mem = peak_memory_ratio(path, {"check", path});
  state.counters["mem_x_file"] = mem;
  label_targets(state, {{"x_floor<=0.5", x <= 0.5}, {"mem_x_file<=1.0", mem >= 0 && mem <= 1.0}});
}

// The time targets of compile and doc are set for the largest file; at 10 MB the fixed costs of
// replacing the output (the sync, the old file freed) weigh more, and the rows only inform.
bool is_largest(int mb) { return mb >= 100; }

// compile of the one component: at most 1.3x the check.
void BM_Compile(benchmark::State& state) {
  const std::string& path = fixture(int(state.range(0)));
  const std::string out = output_path("cbs");
  std::FILE* report = std::fopen("/dev/null", "w");
  double t;
  {
    tarn::bench::QuietStdout quiet;
    t = timed_loop(state, [&] {
      benchmark::DoNotOptimize(tarn::IBIS_CompileSourceToStream(path.c_str(), "BENCH", out.c_str(), report));
    });
  }
  std::fclose(report);
  const double x = t / check_median(path);
  state.counters["x_check"] = x;
  state.counters["x_floor"] = t / floor_median(path);
  state.counters["mem_x_file"] =
      peak_memory_ratio(path, {"compile", path, "--component", "BENCH", "--output", out});
  if (is_largest(int(state.range(0)))) label_targets(state, {{"x_check<=1.3", x <= 1.3}});
}

// doc of the component: at most 1.5x the check and 1.2x the file in memory.
void BM_Doc(benchmark::State& state) {
  const std::string& path = fixture(int(state.range(0)));
  const std::string out = output_path("txt");
  std::FILE* report = std::fopen("/dev/null", "w");
  double t;
  {
    tarn::bench::QuietStdout quiet;
    t = timed_loop(state, [&] {
      benchmark::DoNotOptimize(tarn::IBIS_DocumentSourceToStream(path.c_str(), "BENCH", out.c_str(), report));
    });
  }
  std::fclose(report);
  const double x = t / check_median(path);
  const double mem = peak_memory_ratio(path, {"doc", path, "--component", "BENCH", "--output", out});
  state.counters["x_check"] = x;
  state.counters["x_floor"] = t / floor_median(path);
  state.counters["mem_x_file"] = mem;
  const bool memory_met = mem >= 0 && mem <= 1.2;
  if (is_largest(int(state.range(0))))
    label_targets(state, {{"x_check<=1.5", x <= 1.5}, {"mem_x_file<=1.2", memory_met}});
  else
    label_targets(state, {{"mem_x_file<=1.2", memory_met}});
}

// Writes component BENCH of `path` to `out` with `write` (compile or doc) at each iteration, its
// report dropped.
using StreamWriter = int (*)(const char*, const char*, const char*, std::FILE*);
void write_each_iteration(benchmark::State& state, StreamWriter write, const std::string& path,
                          const std::string& out, const char* failure) {
  std::FILE* report = std::fopen("/dev/null", "w");
  {
    tarn::bench::QuietStdout quiet;
    for (auto _ : state)
      if (!write(path.c_str(), "BENCH", out.c_str(), report)) state.SkipWithError(failure);
  }
  std::fclose(report);
}

// compile of a large part whose pins are nearly all differential pairs: no target, but a pin's
// partner must be found without a search through every pair.
void BM_CompilePairs(benchmark::State& state) {
  const int pins = int(state.range(0));
  const std::string path =
      (fs::temp_directory_path() / ("tarn_pairs_" + std::to_string(pins) + ".ibs")).string();
  tarn::bench::generate_ibis_pairs(path, pins);
  write_each_iteration(state, tarn::IBIS_CompileSourceToStream, path, output_path("pairs.cbs"),
                       "the component did not compile");
}

// A generated file of `count` pins (or parts) kept for the run, made by `generate`; its name
// stays within the 24 characters a [File Name] holds.
std::string scaled_fixture(const char* stem, const char* extension, int count,
                           size_t (*generate)(const std::string&, int)) {
  const std::string path =
      (fs::temp_directory_path() / (stem + std::to_string(count) + extension)).string();
  if (!fs::exists(path)) generate(path, count);
  return path;
}

// The documentation of a part whose pins each name a model or selector of their own: no target,
// but each selector must be told from a model without a search through every model. The counts
// go by four, so that the rows show how the cost grows.
void BM_DocOwnModels(benchmark::State& state) {
  const std::string path = scaled_fixture("tarn_own_", ".ibs", int(state.range(0)),
                                          tarn::bench::generate_ibis_own_models);
  write_each_iteration(state, tarn::IBIS_DocumentSourceToStream, path, output_path("own.txt"),
                       "the listing was not written");
}

// The plots of the same part's models: each pin's model found without a search.
void BM_PlotOwnModels(benchmark::State& state) {
  const std::string path = scaled_fixture("tarn_own_", ".ibs", int(state.range(0)),
                                          tarn::bench::generate_ibis_own_models);
  const std::string out = output_path("plots");
  for (auto _ : state) {
    if (!tarn::write_plots(path, "BENCH", "", out, nullptr))
      state.SkipWithError("the plots were not written");
  }
}

// A program that reads the same part and finds each pin's model or selector through the
// document's look-ups by name: each must not search through every model and selector.
void BM_FindEveryPinsModel(benchmark::State& state) {
  const std::string path = scaled_fixture("tarn_own_", ".ibs", int(state.range(0)),
                                          tarn::bench::generate_ibis_own_models);
  std::optional<tarn::ReadResult> result;
  for (auto _ : state) {
    state.PauseTiming();
    result.reset();
    result.emplace(tarn::read_file(path));
    const tarn::DocumentView document = result->document();
    const auto component = document.find_component("BENCH");
    if (!component) state.SkipWithError("the component was not read");
    state.ResumeTiming();
    for (const tarn::PinInfo& pin : component->pins())
      if (!document.find_model(pin.model) && !document.find_model_selector(pin.model))
        state.SkipWithError("a pin's model was not found");
  }
}

// The check of a board that places thousands of parts from one library file: each part found
// without a search through the file's components.
void BM_CheckBoardParts(benchmark::State& state) {
  const std::string path = scaled_fixture("tarn_board_parts_", "/board.ebd", int(state.range(0)),
                                          [](const std::string& board, int parts) {
                                            fs::create_directories(fs::path(board).parent_path());
                                            return tarn::bench::generate_board_parts(board, parts);
                                          });
  tarn::bench::QuietStdout quiet;
  for (auto _ : state) check_once(path);
}

void sizes(benchmark::internal::Benchmark* b) {
  b->Arg(10)->Arg(100)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(5);
}

BENCHMARK(BM_Floor)->Arg(4)->Apply(sizes);
BENCHMARK(BM_Check)->Arg(4)->Apply(sizes);
BENCHMARK(BM_Compile)->Apply(sizes);
BENCHMARK(BM_Doc)->Apply(sizes);

// Large parts, after the rows with targets so that the files they write do not disturb them.
BENCHMARK(BM_CompilePairs)->Arg(2000)->Arg(8000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DocOwnModels)->Arg(4000)->Arg(16000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PlotOwnModels)->Arg(4000)->Arg(16000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FindEveryPinsModel)->Arg(4000)->Arg(16000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CheckBoardParts)->Arg(4000)->Arg(16000)->Unit(benchmark::kMillisecond);

// A real vendor file of 0.4 to 5 MB: check at most 0.6x the floor of the same file. Files of a
// later version are read with their newer keywords skipped, as `tarn check --accept-newer`
// does, rather than timed as a refusal.
void BM_VendorCheck(benchmark::State& state, const std::string& path) {
  std::vector<double> times;
  tarn::IBIS_SetAcceptNewer(1);
  {
    tarn::bench::QuietStdout quiet;
    for (auto _ : state) {
      const double s = seconds_of([&] { check_once(path); });
      state.SetIterationTime(s);
      times.push_back(s);
    }
  }
  tarn::IBIS_SetAcceptNewer(0);
  const double x = median(times) / floor_median(path);
  state.counters["x_floor"] = x;
  label_targets(state, {{"x_floor<=0.6", x <= 0.6}});
}

// Vendor files are not shipped with the sources: TARN_BENCH_VENDOR_DIR names a folder of them,
// and each .ibs there of vendor size gets its row.
void register_vendor_files() {
  const char* dir = std::getenv("TARN_BENCH_VENDOR_DIR");
  if (!dir || !*dir || !fs::is_directory(dir)) return;
  std::vector<fs::path> files;
  for (const auto& entry : fs::directory_iterator(dir)) {
    const auto size = entry.is_regular_file() ? entry.file_size() : 0;
    if (entry.path().extension() == ".ibs" && size >= 400000 && size <= 5000000)
      files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  for (const fs::path& f : files)
    benchmark::RegisterBenchmark(("BM_VendorCheck/" + f.filename().string()).c_str(),
                                 BM_VendorCheck, f.string())
        ->Unit(benchmark::kMillisecond)
        ->UseManualTime()
        ->Iterations(9);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 2 && std::string(argv[1]) == "--peak-of") return print_peak(argv + 2);
  register_vendor_files();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
