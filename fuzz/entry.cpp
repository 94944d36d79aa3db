// libFuzzer's entry to the target that TARGET names.
#include "targets.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    static const qldapx_fuzz::Target &target = qldapx_fuzz::targetNamed(TARGET);
    target.run(target, {reinterpret_cast<const char *>(data), size});
    return 0;
}
