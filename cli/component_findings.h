// The findings of compile and doc as data, for the report forms besides text.
#pragma once

#include <cstdio>
#include <string>

#include "check_output.h"

namespace tarn::cli {

// IBIS_CompileSourceToStream or IBIS_DocumentSourceToStream.
using ComponentWriter = int (*)(const char* source, const char* component, const char* output,
                                std::FILE* report);

// Runs `write` without banner or text report and gathers what the reading and the writer
// found into `out`. True when OUT was written.
bool write_collecting(ComponentWriter write, const std::string& source, const char* component,
                      const std::string& output, CheckedFile* out);

}  // namespace tarn::cli
