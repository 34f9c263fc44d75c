// The reader on arbitrary bytes as one kind of source, chosen at build time by TARN_FUZZ_NAME
// ("in.ibs", "in.pkg" or "in.ebd"): no input may crash it, hang it or report a program bug.
// Later IBIS versions are accepted, so that their blocks and keywords are explored too.
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "fuzz_support.h"
#include "tarn/reader.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  tarn::fuzz::quiet_stdout();
  tarn::IBIS_SetAcceptNewer(1);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string path = tarn::fuzz::input_file(TARN_FUZZ_NAME, data, size);
  static std::FILE* report = std::fopen("/dev/null", "w");
  tarn::IbisDocument* document = nullptr;
  (void)tarn::IBIS_ReadSourceToStream(path.c_str(), report, &document);
  tarn::IBIS_DestroyDocument(document);
  uint32_t errors = 0;
  uint32_t warnings = 0;
  uint32_t bugs = 0;
  tarn::IBIS_GetCounts(&errors, &warnings, &bugs);
  if (bugs != 0) std::abort();  // a program bug is a finding, whatever the input
  return 0;
}
