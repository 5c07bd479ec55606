#include "tests/recordings/movie_writer.h"

#include <algorithm>
#include <fstream>

#include "common/platform/files.h"
#include "tests/recordings/box_builder.h"
#include "tests/recordings/track_boxes.h"

namespace veyrin::recordings {
namespace {

struct SampleRef {
  std::size_t track = 0, sample = 0;
};

/// The order of samples in the file.
std::vector<SampleRef> file_order(const std::vector<MediaTrack>& tracks, bool track_after_track) {
  std::vector<SampleRef> order;
  for (std::size_t track = tracks.size(); track-- > 0;) {
    for (std::size_t sample = 0; sample < tracks[track].samples.size(); ++sample)
      order.push_back({track, sample});
  }
  if (track_after_track) return order;
  const auto seconds = [&tracks](const SampleRef& ref) {
    const MediaTrack& track = tracks[ref.track];
    return static_cast<double>(track.samples[ref.sample].dts) / track.time_scale + track.delay_seconds;
  };
  std::stable_sort(order.begin(), order.end(),
                   [&seconds](const SampleRef& a, const SampleRef& b) { return seconds(a) < seconds(b); });
  return order;
}

std::vector<std::uint8_t> file_type(bool quicktime) {
  BoxBuilder boxes;
  boxes.begin("ftyp");
  boxes.text(quicktime ? "qt  " : "isom");
  boxes.u32(0x200);
  boxes.text(quicktime ? "qt  " : "isomiso2mp41");
  boxes.end();
  return boxes.bytes();
}

std::vector<std::uint8_t> movie_index(const std::vector<MediaTrack>& tracks,
                                      const std::vector<std::vector<std::uint64_t>>& offsets) {
  std::uint64_t duration = 0;
  for (const MediaTrack& track : tracks) duration = std::max(duration, presented_duration(track));
  BoxBuilder boxes;
  boxes.begin("moov");
  boxes.begin_full("mvhd", 1, 0);
  boxes.zeros(16);
  boxes.u32(movie_time_scale);
  boxes.u64(duration);
  boxes.u32(0x00010000);
  boxes.u16(0x0100);
  boxes.zeros(10);
  for (const std::uint32_t value : {0x00010000U, 0U, 0U, 0U, 0x00010000U, 0U, 0U, 0U, 0x40000000U})
    boxes.u32(value);
  boxes.zeros(24);
  boxes.u32(static_cast<std::uint32_t>(tracks.size() + 1));
  boxes.end();
  for (std::size_t track = 0; track < tracks.size(); ++track) {
    append_track(boxes, tracks[track], static_cast<std::uint32_t>(track + 1), offsets[track]);
  }
  boxes.end();
  return boxes.bytes();
}

void put(std::ofstream& file, const std::vector<std::uint8_t>& bytes) {
  file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

}  // namespace

bool write_movie(const std::filesystem::path& path, const std::vector<MediaTrack>& tracks,
                 const MovieLayout& layout, std::string& error) {
  const std::vector<SampleRef> order = file_order(tracks, layout.track_after_track);
  const std::size_t hole_at = layout.hole_bytes > 0 ? order.size() / 2 : order.size();

  std::vector<std::vector<std::uint64_t>> offsets(tracks.size());
  for (std::size_t track = 0; track < tracks.size(); ++track)
    offsets[track].resize(tracks[track].samples.size());
  const std::vector<std::uint8_t> type = file_type(layout.quicktime);
  constexpr std::uint64_t data_header = 16;
  // The index has the same size whatever the offsets are.
  const std::uint64_t index_size = layout.index_first ? movie_index(tracks, offsets).size() : 0;
  const std::uint64_t data_start = type.size() + index_size + data_header;
  std::uint64_t position = data_start;
  for (std::size_t place = 0; place < order.size(); ++place) {
    if (place == hole_at) position += layout.hole_bytes;
    const SampleRef& ref = order[place];
    offsets[ref.track][ref.sample] = position;
    position += tracks[ref.track].samples[ref.sample].data.size();
  }

  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  put(file, type);
  if (layout.index_first) put(file, movie_index(tracks, offsets));
  BoxBuilder header;
  header.u32(1);
  header.text("mdat");
  header.u64(position - data_start + data_header);
  put(file, header.bytes());
  for (const SampleRef& ref : order) {
    file.seekp(static_cast<std::streamoff>(offsets[ref.track][ref.sample]));
    put(file, tracks[ref.track].samples[ref.sample].data);
  }
  if (!layout.index_first) put(file, movie_index(tracks, offsets));
  file.close();
  if (file.fail()) {
    error = "could not write the recording: " + platform::path_to_utf8(path);
    return false;
  }
  return true;
}

}  // namespace veyrin::recordings
