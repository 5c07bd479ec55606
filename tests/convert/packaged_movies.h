// Movies as the packaged encoder leaves them, made with its own command line.
#pragma once

#include <filesystem>
#include <string>

#include "convert/packaged_encoder_arguments.h"
#include "tests/support/command.h"

namespace veyrin::test {

/// Runs FFmpeg with the arguments of one encode and the test picture of 128x64 as its piped frames.
/// `picture_seconds` is how long the picture lasts. Size, rates and depth of `request` are filled in.
inline void make_packaged_movie(SoftwareEncodeRequest request, double picture_seconds) {
  request.size = {128, 64};
  request.bit_rate = 400000;
  request.overwrite = true;
  const std::string rate =
      std::to_string(request.frame_rate.num) + "/" + std::to_string(request.frame_rate.den);
  std::string command = "ffmpeg -nostdin -v error -f lavfi -i testsrc2=size=128x64:rate=" + rate +
                        ":d=" + std::to_string(picture_seconds) + " -pix_fmt " +
                        (request.depth == BitDepth::ten ? "p010le" : "yuv420p") + " -f rawvideo - | ffmpeg";
  for (std::string argument : packaged_encode_arguments(request)) {
    if (argument == "warning") argument = "error";
    if (argument.starts_with("high-tier")) argument += ":log-level=error";
    command += " '" + argument + "'";
  }
  output_of(command);
}

/// A 10-bit HLG movie at 30000/1001 whose copied AAC sound begins in the middle of the recording.
inline void make_trimmed_movie(const std::filesystem::path& movie) {
  SoftwareEncodeRequest request;
  request.input = movie.parent_path() / "tone.mp4";
  output_of(
      "ffmpeg -nostdin -v error -y -f lavfi -i color=size=32x32:rate=30:d=3 -f lavfi -i "
      "sine=440:r=48000:d=3 -c:v libx264 -c:a aac " +
      quoted(request.input));
  request.output = movie;
  request.frame_rate = {30000, 1001};
  request.range.start = 0.7;
  request.range.duration = 1.5;
  request.has_audio = true;
  request.depth = BitDepth::ten;
  request.colors.primaries = AVCOL_PRI_BT2020;
  request.colors.transfer = AVCOL_TRC_ARIB_STD_B67;
  request.colors.matrix = AVCOL_SPC_BT2020_NCL;
  make_packaged_movie(request, 1.5);
  std::filesystem::remove(request.input);
}

/// A full-range 25 fps movie with sound that begins late, has a language, a name and no default flag, and
/// with chapters that the recording brought along.
inline void make_chaptered_movie(const std::filesystem::path& movie) {
  SoftwareEncodeRequest request;
  request.input = movie.parent_path() / "late.mp4";
  const std::filesystem::path chapters = movie.parent_path() / "chapters.txt";
  output_of(
      "printf ';FFMETADATA1\\n[CHAPTER]\\nTIMEBASE=1/1000\\nSTART=0\\nEND=1000\\ntitle=First\\n"
      "[CHAPTER]\\nTIMEBASE=1/1000\\nSTART=1000\\nEND=2000\\ntitle=Second\\n' > " +
      quoted(chapters));
  output_of(
      "ffmpeg -nostdin -v error -y -f lavfi -i color=size=32x32:rate=25:d=3 -itsoffset 0.9 -f lavfi -i "
      "sine=440:r=44100:d=1 -i " +
      quoted(chapters) +
      " -map 0 -map 1 -map_chapters 2 -metadata:s:a language=deu -metadata:s:a handler_name=Mikrofon "
      "-disposition:a 0 -c:v libx264 -c:a aac " +
      quoted(request.input));
  request.output = movie;
  request.frame_rate = {25, 1};
  request.has_audio = true;
  request.colors.range = AVCOL_RANGE_JPEG;
  make_packaged_movie(request, 2.0);
  std::filesystem::remove(request.input);
  std::filesystem::remove(chapters);
}

/// A QuickTime movie with uncompressed sound.
inline void make_quicktime_movie(const std::filesystem::path& movie) {
  SoftwareEncodeRequest request;
  request.input = movie.parent_path() / "pcm.mov";
  output_of(
      "ffmpeg -nostdin -v error -y -f lavfi -i color=size=32x32:rate=30:d=1 -f lavfi -i "
      "sine=440:r=48000:d=1 -c:v libx264 -c:a pcm_s16le " +
      quoted(request.input));
  request.output = movie;
  request.has_audio = true;
  make_packaged_movie(request, 1.0);
  std::filesystem::remove(request.input);
}

}  // namespace veyrin::test
