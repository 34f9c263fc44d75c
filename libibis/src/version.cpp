#include "tarn/tarn.h"

extern "C" const char* tarn_version() { return TARN_VERSION; }
