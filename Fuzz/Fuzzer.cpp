// A fuzzer's entry point; which target it drives is told by the build.

#include <cstddef>

#include "FuzzTargets.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  halcyra::fuzz::AEROVANE_FUZZ_FUNCTION({data, size});
  return 0;
}
