// Rectifies both eyes and packs them into the encoder's canvas; one thread per sample of the output plane.
// Samples are 0..1 of their plane's format. Layouts: 0 left eye, 1 right eye, 2 both side by side, 3 both
// squeezed to half width.

cbuffer Params : register(b0) {
  uint rectifiedWidth;
  uint rectifiedHeight;
  uint sourceWidth;
  uint sourceHeight;
  uint canvasWidth;  // one eye's box
  uint canvasHeight;
  uint outputWidth;
  uint outputHeight;
  uint layout;
  uint offsetX;  // from the eye's box to its image
  uint offsetY;
  uint unused;
};

Texture2D<float> leftY : register(t0);
Texture2D<float2> leftUV : register(t1);
Texture2D<float> rightY : register(t2);
Texture2D<float2> rightUV : register(t3);
// Per sample of the rectified plane: the whole position in the source plane, and the phase of both axes.
StructuredBuffer<int2> leftYC : register(t4);
StructuredBuffer<uint> leftYP : register(t5);
StructuredBuffer<int2> rightYC : register(t6);
StructuredBuffer<uint> rightYP : register(t7);
StructuredBuffer<int2> leftUVC : register(t8);
StructuredBuffer<uint> leftUVP : register(t9);
StructuredBuffer<int2> rightUVC : register(t10);
StructuredBuffer<uint> rightUVP : register(t11);
StructuredBuffer<float> weights : register(t12);

RWTexture2D<unorm float> outputY : register(u0);
RWTexture2D<unorm float2> outputUV : register(u1);

static const int taps = 8;
static const int tapsBefore = 3;
static const float neutral = 0.5;

bool isSqueezed() { return layout == 3; }

// Takes the eye's own column out of an output column; `eyeWidth` is what one eye fills of the output plane.
bool isRightEye(inout uint column, uint eyeWidth) {
  if (layout < 2) return layout == 1;
  if (column < eyeWidth) return false;
  column -= eyeWidth;
  return true;
}

// A canvas position in luma samples is turned into one of the rectified image; false outside of it.
bool enterImage(inout int2 position) {
  position -= int2(offsetX, offsetY);
  return all(position >= 0) && all(position < int2(rectifiedWidth, rectifiedHeight));
}

float sumLuma(Texture2D<float> plane, StructuredBuffer<int2> positions, StructuredBuffer<uint> phases, uint index) {
  const int2 first = positions[index] - tapsBefore;
  const uint weight = phases[index] * taps * taps;
  const int2 size = int2(sourceWidth, sourceHeight);
  float sum = 0;
  [loop] for (int ty = 0; ty < taps; ++ty) {
    [loop] for (int tx = 0; tx < taps; ++tx) {
      const int2 tap = first + int2(tx, ty);
      if (all(tap >= 0) && all(tap < size)) sum += plane.Load(int3(tap, 0)) * weights[weight + ty * taps + tx];
    }
  }
  return sum;
}

float2 sumChroma(Texture2D<float2> plane, StructuredBuffer<int2> positions, StructuredBuffer<uint> phases,
                 uint index) {
  const int2 first = positions[index] - tapsBefore;
  const uint weight = phases[index] * taps * taps;
  const int2 size = int2(sourceWidth, sourceHeight) / 2;
  float2 sum = 0;
  [loop] for (int ty = 0; ty < taps; ++ty) {
    [loop] for (int tx = 0; tx < taps; ++tx) {
      const int2 tap = first + int2(tx, ty);
      float2 value = neutral;
      if (all(tap >= 0) && all(tap < size)) value = plane.Load(int3(tap, 0));
      sum += value * weights[weight + ty * taps + tx];
    }
  }
  return sum;
}

float lumaAt(bool rightEye, int2 position) {
  if (!enterImage(position)) return 0;
  const uint index = position.y * rectifiedWidth + position.x;
  if (rightEye) return sumLuma(rightY, rightYC, rightYP, index);
  return sumLuma(leftY, leftYC, leftYP, index);
}

float2 chromaAt(bool rightEye, int2 position) {
  if (!enterImage(position)) return neutral;
  position /= 2;
  const uint index = position.y * (rectifiedWidth / 2) + position.x;
  if (rightEye) return sumChroma(rightUV, rightUVC, rightUVP, index);
  return sumChroma(leftUV, leftUVC, leftUVP, index);
}

[numthreads(16, 16, 1)] void luma(uint3 thread : SV_DispatchThreadID) {
  if (thread.x >= outputWidth || thread.y >= outputHeight) return;
  uint column = thread.x;
  const bool rightEye = isRightEye(column, isSqueezed() ? canvasWidth / 2 : canvasWidth);
  const int2 position = int2(isSqueezed() ? 2 * column : column, thread.y);
  float value = lumaAt(rightEye, position);
  if (isSqueezed()) value = (value + lumaAt(rightEye, position + int2(1, 0))) / 2;
  outputY[thread.xy] = saturate(value);
}

[numthreads(16, 16, 1)] void chroma(uint3 thread : SV_DispatchThreadID) {
  if (thread.x >= outputWidth / 2 || thread.y >= outputHeight / 2) return;
  uint column = thread.x;
  const bool rightEye = isRightEye(column, isSqueezed() ? canvasWidth / 4 : canvasWidth / 2);
  const int2 position = int2(isSqueezed() ? 4 * column : 2 * column, 2 * thread.y);
  float2 value = chromaAt(rightEye, position);
  // A pair that begins in the pad is pad, although its second half may lie in the image.
  int2 inImage = position;
  if (isSqueezed() && enterImage(inImage)) value = (value + chromaAt(rightEye, position + int2(2, 0))) / 2;
  outputUV[thread.xy] = saturate(value);
}
