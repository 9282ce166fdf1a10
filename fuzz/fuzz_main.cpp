// libFuzzer's entry point; KEVRA_FUZZ_TARGET names the target this binary runs.
#include "targets.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    kevra_fuzz::KEVRA_FUZZ_TARGET(data, size);
    return 0;
}
