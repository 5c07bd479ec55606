#include "tests/processing/random_maps.h"

#include <limits>
#include <random>

namespace veyrin::test {
namespace {

EyeMap random_map(int width, int height, int source_width, int source_height, std::mt19937& random) {
  constexpr float infinity = std::numeric_limits<float>::infinity();
  constexpr float odd_values[] = {-1.0F,    -1.0F,     -1.0F,    std::numeric_limits<float>::quiet_NaN(),
                                  infinity, -infinity, 3e9F,     -3e9F,
                                  1e38F,    -0.0F,     -0.4999F, std::numeric_limits<float>::denorm_min()};
  std::uniform_int_distribution<int> percent(0, 99);
  std::uniform_int_distribution<std::size_t> odd_value(0, std::size(odd_values) - 1);
  const auto anywhere = [&random](int size) {
    return std::uniform_real_distribution<float>(-6.0F, static_cast<float>(size) + 6.0F)(random);
  };
  EyeMap map{width, height, {}, {}};
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x) {
      // A slight rotation that overshoots the source by 5 on each side, so that long interior runs occur.
      const float u = static_cast<float>(x) / static_cast<float>(width) +
                      0.03F * static_cast<float>(y) / static_cast<float>(height);
      const float v = static_cast<float>(y) / static_cast<float>(height) -
                      0.04F * static_cast<float>(x) / static_cast<float>(width);
      float map_x = u * static_cast<float>(source_width + 10) - 5.0F;
      float map_y = v * static_cast<float>(source_height + 10) - 5.0F;
      const int kind = percent(random);
      if (kind < 8) map_x = anywhere(source_width);
      if (kind < 4 || kind == 99) map_y = anywhere(source_height);
      if (kind == 8) map_x = odd_values[odd_value(random)];
      if (kind == 9) map_y = odd_values[odd_value(random)];
      if (kind == 10) map_x = map_y = -1.0F;
      if (kind == 11) map_x = static_cast<float>(percent(random) % source_width) - 0.5F / 32.0F;
      map.map_x.push_back(map_x);
      map.map_y.push_back(map_y);
    }
  return map;
}

}  // namespace

RectificationMaps identity_maps(int width, int height) {
  EyeMap map{width, height, {}, {}};
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x) {
      map.map_x.push_back(static_cast<float>(x));
      map.map_y.push_back(static_cast<float>(y));
    }
  return {map, map, static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height)};
}

RectificationMaps random_maps(int width, int height, int source_width, int source_height,
                              std::uint32_t seed) {
  std::mt19937 random(seed);
  RectificationMaps maps;
  maps.left = random_map(width, height, source_width, source_height, random);
  maps.right = random_map(width, height, source_width, source_height, random);
  maps.width = static_cast<std::uint32_t>(width);
  maps.height = static_cast<std::uint32_t>(height);
  return maps;
}

}  // namespace veyrin::test
