// The container of a movie that this process writes.
#pragma once

#include <filesystem>

extern "C" {
#include <libavcodec/codec_id.h>
#include <libavformat/avformat.h>
}

namespace veyrin {

/// The muxer for the file's name when it can hold the codec; else the codec's home: "mov" for ProRes, "mp4"
/// for the others, because an exact output name is honoured whatever its extension. Null when this FFmpeg
/// lacks that muxer.
const AVOutputFormat* choose_container(const std::filesystem::path& output, AVCodecID codec);

/// True for MP4 and QuickTime, whose tracks can carry an st3d box.
bool is_mp4_family(const AVOutputFormat& container);

}  // namespace veyrin
