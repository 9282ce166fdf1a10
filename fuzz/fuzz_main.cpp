// libFuzzer's entry point; KEVRA_FUZZ_TARGET names the target this binary runs
// (a library target of targets.h or a tool target of tools/tool_targets.h).
#include <cstddef>
#include <cstdint>

namespace kevra_fuzz {
void KEVRA_FUZZ_TARGET(const uint8_t* data, size_t size);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    kevra_fuzz::KEVRA_FUZZ_TARGET(data, size);
    return 0;
}
