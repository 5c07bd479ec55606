#include "tests/processing/random_maps.h"

#include <limits>
#include <random>

namespace veyrin::test {
namespace {

StoredMap random_map(Size size, Size source, std::mt19937& random) {
  constexpr float infinity = std::numeric_limits<float>::infinity();
  constexpr float odd_values[] = {-1.0F,    -1.0F,     -1.0F,    std::numeric_limits<float>::quiet_NaN(),
                                  infinity, -infinity, 3e9F,     -3e9F,
                                  1e38F,    -0.0F,     -0.4999F, std::numeric_limits<float>::denorm_min()};
  std::uniform_int_distribution<int> percent(0, 99);
  std::uniform_int_distribution<std::size_t> odd_value(0, std::size(odd_values) - 1);
  const auto anywhere = [&random](int length) {
    return std::uniform_real_distribution<float>(-6.0F, static_cast<float>(length) + 6.0F)(random);
  };
  StoredMap map{size, {}, {}};
  for (int y = 0; y < size.height; ++y)
    for (int x = 0; x < size.width; ++x) {
      // A slight rotation that overshoots the source by 5 on each side, so that long interior runs occur.
      const float u = static_cast<float>(x) / static_cast<float>(size.width) +
                      0.03F * static_cast<float>(y) / static_cast<float>(size.height);
      const float v = static_cast<float>(y) / static_cast<float>(size.height) -
                      0.04F * static_cast<float>(x) / static_cast<float>(size.width);
      float map_x = u * static_cast<float>(source.width + 10) - 5.0F;
      float map_y = v * static_cast<float>(source.height + 10) - 5.0F;
      const int kind = percent(random);
      if (kind < 8) map_x = anywhere(source.width);
      if (kind < 4 || kind == 99) map_y = anywhere(source.height);
      if (kind == 8) map_x = odd_values[odd_value(random)];
      if (kind == 9) map_y = odd_values[odd_value(random)];
      if (kind == 10) map_x = map_y = -1.0F;
      if (kind == 11) map_x = static_cast<float>(percent(random) % source.width) - 0.5F / 32.0F;
      map.map_x.push_back(map_x);
      map.map_y.push_back(map_y);
    }
  return map;
}

}  // namespace

StoredMaps random_maps(Size rectified, Size source, std::uint32_t seed) {
  std::mt19937 random(seed);
  StoredMaps maps;
  maps.left = random_map(rectified, source, random);
  maps.right = random_map(rectified, source, random);
  return maps;
}

}  // namespace veyrin::test
