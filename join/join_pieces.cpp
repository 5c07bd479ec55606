#include "join/join_pieces.h"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

#include "common/console.h"
#include "common/error_text.h"
#include "common/output_claim.h"
#include "common/output_guard.h"
#include "common/platform/files.h"
#include "common/platform/program.h"
#include "join/frame_schedule.h"
#include "join/joined_movie.h"
#include "join/movie_piece.h"
#include "join/packet_sources.h"
#include "join/recording_pairs.h"
#include "join/sound_place.h"
#include "media/ffmpeg.h"

extern "C" {
#include <libavutil/mathematics.h>
}

namespace veyrin {
namespace {

/// In the output's folder, so that it can be renamed.
std::filesystem::path temporary_path(const std::filesystem::path& output) {
  std::filesystem::path path = output;
  return path.replace_extension(".join.tmp" + platform::path_to_utf8(output.extension()));
}

/// One joining. Members are destroyed in reverse order of the road.
class Joining {
 public:
  Joining(const JoinJob& job, std::string& error) : job_(job), error_(error) {}

  /// The whole road; nothing is written before all checks have passed.
  [[nodiscard]] bool run() {
    if (!open_pieces() || !open_recording() || !count_frames() || !check_output() || !claim_output())
      return false;
    report();
    return write_movie() && name_movie();
  }

 private:
  [[nodiscard]] bool open_pieces() {
    for (const std::filesystem::path& path : job_.pieces) {
      auto piece = open_piece(path, error_);
      if (!piece) return false;
      if (!pieces_.empty() && !check_same_kind(pieces_.front(), *piece, error_)) return false;
      if (!pieces_.empty()) piece->close();
      pieces_.push_back(std::move(*piece));
    }
    return true;
  }

  [[nodiscard]] bool open_recording() {
    // What is noticed about the recording stands in its conversions' reports.
    const ConsoleSilence silence;
    recording_ = open_joined_recording(job_.recording, error_);
    return recording_.has_value();
  }

  /// The pieces must be all there are.
  [[nodiscard]] bool count_frames() {
    for (const MoviePiece& piece : pieces_) frames_ += piece.frames;
    const double other = other_origin(recording_->facts).value_or(0.0);
    const auto pairs = read_pair_times(recording_->input);
    if (!pairs) return place_sound({0.0, other});
    const auto frames_from = [&](double origin) {
      return FrameSchedule(*pairs, counted_from(origin), pieces_.front().rate(), recording_->facts.rate)
          .frames();
    };
    const std::int64_t expected = frames_from(0.0);
    std::vector<double> origins;
    if (frames_ == expected) origins.push_back(0.0);
    if (frames_ == frames_from(other)) origins.push_back(other);
    if (!origins.empty()) return place_sound(origins);
    return fail(error_, "the pieces have " + std::to_string(frames_) +
                            " frames together, but the recording's movie has " + std::to_string(expected));
  }

  /// The pieces must be in order. Which of the two ways of counting times they were made in shows in their
  /// number of frames or, where both `origins` give the same, in their sound.
  [[nodiscard]] bool place_sound(const std::vector<double>& origins) {
    const auto heard = find_sound_origin(pieces_, job_.recording, job_.range.start, origins.back(), error_);
    if (!heard) return false;
    sound_range_ = counted_from(origins.size() == 1 ? origins.front() : *heard);
    return true;
  }

  [[nodiscard]] TimeRange counted_from(double origin) const {
    TimeRange range = job_.range;
    range.start += origin;
    return range;
  }

  [[nodiscard]] bool check_output() {
    for (const std::filesystem::path& piece : job_.pieces) batch_.add_input(piece);
    const std::string name = platform::path_to_utf8(job_.output);
    if (!prepare_output_path(job_.recording, job_.output, job_.overwrite, batch_, error_) ||
        !has_container_of_pieces())
      return false;
    std::error_code unknown;
    const auto type = std::filesystem::status(job_.output, unknown).type();
    if (type != std::filesystem::file_type::regular && type != std::filesystem::file_type::not_found)
      return fail(error_, "could not replace output: " + name + " is not a file");
    return !platform::is_printed_into(job_.output) ||
           fail(error_, "output would be mixed with what the program prints: " + name);
  }

