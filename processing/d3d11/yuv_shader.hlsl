// Rectifies both eyes and packs them into the encoder's canvas; as many threads as the output plane has samples.
// Samples are 0..1 of their plane's format. Layouts: 0 left eye, 1 right eye, 2 both side by side, 3 both
// squeezed to half width.
//
// Neighbouring samples read nearly the same source samples, so a group of threads first copies what surrounds
// its middle into shared memory; a sample whose taps are not all there reads the plane itself. The larger the
// patch that a group makes, the smaller the share of its surroundings: each thread makes the samples of four, and
// the groups that are left over have nothing to do.

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
static const int phases = 32;
static const float neutral = 0.5;
static const int groupSize = 16;  // threads each way
static const int patchSize = 32;  // rectified samples each way that a group makes
// Source samples around a patch: its own span up to 1.3 times enlarged, and the taps of its edges. Nearly every
// thread fills a strip of a column.
static const int tileWidth = 51;
static const int strips = 5;
static const int stripHeight = 10;
static const int2 tileSize = int2(tileWidth, strips * stripHeight);
// Two samples in one element, as 16-bit codes: a luma sample and the one below it, or a chroma pair.
groupshared uint tile[tileWidth * strips * stripHeight];
// The weight of each tap in each phase; the weight of a tap pair is the product of its row's and its column's.
groupshared float tapWeights[taps * phases];

bool isSqueezed() { return layout == 3; }

// Output samples that a group makes; squeezed ones are made of two each.
uint2 patchOutputs() { return uint2(isSqueezed() ? patchSize / 2 : patchSize, patchSize); }
uint outputsPerThread() { return isSqueezed() ? 2 : 4; }
// The thread's output sample `number` in the patch.
uint2 placeInPatch(uint2 thread, uint number) {
  return thread + groupSize * (isSqueezed() ? uint2(0, number) : uint2(number % 2, number / 2));
}

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

// The nearest position of the rectified image.
int2 nearestInImage(int2 position) {
  return clamp(position - int2(offsetX, offsetY), 0, int2(rectifiedWidth, rectifiedHeight) - 1);
}

// The table holds products. The weights of phase 0 are 1 at the sample itself and 0 elsewhere, so that row of the
// row phase 0 shows the weights of a column phase alone. One weight per thread of the group.
void loadTapWeights(uint thread) {
  const uint phase = thread / taps;
  const uint tap = thread % taps;
  tapWeights[tap * phases + phase] = weights[phase * taps * taps + tapsBefore * taps + tap];
}

float columnWeight(int tap, uint phase) { return tapWeights[tap * phases + phase % phases]; }
float rowWeight(int tap, uint phase) { return tapWeights[tap * phases + phase / phases]; }

// 16 bits hold every code of both formats. The sum with 2^23 is rounded to a whole number, which is then in its
// low bits; a conversion would be many instructions on some devices.
static const float codes = 65535;
uint code(float value) { return asuint(value * codes + 8388608.0) & 0xffff; }
uint pack(float first, float second) { return code(first) | (code(second) << 16); }
float2 unpack(uint element) { return float2(int(element & 0xffff), int(element >> 16)); }

// A thread's column of the tile, and its first row there; false for threads without one.
bool findStrip(uint thread, out int2 place) {
  place = int2(thread % tileWidth, thread / tileWidth * stripHeight);
  return place.y < tileSize.y;
}

// What the tile shows beyond the edges of the plane is never used.
void fillTile(Texture2D<float> plane, int2 begin, int2 size, uint thread) {
  int2 place;
  if (!findStrip(thread, place)) return;
  float value = plane.Load(int3(clamp(begin + place, 0, size - 1), 0));
  [loop] for (int i = 0; i < stripHeight; ++i) {
    const float below = plane.Load(int3(clamp(begin + place + int2(0, i + 1), 0, size - 1), 0));
    tile[(place.y + i) * tileWidth + place.x] = pack(value, below);
    value = below;
  }
}

