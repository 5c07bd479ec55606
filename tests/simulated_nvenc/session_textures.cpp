// The textures that a session reads pictures from.
#include "tests/simulated_nvenc/refusal.h"
#include "tests/simulated_nvenc/session.h"

namespace veyrin::simulated_nvenc {

RegisteredTexture& Session::registered_texture(void* registered) {
  const auto found = textures_.find(registered);
  require(found != textures_.end(), NV_ENC_ERR_RESOURCE_NOT_REGISTERED, "the texture is not registered");
  return *found->second;
}

RegisteredTexture* Session::mapped_texture(void* mapped) {
  for (const auto& [registered, texture] : textures_) {
    if (texture->mapped && texture->mapped_handle() == mapped) return texture.get();
  }
  return nullptr;
}

void Session::register_texture(NV_ENC_REGISTER_RESOURCE& parameters) {
  require_initialized();
  require_version(parameters.version, NV_ENC_REGISTER_RESOURCE_VER, "resource");
  require(texture_device_ != nullptr && parameters.resourceType == NV_ENC_INPUT_RESOURCE_TYPE_DIRECTX,
          NV_ENC_ERR_UNIMPLEMENTED, "only textures of the session's Direct3D device are registered");
  require(parameters.bufferUsage == NV_ENC_INPUT_IMAGE, NV_ENC_ERR_UNSUPPORTED_PARAM,
          "textures are only read from");
  require(parameters.resourceToRegister != nullptr, NV_ENC_ERR_INVALID_PTR, "no texture");
  auto texture = texture_device_->take(parameters.resourceToRegister, parameters.subResourceIndex,
                                       {.width = static_cast<int>(parameters.width),
                                        .height = static_cast<int>(parameters.height),
                                        .format = parameters.bufferFormat});
  parameters.registeredResource = texture.get();
  textures_.emplace(texture.get(), std::move(texture));
}

void Session::unregister_texture(void* registered) {
  require(!registered_texture(registered).mapped, NV_ENC_ERR_INVALID_CALL, "a mapped texture is given up");
  textures_.erase(registered);
}

void Session::map_texture(NV_ENC_MAP_INPUT_RESOURCE& parameters) {
  require_version(parameters.version, NV_ENC_MAP_INPUT_RESOURCE_VER, "texture mapping");
  RegisteredTexture& texture = registered_texture(parameters.registeredResource);
  require(!texture.mapped, NV_ENC_ERR_MAP_FAILED, "the texture is mapped already");
  texture.mapped = true;
  parameters.mappedResource = texture.mapped_handle();
  parameters.mappedBufferFmt = texture.layout().format;
}

void Session::unmap_texture(void* mapped) {
  RegisteredTexture* texture = mapped_texture(mapped);
  require(texture != nullptr, NV_ENC_ERR_RESOURCE_NOT_MAPPED, "the texture is not mapped");
  texture->mapped = false;
}

}  // namespace veyrin::simulated_nvenc
