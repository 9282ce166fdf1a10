// libFuzzer's entry point for the tool's targets; KEVRA_FUZZ_TARGET names the one this binary runs.
#include "tool_targets.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    kevra_fuzz::KEVRA_FUZZ_TARGET(data, size);
    return 0;
}