void fillTile(Texture2D<float2> plane, int2 begin, int2 size, uint thread) {
  int2 place;
  if (!findStrip(thread, place)) return;
  [loop] for (int i = 0; i < stripHeight; ++i) {
    const float2 pair = plane.Load(int3(clamp(begin + place + int2(0, i), 0, size - 1), 0));
    tile[(place.y + i) * tileWidth + place.x] = pack(pair.x, pair.y);
  }
}

// True when all taps are in the plane and in the tile.
bool isInTile(int2 first, int2 begin, int2 size) {
  return all(first >= max(begin, 0)) && all(first + taps <= min(begin + tileSize, size));
}

// One side is unrolled, not all 64 taps: those take the compiler seconds and are hardly faster.
float sumLumaTile(int2 first, uint phase) {
  float rows[taps];
  [unroll] for (int tap = 0; tap < taps; ++tap) rows[tap] = rowWeight(tap, phase);
  float sum = 0;
  [loop] for (int tx = 0; tx < taps; ++tx) {
    float column = 0;
    [unroll] for (int ty = 0; ty < taps; ty += 2) {
      const float2 values = unpack(tile[(first.y + ty) * tileWidth + first.x + tx]);
      column += values.x * rows[ty] + values.y * rows[ty + 1];
    }
    sum += column * columnWeight(tx, phase);
  }
  return sum / codes;
}

float2 sumChromaTile(int2 first, uint phase) {
  float columns[taps];
  [unroll] for (int tap = 0; tap < taps; ++tap) columns[tap] = columnWeight(tap, phase);
  float2 sum = 0;
  [loop] for (int ty = 0; ty < taps; ++ty) {
    float2 row = 0;
    [unroll] for (int tx = 0; tx < taps; ++tx)
      row += unpack(tile[(first.y + ty) * tileWidth + first.x + tx]) * columns[tx];
    sum += row * rowWeight(ty, phase);
  }
  return sum / codes;
}

float sumLumaPlane(Texture2D<float> plane, int2 first, int2 size, uint phase) {
  const int2 begin = max(-first, 0), end = min(size - first, taps);
  float sum = 0;
  [loop] for (int ty = begin.y; ty < end.y; ++ty)
    [loop] for (int tx = begin.x; tx < end.x; ++tx)
      sum += plane.Load(int3(first + int2(tx, ty), 0)) * (rowWeight(ty, phase) * columnWeight(tx, phase));
  return sum;
}

// The weights' sum is 1: neutral taps beyond the edges are what the others are measured from.
float2 sumChromaPlane(Texture2D<float2> plane, int2 first, int2 size, uint phase) {
  const int2 begin = max(-first, 0), end = min(size - first, taps);
  float2 sum = neutral;
  [loop] for (int ty = begin.y; ty < end.y; ++ty)
    [loop] for (int tx = begin.x; tx < end.x; ++tx)
      sum += (plane.Load(int3(first + int2(tx, ty), 0)) - neutral) * (rowWeight(ty, phase) * columnWeight(tx, phase));
  return sum;
}

