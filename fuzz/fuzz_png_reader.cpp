// libFuzzer target: arbitrary bytes through the PNG decoder. It must never
// crash, never take more memory than the picture it returns needs (ASan's
// allocation limit catches a header that makes it reserve gigabytes), and a
// picture it returns must be within the size limits and encode again.
#include "platform/png/PngFile.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string error;
    const Ptr<HostImage> image = PngFile::decode(data, size, error, "fuzz", 4096);
    if (!image) {
        if (error.empty()) __builtin_trap(); // a refusal always says why
        return 0;
    }
    if (image->getWidth() < 1 || image->getWidth() > 4096 || image->getHeight() < 1 || image->getHeight() > 4096)
        __builtin_trap();
    std::vector<uint8_t> encoded;
    if (!PngFile::encode(*image, encoded, error)) __builtin_trap();
    return 0;
}
