// The input and output buffers of a session.
#include <memory>

#include "tests/simulated_nvenc/refusal.h"
#include "tests/simulated_nvenc/session.h"

namespace veyrin::simulated_nvenc {

InputBuffer& Session::input(void* buffer) {
  const auto found = inputs_.find(buffer);
  require(found != inputs_.end(), NV_ENC_ERR_INVALID_PARAM, "unknown input buffer");
  return *found->second;
}

PictureSource& Session::source(void* handle) {
  if (RegisteredTexture* texture = mapped_texture(handle)) return *texture;
  InputBuffer& buffer = input(handle);
  require(!buffer.locked, NV_ENC_ERR_LOCK_BUSY, "the input buffer is still locked");
  return buffer;
}

OutputBuffer& Session::output(void* buffer) {
  const auto found = outputs_.find(buffer);
  require(found != outputs_.end(), NV_ENC_ERR_INVALID_PARAM, "unknown output buffer");
  return *found->second;
}

void Session::create_input(NV_ENC_CREATE_INPUT_BUFFER& parameters) {
  require_initialized();
  require_version(parameters.version, NV_ENC_CREATE_INPUT_BUFFER_VER, "input buffer");
  require(bit_depth(parameters.bufferFmt) != 0, NV_ENC_ERR_UNSUPPORTED_PARAM, "input format");
  const StreamSettings& stream = setup_->stream;
  require(parameters.width >= static_cast<std::uint32_t>(stream.width) &&
              parameters.height >= static_cast<std::uint32_t>(stream.height),
          NV_ENC_ERR_INVALID_PARAM, "the input buffer is smaller than the pictures");
  auto buffer = std::make_unique<InputBuffer>(PictureLayout{.width = static_cast<int>(parameters.width),
                                                            .height = static_cast<int>(parameters.height),
                                                            .format = parameters.bufferFmt});
  parameters.inputBuffer = buffer.get();
  inputs_.emplace(buffer.get(), std::move(buffer));
}

void Session::destroy_input(void* buffer) {
  require(!input(buffer).locked, NV_ENC_ERR_LOCK_BUSY, "a locked input buffer is destroyed");
  inputs_.erase(buffer);
}

void Session::lock_input(NV_ENC_LOCK_INPUT_BUFFER& parameters) {
  require_version(parameters.version, NV_ENC_LOCK_INPUT_BUFFER_VER, "input lock");
  InputBuffer& buffer = input(parameters.inputBuffer);
  require(!buffer.locked, NV_ENC_ERR_LOCK_BUSY, "the input buffer is locked already");
  buffer.locked = true;
  parameters.bufferDataPtr = buffer.memory.data();
  parameters.pitch = static_cast<std::uint32_t>(buffer.pitch);
}

void Session::unlock_input(void* buffer) {
  InputBuffer& locked = input(buffer);
  require(locked.locked, NV_ENC_ERR_INVALID_CALL, "the input buffer is not locked");
  locked.locked = false;
}

void Session::create_output(NV_ENC_CREATE_BITSTREAM_BUFFER& parameters) {
  require_initialized();
  require_version(parameters.version, NV_ENC_CREATE_BITSTREAM_BUFFER_VER, "output buffer");
  auto buffer = std::make_unique<OutputBuffer>();
  parameters.bitstreamBuffer = buffer.get();
  outputs_.emplace(buffer.get(), std::move(buffer));
}

void Session::destroy_output(void* buffer) {
  require(output(buffer).state != OutputBuffer::State::locked, NV_ENC_ERR_LOCK_BUSY,
          "a locked output buffer is destroyed");
  std::erase(waiting_outputs_, &output(buffer));
  outputs_.erase(buffer);
}

void Session::lock_output(NV_ENC_LOCK_BITSTREAM& parameters) {
  require_version(parameters.version, NV_ENC_LOCK_BITSTREAM_VER, "output lock");
  OutputBuffer& buffer = output(parameters.outputBitstream);
  require(buffer.state == OutputBuffer::State::coded, NV_ENC_ERR_LOCK_BUSY,
          "the output buffer has nothing to fetch");
  buffer.state = OutputBuffer::State::locked;
  parameters.bitstreamBufferPtr = buffer.bytes.data();
  parameters.bitstreamSizeInBytes = static_cast<std::uint32_t>(buffer.bytes.size());
  parameters.outputTimeStamp = buffer.origin.time_stamp;
  parameters.outputDuration = buffer.origin.duration;
  parameters.frameIdx = buffer.origin.frame_index;
  parameters.pictureType = buffer.type;
  parameters.pictureStruct = NV_ENC_PIC_STRUCT_FRAME;
  parameters.frameAvgQP = static_cast<std::uint32_t>(buffer.average_qp);
}

void Session::unlock_output(void* buffer) {
  OutputBuffer& locked = output(buffer);
  require(locked.state == OutputBuffer::State::locked, NV_ENC_ERR_INVALID_CALL,
          "the output buffer is not locked");
  locked.state = OutputBuffer::State::free;
}

}  // namespace veyrin::simulated_nvenc
