#include "tests/recordings/recording.h"

#include <cmath>
#include <fstream>
#include <future>
#include <utility>

#include "common/platform/files.h"
#include "tests/recordings/calibration_document.h"
#include "tests/recordings/coded_media.h"
#include "tests/recordings/malformations.h"
#include "tests/recordings/movie_writer.h"

namespace veyrin::recordings {
namespace {

std::filesystem::path beside(const std::filesystem::path& path, const char* ending) {
  std::filesystem::path result = path;
  result += ending;
  return result;
}

/// A timed-metadata track whose samples come from `payload(seconds, index)`.
template <typename MakeSample>
MediaTrack metadata_track(const RecordingPlan& plan, MakeSample make_sample) {
  MediaTrack track;
  track.codec_tag = "gpmd";
  track.time_scale = 1000;
  const auto total = static_cast<std::int64_t>(std::llround(plan.frame_time(plan.frame_count()) * 1000.0));
  const auto step = std::max<std::int64_t>(1, std::llround(plan.metadata_interval * 1000.0));
  for (std::int64_t at = 0; at < total; at += step) {
    const double seconds = static_cast<double>(at) / 1000.0;
    track.samples.push_back(
        {make_sample(seconds, static_cast<int>(at / step)), at, at, std::min(step, total - at)});
  }
  return track;
}

std::vector<std::uint8_t> document_sample(const RecordingPlan& plan, const Rig& rig,
                                          const Malformation* fault, double seconds, int index) {
  nlohmann::json document = calibration_document(plan, rig, seconds);
  if (fault != nullptr && fault->in_document != nullptr) fault->in_document(document, index);
  SampleDraft draft;
  draft.index = index;
  draft.payload = document.dump();
  if (fault != nullptr && fault->in_sample != nullptr) fault->in_sample(draft);
  std::vector<std::uint8_t> bytes = gpmf_sample(draft.payload, draft.shape);
  bytes.resize(bytes.size() - static_cast<std::size_t>(draft.cut_bytes));
  if (draft.most_bytes >= 0) bytes.resize(static_cast<std::size_t>(draft.most_bytes));
  return bytes;
}

/// Removes a frame; the one before it lasts longer.
void drop_frame(MediaTrack& track, std::size_t frame) {
  if (frame == 0 || frame >= track.samples.size()) return;
  track.samples[frame - 1].duration += track.samples[frame].duration;
  track.samples.erase(track.samples.begin() + static_cast<std::ptrdiff_t>(frame));
}

/// Delays the second half of the frames.
void jump_in_time(MediaTrack& track, double seconds) {
  const auto jump = static_cast<std::int64_t>(std::llround(seconds * track.time_scale));
  const std::size_t middle = track.samples.size() / 2;
  for (std::size_t index = middle; index < track.samples.size(); ++index) {
    track.samples[index].dts += jump;
    track.samples[index].pts += jump;
  }
  if (middle > 0) track.samples[middle - 1].duration += jump;
}

bool code_eyes(const RecordingPlan& plan, const Rig& rig, std::vector<MediaTrack>& tracks,
               std::string& error) {
  MediaTrack left, right;
  std::string right_error;
  // One thread per eye: rendering and both encoders keep two processors busy.
  std::future<bool> right_done;
  if (!plan.single_camera) {
    right_done = std::async(std::launch::async, [&] {
      return code_eye(plan, rig, Eye::right, beside(plan.output, ".right.tmp"), right, right_error);
    });
  }
  const bool left_coded = code_eye(plan, rig, Eye::left, beside(plan.output, ".left.tmp"), left, error);
  const bool right_coded = plan.single_camera || right_done.get();
  if (!left_coded) return false;
  if (!right_coded) {
    error = right_error;
    return false;
  }
  if (plan.empty_right) right.samples.clear();
  if (plan.drop_right >= 0) drop_frame(right, static_cast<std::size_t>(plan.drop_right));
  for (MediaTrack* eye : {&left, &right}) jump_in_time(*eye, plan.jump);
  tracks.push_back(std::move(left));
  if (plan.single_camera) return true;
  tracks.push_back(std::move(right));
  if (plan.swap_cameras || plan.swap_tracks) std::swap(tracks[0], tracks[1]);
  return true;
}

bool write_truth(const RecordingPlan& plan, const Rig& rig, std::string& error) {
  std::ofstream file(truth_path(plan.output));
  file << truth_document(plan, rig).dump(1) << '\n';
  file.close();
  if (file.fail()) error = "could not write " + platform::path_to_utf8(truth_path(plan.output));
  return error.empty();
}

}  // namespace

bool make_recording(const RecordingPlan& plan, std::string& error) {
  const Malformation* fault = find_malformation(plan.malformed);
  const Rig rig = make_rig(plan.width, plan.height, plan.rig);
  const Rig document_rig =
      plan.document_width > 0 ? make_rig(plan.document_width, plan.document_height, plan.rig) : rig;

  std::vector<MediaTrack> tracks;
  if (!code_eyes(plan, rig, tracks, error)) return false;
  if (plan.audio) {
    tracks.emplace_back();
    if (!code_sound(plan, beside(plan.output, ".sound.tmp"), tracks.back(), error)) return false;
    tracks.back().delay_seconds = plan.sound_offset;
  }
  if (plan.extra_data_stream) {
    tracks.push_back(metadata_track(
        plan, [](double, int) { return std::vector<std::uint8_t>{'D', 'E', 'V', 'C', 0, 0, 0, 0}; }));
  }
  tracks.push_back(metadata_track(plan, [&](double seconds, int index) {
    return document_sample(plan, document_rig, fault, seconds, index);
  }));
  for (MediaSample& sample : tracks.back().samples) {
    const std::int64_t shift = std::llround(plan.metadata_edit * tracks.back().time_scale);
    sample.dts -= shift;
    sample.pts -= shift;
  }
  tracks.back().handler_name = plan.handler_name;
  tracks.back().codec_tag = plan.metadata_tag;
  for (MediaTrack& track : tracks) track.delay_seconds += plan.delay;
  if (fault != nullptr && fault->in_tracks != nullptr) fault->in_tracks(tracks);

  MovieLayout layout;
  layout.index_first = plan.index_first || (fault != nullptr && fault->index_first);
  layout.track_after_track = plan.bad_interleaving;
  layout.hole_bytes = plan.hole_bytes;
  layout.quicktime = plan.output.extension() == ".mov";
  if (!write_movie(plan.output, tracks, layout, error)) return false;
  if (fault != nullptr && fault->in_file != nullptr && !fault->in_file(plan.output)) {
    error = "could not change the recording: " + platform::path_to_utf8(plan.output);
    return false;
  }
  return write_truth(plan, rig, error);
}

}  // namespace veyrin::recordings