  // A file whose name and contents do not agree is not opened by every player.
  [[nodiscard]] bool has_container_of_pieces() {
    const std::string name = platform::path_to_utf8(job_.output);
    const AVOutputFormat* container = av_guess_format(nullptr, name.c_str(), nullptr);
    const std::string_view expected = pieces_.front().is_quicktime() ? "mov" : "mp4";
    if (container == nullptr || container->name == expected) return true;
    return fail(error_,
                "could not join into " + name + ": the pieces are ." + std::string(expected) + " movies");
  }

  [[nodiscard]] bool claim_output() {
    claim_ = OutputClaim::create(job_.output, job_.overwrite, error_);
    if (!claim_) return false;
    temporary_ = temporary_path(claim_->file());
    return claim_->plan_temporary(job_.recording, batch_, temporary_, error_);
  }

  void report() const {
    console_line("Recording: %s", platform::path_to_utf8(job_.recording).c_str());
    console_line("  pieces: %lld", static_cast<long long>(pieces_.size()));
    console_line("  output_frames: %lld", static_cast<long long>(frames_));
  }

  [[nodiscard]] bool write_movie() {
    const auto movie = JoinedMovie::create(pieces_.front(), recording_->input.audio(), temporary_, error_);
    if (!movie) return false;
    owner_.emplace(temporary_);
    pieces_.front().close();
    return copy_packets(*movie) && movie->finish(error_);
  }

  /// Pictures and sound in the order of time, so that the muxer has little to keep.
  [[nodiscard]] bool copy_packets(JoinedMovie& movie) {
    PictureSource pictures(pieces_);
    SoundSource sound(*recording_->input.context, recording_->input.audio_stream, sound_range_);
    const PacketPtr picture(av_packet_alloc());
    const PacketPtr heard(av_packet_alloc());
    if (!picture || !heard) return fail_with_library_error(error_, "could not read a piece", AVERROR(ENOMEM));
    Taken next_picture = pictures.take(*picture, error_);
    Taken next_sound = sound.take(*heard, error_);
    std::int64_t written = 0;
    while (next_picture == Taken::packet || next_sound == Taken::packet) {
      if (next_picture == Taken::failed || next_sound == Taken::failed) return false;
      if (next_sound != Taken::packet || (next_picture == Taken::packet && !is_later(*picture, *heard))) {
        if (!movie.write_picture(*picture, error_)) return false;
        print_progress(++written);
        next_picture = pictures.take(*picture, error_);
      } else {
        if (!movie.write_sound(*heard, error_)) return false;
        av_packet_unref(heard.get());
        next_sound = sound.take(*heard, error_);
      }
    }
    return next_picture == Taken::end && next_sound == Taken::end;
  }

  [[nodiscard]] bool is_later(const AVPacket& picture, const AVPacket& heard) const {
    return av_compare_ts(picture.dts, pieces_.front().time_base, heard.pts,
                         recording_->input.audio()->time_base) > 0;
  }

  // 100 is kept for the finished file.
  void print_progress(std::int64_t written) {
    const int percent = static_cast<int>(std::min<std::int64_t>(written * 100 / frames_, 99));
    if (percent != std::exchange(percent_, percent)) console_line("  progress_percent: %d", percent);
  }

  [[nodiscard]] bool name_movie() {
    // Somebody else may have made a file of this name meanwhile.
    std::error_code unknown;
    if (!job_.overwrite && platform::name_is_taken(claim_->file(), unknown))
      return fail(error_, "output already exists (use --overwrite): " + platform::path_to_utf8(job_.output));
    std::string reason;
    if (!platform::replace_file(temporary_, claim_->file(), reason))
      return fail(error_, "could not give the joined movie its name: " + reason);
    owner_->release();
    console_line("  progress_percent: 100");
    console_line("Joined output: %s", platform::path_to_utf8(job_.output).c_str());
    return true;
  }

  const JoinJob& job_;
  std::string& error_;

  std::vector<MoviePiece> pieces_;
  std::optional<OpenedRecording> recording_;
  std::int64_t frames_ = 0;
  TimeRange sound_range_;
  BatchFiles batch_;
  std::unique_ptr<OutputClaim> claim_;
  std::filesystem::path temporary_;
  std::optional<TemporaryFile> owner_;
  int percent_ = -1;
};

}  // namespace

bool join_pieces(const JoinJob& job, std::string& error) {
  return Joining(job, error).run();
}

}  // namespace veyrin
