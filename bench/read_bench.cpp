// Reading speed of the checker against a naive baseline (std::getline over the file, strtod
// on every numeric token), on generated files of 10 MB and 100 MB.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>

#include "ibis_gen.h"
#include "quiet_stdout.h"
#include "tarn/reader.h"

namespace {

// Generated once per size and kept for the run.
const std::string& fixture(int megabytes) {
  static std::map<int, std::string> paths;
  auto it = paths.find(megabytes);
  if (it != paths.end()) return it->second;
  const auto dir = std::filesystem::temp_directory_path();
  const std::string path = (dir / ("tarn_bench_" + std::to_string(megabytes) + "mb.ibs")).string();
  if (!std::filesystem::exists(path) ||
      std::filesystem::file_size(path) < size_t(megabytes) * 900000) {
    tarn::bench::generate_ibis(path, size_t(megabytes) * 1000000);
  }
  return paths[megabytes] = path;
}

void BM_Check(benchmark::State& state) {
  const std::string& path = fixture(static_cast<int>(state.range(0)));
  std::FILE* report = std::fopen("/dev/null", "w");
  tarn::bench::QuietStdout quiet;
  for (auto _ : state) {
    const char* files[] = {path.c_str()};
    benchmark::DoNotOptimize(tarn::IBIS_CheckFilesToStream(files, 1, report));
  }
  std::fclose(report);
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(std::filesystem::file_size(path)));
}

void BM_Baseline(benchmark::State& state) {
  const std::string& path = fixture(static_cast<int>(state.range(0)));
  for (auto _ : state) {
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
    benchmark::DoNotOptimize(sum);
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(std::filesystem::file_size(path)));
}

BENCHMARK(BM_Check)->Arg(10)->Arg(100)->Unit(benchmark::kMillisecond)->MinTime(2.0);
BENCHMARK(BM_Baseline)->Arg(10)->Arg(100)->Unit(benchmark::kMillisecond)->MinTime(2.0);

}  // namespace

BENCHMARK_MAIN();
