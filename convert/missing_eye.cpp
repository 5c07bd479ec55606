#include "convert/missing_eye.h"

namespace veyrin {

bool TrackEnd::reached(AVStream& stream) const {
  const int entries = avformat_index_get_entries_count(&stream);
  if (entries == 0) return true;
  const AVIndexEntry* last = avformat_index_get_entry(&stream, entries - 1);
  return last != nullptr && last_dts_ && *last_dts_ >= last->timestamp;
}

}  // namespace veyrin
