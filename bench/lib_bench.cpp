// The model library: a request for a component whose compiled information is current (a stat
// and a lookup), and a 3,000-pin component compiled against read back from its compiled file.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "ibis_gen.h"
#include "quiet_stdout.h"
#include "service/source_index.h"
#include "tarn/ibis_comp_mdls.h"

namespace {

namespace fs = std::filesystem;

class BenchLibrary : public CIbisCompMdls {
 public:
  using CIbisCompMdls::AddSrcIndex;
};

// A source folder holding one generated component, indexed.
std::string index_of(const char* folder, size_t (*generate)(const std::string&, int), int pins) {
  const fs::path dir = fs::temp_directory_path() / folder;
  fs::create_directories(dir);
  generate((dir / "bench.ibs").string(), pins);
  tarn::bench::QuietStdout quiet;
  return tarn::LIB_IndexFolder(dir.string()).index_path;
}

// The 3,000-pin component, indexed once per run.
const std::string& source_index() {
  static const std::string index =
      index_of("tarn_lib_bench_src", tarn::bench::generate_ibis_pins, 3000);
  return index;
}

std::unique_ptr<BenchLibrary> open_library(const fs::path& cache,
                                           const std::string& index = source_index()) {
  auto library = std::make_unique<BenchLibrary>();
  library->AddSrcIndex(index.c_str(), "bench");
  library->Init(cache.string().c_str());
  return library;
}

fs::path fresh_cache(const char* name) {
  const fs::path cache = fs::temp_directory_path() / name;
  fs::remove_all(cache);
  return cache;
}

void BM_CurrentComponentRequest(benchmark::State& state) {
  const auto library = open_library(fresh_cache("tarn_lib_bench_current"));
  tarn::bench::QuietStdout quiet;
  const CIbisCompInfo* info = library->GetIbisCompInfo("BENCH", nullptr, 0);
  if (!info || info->GetStatus() != eIbisCurrent)
    state.SkipWithError("the component did not compile");
  for (auto _ : state) benchmark::DoNotOptimize(library->GetIbisCompInfo("BENCH", nullptr, 0));
}
BENCHMARK(BM_CurrentComponentRequest)->Unit(benchmark::kMicrosecond);

void BM_Compile3000Pins(benchmark::State& state) {
  tarn::bench::QuietStdout quiet;
  for (auto _ : state) {
    state.PauseTiming();
    const auto library = open_library(fresh_cache("tarn_lib_bench_compile"));
    state.ResumeTiming();
    const CIbisCompInfo* info = library->GetIbisCompInfo("BENCH", nullptr, 0);
    if (!info || info->GetPinCount() != 3000) state.SkipWithError("the component did not compile");
  }
}
BENCHMARK(BM_Compile3000Pins)->Unit(benchmark::kMillisecond);

void BM_ReadBack3000Pins(benchmark::State& state) {
  const fs::path cache = fresh_cache("tarn_lib_bench_readback");
  {
    tarn::bench::QuietStdout quiet;
    const auto library = open_library(cache);
    library->GetIbisCompInfo("BENCH", nullptr, 0);
    library->Fini(1);
  }
  for (auto _ : state) {
    state.PauseTiming();
    const auto library = open_library(cache);
    state.ResumeTiming();
    const CIbisCompInfo* info = library->GetIbisCompInfo("BENCH", nullptr, 0);
    if (!info || info->GetPinCount() != 3000) state.SkipWithError("the compiled file was not read");
  }
}
BENCHMARK(BM_ReadBack3000Pins)->Unit(benchmark::kMillisecond);

// The read back of a part whose pins each have a model of their own: each pin's model must be
// found among the file's without a search through them all.
void BM_ReadBackOwnModels(benchmark::State& state) {
  const int pins = int(state.range(0));
  const std::string index = index_of(("tarn_lib_bench_own_" + std::to_string(pins)).c_str(),
                                     tarn::bench::generate_ibis_own_models, pins);
  const fs::path cache = fresh_cache("tarn_lib_bench_own");
  {
    tarn::bench::QuietStdout quiet;
    const auto library = open_library(cache, index);
    library->GetIbisCompInfo("BENCH", nullptr, 0);
    library->Fini(1);
  }
  for (auto _ : state) {
    state.PauseTiming();
    const auto library = open_library(cache, index);
    state.ResumeTiming();
    const CIbisCompInfo* info = library->GetIbisCompInfo("BENCH", nullptr, 0);
    if (!info || info->GetPinCount() != pins) state.SkipWithError("the compiled file was not read");
  }
}
BENCHMARK(BM_ReadBackOwnModels)->Arg(4000)->Arg(16000)->Unit(benchmark::kMillisecond);

// A host that looks up every pin of a large part by its name, as one listing each pin's model
// does: each look-up must not search through every pin.
void BM_FindEveryPin(benchmark::State& state) {
  const int pins = int(state.range(0));
  CIbisCompInfo info(nullptr);
  info.AddPinDesc(pins);
  std::vector<std::string> names;
  for (int i = 0; i < pins; ++i) {
    names.emplace_back("P").append(std::to_string(i));
    info.SetModelParam(eIbisPinName, names.back().c_str(), i);
  }
  for (auto _ : state) {
    state.PauseTiming();
    info.SetModelParam(eIbisPinName, names[0].c_str(), 0);  // a change: the search starts afresh
    state.ResumeTiming();
    for (int i = 0; i < pins; ++i)
      if (info.FindIndex4Pin(names[size_t(i)].c_str(), eIbisPinName) != i)
        state.SkipWithError("a pin was not found where it is");
  }
}
BENCHMARK(BM_FindEveryPin)->Arg(4000)->Arg(16000)->Unit(benchmark::kMillisecond);

}  // namespace
