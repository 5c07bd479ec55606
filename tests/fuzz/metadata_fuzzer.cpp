// Any bytes as a sample of the timed-metadata track, from the records to the remap tables.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <new>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "common/console.h"
#include "media/ffmpeg.h"
#include "metadata/calibration.h"
#include "metadata/calibration_document.h"
#include "metadata/timed_metadata.h"
#include "rectification/rectification_maps.h"
#include "tests/recordings/gpmf_sample.h"

namespace {

/// Bytes that do not look like records become the payload of well-formed ones, so that the document's reader
/// is reached without guessing lengths.
std::vector<std::uint8_t> sample_from(std::string_view bytes) {
  if (bytes.starts_with("AVmf")) return {bytes.begin(), bytes.end()};
  return veyrin::recordings::gpmf_sample(bytes);
}

veyrin::PacketPtr packet_of(const std::vector<std::uint8_t>& sample) {
  veyrin::PacketPtr packet(av_packet_alloc());
  if (!packet || av_new_packet(packet.get(), static_cast<int>(sample.size())) < 0) throw std::bad_alloc();
  if (!sample.empty()) std::memcpy(packet->data, sample.data(), sample.size());
  return packet;
}

void read_sample(std::string_view bytes) {
  std::optional<nlohmann::json> document =
      veyrin::parse_gpmf_json_record(packet_of(sample_from(bytes)).get());
  if (!document) return;
  veyrin::adopt_legacy_keys(*document);
  const veyrin::StereoCalibration calibration = veyrin::read_stereo_calibration(*document, 0.0);
  const veyrin::RawDualTrackCalibration condensed = veyrin::condense_calibration(calibration, "fuzzed");
  veyrin::RectificationMaps maps;
  std::string error;
  const bool built = veyrin::build_rectification_maps(condensed, {9, 7}, maps, error);
  if (built != error.empty()) std::abort();
  if (!built) return;
  float map_x[9];
  float map_y[9];
  for (std::int32_t row = 0; row < 7; ++row) {
    maps.left.read(row, 0, 9, map_x, map_y);
    maps.right.read(row, 0, 9, map_x, map_y);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::size_t largest_payload = 65535;
  if (size > largest_payload) return -1;
  const veyrin::ConsoleSilence silence;
  try {
    read_sample({reinterpret_cast<const char*>(data), size});
  } catch (const std::exception&) {
    // Malformed samples are reported by exceptions.
  }
  return 0;
}
