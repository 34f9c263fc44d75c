#include "libibis/src/reading_state.h"

namespace tarn {
namespace {

std::vector<StateSlot*>& slots() {
  static std::vector<StateSlot*> registered;
  return registered;
}

}  // namespace

void register_state_slot(StateSlot* slot) { slots().push_back(slot); }

SavedStates save_reading_states() {
  SavedStates saved;
  saved.reserve(slots().size());
  for (const StateSlot* slot : slots()) saved.push_back(slot->save());
  return saved;
}

void restore_reading_states(const SavedStates& saved) {
  for (size_t i = 0; i < saved.size() && i < slots().size(); ++i) slots()[i]->restore(saved[i]);
}

}  // namespace tarn
