// tarn_gen OUT.ibs SIZE_MB: writes a synthetic IBIS 3.2 file for timing `tarn check`.
#include <cstdio>
#include <cstdlib>

#include "ibis_gen.h"

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: tarn_gen OUT.ibs SIZE_MB\n");
    return 2;
  }
  const double mb = std::atof(argv[2]);
  if (mb <= 0) {
    std::fprintf(stderr, "tarn_gen: SIZE_MB must be a positive number\n");
    return 2;
  }
  const size_t bytes = tarn::bench::generate_ibis(argv[1], static_cast<size_t>(mb * 1e6));
  if (bytes == 0) {
    std::fprintf(stderr, "tarn_gen: cannot write '%s'\n", argv[1]);
    return 1;
  }
  std::printf("%s: %zu bytes\n", argv[1], bytes);
  return 0;
}
