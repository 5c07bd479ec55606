// Counts how often the library that includes this is loaded and unloaded.
#pragma once

#include "tests/decode/simulated_driver/driver_state.h"

namespace veyrin::simulated_driver {
namespace {

struct LoadCount {
  LoadCount() { ++state().libraries_loaded; }
  ~LoadCount() { ++state().libraries_unloaded; }
};
const LoadCount load_count;

}  // namespace
}  // namespace veyrin::simulated_driver
