// Frames on the GPU: their textures, and where in them the picture lies.
#pragma once

#include <d3d11.h>

#include <optional>

#include "media/video_types.h"

struct AVFrame;

namespace veyrin {

/// The texture of a D3D11 frame, borrowed; null when it has none.
ID3D11Texture2D* frame_texture(const AVFrame& frame);

D3D11_TEXTURE2D_DESC describe(ID3D11Texture2D& texture);

/// The size of one slice of the texture.
Size texture_size(const D3D11_TEXTURE2D_DESC& description);

/// The frame's slice of its texture, as the copying calls count.
UINT frame_subresource(const AVFrame& frame, const D3D11_TEXTURE2D_DESC& description);

/// The picture of a decoded frame inside its texture, from the corner that its cropping names; none when the
/// picture has another size or does not lie in the texture on whole chroma samples.
std::optional<D3D11_BOX> picture_box(const AVFrame& frame, const D3D11_TEXTURE2D_DESC& description,
                                     Size picture);

}  // namespace veyrin
