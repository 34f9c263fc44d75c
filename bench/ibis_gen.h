// Writes large synthetic IBIS 3.2 files for benchmarks: one component with thousands of pins
// and as many models as the size asks for, each with 100-row VI tables and waveforms, every
// number with an engineering suffix.
#pragma once

#include <cstddef>
#include <string>

namespace tarn::bench {

/// Writes a file of about `target_bytes` to `path`; returns the bytes written (0 on failure).
size_t generate_ibis(const std::string& path, size_t target_bytes);
/// The same with `pins` pins (rounded down to whole models), whatever size that makes.
size_t generate_ibis_pins(const std::string& path, int pins);
/// A component of `pins` pins on a few models, paired into differential pins two by two.
size_t generate_ibis_pairs(const std::string& path, int pins);
/// A component of `pins` pins, each on a model or selector of its own: an odd pin on a small
/// input model, an even one on a selector offering the models of the pins beside it.
size_t generate_ibis_own_models(const std::string& path, int pins);
/// A board of `parts` parts, each a two-pin component of its own in one library file beside
/// it (parts.ibs); `path` is the board's .ebd.
size_t generate_board_parts(const std::string& path, int parts);

}  // namespace tarn::bench
