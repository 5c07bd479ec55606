// What the processor can do and the operating system saves.
#pragma once

namespace veyrin {

/// True when AVX2 and FMA instructions may be used: the processor has them and the system saves the wide
/// registers.
bool cpu_has_avx2();

}  // namespace veyrin
