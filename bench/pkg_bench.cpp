// The search of .pkg files for a package model that a component names: a folder of 1,000 to
// 10,000 package files that all define it, each read into the document. Linear in the folder.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "quiet_stdout.h"
#include "tarn/reader.h"

namespace {

namespace fs = std::filesystem;

constexpr const char* kPackageFile =
    "[IBIS Ver] 3.2\n[Define Package Model] PKG\n[Manufacturer] Acme\n[OEM] Acme\n"
    "[Description] one pin\n[Number Of Pins] 1\n[Pin Numbers]\n1\n[Model Data]\n"
    "[Resistance Matrix] Full_matrix\n[Row] 1\n0.1\n[Inductance Matrix] Full_matrix\n[Row] 1\n1n\n"
    "[Capacitance Matrix] Full_matrix\n[Row] 1\n1p\n[End Model Data]\n[End Package Model]\n"
    "[End]\n";

constexpr const char* kComponentFile =
    "[IBIS Ver] 3.2\n[File Name] chip.ibs\n[Component] Chip\n[Manufacturer] Acme\n[Package]\n"
    "R_pkg 0.1 NA NA\nL_pkg 1n NA NA\nC_pkg 1p NA NA\n[Package Model] PKG\n"
    "[Pin] signal_name model_name\n1 VCC POWER\n[End]\n";

// A folder of `count` package files beside the component that names their model; made once.
std::string folder(int count) {
  const fs::path dir = fs::temp_directory_path() / ("tarn_pkg_bench_" + std::to_string(count));
  if (!fs::exists(dir / "chip.ibs")) {
    fs::create_directories(dir);
    for (int i = 0; i < count; ++i)
      std::ofstream(dir / ("p" + std::to_string(i) + ".pkg")) << kPackageFile;
    std::ofstream(dir / "chip.ibs") << kComponentFile;
  }
  return (dir / "chip.ibs").string();
}

void BM_PackageSearch(benchmark::State& state) {
  const std::string chip = folder(static_cast<int>(state.range(0)));
  std::FILE* report = std::fopen("/dev/null", "w");
  tarn::bench::QuietStdout quiet;
  for (auto _ : state) {
    const char* files[] = {chip.c_str()};
    benchmark::DoNotOptimize(tarn::IBIS_CheckFilesToStream(files, 1, report));
  }
  std::fclose(report);
  state.SetComplexityN(state.range(0));
}
BENCHMARK(BM_PackageSearch)
    ->Arg(1000)
    ->Arg(4000)
    ->Arg(10000)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(1)
    ->Complexity(benchmark::oN);

}  // namespace
