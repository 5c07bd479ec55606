#include "metadata/legacy_keys.h"

#include <nlohmann/json.hpp>
#include <utility>

namespace veyrin {
namespace {

/// Moves the value, because nothing reads the old key and copying a hostile, deeply nested value would
/// exhaust the stack.
void adopt_key(nlohmann::json& object, const char* legacy_key, const char* key) {
  const auto legacy = object.find(legacy_key);
  if (legacy == object.end() || object.contains(key)) return;
  nlohmann::json value = std::move(*legacy);
  object[key] = std::move(value);
}

}  // namespace

void adopt_legacy_keys(nlohmann::json& document) {
  adopt_key(document, "playbackTimestampSec", "pts");
  const auto cameras = document.find("cameras");
  if (cameras == document.end() || !cameras->is_array()) return;
  for (nlohmann::json& camera : *cameras) {
    if (camera.is_object()) adopt_key(camera, "videoTrackIndex", "track");
  }
}

}  // namespace veyrin
