#include "tests/recordings/recording_plan.h"

#include <charconv>
#include <cmath>
#include <functional>

#include "common/platform/files.h"
#include "common/platform/program.h"
#include "tests/recordings/malformations.h"

namespace veyrin::recordings {
namespace {

template <typename Number>
bool read_number(const std::string& text, Number& value) {
  const char* end = text.data() + text.size();
  const auto [stop, code] = std::from_chars(text.data(), end, value);
  return code == std::errc{} && stop == end;
}

bool read_pair(const std::string& text, char separator, int& first, int& second) {
  const std::size_t at = text.find(separator);
  return at != std::string::npos && read_number(text.substr(0, at), first) &&
         read_number(text.substr(at + 1), second);
}

struct Option {
  std::string name;
  std::string value;  ///< what the value stands for; empty for a switch
  std::string what;
  std::function<bool(const std::string&)> set;
};

std::vector<Option> option_table(RecordingPlan& plan) {
  const auto text = [](std::string& target) {
    return [&target](const std::string& value) {
      target = value;
      return !value.empty();
    };
  };
  const auto number = [](auto& target) {
    return [&target](const std::string& value) { return read_number(value, target); };
  };
  const auto flag = [](bool& target, bool value = true) {
    return [&target, value](const std::string&) {
      target = value;
      return true;
    };
  };
  const auto size = [](int& width, int& height) {
    return [&width, &height](const std::string& value) {
      return read_pair(value, 'x', width, height) && width >= 2 && height >= 2 && width % 2 == 0 &&
             height % 2 == 0;
    };
  };
  const auto rate = [&plan](const std::string& value) {
    const bool whole = value.find('/') == std::string::npos;
    return read_pair(whole ? value + "/1" : value, '/', plan.rate.numerator, plan.rate.denominator) &&
           plan.rate.numerator > 0 && plan.rate.denominator > 0;
  };
  const auto codec = [&plan](const std::string& value) {
    if (value == "h264") plan.codec = VideoCodec::h264;
    if (value == "hevc") plan.codec = VideoCodec::hevc;
    if (value == "hevc10") plan.codec = VideoCodec::hevc10;
    return value == "h264" || value == "hevc" || value == "hevc10";
  };
  const auto rotation = [&plan](const std::string& value) {
    int degrees = 0;
    if (!read_number(value, degrees) || degrees % 90 != 0) return false;
    plan.quarter_turns = degrees / 90 & 3;
    return true;
  };
  const auto malformed = [&plan](const std::string& value) {
    plan.malformed = value;
    return find_malformation(value) != nullptr;
  };
  return {
      {"--size", "WxH", "pixels per eye, both even (640x640)", size(plan.width, plan.height)},
      {"--document-size", "WxH", "eye size that the calibration document is for (that of --size)",
       size(plan.document_width, plan.document_height)},
      {"--rate", "N[/D]", "frames per second (30)", rate},
      {"--seconds", "S", "length (2)", number(plan.seconds)},
      {"--codec", "NAME", "h264, hevc or hevc10 (10-bit, HLG, BT.2020) (h264)", codec},
      {"--full-range", "", "full-range video", flag(plan.full_range)},
      {"--untagged", "", "no colour description", flag(plan.untagged)},
      {"--pix-fmt", "NAME", "coded pixel format, e.g. yuv422p", text(plan.pixel_format)},
      {"--gop", "N", "frames per group of pictures", number(plan.group_length)},
      {"--right-gop", "N", "frames per group of pictures of the right eye (as the left eye)",
       number(plan.right_group_length)},
      {"--open-gop", "", "pictures may refer to the group before theirs", flag(plan.open_groups)},
      {"--b-frames", "N", "B-frames in a row (0)", number(plan.b_frames)},
      {"--focal", "F", "mean focal length over image width (0.35)", number(plan.rig.focal)},
      {"--baseline", "M", "camera distance in metres (0.064)", number(plan.rig.baseline_metres)},
      {"--twist", "F", "scale of the cameras' rotations (1)", number(plan.rig.twist)},
      {"--swap-cameras", "", "right camera and its track first", flag(plan.swap_cameras)},
      {"--swap-tracks", "", "left camera first, right track first", flag(plan.swap_tracks)},
      {"--single-camera", "", "one camera and one video track", flag(plan.single_camera)},
      {"--legacy-keys", "", "older key names in the document", flag(plan.legacy_keys)},
      {"--pinhole-only", "", "intrinsics without a fisheye model", flag(plan.pinhole_only)},
      {"--splines", "", "spline lens models as well", flag(plan.splines)},
      {"--metadata-interval", "S", "seconds between metadata samples (0.5)", number(plan.metadata_interval)},
      {"--handler-name", "TEXT", "handler name of the metadata track", text(plan.handler_name)},
      {"--metadata-tag", "TAG", "codec tag of the metadata track (gpmd)", text(plan.metadata_tag)},
      {"--extra-data-stream", "", "an earlier gpmd track without a name", flag(plan.extra_data_stream)},
      {"--no-audio", "", "no audio track", flag(plan.audio, false)},
      {"--empty-right", "", "no samples in the right eye's track", flag(plan.empty_right)},
      {"--right-offset", "S", "right eye starts later", number(plan.right_offset)},
      {"--start-offset", "S", "both eyes start later", number(plan.start_offset)},
      {"--sound-offset", "S", "sound starts later", number(plan.sound_offset)},
      {"--delay", "S", "all tracks start later", number(plan.delay)},
      {"--metadata-edit", "S", "the metadata track's edit list begins at this media time",
       number(plan.metadata_edit)},
      {"--drop-right", "N", "the right eye lacks frame N; needs --gop 1", number(plan.drop_right)},
      {"--jump", "S", "the second half of the pictures is late", number(plan.jump)},
      {"--rotation", "DEGREES", "clockwise turn in the display matrix (0)", rotation},
      {"--bad-interleaving", "", "one track after the other in the file", flag(plan.bad_interleaving)},
      {"--index-first", "", "moov before mdat", flag(plan.index_first)},
      {"--hole", "BYTES", "unwritten bytes in the middle of the file", number(plan.hole_bytes)},
      {"--malformed", "NAME", "one fault of the list below", malformed},
      {"--encoder", "PATH", "ffmpeg program that encodes (ffmpeg-gpl beside this program)",
       text(plan.encoder_program)},
  };
}

}  // namespace

std::string packaged_encoder_beside_program() {
  return platform::path_to_utf8(platform::module_path().parent_path() /
                                platform::executable_file_name("ffmpeg-gpl"));
}

int RecordingPlan::frame_count() const {
  return static_cast<int>(std::llround(seconds * rate.numerator / rate.denominator));
}

double RecordingPlan::frame_time(int frame) const {
  return static_cast<double>(frame) * rate.denominator / rate.numerator;
}

bool RecordingPlan::is_flash(int frame) const {
  const double second = std::floor(frame_time(frame) - 0.5 + 0.5 / rate.per_second());
  return second >= 0.0 && std::llround((second + 0.5) * rate.per_second()) == frame;
}

ColourCoding RecordingPlan::coding() const {
  const bool ten_bit = codec == VideoCodec::hevc10;
  return {ten_bit ? 10 : 8, full_range, ten_bit};
}

bool parse_recording_plan(const std::vector<std::string>& arguments, RecordingPlan& plan, bool& help,
                          std::string& error) {
  const std::vector<Option> options = option_table(plan);
  for (std::size_t index = 0; index < arguments.size(); ++index) {
    const std::string& argument = arguments[index];
    if (argument == "--help" || argument == "-h") {
      help = true;
      return true;
    }
    if (!argument.starts_with("-")) {
      plan.output = platform::path_from_utf8(argument);
      continue;
    }
    const Option* found = nullptr;
    for (const Option& option : options) {
      if (option.name == argument) found = &option;
    }
    if (found == nullptr) {
      error = "unknown option: " + argument;
      return false;
    }
    std::string value;
    if (!found->value.empty()) {
      if (++index == arguments.size()) {
        error = argument + " requires a value";
        return false;
      }
      value = arguments[index];
    }
    if (!found->set(value)) {
      error = argument + " has an invalid value: " + value;
      return false;
    }
  }
  if (plan.output.empty())
    error = "an output file is required";
  else if (plan.frame_count() < 1)
    error = "the recording would have no frames";
  return error.empty();
}

std::string recording_usage() {
  RecordingPlan plan;
  std::string usage =
      "Usage: make_recording [options] OUTPUT.mp4|OUTPUT.mov\n\n"
      "Renders a stereo fisheye recording and writes the true positions beside it.\n\n";
  for (const Option& option : option_table(plan)) {
    std::string left = "  " + option.name + (option.value.empty() ? "" : " " + option.value);
    left.resize(std::max<std::size_t>(left.size() + 1, 30), ' ');
    usage += left + option.what + "\n";
  }
  usage += "\nFaults for --malformed:\n";
  for (const Malformation& fault : malformations()) {
    std::string left = "  " + fault.name;
    left.resize(std::max<std::size_t>(left.size() + 1, 30), ' ');
    usage += left + fault.what + "\n";
  }
  return usage;
}

}  // namespace veyrin::recordings
