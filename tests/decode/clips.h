// Short clips that the ffmpeg program makes for one test, and how to look into them.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "media/ffmpeg.h"

namespace veyrin::test {

/// A folder of its own, deleted with the object.
class ClipFolder {
 public:
  ClipFolder();
  ~ClipFolder();
  ClipFolder(const ClipFolder&) = delete;
  ClipFolder& operator=(const ClipFolder&) = delete;

  [[nodiscard]] const std::filesystem::path& path() const { return folder_; }

  /// Runs the ffmpeg program with these arguments and the output name behind them; throws when it fails.
  std::filesystem::path make(const std::string& name, const std::string& arguments) const;

  /// What ffprobe decodes from one video track (counted among the video tracks): the time of each frame in
  /// seconds, in output order.
  std::vector<double> probe_times(const std::filesystem::path& clip, int video_track) const;

 private:
  std::filesystem::path folder_;
};

/// A moving test picture as an input argument of the ffmpeg program.
std::string test_picture(int frames, int rate = 30, const std::string& size = "96x64");

/// Opens a clip and reads its streams; throws when that fails.
InputContextPtr open_clip(const std::filesystem::path& clip);

/// All packets of the clip in file order.
std::vector<PacketPtr> read_packets(AVFormatContext& input);

}  // namespace veyrin::test
