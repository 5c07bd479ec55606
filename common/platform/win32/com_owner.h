// Owners of COM objects.
#pragma once

#include <memory>

namespace veyrin::platform {

struct ComRelease {
  template <typename Object>
  void operator()(Object* object) const {
    object->Release();
  }
};

/// Holds one reference. A raw COM pointer anywhere else is borrowed for the call.
template <typename Object>
using ComPtr = std::unique_ptr<Object, ComRelease>;

/// Holds a further reference to a borrowed object.
template <typename Object>
ComPtr<Object> share_com_object(Object* object) {
  object->AddRef();
  return ComPtr<Object>(object);
}

}  // namespace veyrin::platform
