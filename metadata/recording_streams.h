// Which streams of the container play which part in a recording.
#pragma once

struct AVFormatContext;

namespace veyrin {

/// The stream index of the N-th video stream, counting video streams only from 0; -1 when there is none.
int stream_index_of_video_track(const AVFormatContext& input, int track);

/// The index of the timed-metadata stream: the first data stream that is named as such, else the first one
/// with the codec tag "gpmd", else -1.
int find_metadata_stream(const AVFormatContext& input);

/// Makes the demuxer drop the packets of every stream but one without reading them.
void discard_other_streams(AVFormatContext& input, int kept_stream);

}  // namespace veyrin
