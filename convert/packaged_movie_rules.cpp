#include "convert/packaged_movie_rules.h"

#include <algorithm>
#include <array>
#include <span>
#include <string_view>
#include <system_error>

#include "common/error_text.h"
#include "common/platform/files.h"
#include "media/movie_check.h"
#include "media/sound_copy.h"

namespace veyrin {
namespace {

// Holds for every FFmpeg from 5.0 on, the oldest that is packaged. Later ones put more into MP4 files, but no
// player knows.
constexpr std::array mp4_sound{AV_CODEC_ID_AAC, AV_CODEC_ID_AC3,  AV_CODEC_ID_EAC3,  AV_CODEC_ID_MP2,
                               AV_CODEC_ID_MP3, AV_CODEC_ID_ALAC, AV_CODEC_ID_OPUS,  AV_CODEC_ID_VORBIS,
                               AV_CODEC_ID_DTS, AV_CODEC_ID_MP1,  AV_CODEC_ID_MP4ALS};
constexpr std::array quicktime_sound{
    AV_CODEC_ID_AAC,       AV_CODEC_ID_AC3,       AV_CODEC_ID_EAC3,      AV_CODEC_ID_MP2,
    AV_CODEC_ID_MP3,       AV_CODEC_ID_ALAC,      AV_CODEC_ID_DTS,       AV_CODEC_ID_VORBIS,
    AV_CODEC_ID_PCM_S8,    AV_CODEC_ID_PCM_U8,    AV_CODEC_ID_PCM_S16LE, AV_CODEC_ID_PCM_S16BE,
    AV_CODEC_ID_PCM_S24LE, AV_CODEC_ID_PCM_S24BE, AV_CODEC_ID_PCM_S32LE, AV_CODEC_ID_PCM_S32BE,
    AV_CODEC_ID_PCM_F32LE, AV_CODEC_ID_PCM_F32BE, AV_CODEC_ID_PCM_F64LE, AV_CODEC_ID_PCM_F64BE,
    AV_CODEC_ID_PCM_ALAW,  AV_CODEC_ID_PCM_MULAW};
// Other sound is written as private data, which players skip.
constexpr std::array transport_stream_sound{AV_CODEC_ID_AAC, AV_CODEC_ID_AC3, AV_CODEC_ID_EAC3,
                                            AV_CODEC_ID_MP2, AV_CODEC_ID_MP3, AV_CODEC_ID_OPUS,
                                            AV_CODEC_ID_DTS};

struct PackagedContainer {
  std::string_view extension;  ///< in lower case
  /// What can be copied; empty for Matroska, which is asked through this program's own FFmpeg.
  std::span<const AVCodecID> sound;
};

constexpr PackagedContainer quicktime{".mov", quicktime_sound};
constexpr PackagedContainer matroska{".mkv", {}};
constexpr std::array containers{
    PackagedContainer{".mp4", mp4_sound},
    quicktime,
    matroska,
    PackagedContainer{".ts", transport_stream_sound},
    PackagedContainer{".m2ts", transport_stream_sound},
    PackagedContainer{".mts", transport_stream_sound},
    PackagedContainer{".m2t", transport_stream_sound},
};

std::string extension_of(const std::filesystem::path& output) {
  std::string extension = platform::path_to_utf8(output.extension());
  std::ranges::transform(extension, extension.begin(), [](char letter) {
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
  });
  return extension;
}

const PackagedContainer* container_of(const std::filesystem::path& output) {
  const auto* found = std::ranges::find(containers, extension_of(output), &PackagedContainer::extension);
  return found == containers.end() ? nullptr : found;
}

bool holds(const PackagedContainer& container, const AVStream& sound) {
  if (!container.sound.empty())
    return std::ranges::find(container.sound, sound.codecpar->codec_id) != container.sound.end();
  return can_copy_sound("matroska", sound);
}

}  // namespace

bool check_packaged_name(const std::filesystem::path& output, std::string& error) {
  if (container_of(output) != nullptr) return true;
  return fail(error, "the software HEVC encoder cannot write a file of this name (use .mp4, .mov or .mkv): " +
                         platform::path_to_utf8(output));
}

bool packaged_movie_can_be_stereo(const std::filesystem::path& output) {
  const std::string extension = extension_of(output);
  return extension == ".mp4" || extension == ".mov";
}

bool is_whole_packaged_movie(const std::filesystem::path& output, std::int64_t pictures) {
  if (packaged_movie_can_be_stereo(output)) return count_pictures(output) == pictures;
  std::error_code unknown;
  return std::filesystem::is_regular_file(output, unknown) &&
         std::filesystem::file_size(output, unknown) > 0 && !unknown;
}

bool check_packaged_sound(const std::filesystem::path& output, const AVStream& sound, bool stereo_pass,
                          std::string& error) {
  const PackagedContainer* container = container_of(output);
  const bool passes = !stereo_pass || can_copy_sound("mp4", sound);
  if (container != nullptr && holds(*container, sound) && passes) return true;
  std::string_view way_out;
  if (passes && holds(quicktime, sound))
    way_out = quicktime.extension;
  else if (holds(matroska, sound))
    way_out = matroska.extension;
  if (container != nullptr && way_out == container->extension) way_out = {};
  return fail(error,
              sound_failure_text(sound, "a " + extension_of(output) + " file with software HEVC", way_out));
}

}  // namespace veyrin
