#include "processing/d3d11/frame_surfaces.h"

#include <cstddef>
#include <cstdint>

extern "C" {
#include <libavutil/frame.h>
}

namespace veyrin {

ID3D11Texture2D* frame_texture(const AVFrame& frame) {
  return reinterpret_cast<ID3D11Texture2D*>(frame.data[0]);
}

D3D11_TEXTURE2D_DESC describe(ID3D11Texture2D& texture) {
  D3D11_TEXTURE2D_DESC description{};
  texture.GetDesc(&description);
  return description;
}

Size texture_size(const D3D11_TEXTURE2D_DESC& description) {
  return {static_cast<std::int32_t>(description.Width), static_cast<std::int32_t>(description.Height)};
}

// A D3D11 frame carries the slice of its texture array where others have a plane's address.
UINT frame_subresource(const AVFrame& frame, const D3D11_TEXTURE2D_DESC& description) {
  return D3D11CalcSubresource(0, static_cast<UINT>(reinterpret_cast<std::uintptr_t>(frame.data[1])),
                              description.MipLevels);
}

// FFmpeg takes what is cropped on the right and at the bottom out of the size of a hardware frame; the rest
// is left to its readers, and the size still counts from the corner of the surface.
std::optional<D3D11_BOX> picture_box(const AVFrame& frame, const D3D11_TEXTURE2D_DESC& description,
                                     Size picture) {
  const auto covers = [](int length, std::size_t before, std::size_t after, std::int32_t wanted) {
    const auto whole = static_cast<std::size_t>(length);
    return length > 0 && before % 2 == 0 && before < whole && after < whole - before &&
           whole - before - after == static_cast<std::size_t>(wanted);
  };
  if (!covers(frame.width, frame.crop_left, frame.crop_right, picture.width) ||
      !covers(frame.height, frame.crop_top, frame.crop_bottom, picture.height))
    return std::nullopt;
  const auto left = static_cast<UINT>(frame.crop_left);
  const auto top = static_cast<UINT>(frame.crop_top);
  const D3D11_BOX box{
      left, top, 0, left + static_cast<UINT>(picture.width), top + static_cast<UINT>(picture.height), 1};
  if (box.right > description.Width || box.bottom > description.Height) return std::nullopt;
  return box;
}

}  // namespace veyrin
