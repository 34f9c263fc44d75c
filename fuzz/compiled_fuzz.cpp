// The reader of compiled component model files (a keyword stream parser with the compiled
// file's table) on arbitrary text, then the model listing over the same text.
#include <cstdint>
#include <fstream>
#include <sstream>

#include "fuzz_support.h"
#include "service/ibis_comp_prs.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string path = tarn::fuzz::input_file("in.cbs", data, size);
  CIbisCompInfo info(nullptr);
  {
    std::ifstream in(path, std::ios::binary);
    CIbisCompPrs parser(&info, size);
    (void)parser.ParseStream(in);
  }
  for (int pin = -1; pin <= info.GetPinCount(); ++pin) {
    const char* text = nullptr;
    (void)info.GetModelParam(eIbisPullUpPins, &text, pin);
  }
  std::ifstream in(path, std::ios::binary);
  std::ostringstream out;
  CIbisCompPrs lister(&info, 0);
  (void)lister.ListModel(in, out, "m", eMin, true);
  return 0;
}
