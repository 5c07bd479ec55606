// Any bytes as a recording: its metadata is read, and what can be converted is.
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "common/console.h"
#include "convert/conversion.h"
#include "metadata/recording_metadata.h"
#include "tests/support/temporary_folder.h"

extern "C" {
#include <libavutil/log.h>
#include <libavutil/mem.h>
}

namespace {

using veyrin::RecordingMetadata;

/// Small pictures and a short stretch, so that what the recording says of its size and times costs no time
/// here. Every second recording is trimmed at its beginning, so that its conversion looks for a place to
/// begin at.
veyrin::ConversionOptions cheap_options(std::uintmax_t recording_size) {
  veyrin::ConversionOptions options;
  options.sbs_codec = veyrin::SbsCodec::prores;
  options.eye_width = 32;
  options.eye_height = 24;
  options.output_fps = 10.0;
  options.start = recording_size % 2 == 0 ? 0.0 : 0.3;
  options.duration = 1.0;
  options.overwrite = true;
  options.software = true;
  return options;
}

/// A failure leaves one message, success none.
void expect_message_on_failure(bool succeeded, const std::string& error) {
  if (succeeded != error.empty() || error.find('\n') != std::string::npos) std::abort();
}

bool convert(const std::filesystem::path& input, const std::filesystem::path& output) {
  RecordingMetadata metadata;
  std::string error;
  const bool read = veyrin::read_recording_metadata(input, metadata, error);
  expect_message_on_failure(read, error);
  if (!read) return false;
  veyrin::ConversionJob job;
  job.input = input;
  job.output = output;
  const bool converted =
      veyrin::convert_recording(job, metadata, cheap_options(std::filesystem::file_size(input)), error);
  expect_message_on_failure(converted, error);
  return converted;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  av_log_set_level(AV_LOG_QUIET);
  // Pictures of any size that a recording claims would trip the fuzzer's memory limit.
  av_max_alloc(std::size_t{64} << 20);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const veyrin::test::TemporaryFolder folder;
  const veyrin::ConsoleSilence silence;
  const std::filesystem::path input = folder / "recording.mp4";
  const std::filesystem::path output = folder / "movie.mov";
  std::ofstream(input, std::ios::binary | std::ios::trunc)
      .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  if (convert(input, output) && !std::filesystem::exists(output)) std::abort();
  return 0;
}
