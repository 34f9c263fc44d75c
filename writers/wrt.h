// What the compiled-model writer and the documentation writer share: the document's parts
// they both need and the choice of the component, each failure reported once here.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "libibis/src/source.h"

namespace tarn {

struct Component;
struct FileHeader;
struct IbisDocument;
struct IbisModel;

/// The header and the component and model lists of a document.
struct WriterSource {
  const FileHeader* header = nullptr;
  const std::vector<std::unique_ptr<Component>>* components = nullptr;
  const std::vector<std::unique_ptr<IbisModel>>* models = nullptr;
};

/// Fills `out` from `document`; reports the first part missing and gives false.
[[nodiscard]] bool WRT_GetSource(const IbisDocument* document, WriterSource* out);

/// The component WRT_ChooseComponent would choose, or null; reports nothing.
const Component* WRT_FindComponent(const std::vector<std::unique_ptr<Component>>& components,
                                   const char* name);
/// The first component whose name equals `name` without regard to case; without a name, the
/// only component, whose name must be readable. Null after reporting why not.
const Component* WRT_ChooseComponent(const std::vector<std::unique_ptr<Component>>& components,
                                     const char* name);

/// Reads and checks `source` onto `report` as the batch check does and, when it passed, hands
/// the document to `write` before the summary line, so that the writer's errors count in it.
/// A null report shows nothing but the findings are still counted: they decide the writing.
/// false when the source did not pass or no report could be set up.
/// An `observer` is told of each model as the reading goes (see ModelObserver).
[[nodiscard]] bool WRT_CheckSource(const char* source, std::FILE* report,
                                   const PassedDocumentUse& write,
                                   ModelObserver* observer = nullptr);

/// Reports an output file that could not be opened, after the writer's own message.
void WRT_ReportUnopened(const char* path);
/// Reports why an output file could not be completed (an errno value), after the writer's own
/// message; the file in its place, if any, is the one that was there before.
void WRT_ReportUnwritten(const char* path, int error);

/// A finite, non-zero magnitude rounded once to six significant digits, as printf rounds.
/// Small enough to travel in registers.
struct SixDigits {
  uint64_t text = 0;   // the six digit characters, the first in the lowest byte, then two '0'
  int exponent = 0;    // the power of ten of the first digit
  unsigned count = 0;  // the digits left once the trailing zeros are dropped, 1 to 6
};
SixDigits WRT_RoundSix(double magnitude);

/// Writes eight characters held in `text` at `out` whatever the `length` wanted, and returns
/// the end of that length: the characters beyond it are written over next.
inline char* WRT_PutEight(char* out, uint64_t text, size_t length) {
  std::memcpy(out, &text, sizeof text);
  return out + length;
}

/// Writes the first `whole` digits of `digits` (1 to 6), then a point and the rest of its
/// significant digits if any, at `out` (kNumberRoom free bytes); returns the end.
inline char* WRT_PutPointed(char* out, const SixDigits& digits, size_t whole) {
  char* p = WRT_PutEight(out, digits.text, whole);
  if (digits.count <= whole) return p;
  *p++ = '.';
  return WRT_PutEight(p, digits.text >> (8 * whole), digits.count - whole);
}

/// The room a number's text needs at the place it is written, however short the text.
constexpr size_t kNumberRoom = 32;
/// The longest text WRT_PutGeneral writes: "-1.23456e-308".
constexpr size_t kGeneralLongest = 13;

/// Writes printf's "%.6g" of `value` at `out` (kNumberRoom free bytes), whatever the host's
/// locale; returns the end.
char* WRT_PutGeneral(char* out, double value);
/// Appends printf's "%f" of `value`, whatever the host's locale.
void WRT_AppendFixed(std::string* out, double value);
/// Appends printf's "%.6g" of `value`.
void WRT_AppendGeneral(std::string* out, double value);

}  // namespace tarn
