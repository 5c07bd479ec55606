// Whether a finished MP4 or MOV file is all there.
#pragma once

#include <filesystem>

namespace veyrin {

/// True for an empty file and for one of the MP4 family (ISO/IEC 14496-12) whose boxes end beyond its end or
/// that has no index ("moov"): what a full disk leaves. False for all others, files of other formats and
/// absent ones included.
bool is_cut_off_movie(const std::filesystem::path& file);

}  // namespace veyrin