[numthreads(groupSize, groupSize, 1)] void luma(uint3 group : SV_GroupID, uint3 thread : SV_GroupThreadID,
                                                uint threadNumber : SV_GroupIndex) {
  const int2 size = int2(sourceWidth, sourceHeight);
  const uint2 outputSize = uint2(outputWidth, outputHeight);
  const uint eyeWidth = isSqueezed() ? canvasWidth / 2 : canvasWidth;
  const uint samples = isSqueezed() ? 2 : 1;
  const uint2 corner = group.xy * patchOutputs();
  if (any(corner >= outputSize)) return;

  uint2 middle = min(corner + patchOutputs() / 2, outputSize - 1);
  const bool rightTile = isRightEye(middle.x, eyeWidth);
  const int2 centre = nearestInImage(int2(middle.x * samples, middle.y));
  const uint centreIndex = centre.y * rectifiedWidth + centre.x;
  int2 begin = -tileSize / 2;
  if (rightTile) {
    begin += rightYC[centreIndex];
    fillTile(rightY, begin, size, threadNumber);
  } else {
    begin += leftYC[centreIndex];
    fillTile(leftY, begin, size, threadNumber);
  }
  loadTapWeights(threadNumber);
  GroupMemoryBarrierWithGroupSync();

  [loop] for (uint number = 0; number < outputsPerThread(); ++number) {
    const uint2 output = corner + placeInPatch(thread.xy, number);
    if (any(output >= outputSize)) continue;
    uint column = output.x;
    const bool rightEye = isRightEye(column, eyeWidth);
    float sum = 0;
    [loop] for (uint i = 0; i < samples; ++i) {
      int2 position = int2(column * samples + i, output.y);
      if (enterImage(position)) {
        const uint index = position.y * rectifiedWidth + position.x;
        int2 first = -tapsBefore;
        uint phase;
        if (rightEye) {
          first += rightYC[index];
          phase = rightYP[index];
        } else {
          first += leftYC[index];
          phase = leftYP[index];
        }
        // Where no tap is in the plane its loop ends at once.
        [branch] if (rightEye == rightTile && isInTile(first, begin, size)) sum += sumLumaTile(first - begin, phase);
        else if (rightEye) sum += sumLumaPlane(rightY, first, size, phase);
        else sum += sumLumaPlane(leftY, first, size, phase);
      }
    }
    outputY[output] = saturate(sum / samples);
  }
}

[numthreads(groupSize, groupSize, 1)] void chroma(uint3 group : SV_GroupID, uint3 thread : SV_GroupThreadID,
                                                  uint threadNumber : SV_GroupIndex) {
  const int2 size = int2(sourceWidth, sourceHeight) / 2;
  const uint2 outputSize = uint2(outputWidth, outputHeight) / 2;
  const uint eyeWidth = isSqueezed() ? canvasWidth / 4 : canvasWidth / 2;
  const uint step = isSqueezed() ? 4 : 2;  // luma columns of an output column
  const uint2 corner = group.xy * patchOutputs();
  if (any(corner >= outputSize)) return;

  uint2 middle = min(corner + patchOutputs() / 2, outputSize - 1);
  const bool rightTile = isRightEye(middle.x, eyeWidth);
  const int2 centre = nearestInImage(int2(middle.x * step, middle.y * 2)) / 2;
  const uint centreIndex = centre.y * (rectifiedWidth / 2) + centre.x;
  int2 begin = -tileSize / 2;
  if (rightTile) {
    begin += rightUVC[centreIndex];
    fillTile(rightUV, begin, size, threadNumber);
  } else {
    begin += leftUVC[centreIndex];
    fillTile(leftUV, begin, size, threadNumber);
  }
  loadTapWeights(threadNumber);
  GroupMemoryBarrierWithGroupSync();

  [loop] for (uint number = 0; number < outputsPerThread(); ++number) {
    const uint2 output = corner + placeInPatch(thread.xy, number);
    if (any(output >= outputSize)) continue;
    uint column = output.x;
    const bool rightEye = isRightEye(column, eyeWidth);
    const int2 canvas = int2(column * step, output.y * 2);
    // A pair that begins in the pad is pad, although its second half may lie in the image.
    int2 start = canvas;
    const uint samples = isSqueezed() && enterImage(start) ? 2 : 1;
    float2 sum = 0;
    [loop] for (uint i = 0; i < samples; ++i) {
      int2 position = canvas + int2(2 * i, 0);
      if (enterImage(position)) {
        position /= 2;
        const uint index = position.y * (rectifiedWidth / 2) + position.x;
        int2 first = -tapsBefore;
        uint phase;
        if (rightEye) {
          first += rightUVC[index];
          phase = rightUVP[index];
        } else {
          first += leftUVC[index];
          phase = leftUVP[index];
        }
        [branch] if (rightEye == rightTile && isInTile(first, begin, size)) sum += sumChromaTile(first - begin, phase);
        else if (rightEye) sum += sumChromaPlane(rightUV, first, size, phase);
        else sum += sumChromaPlane(leftUV, first, size, phase);
      } else {
        sum += neutral;
      }
    }
    outputUV[output] = saturate(sum / samples);
  }
}
