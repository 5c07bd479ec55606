// Deliberate faults of a recording.
#pragma once

#include <filesystem>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "tests/recordings/gpmf_sample.h"
#include "tests/recordings/media_track.h"

namespace veyrin::recordings {

/// A metadata sample before it becomes records.
struct SampleDraft {
  int index = 0;  ///< from 0 within its track
  std::string payload;
  GpmfShape shape;
  int cut_bytes = 0;    ///< removed from the end of the finished sample
  int most_bytes = -1;  ///< maximum size of the finished sample; -1: any
};

/// A named fault; steps that are null change nothing.
struct Malformation {
  std::string name;
  std::string what;
  void (*in_document)(nlohmann::json& document, int sample_index) = nullptr;
  void (*in_sample)(SampleDraft& draft) = nullptr;
  void (*in_tracks)(std::vector<MediaTrack>& tracks) = nullptr;
  bool (*in_file)(const std::filesystem::path& path) = nullptr;  ///< false when the file cannot be changed
  bool index_first = false;                                      ///< the fault needs moov before mdat
};

const std::vector<Malformation>& malformations();

/// Null if there is no fault of that name.
const Malformation* find_malformation(std::string_view name);

}  // namespace veyrin::recordings
