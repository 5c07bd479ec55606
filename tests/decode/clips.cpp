#include "tests/decode/clips.h"

#include <cstdlib>
#include <fstream>
#include <random>
#include <stdexcept>

namespace veyrin::test {
namespace {

void run(const std::string& command) {
  if (std::system(command.c_str()) != 0) throw std::runtime_error("failed: " + command);
}

}  // namespace

ClipFolder::ClipFolder() {
  folder_ =
      std::filesystem::temp_directory_path() / ("decode-clips-" + std::to_string(std::random_device{}()));
  std::filesystem::create_directory(folder_);
}

ClipFolder::~ClipFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(folder_, ignored);
}

std::filesystem::path ClipFolder::make(const std::string& name, const std::string& arguments) const {
  auto clip = folder_ / name;
  run("ffmpeg -nostdin -v error -y " + arguments + " " + clip.string());
  return clip;
}

std::vector<double> ClipFolder::probe_times(const std::filesystem::path& clip, int video_track) const {
  const auto list = folder_ / "times.txt";
  run("ffprobe -v error -select_streams v:" + std::to_string(video_track) +
      " -show_entries frame=best_effort_timestamp_time -of default=nokey=1:noprint_wrappers=1 " +
      clip.string() + " > " + list.string());
  std::ifstream lines(list);
  std::vector<double> times;
  for (double time = 0.0; lines >> time;) times.push_back(time);
  return times;
}

std::string test_picture(int frames, int rate, const std::string& size) {
  return "-f lavfi -i testsrc2=size=" + size + ":rate=" + std::to_string(rate) +
         ",trim=end_frame=" + std::to_string(frames) + " ";
}

}  // namespace veyrin::test
