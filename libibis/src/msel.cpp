#include "libibis/src/msel.h"

#include "libibis/src/pending_section.h"

namespace tarn {
namespace {
PendingSection<ModelSelector, &IbisDocument::selectors> g_state;
}  // namespace

void MSEL_Reset() { g_state.reset(); }
void MSEL_Init(FileKind) { g_state.init(); }
void MSEL_Line(LineKind kind, Kw, std::string_view line) { g_state.line(kind, line); }
void MSEL_KeywordDone(Kw) {}
void MSEL_EndOfFile() {}

}  // namespace tarn
