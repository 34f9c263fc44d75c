// Module-wide reading state that a reading in the middle of another must not disturb: each
// module registers its state struct once, and a nested reading saves and restores them all.
#pragma once

#include <memory>
#include <vector>

namespace tarn {

class StateSlot {
 public:
  virtual ~StateSlot() = default;
  virtual std::shared_ptr<void> save() const = 0;
  virtual void restore(const std::shared_ptr<void>& saved) = 0;
};

void register_state_slot(StateSlot* slot);

/// A copy of every registered state, in registration order.
using SavedStates = std::vector<std::shared_ptr<void>>;
SavedStates save_reading_states();
void restore_reading_states(const SavedStates& saved);

/// Registers `*state` (a module's state struct, which must outlive the process's readings).
template <class State>
class SavedWithReading final : public StateSlot {
 public:
  explicit SavedWithReading(State* state) : state_(state) { register_state_slot(this); }
  std::shared_ptr<void> save() const override { return std::make_shared<State>(*state_); }
  void restore(const std::shared_ptr<void>& saved) override {
    *state_ = *static_cast<const State*>(saved.get());
  }

 private:
  State* state_;
};

}  // namespace tarn
