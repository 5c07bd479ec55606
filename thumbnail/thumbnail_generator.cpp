#include "thumbnail/thumbnail_generator.h"

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "common/console.h"
#include "common/error_text.h"
#include "common/output_guard.h"
#include "common/platform/files.h"
#include "decode/color_description.h"
#include "media/ffmpeg.h"
#include "media/recording_input.h"
#include "thumbnail/image.h"
#include "thumbnail/preview_painter.h"
#include "thumbnail/video_input.h"

namespace veyrin {
namespace {

/// The temporary file is written first, so it must not be the recording either.
[[nodiscard]] bool keep_recording(const std::filesystem::path& input, const std::filesystem::path& output,
                                  std::string& error) {
  return BatchFiles().keep_intact(input, output, error) &&
         BatchFiles().keep_intact(input, temporary_png_path(output), error);
}

[[nodiscard]] bool check_layout(const RecordingLayout& layout, const std::string& path, std::string& error) {
  if (!layout.declared_raw_dual_track) return true;
  if (!layout.calibration.valid) {
    return fail(error, "Declared raw dual-track thumbnail has invalid calibration: " + path);
  }
  if (layout.names_two_tracks()) return true;
  return fail(
      error, "Declared raw dual-track thumbnail does not contain an embedded raw-dual-track layout: " + path);
}

void report_rotation(const AVStream& stream) {
  const std::optional<int> turns = display_rotation_quarter_turns(stream);
  console_line("[VideoThumbnailGenerator] Thumbnail rotation=%u quarter-turn(s), MP4 display matrix=%s",
               static_cast<unsigned>(turns.value_or(0)), turns ? "available" : "missing");
}

/// The frame's own tags where it has them, else those of its stream.
ColorTags picture_tags(const AVFrame& frame, const AVCodecParameters& stream) {
  ColorTags tags = color_tags(frame);
  const ColorTags others = color_tags(stream);
  if (tags.primaries == AVCOL_PRI_UNSPECIFIED) tags.primaries = others.primaries;
  if (tags.transfer == AVCOL_TRC_UNSPECIFIED) tags.transfer = others.transfer;
  if (tags.matrix == AVCOL_SPC_UNSPECIFIED) tags.matrix = others.matrix;
  if (tags.range == AVCOL_RANGE_UNSPECIFIED) tags.range = others.range;
  return tags;
}

/// A first frame with its stream and the meaning of its colours.
struct Track {
  const AVStream* stream = nullptr;
  ColoredFrame picture;
};

/// The stream whose rotation is told: the one that is shown where only one gave a frame, else the first.
const AVStream& shown_stream(const AVFormatContext& input, const StreamChoice& choice,
                             const std::vector<FirstFrame>& frames) {
  const auto shown =
      std::ranges::find_if(frames, [](const FirstFrame& first) { return first.frame != nullptr; });
  return *input.streams[shown != frames.end() ? shown->stream : choice.streams.front()];
}

/// One eye alone is no reason to fail, but to be told.
void report_missing_eye(const StreamChoice& choice, const std::vector<Track>& tracks) {
  if (!choice.is_dual() || tracks.size() != 1) return;
  const bool left_missing = tracks.front().stream->index != choice.left;
  report_fallback(std::string("the ") + (left_missing ? "left" : "right") + " eye's track gave no frame");
}

/// Those streams that gave a frame, in the order of the file.
std::vector<Track> colored_tracks(const AVFormatContext& input, const std::vector<FirstFrame>& frames) {
  std::vector<Track> tracks;
  for (const FirstFrame& first : frames) {
    if (!first.frame) continue;
    const AVStream* stream = input.streams[first.stream];
    const ColorDescription colors =
        describe_color(picture_tags(*first.frame, *stream->codecpar), first.label);
    tracks.push_back({stream, {first.frame.get(), prepare_color_converter(colors)}});
  }
  return tracks;
}

[[nodiscard]] ImagePtr paint_dual(const RecordingLayout& layout, const StreamChoice& choice,
                                  const std::vector<Track>& tracks, int width, CpuWorkerPool& pool) {
  const auto picture = [&tracks](int stream) -> const ColoredFrame& {
    return std::ranges::find(tracks, stream, [](const Track& track) { return track.stream->index; })->picture;
  };
  return paint_eyes(layout.calibration, picture(choice.left), picture(choice.right), width, pool);
}

/// Width over height of the picture's pixels; the container's value goes before the codec's.
double pixel_aspect(const Track& track) {
  for (const AVRational aspect :
       {track.stream->sample_aspect_ratio, track.picture.frame->sample_aspect_ratio}) {
    if (aspect.num > 0 && aspect.den > 0) return av_q2d(aspect);
  }
  return 1.0;
}

[[nodiscard]] ImagePtr make_preview(const std::filesystem::path& input, int width, CpuWorkerPool& pool,
                                    std::string& error) {
  const std::string path = platform::path_to_utf8(input);
  const RecordingLayout layout = read_recording_layout(input);
  if (!check_layout(layout, path, error)) return nullptr;
  const InputContextPtr context = open_video(input, error);
  StreamChoice choice;
  if (!context || !choose_streams(*context, layout, path, choice, error)) return nullptr;
  std::vector<FirstFrame> frames;
  const bool opened = decode_first_frames(*context, choice.streams, frames, error);
  report_rotation(shown_stream(*context, choice, frames));
  if (!opened) return nullptr;
  const std::vector<Track> tracks = colored_tracks(*context, frames);
  report_missing_eye(choice, tracks);

  ImagePtr preview;
  if (choice.is_dual() && tracks.size() == choice.streams.size()) {
    preview = paint_dual(layout, choice, tracks, width, pool);
    if (!preview) error = "Could not create a rectified raw dual-track thumbnail for " + path;
  } else if (!tracks.empty()) {
    const Track& track = tracks.front();
    const int quarter_turns = display_rotation_quarter_turns(*track.stream).value_or(0);
    preview = paint_upright(track.picture, quarter_turns, pixel_aspect(track), width, pool);
    if (!preview) error = "Could not create a thumbnail for " + path;
  } else {
    error = "Could not decode a frame of " + path;
  }
  return preview;
}

}  // namespace

bool generate_thumbnail(const std::filesystem::path& input_path, const std::filesystem::path& output_path,
                        int target_width, bool overwrite) {
  std::string error;
  if (target_width < 1) {
    error = "Invalid target width " + std::to_string(target_width);
  } else if (keep_recording(input_path, output_path, error)) {
    CpuWorkerPool pool;
    const ImagePtr preview = make_preview(input_path, target_width, pool, error);
    if (preview) return write_png_atomically(output_path, *preview, overwrite, pool);
  }
  console_line("[VideoThumbnailGenerator] %s", error.c_str());
  return false;
}

}  // namespace veyrin
