#include "tests/recordings/track_boxes.h"

#include <algorithm>
#include <cmath>
#include <functional>

namespace veyrin::recordings {
namespace {

std::uint64_t media_duration(const MediaTrack& track) {
  std::int64_t total = 0;
  for (const MediaSample& sample : track.samples) total += sample.duration;
  return static_cast<std::uint64_t>(total);
}

/// Media time at which the presentation starts; samples before pts 0 are decoded but not shown.
std::uint64_t media_start(const MediaTrack& track) {
  return track.samples.empty() ? 0 : static_cast<std::uint64_t>(-track.samples.front().dts);
}

std::uint64_t delay_duration(const MediaTrack& track) {
  return static_cast<std::uint64_t>(std::llround(track.delay_seconds * movie_time_scale));
}

std::uint64_t edit_duration(const MediaTrack& track) {
  std::int64_t end = 0;
  for (const MediaSample& sample : track.samples) end = std::max(end, sample.pts + sample.duration);
  return (static_cast<std::uint64_t>(end) * movie_time_scale + track.time_scale - 1) / track.time_scale;
}

void append_matrix(BoxBuilder& boxes, int quarter_turns) {
  constexpr std::uint32_t one = 0x00010000, minus_one = 0xFFFF0000;
  const std::uint32_t turns[4][4] = {
      {one, 0, 0, one}, {0, one, minus_one, 0}, {minus_one, 0, 0, minus_one}, {0, minus_one, one, 0}};
  const std::uint32_t* turn = turns[quarter_turns & 3];
  for (const std::uint32_t value : {turn[0], turn[1], 0U, turn[2], turn[3], 0U, 0U, 0U, 0x40000000U})
    boxes.u32(value);
}

void append_track_header(BoxBuilder& boxes, const MediaTrack& track, std::uint32_t track_id) {
  boxes.begin_full("tkhd", 1, 3);
  boxes.zeros(16);  // creation and modification times
  boxes.u32(track_id);
  boxes.u32(0);
  boxes.u64(presented_duration(track));
  boxes.zeros(12);  // reserved, layer, alternate group
  boxes.u16(track.kind == TrackKind::audio ? 0x0100 : 0);
  boxes.u16(0);
  append_matrix(boxes, track.quarter_turns);
  boxes.u32(static_cast<std::uint32_t>(track.width) << 16U);
  boxes.u32(static_cast<std::uint32_t>(track.height) << 16U);
  boxes.end();
}

void append_edit_list(BoxBuilder& boxes, const MediaTrack& track) {
  const std::uint64_t delay = delay_duration(track), start = media_start(track);
  if (track.samples.empty() || (delay == 0 && start == 0)) return;
  boxes.begin("edts");
  boxes.begin_full("elst", 1, 0);
  boxes.u32(delay > 0 ? 2 : 1);
  const auto edit = [&boxes](std::uint64_t duration, std::uint64_t media_time) {
    boxes.u64(duration);
    boxes.u64(media_time);
    boxes.u32(0x00010000);
  };
  if (delay > 0) edit(delay, ~std::uint64_t{0});
  edit(edit_duration(track), start);
  boxes.end();
  boxes.end();
}

void append_descriptor(BoxBuilder& boxes, std::uint32_t tag,
                       const std::function<void(BoxBuilder&)>& content) {
  BoxBuilder inner;
  content(inner);
  boxes.u8(tag);
  boxes.u8(static_cast<std::uint32_t>(inner.bytes().size()));
  boxes.append(inner.bytes());
}

void append_audio_entry(BoxBuilder& boxes, const MediaTrack& track) {
  boxes.zeros(8);
  boxes.u16(static_cast<std::uint32_t>(track.channels));
  boxes.u16(16);
  boxes.u32(0);
  boxes.u32(static_cast<std::uint32_t>(track.sample_rate) << 16U);
  boxes.begin_full("esds", 0, 0);
  append_descriptor(boxes, 3, [&track](BoxBuilder& stream) {
    stream.u16(1);
    stream.u8(0);
    append_descriptor(stream, 4, [&track](BoxBuilder& decoder) {
      decoder.u8(0x40);  // MPEG-4 audio
      decoder.u8(0x15);  // audio stream
      decoder.zeros(11);
      append_descriptor(decoder, 5,
                        [&track](BoxBuilder& specific) { specific.append(track.decoder_config); });
    });
    append_descriptor(stream, 6, [](BoxBuilder& sync) { sync.u8(2); });
  });
  boxes.end();
}

void append_video_entry(BoxBuilder& boxes, const MediaTrack& track) {
  boxes.zeros(16);
  boxes.u16(static_cast<std::uint32_t>(track.width));
  boxes.u16(static_cast<std::uint32_t>(track.height));
  boxes.u32(0x00480000);  // 72 dpi
  boxes.u32(0x00480000);
  boxes.u32(0);
  boxes.u16(1);  // one frame per sample
  boxes.zeros(32);
  boxes.u16(24);
  boxes.u16(0xFFFF);
  boxes.begin(track.codec_tag == "avc1" ? "avcC" : track.codec_tag == "av01" ? "av1C" : "hvcC");
  boxes.append(track.decoder_config);
  boxes.end();
  if (!track.colour) return;
  boxes.begin("colr");
  boxes.text("nclx");
  boxes.u16(static_cast<std::uint32_t>(track.colour->primaries));
  boxes.u16(static_cast<std::uint32_t>(track.colour->transfer));
  boxes.u16(static_cast<std::uint32_t>(track.colour->matrix));
  boxes.u8(track.colour->full_range ? 0x80 : 0);
  boxes.end();
}

void append_sample_entry(BoxBuilder& boxes, const MediaTrack& track) {
  boxes.begin_full("stsd", 0, 0);
  boxes.u32(1);
  boxes.begin(track.codec_tag);
  boxes.zeros(6);
  boxes.u16(1);
  if (track.kind == TrackKind::audio) append_audio_entry(boxes, track);
  if (track.kind == TrackKind::video) append_video_entry(boxes, track);
  boxes.end();
  boxes.end();
}

/// Full box holding runs of (count, value), as stts and ctts do.
void append_runs(BoxBuilder& boxes, const char* type, const std::vector<std::int64_t>& values) {
  BoxBuilder runs;
  std::uint32_t entries = 0;
  for (std::size_t from = 0; from < values.size();) {
    std::size_t to = from;
    while (to < values.size() && values[to] == values[from]) ++to;
    runs.u32(static_cast<std::uint32_t>(to - from));
    runs.u32(static_cast<std::uint32_t>(values[from]));
    ++entries;
    from = to;
  }
  boxes.begin_full(type, 0, 0);
  boxes.u32(entries);
  boxes.append(runs.bytes());
  boxes.end();
}

void append_sync_samples(BoxBuilder& boxes, const MediaTrack& track) {
  std::vector<std::uint32_t> keys;
  for (std::size_t index = 0; index < track.samples.size(); ++index) {
    if (track.samples[index].key) keys.push_back(static_cast<std::uint32_t>(index + 1));
  }
  if (keys.size() == track.samples.size()) return;
  boxes.begin_full("stss", 0, 0);
  boxes.u32(static_cast<std::uint32_t>(keys.size()));
  for (const std::uint32_t key : keys) boxes.u32(key);
  boxes.end();
}

void append_sample_table(BoxBuilder& boxes, const MediaTrack& track,
                         const std::vector<std::uint64_t>& offsets) {
  std::vector<std::int64_t> durations, shifts;
  bool shifted = false;
  for (const MediaSample& sample : track.samples) {
    durations.push_back(sample.duration);
    shifts.push_back(sample.pts - sample.dts);
    shifted = shifted || sample.pts != sample.dts;
  }
  boxes.begin("stbl");
  append_sample_entry(boxes, track);
  append_runs(boxes, "stts", durations);
  if (shifted) append_runs(boxes, "ctts", shifts);
  append_sync_samples(boxes, track);
  // Each sample is a chunk.
  boxes.begin_full("stsc", 0, 0);
  boxes.u32(track.samples.empty() ? 0 : 1);
  if (!track.samples.empty()) {
    for (int field = 0; field < 3; ++field) boxes.u32(1);
  }
  boxes.end();
  boxes.begin_full("stsz", 0, 0);
  boxes.u32(0);
  boxes.u32(static_cast<std::uint32_t>(track.samples.size()));
  for (const MediaSample& sample : track.samples) boxes.u32(static_cast<std::uint32_t>(sample.data.size()));
  boxes.end();
  boxes.begin_full("co64", 0, 0);
  boxes.u32(static_cast<std::uint32_t>(offsets.size()));
  for (const std::uint64_t offset : offsets) boxes.u64(offset);
  boxes.end();
  boxes.end();
}

void append_media_information(BoxBuilder& boxes, const MediaTrack& track,
                              const std::vector<std::uint64_t>& offsets) {
  boxes.begin("minf");
  if (track.kind == TrackKind::video) {
    boxes.begin_full("vmhd", 0, 1);
    boxes.zeros(8);
  } else if (track.kind == TrackKind::audio) {
    boxes.begin_full("smhd", 0, 0);
    boxes.zeros(4);
  } else {
    boxes.begin_full("nmhd", 0, 0);
  }
  boxes.end();
  boxes.begin("dinf");
  boxes.begin_full("dref", 0, 0);
  boxes.u32(1);
  boxes.begin_full("url ", 0, 1);
  boxes.end();
  boxes.end();
  boxes.end();
  append_sample_table(boxes, track, offsets);
  boxes.end();
}

}  // namespace

std::uint64_t presented_duration(const MediaTrack& track) {
  return track.samples.empty() ? 0 : delay_duration(track) + edit_duration(track);
}

void append_track(BoxBuilder& boxes, const MediaTrack& track, std::uint32_t track_id,
                  const std::vector<std::uint64_t>& offsets) {
  boxes.begin("trak");
  append_track_header(boxes, track, track_id);
  append_edit_list(boxes, track);
  boxes.begin("mdia");
  boxes.begin_full("mdhd", 1, 0);
  boxes.zeros(16);
  boxes.u32(track.time_scale);
  boxes.u64(media_duration(track));
  boxes.u16(0x55C4);  // language "und"
  boxes.u16(0);
  boxes.end();
  boxes.begin_full("hdlr", 0, 0);
  boxes.u32(0);
  boxes.text(track.kind == TrackKind::video ? "vide" : track.kind == TrackKind::audio ? "soun" : "meta");
  boxes.zeros(12);
  boxes.text(track.handler_name);
  boxes.u8(0);
  boxes.end();
  append_media_information(boxes, track, offsets);
  boxes.end();
  boxes.end();
}

}  // namespace veyrin::recordings
