// The reader on arbitrary bytes as one kind of source, chosen at build time by TARN_FUZZ_NAME
// ("in.ibs", "in.pkg" or "in.ebd"), read from the file and from memory: no input may crash it,
// hang it or report a program bug, and both readings must find the same. Later IBIS versions
// are accepted, so that their blocks and keywords are explored too.
#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <vector>

#include "fuzz_support.h"
#include "tarn/document.h"

namespace {

// The tab warning is given once in the life of the library, so only the first reading of a
// file with tabs has it.
std::vector<const tarn::Finding*> compared(const tarn::ReadResult& r) {
  std::vector<const tarn::Finding*> kept;
  for (const tarn::Finding& f : r.findings())
    if (f.message != "IBIS files should not contain tab characters.") kept.push_back(&f);
  return kept;
}

bool same_findings(const tarn::ReadResult& a, const tarn::ReadResult& b) {
  const auto x = compared(a);
  const auto y = compared(b);
  if (x.size() != y.size()) return false;
  for (size_t i = 0; i < x.size(); ++i) {
    if (x[i]->severity != y[i]->severity || x[i]->line != y[i]->line ||
        x[i]->message != y[i]->message || x[i]->file != y[i]->file)
      return false;
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  tarn::fuzz::quiet_stdout();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string path = tarn::fuzz::input_file(TARN_FUZZ_NAME, data, size);
  const tarn::ReadOptions options{.accept_newer = true};
  const tarn::ReadResult from_file = tarn::read_file(path, options);
  const tarn::ReadResult from_text =
      tarn::read_text(std::string_view(reinterpret_cast<const char*>(data), size), path, options);
  // A program bug is a finding, whatever the input.
  if (from_file.counts().bugs != 0 || from_text.counts().bugs != 0) std::abort();
  if (!same_findings(from_file, from_text)) std::abort();
  return 0;
}
