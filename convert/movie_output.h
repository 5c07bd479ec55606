// The kinds of movies as strategies: how each probes for support, lays out its canvases, chooses its encoder
// and opens its file; and the open movie that pictures go into.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "common/output_claim.h"
#include "convert/canvas_pool.h"
#include "convert/conversion_plan.h"
#include "media/ffmpeg.h"
#include "processing/remap_tables.h"
#include "processing/yuv_processor.h"

namespace veyrin {

/// Output frames with the same picture.
struct FrameRun {
  std::int64_t first = 0;  ///< index in the movie, from 0
  std::int64_t count = 1;  ///< at least 1
};

/// One movie being written. Destroying an unfinished one leaves the partly written file where it is.
class MovieSink {
 public:
  virtual ~MovieSink() = default;

  /// Canvases that nobody else uses. Further ones may be asked for before these are written. None with a
  /// message on failure.
  [[nodiscard]] virtual Canvases next_canvases(std::string& error) = 0;

  /// Encodes the canvases as all frames of the run. Runs follow each other without a gap.
  [[nodiscard]] virtual bool write_canvases(Canvases canvases, FrameRun run, std::string& error) = 0;

  /// False when the movie has no audio track of ours to fill.
  [[nodiscard]] virtual bool accepts_audio() const = 0;

  /// True when another program reads the movie's sound from the recording and counts its time from the
  /// container's start, not from the container's time 0. The pictures are to be counted from there, too.
  [[nodiscard]] virtual bool counts_from_container_start() const { return false; }

  /// Copies one packet of the source's audio stream, in the source's time base but counted from the start of
  /// the movie. The packet may be consumed.
  [[nodiscard]] virtual bool write_audio(AVPacket& packet, std::string& error) = 0;

  /// Writes out everything pending and completes the file.
  [[nodiscard]] virtual bool finish(std::string& error) = 0;
};

/// What a GPU processor is made from. All borrowed for the call.
struct GpuProcessorInputs {
  const RemapTables& tables;  ///< of both eyes
  const ProcessorGeometry& geometry;
  AVBufferRef* device;  ///< of the decoders; null when they decode in software
};

/// What a movie is opened with. All borrowed for the call, the claim for as long as the movie lives.
struct MovieInputs {
  const AVStream* audio;  ///< of the recording; null: none
  OutputClaim& output;
  const BatchFiles& batch;  ///< what no temporary file may replace
};

/// One kind of movie on the road of a conversion. Calls come in the order of the declarations.
class MovieOutput {
 public:
  virtual ~MovieOutput() = default;

  /// Instead of all others: where the encoder of such a movie would compute; nothing, with one message in
  /// `error`, when this machine cannot make one. Writes nothing.
  [[nodiscard]] virtual std::optional<Acceleration> check_support(std::string& error) = 0;

  /// Settles the encoder. Kinds that have no choice may leave its opening to `open_movie`.
  [[nodiscard]] virtual bool choose_encoder(std::string& error) = 0;

  /// What the processors make, one layout for each canvas of the movie.
  [[nodiscard]] virtual std::vector<OutputLayout> layouts() const = 0;

  /// A processor whose canvases stay on the GPU up to the encoder; null where the movie takes them from
  /// memory.
  [[nodiscard]] virtual std::unique_ptr<YuvProcessor> use_gpu(const GpuProcessorInputs& inputs) = 0;

  /// Prints the report lines that name the encoder, where the kind has some.
  virtual void report_encoder() const = 0;

  /// Opens the claimed file for the sound of `inputs.audio` and for the canvases' pictures; null with one
  /// message in `error` on failure. Called once.
  [[nodiscard]] virtual std::unique_ptr<MovieSink> open_movie(const MovieInputs& inputs,
                                                              std::string& error) = 0;
};

}  // namespace veyrin
