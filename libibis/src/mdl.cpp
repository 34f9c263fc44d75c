#include "libibis/src/mdl.h"

#include "libibis/src/pending_section.h"

namespace tarn {
namespace {
PendingSection<IbisModel, &IbisDocument::models> g_state;
}  // namespace

void MDL_Reset() { g_state.reset(); }
void MDL_Init(FileKind) { g_state.init(); }
void MDL_Line(LineKind kind, Kw, std::string_view line) { g_state.line(kind, line); }
void MDL_KeywordDone(Kw) {}
void MDL_EndOfFile() {}

}  // namespace tarn
