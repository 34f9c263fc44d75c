#include "libibis/src/sect.h"

#include <optional>
#include <utility>

#include "libibis/src/cmn.h"
#include "libibis/src/rpt.h"

namespace tarn {
namespace {

struct SectionItem {
  int token;
  const char* name;
  std::optional<double> PinSection::*value;
};

constexpr SectionItem kItems[] = {
    {kRlcLen, "Len", &PinSection::len},
    {kRlcR, "R", &PinSection::r},
    {kRlcL, "L", &PinSection::l},
    {kRlcC, "C", &PinSection::c},
};

const SectionItem& item_of(int token) {
  for (const SectionItem& item : kItems)
    if (item.token == token) return item;
  RPT_AssertFailed(__FILE__, __LINE__);
}

// The later of two values of the same item wins; the findings do not drop the item.
void store_item(PinSection* section, int token, double value) {
  const SectionItem& item = item_of(token);
  std::optional<double>& slot = section->*item.value;
  if (slot) RPT_ErrorAtLine("Duplicate %s sub param in R/L/C section", item.name);
  if (token != kRlcLen && !section->len)
    RPT_ErrorAtLine("Len should be specified before %s", item.name);
  if (value < 0) RPT_ErrorAtLine("%s should not be less than zero", item.name);
  slot = value;
}

// A section with length is a distributed line, which needs both its L and its C.
void check_complete(const PinSection& section) {
  if (section.len && *section.len != 0 && !(section.l && section.c))
    RPT_ErrorAtLine(" L and C must be specified when Len != 0");
}

}  // namespace

size_t SECT_CountSections(const SectionChain& chain) {
  size_t count = 0;
  for (const ChainElement& element : chain) {
    if (element.kind == ChainElementKind::Section) ++count;
    else count += SECT_CountSections(element.branch);
  }
  return count;
}

bool SECT_ReadSection(std::string_view text, PinSection* out, std::string_view* rest_out) {
  TARN_ASSERT(out != nullptr && rest_out != nullptr);
  PinSection section;
  bool has_items = false;
  while (true) {
    double value = 0.0;
    const int token = CMN_ParseRlcToken(text, &value, &text);
    *rest_out = text;
    switch (token) {
      case kRlcEndSection:
        if (!has_items) RPT_ErrorAtLine("Empty R/L/C section found");
        check_complete(section);
        *out = section;
        return true;
      case kRlcEndLine:
        if (has_items) RPT_ErrorAtLine("Premature end of R/L/C section. Trailing '/' missing");
        return false;
      case kRlcError: return false;
      default:
        store_item(&section, token, value);
        has_items = true;
        break;
    }
  }
}

void ChainBuilder::start(SectionChain* chain, bool begun_by_element) {
  TARN_ASSERT(chain != nullptr);
  root_ = chain;
  begun_by_element_ = begun_by_element;
  forks_.clear();
}

void ChainBuilder::stop() {
  root_ = nullptr;
  forks_.clear();
}

bool ChainBuilder::may_continue() const {
  if (!root_ || root_->empty()) {
    RPT_ErrorAtLine("Detected the start of an orphan R/L/C section");
    return false;
  }
  return true;
}

bool ChainBuilder::open_fork() {
  if (!begun()) {
    RPT_ErrorAtLine("Detected the start of an orphan 'Fork'");
    return false;
  }
  // Only the innermost chain grows, so the branches of the open forks stay where they are.
  SectionChain* chain = current();
  ChainElement fork;
  fork.kind = ChainElementKind::Fork;
  chain->push_back(std::move(fork));
  forks_.push_back(&chain->back().branch);
  return true;
}

bool ChainBuilder::close_fork() {
  if (!begun()) {
    RPT_ErrorAtLine("Detected the start of an orphan 'Endfork'");
    return false;
  }
  if (forks_.empty()) {
    RPT_ErrorAtLine("Endfork found without enclosing Fork");
    return false;
  }
  // An empty branch is closed all the same, so one slip gives one finding.
  if (forks_.back()->empty()) RPT_ErrorAtLine("Empty Fork/Endfork found");
  forks_.pop_back();
  return true;
}

void ChainBuilder::add(const PinSection& section) {
  ChainElement element;
  element.section = section;
  add(std::move(element));
}

void ChainBuilder::add(ChainElement element) {
  TARN_ASSERT(root_ != nullptr);
  current()->push_back(std::move(element));
}

}  // namespace tarn
