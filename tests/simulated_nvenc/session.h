// An encode session: its buffers and the path of a picture from input to output.
#pragma once

#include <ffnvcodec/nvEncodeAPI.h>

#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tests/simulated_nvenc/initialization.h"
#include "tests/simulated_nvenc/input_buffer.h"
#include "tests/simulated_nvenc/picture_order.h"
#include "tests/simulated_nvenc/settings.h"
#include "tests/simulated_nvenc/stream_coder.h"
#include "tests/simulated_nvenc/texture_device.h"
#include "tests/simulated_nvenc/view_pairs.h"

namespace veyrin::simulated_nvenc {

/// The buffer that a coded view is read from.
struct OutputBuffer {
  enum class State { free, submitted, coded, locked };
  State state = State::free;
  std::vector<std::uint8_t> bytes;
  Submission origin;  ///< without its samples
  NV_ENC_PIC_TYPE type = NV_ENC_PIC_TYPE_UNKNOWN;
  int average_qp = 0;
};

/// Calls must come in the order that a driver requires; others throw a Refusal.
class Session {
 public:
  /// `textures` is null for a device whose textures cannot be used as input.
  Session(Settings settings, std::unique_ptr<TextureDevice> textures)
      : settings_(std::move(settings)), texture_device_(std::move(textures)) {}
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  [[nodiscard]] const Settings& settings() const { return settings_; }

  void initialize(const NV_ENC_INITIALIZE_PARAMS& parameters);
  void reconfigure(const NV_ENC_RECONFIGURE_PARAMS& parameters) const;

  void create_input(NV_ENC_CREATE_INPUT_BUFFER& parameters);
  void destroy_input(void* buffer);
  void lock_input(NV_ENC_LOCK_INPUT_BUFFER& parameters);
  void unlock_input(void* buffer);

  void register_texture(NV_ENC_REGISTER_RESOURCE& parameters);
  void unregister_texture(void* registered);
  void map_texture(NV_ENC_MAP_INPUT_RESOURCE& parameters);
  void unmap_texture(void* mapped);

  void create_output(NV_ENC_CREATE_BITSTREAM_BUFFER& parameters);
  void destroy_output(void* buffer);
  void lock_output(NV_ENC_LOCK_BITSTREAM& parameters);
  void unlock_output(void* buffer);

  void sequence_parameters(NV_ENC_SEQUENCE_PARAM_PAYLOAD& parameters);

  /// Whether the output of all submitted pictures can be read now.
  NVENCSTATUS encode(const NV_ENC_PIC_PARAMS& parameters);

  void remember_error(const std::string& text) { last_error_ = text; }
  [[nodiscard]] const char* last_error() const { return last_error_.c_str(); }

 private:
  void require_initialized() const;
  InputBuffer& input(void* buffer);
  /// An input buffer or a mapped texture.
  PictureSource& source(void* handle);
  RegisteredTexture& registered_texture(void* registered);
  /// Null when no texture is mapped under that handle.
  RegisteredTexture* mapped_texture(void* mapped);
  OutputBuffer& output(void* buffer);
  [[nodiscard]] Submission submission(const NV_ENC_PIC_PARAMS& parameters, const PictureSource& from) const;
  NVENCSTATUS finish_stream();
  void code(const std::vector<InputPicture>& group);
  /// The next output buffer gets a view of the picture.
  void deliver(const CodedPicture& picture, std::size_t view);
  [[nodiscard]] bool wants_message(const CodedPicture& picture, std::size_t view) const;
  [[nodiscard]] NV_ENC_PIC_TYPE picture_type(PictureKind kind, std::size_t view) const;
  [[nodiscard]] bool wants_headers(const CodedPicture& picture, std::size_t view) const;

  Settings settings_;
  std::string last_error_;
  std::optional<SessionSetup> setup_;
  std::unique_ptr<StreamCoder> coder_;
  std::optional<ViewPairs> pairs_;
  std::optional<PictureOrder> order_;
  std::unique_ptr<TextureDevice> texture_device_;
  std::map<void*, std::unique_ptr<InputBuffer>> inputs_;
  std::map<void*, std::unique_ptr<RegisteredTexture>> textures_;
  std::map<void*, std::unique_ptr<OutputBuffer>> outputs_;
  std::deque<OutputBuffer*> waiting_outputs_;                  ///< in the order they were handed in
  std::map<std::int64_t, std::vector<Submission>> in_flight_;  ///< by the picture's number
  std::int64_t calls_ = 0;
  std::int64_t pictures_ = 0;
  bool ended_ = false;
};

}  // namespace veyrin::simulated_nvenc
