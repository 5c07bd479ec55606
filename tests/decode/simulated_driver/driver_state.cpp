#include "tests/decode/simulated_driver/driver_state.h"

namespace veyrin::simulated_driver {

State& state() {
  static State the_state;
  return the_state;
}

}  // namespace veyrin::simulated_driver
