// COM objects that the tests can count.
#pragma once

#include <unknwn.h>

#include "tests/decode/simulated_driver/driver_state.h"

namespace veyrin::simulated_driver {

// Interfaces of COM objects have no destructor: Release ends them.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

/// Implements the three functions that all interfaces have.
template <typename Interface>
class ComObject : public Interface {
 public:
  ComObject() { ++state().objects_alive; }
  virtual ~ComObject() { --state().objects_alive; }
  ComObject(const ComObject&) = delete;
  ComObject& operator=(const ComObject&) = delete;

  HRESULT WINAPI QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
  ULONG WINAPI AddRef() override { return ++references_; }
  ULONG WINAPI Release() override {
    const ULONG left = --references_;
    if (left == 0) delete this;
    return left;
  }

 private:
  ULONG references_ = 1;
};

#pragma GCC diagnostic pop

}  // namespace veyrin::simulated_driver
