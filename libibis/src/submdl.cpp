#include "libibis/src/submdl.h"

#include "libibis/src/pending_section.h"

namespace tarn {
namespace {
PendingSection<Submodel, &IbisDocument::submodels> g_state;
}  // namespace

void SUBMDL_Reset() { g_state.reset(); }
void SUBMDL_Init(FileKind) { g_state.init(); }
void SUBMDL_Line(LineKind kind, Kw, std::string_view line) { g_state.line(kind, line); }
void SUBMDL_KeywordDone(Kw) {}
void SUBMDL_EndOfFile() {}

}  // namespace tarn
