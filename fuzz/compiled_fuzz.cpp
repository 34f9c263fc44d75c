// The reader of compiled component model files (a keyword stream parser with the compiled
// file's table) on arbitrary text and on that text cut short, then the model listing over it.
// A cut that ends inside a line must be refused, whatever the text before it.
#include <cstdint>
#include <fstream>
#include <sstream>

#include "fuzz_support.h"
#include "service/ibis_comp_prs.h"

namespace {

// Reads `size` bytes of `data` as a compiled file; true when accepted.
bool read_compiled(const uint8_t* data, size_t size) {
  const std::string path = tarn::fuzz::input_file("in.cbs", data, size);
  CIbisCompInfo info(nullptr);
  bool accepted = false;
  {
    std::ifstream in(path, std::ios::binary);
    CIbisCompPrs parser(&info, size);
    accepted = parser.ParseStream(in) == 1;
  }
  for (int pin = -1; pin <= info.GetPinCount(); ++pin) {
    const char* text = nullptr;
    (void)info.GetModelParam(eIbisPullUpPins, &text, pin);
  }
  std::ifstream in(path, std::ios::binary);
  std::ostringstream out;
  CIbisCompPrs lister(&info, 0);
  (void)lister.ListModel(in, out, "m", eMin, true);
  return accepted;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  (void)read_compiled(data, size);
  if (size < 2) return 0;
  // The last byte chooses where the rest is cut, so the fuzzer steers the cuts too.
  const size_t cut = static_cast<size_t>(data[size - 1]) * (size - 1) / 256;
  if (read_compiled(data, cut) && (cut == 0 || data[cut - 1] != '\n')) __builtin_trap();
  return 0;
}
