// Direct3D 11 textures, fetched through a staging copy.
#include <d3d11.h>

#include <stdexcept>
#include <utility>

#include "common/platform/win32/windows_api.h"
#include "tests/simulated_nvenc/refusal.h"
#include "tests/simulated_nvenc/texture_device.h"

namespace veyrin::simulated_nvenc {
namespace {

using platform::ComPtr;

template <typename Interface>
ComPtr<Interface> as(IUnknown* object) {
  void* found = nullptr;
  if (object == nullptr || FAILED(object->QueryInterface(__uuidof(Interface), &found))) return nullptr;
  return ComPtr<Interface>(static_cast<Interface*>(found));
}

DXGI_FORMAT texture_format(NV_ENC_BUFFER_FORMAT format) {
  switch (format) {
    case NV_ENC_BUFFER_FORMAT_NV12:
      return DXGI_FORMAT_NV12;
    case NV_ENC_BUFFER_FORMAT_YUV420_10BIT:
      return DXGI_FORMAT_P010;
    default:
      return DXGI_FORMAT_UNKNOWN;
  }
}

class D3D11Texture : public RegisteredTexture {
 public:
  D3D11Texture(const PictureLayout& layout, ComPtr<ID3D11Texture2D> texture, UINT subresource,
               ComPtr<ID3D11Texture2D> staging, ComPtr<ID3D11DeviceContext> context)
      : RegisteredTexture(layout),
        texture_(std::move(texture)),
        subresource_(subresource),
        staging_(std::move(staging)),
        context_(std::move(context)) {}

  [[nodiscard]] Planes planes() const override {
    context_->CopySubresourceRegion(staging_.get(), 0, 0, 0, 0, texture_.get(), subresource_, nullptr);
    D3D11_MAPPED_SUBRESOURCE view{};
    if (FAILED(context_->Map(staging_.get(), 0, D3D11_MAP_READ, 0, &view))) {
      throw std::runtime_error("the copy of a texture cannot be mapped");
    }
    const auto height = static_cast<std::size_t>(layout().height);
    const std::span rows(static_cast<const std::uint8_t*>(view.pData), view.RowPitch * (height + height / 2));
    Planes planes = separate_planes(layout(), rows, view.RowPitch);
    context_->Unmap(staging_.get(), 0);
    return planes;
  }

 private:
  ComPtr<ID3D11Texture2D> texture_;
  UINT subresource_;
  ComPtr<ID3D11Texture2D> staging_;
  ComPtr<ID3D11DeviceContext> context_;
};

class D3D11TextureDevice : public TextureDevice {
 public:
  explicit D3D11TextureDevice(ComPtr<ID3D11Device> device) : device_(std::move(device)) {}

  std::unique_ptr<RegisteredTexture> take(void* resource, std::uint32_t subresource,
                                          const PictureLayout& layout) override {
    auto texture = as<ID3D11Texture2D>(static_cast<IUnknown*>(resource));
    require(texture != nullptr, NV_ENC_ERR_INVALID_PARAM, "the resource is no texture");
    ID3D11Device* owner = nullptr;
    texture->GetDevice(&owner);
    const ComPtr<ID3D11Device> its_device(owner);
    require(its_device == device_, NV_ENC_ERR_INVALID_DEVICE, "the texture is another device's");
    D3D11_TEXTURE2D_DESC description{};
    texture->GetDesc(&description);
    require(description.Format == texture_format(layout.format), NV_ENC_ERR_INVALID_PARAM,
            "the texture has another format");
    require(description.Usage == D3D11_USAGE_DEFAULT, NV_ENC_ERR_INVALID_PARAM, "the texture's usage");
    require(description.Width == static_cast<UINT>(layout.width) &&
                description.Height == static_cast<UINT>(layout.height),
            NV_ENC_ERR_INVALID_PARAM, "the texture has another size");
    require(subresource < description.ArraySize * description.MipLevels, NV_ENC_ERR_INVALID_PARAM,
            "the texture has no such slice");
    return std::make_unique<D3D11Texture>(layout, std::move(texture), subresource, staging(description),
                                          context());
  }

 private:
  [[nodiscard]] ComPtr<ID3D11Texture2D> staging(D3D11_TEXTURE2D_DESC description) const {
    description.ArraySize = 1;
    description.MipLevels = 1;
    description.Usage = D3D11_USAGE_STAGING;
    description.BindFlags = 0;
    description.CPUAccessFlags = D3D11_CPU_ACCESS_READ;
    description.MiscFlags = 0;
    ID3D11Texture2D* texture = nullptr;
    require(SUCCEEDED(device_->CreateTexture2D(&description, nullptr, &texture)), NV_ENC_ERR_OUT_OF_MEMORY,
            "no memory for a copy of the texture");
    return ComPtr<ID3D11Texture2D>(texture);
  }

  [[nodiscard]] ComPtr<ID3D11DeviceContext> context() const {
    ID3D11DeviceContext* context = nullptr;
    device_->GetImmediateContext(&context);
    return ComPtr<ID3D11DeviceContext>(context);
  }

  ComPtr<ID3D11Device> device_;
};

}  // namespace

std::unique_ptr<TextureDevice> open_texture_device(void* handle) {
  auto device = as<ID3D11Device>(static_cast<IUnknown*>(handle));
  if (device == nullptr) return nullptr;
  return std::make_unique<D3D11TextureDevice>(std::move(device));
}

}  // namespace veyrin::simulated_nvenc
