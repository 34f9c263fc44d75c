#include "libibis/src/ebdmdl.h"

#include "libibis/src/pending_section.h"

namespace tarn {
namespace {
PendingSection<BoardDescription, &IbisDocument::boards> g_state;
}  // namespace

void EBDMDL_Reset() { g_state.reset(); }
void EBDMDL_Init(FileKind) { g_state.init(); }
void EBDMDL_Line(LineKind kind, Kw, std::string_view line) { g_state.line(kind, line); }
void EBDMDL_KeywordDone(Kw) {}
void EBDMDL_EndOfFile() {}

}  // namespace tarn
