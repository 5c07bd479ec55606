// Frames on a D3D11 device: decoder-like surfaces filled from memory, and surfaces read back.
#pragma once

#include <d3d11.h>

#include "tests/processing/yuv_frames.h"

namespace veyrin::test {

/// A D3D11VA device on the machine's first adapter; null where there is none.
BufferRefPtr make_gpu_device();

/// A D3D11VA device context around a Direct3D device, of which it takes a reference.
BufferRefPtr wrap_gpu_device(ID3D11Device& device);

/// Surfaces as a decoder has them: slices of one texture array, larger than the picture.
class DecoderSurfaces {
 public:
  /// `format` is AV_PIX_FMT_NV12 or AV_PIX_FMT_P010LE, the size that of the surfaces.
  DecoderSurfaces(AVBufferRef* device, int format, int width, int height, int slices);

  /// Puts the picture into the corner of a free surface and noise around it.
  FramePtr upload(const AVFrame& picture);

 private:
  BufferRefPtr frames_;
};

/// A frame from a frames context.
FramePtr take_surface(AVBufferRef* frames);

/// The slice of the texture array that a GPU frame lies in.
int slice_of(const AVFrame& frame);

/// Copies a surface into memory; throws when that fails.
FramePtr download(const AVFrame& surface);

}  // namespace veyrin::test
