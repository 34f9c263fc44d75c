// The compiled component model file: one component of a read document as the line-oriented keyword
// text that the component information reads back.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tarn {

struct IbisDocument;

/// The name template of compiled files, kept in the compiled store's index.
inline constexpr const char* kCompiledNameTemplate = "ib%06d.cbs";

/// Writes the component `component_name` of `document` (without a name, its only component) to
/// `output_path`. Without a path, or with "-", only checks that the component exists. Problems are
/// reported as errors on the reporter's stream. The file is replaced whole: when it cannot be
/// completed (a full disk, a failed close) the old file stays and the result is 0, so a caller
/// never records a file cut short. 1 on success, 0 on failure.
[[nodiscard]] int CBS_CompileComponent(const IbisDocument* document, const char* output_path,
                                       const char* component_name);

/// Appends `source` to `out` with each double quote doubled, copying while a budget of `limit` - 1
/// lasts (a character costs 1, a doubled quote 2).
void CBS_EscapeString(std::string* out, std::string_view source, size_t limit);

}  // namespace tarn
