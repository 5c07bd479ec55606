#include "tests/recordings/malformations.h"

#include <cstdint>
#include <fstream>
#include <nlohmann/json.hpp>
#include <system_error>

namespace veyrin::recordings {
namespace {

using nlohmann::json;

bool keep_share(const std::filesystem::path& path, double share) {
  std::error_code failed;
  const auto size = std::filesystem::file_size(path, failed);
  if (!failed)
    std::filesystem::resize_file(path, static_cast<std::uintmax_t>(static_cast<double>(size) * share),
                                 failed);
  return !failed;
}

/// Overwrites bytes with a fixed pseudo-random sequence, so that every run writes the same file.
bool scribble(const std::filesystem::path& path, double from_share, double to_share) {
  std::error_code failed;
  const auto size = static_cast<double>(std::filesystem::file_size(path, failed));
  if (failed) return false;
  std::fstream file(path, std::ios::binary | std::ios::in | std::ios::out);
  file.seekp(static_cast<std::streamoff>(size * from_share));
  std::uint32_t state = 12345;
  const auto count = static_cast<std::int64_t>(size * (to_share - from_share));
  for (std::int64_t index = 0; index < count; ++index) {
    state = state * 1664525U + 1013904223U;
    file.put(static_cast<char>(state >> 24U));
  }
  file.close();
  return !file.fail();
}

void remove_camera_key(json& document, const char* key) {
  for (json& camera : document["cameras"]) camera.erase(key);
}

/// Sets every byte of the samples of a video track except the length and header of the first NAL unit.
void garble_video(std::vector<MediaTrack>& tracks, std::size_t from_sample, std::size_t every) {
  std::uint32_t state = 99;
  for (MediaTrack& track : tracks) {
    if (track.kind != TrackKind::video) continue;
    for (std::size_t index = from_sample; index < track.samples.size(); index += every) {
      auto& data = track.samples[index].data;
      for (std::size_t at = 8; at < data.size(); ++at) {
        state = state * 1664525U + 1013904223U;
        data[at] = static_cast<std::uint8_t>(state >> 24U);
      }
    }
  }
}

std::vector<Malformation> document_faults() {
  return {
      {.name = "missing-intrinsics",
       .what = "cameras without intrinsics",
       .in_document = [](json& document, int) { remove_camera_key(document, "intrinsics"); }},
      {.name = "missing-extrinsic",
       .what = "no avcam1InAvcam0",
       .in_document = [](json& document, int) { document["extrinsics"].erase("avcam1InAvcam0"); }},
      {.name = "missing-head",
       .what = "no headliveInFrontcam0",
       .in_document = [](json& document, int) { document["extrinsics"].erase("headliveInFrontcam0"); }},
      {.name = "first-incomplete",
       .what = "only the first document lacks the head",
       .in_document =
           [](json& document, int index) {
             if (index == 0) document["extrinsics"].erase("headliveInFrontcam0");
           }},
      {.name = "missing-pts",
       .what = "no pts",
       .in_document = [](json& document, int) { document.erase("pts"); }},
      {.name = "text-pts",
       .what = "pts is a string",
       .in_document = [](json& document, int) { document["pts"] = "soon"; }},
      {.name = "missing-k3",
       .what = "a fisheye model without k3",
       .in_document = [](json& document, int) { document["cameras"][0]["intrinsics"][0].erase("k3"); }},
      {.name = "two-left",
       .what = "both cameras tagged left",
       .in_document = [](json& document, int) { document["cameras"][1]["sourceCamera"] = "left"; }},
      {.name = "three-cameras",
       .what = "a third camera",
       .in_document = [](json& document, int) { document["cameras"].push_back(document["cameras"][1]); }},
      {.name = "no-cameras",
       .what = "no cameras",
       .in_document = [](json& document, int) { document.erase("cameras"); }},
      {.name = "zero-width",
       .what = "intrinsics of width 0",
       .in_document = [](json& document, int) { document["cameras"][0]["intrinsics"][0]["width"] = 0; }},
      {.name = "unknown-mode",
       .what = "an unknown recordingMode",
       .in_document = [](json& document, int) { document["recordingMode"] = "hologram-v1"; }},
      {.name = "invalid-track",
       .what = "a track number that no video track has",
       .in_document =
           [](json& document, int) {
             for (json& camera : document["cameras"]) camera["track"] = 7;
           }},
      {.name = "zero-baseline",
       .what = "cameras at the same place",
       .in_document =
           [](json& document, int) {
             document["extrinsics"]["avcam1InAvcam0"]["position"] = json::array({0, 0, 0});
           }},
      {.name = "zero-focal",
       .what = "focal lengths of 0",
       .in_document =
           [](json& document, int) {
             for (json& camera : document["cameras"]) {
               camera["intrinsics"][0]["fx"] = 0;
               camera["intrinsics"][0]["fy"] = 0;
             }
           }},
      {.name = "negative-focal",
       .what = "focal lengths below 0",
       .in_document =
           [](json& document, int) {
             for (json& camera : document["cameras"]) {
               json& lens = camera["intrinsics"][0];
               lens["fx"] = -lens["fx"].get<double>();
             }
           }},
      {.name = "far-cameras",
       .what = "cameras 1e30 metres apart",
       .in_document =
           [](json& document, int) {
             document["extrinsics"]["avcam1InAvcam0"]["position"] = json::array({1e30, 0, 0});
           }},
      {.name = "huge-size",
       .what = "intrinsics of 2000000000 pixels a side",
       .in_document =
           [](json& document, int) {
             for (json& camera : document["cameras"]) {
               camera["intrinsics"][0]["width"] = 2000000000;
               camera["intrinsics"][0]["height"] = 2000000000;
             }
           }},
  };
}

std::vector<Malformation> sample_faults() {
  return {
      {.name = "bad-json",
       .what = "documents cut in the middle",
       .in_sample = [](SampleDraft& draft) { draft.payload.resize(draft.payload.size() / 2); }},
      {.name = "json-array",
       .what = "documents that are arrays",
       .in_sample = [](SampleDraft& draft) { draft.payload = "[" + draft.payload + "]"; }},
      {.name = "json-number",
       .what = "documents that are numbers",
       .in_sample = [](SampleDraft& draft) { draft.payload = "42"; }},
      {.name = "deep-json",
       .what = "documents of 30000 nested arrays",
       .in_sample = [](SampleDraft& draft) { draft.payload = std::string(30000, '['); }},
      {.name = "truncated-sample",
       .what = "samples that end early",
       .in_sample = [](SampleDraft& draft) { draft.cut_bytes = 8; }},
      {.name = "tiny-sample",
       .what = "samples of 6 bytes",
       .in_sample = [](SampleDraft& draft) { draft.most_bytes = 6; }},
      {.name = "wrong-sizes",
       .what = "a payload count that is too large",
       .in_sample =
           [](SampleDraft& draft) {
             draft.shape.payload_count = static_cast<int>(draft.payload.size()) + 40;
           }},
      {.name = "schema-type",
       .what = "AVmf of another type",
       .in_sample = [](SampleDraft& draft) { draft.shape.schema_type = 'l'; }},
      {.name = "schema-empty",
       .what = "AVmf without a name",
       .in_sample = [](SampleDraft& draft) { draft.shape.schema = ""; }},
      {.name = "schema-too-long",
       .what = "a schema name of 65 bytes",
       .in_sample = [](SampleDraft& draft) { draft.shape.schema.assign(65, 'x'); }},
      {.name = "other-schema",
       .what = "a schema name of 64 bytes, so no document",
       .in_sample = [](SampleDraft& draft) { draft.shape.schema.assign(64, 'x'); }},
      {.name = "missing-avmd",
       .what = "another record than AVmd",
       .in_sample = [](SampleDraft& draft) { draft.shape.payload_key = "AVxx"; }},
      {.name = "payload-type",
       .what = "AVmd of another type",
       .in_sample = [](SampleDraft& draft) { draft.shape.payload_type = 'b'; }},
  };
}

std::vector<Malformation> track_faults() {
  return {
      {.name = "no-document",
       .what = "metadata samples of another kind",
       .in_tracks =
           [](std::vector<MediaTrack>& tracks) {
             for (MediaTrack& track : tracks) {
               if (track.kind != TrackKind::data) continue;
               for (MediaSample& sample : track.samples) sample.data = {'D', 'E', 'V', 'C', 0, 0, 0, 0};
             }
           }},
      {.name = "no-metadata-track",
       .what = "no timed-metadata track",
       .in_tracks =
           [](std::vector<MediaTrack>& tracks) {
             std::erase_if(tracks, [](const MediaTrack& track) { return track.kind == TrackKind::data; });
           }},
      {.name = "empty-metadata-track",
       .what = "a timed-metadata track without samples",
       .in_tracks =
           [](std::vector<MediaTrack>& tracks) {
             for (MediaTrack& track : tracks) {
               if (track.kind == TrackKind::data) track.samples.clear();
             }
           }},
      {.name = "corrupt-video",
       .what = "every fifth video sample garbled",
       .in_tracks = [](std::vector<MediaTrack>& tracks) { garble_video(tracks, 3, 5); }},
      {.name = "garbage-video",
       .what = "all video samples garbled",
       .in_tracks = [](std::vector<MediaTrack>& tracks) { garble_video(tracks, 0, 1); }},
      {.name = "corrupt-config",
       .what = "decoder configurations garbled",
       .in_tracks =
           [](std::vector<MediaTrack>& tracks) {
             for (MediaTrack& track : tracks) {
               for (std::size_t at = 5; at < track.decoder_config.size(); ++at)
                 track.decoder_config[at] ^= 0x5A;
             }
           }},
  };
}

std::vector<Malformation> file_faults() {
  return {
      {.name = "truncated-file",
       .what = "the last 40 percent missing, the index with it",
       .in_file = [](const std::filesystem::path& path) { return keep_share(path, 0.6); }},
      {.name = "truncated-media",
       .what = "the index first, the last half of the file missing",
       .in_file = [](const std::filesystem::path& path) { return keep_share(path, 0.5); },
       .index_first = true},
      {.name = "scribbled-media",
       .what = "the index first, a tenth of the file overwritten",
       .in_file = [](const std::filesystem::path& path) { return scribble(path, 0.6, 0.7); },
       .index_first = true},
      {.name = "empty-file",
       .what = "no bytes at all",
       .in_file = [](const std::filesystem::path& path) { return keep_share(path, 0.0); }},
      {.name = "noise-file",
       .what = "nothing but noise",
       .in_file = [](const std::filesystem::path& path) { return scribble(path, 0.0, 1.0); }},
  };
}

}  // namespace

const std::vector<Malformation>& malformations() {
  static const std::vector<Malformation> all = [] {
    std::vector<Malformation> faults = document_faults();
    for (auto* more : {&sample_faults, &track_faults, &file_faults}) {
      const std::vector<Malformation> next = (*more)();
      faults.insert(faults.end(), next.begin(), next.end());
    }
    return faults;
  }();
  return all;
}

const Malformation* find_malformation(std::string_view name) {
  for (const Malformation& fault : malformations()) {
    if (fault.name == name) return &fault;
  }
  return nullptr;
}

}  // namespace veyrin::recordings
