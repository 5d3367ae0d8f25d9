#include "PngFile.h"

#include "host/base/Strings.h"
#include "host/own/Files.h"

#include <png.h>

#include <bit>
#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <new>

// libpng reports errors by calling our error function, which must not
// return: it records the message and longjmps back to the setjmp in
// runDecoder/runEncoder. Those two functions therefore keep every piece of
// state in the Coder object that their caller owns, create no C++ objects of
// their own, and modify no locals after setjmp, so the jump skips no
// destructors and leaves nothing indeterminate. Callbacks never let a C++
// exception reach libpng's C frames.

namespace {

constexpr bool kLittleEndian = std::endian::native == std::endian::little;
constexpr png_alloc_size_t kMaxChunkBytes = png_alloc_size_t(8) << 20;
constexpr uint64_t kMaxDeflateRatio = 1032;

struct Coder {
    png_structp png = nullptr;
    png_infop info = nullptr;
    char message[256] = {};
    // The first warning: libpng explains some errors only in a warning
    // before them ("Image width exceeds user limit", then "Invalid IHDR data").
    char warning[128] = {};

    // Reading.
    const uint8_t* input = nullptr;
    size_t inputSize = 0;
    size_t inputPos = 0;
    int maxSide = HostImage::kMaxDimension;
    Ptr<HostImage> image;
    std::vector<png_bytep> rows;

    // Writing.
    const HostImage* source = nullptr;
    std::vector<uint8_t>* output = nullptr;
};

void setMessage(Coder* c, const char* text) {
    if (!text) text = "unknown libpng error";
    if (c->warning[0])
        std::snprintf(c->message, sizeof c->message, "%s (%s)", text, c->warning);
    else
        std::snprintf(c->message, sizeof c->message, "%s", text);
}

[[noreturn]] void onError(png_structp png, png_const_charp text) {
    setMessage(static_cast<Coder*>(png_get_error_ptr(png)), text);
    png_longjmp(png, 1);
}

void onWarning(png_structp png, png_const_charp text) {
    auto* c = static_cast<Coder*>(png_get_error_ptr(png));
    if (!c->warning[0] && text) std::snprintf(c->warning, sizeof c->warning, "%s", text);
    // libpng only warns about an ancillary chunk past the size limit, and
    // then allocates it anyway: stop there instead.
    if (text && std::strstr(text, "chunk data is too large")) png_error(png, "a chunk is larger than any picture needs");
}

void readData(png_structp png, png_bytep out, size_t length) {
    auto* c = static_cast<Coder*>(png_get_io_ptr(png));
    if (length > c->inputSize - c->inputPos) png_error(png, "truncated PNG data");
    std::memcpy(out, c->input + c->inputPos, length);
    c->inputPos += length;
}

void writeData(png_structp png, png_bytep data, size_t length) {
    auto* c = static_cast<Coder*>(png_get_io_ptr(png));
    bool failed = false;
    try {
        c->output->insert(c->output->end(), data, data + length);
    } catch (const std::bad_alloc&) {
        failed = true;
    }
    if (failed) png_error(png, "out of memory");
}

void flushData(png_structp) {}

// Called with c->png and c->info made; destroys neither.
bool runDecoder(Coder* c) {
    if (setjmp(png_jmpbuf(c->png))) return false;

    png_set_read_fn(c->png, c, readData);
#ifdef FUZZING_BUILD_MODE_UNSAFE_FOR_PRODUCTION
    // Fuzzing builds only: a mutated file fails its chunk and zlib checksums
    // at once, so without this the fuzzer never reaches the decoder.
    png_set_crc_action(c->png, PNG_CRC_QUIET_USE, PNG_CRC_QUIET_USE);
#ifdef PNG_IGNORE_ADLER32
    png_set_option(c->png, PNG_IGNORE_ADLER32, PNG_OPTION_ON);
#endif
#endif
    png_set_user_limits(c->png, HostImage::kMaxDimension, HostImage::kMaxDimension);
    // Text and other ancillary chunks may claim any size: none we keep needs more.
    png_set_chunk_malloc_max(c->png, kMaxChunkBytes);
    png_read_info(c->png, c->info);

    const png_uint_32 width = png_get_image_width(c->png, c->info);
    const png_uint_32 height = png_get_image_height(c->png, c->info);
    const int depth = png_get_bit_depth(c->png, c->info);
    if (width > png_uint_32(c->maxSide) || height > png_uint_32(c->maxSide)) {
        char message[128];
        std::snprintf(message, sizeof message, "the picture is %ux%u; the GPU takes at most %dx%d", unsigned(width),
                      unsigned(height), c->maxSide, c->maxSide);
        png_error(c->png, message);
    }
    // Deflate packs at most about 1032 bytes into one: a header that claims
    // more pixels than the file's bytes can hold is refused before the
    // picture's memory is taken.
    const uint64_t storedBytes = uint64_t(height) * (png_get_rowbytes(c->png, c->info) + 1);
    if (storedBytes > uint64_t(c->inputSize) * kMaxDeflateRatio + 65536)
        png_error(c->png, "the file is too small to hold the picture its header describes");
    const int colourType = png_get_color_type(c->png, c->info);
    const bool hasTransparency = png_get_valid(c->png, c->info, PNG_INFO_tRNS) != 0;

    if (colourType == PNG_COLOR_TYPE_PALETTE) png_set_palette_to_rgb(c->png);
    if ((colourType & PNG_COLOR_MASK_COLOR) == 0 && depth < 8) png_set_expand_gray_1_2_4_to_8(c->png);
    if (hasTransparency) png_set_tRNS_to_alpha(c->png);
    if ((colourType & PNG_COLOR_MASK_COLOR) == 0) png_set_gray_to_rgb(c->png);
    if ((colourType & PNG_COLOR_MASK_ALPHA) == 0 && !hasTransparency)
        png_set_add_alpha(c->png, depth == 16 ? 0xffff : 0xff, PNG_FILLER_AFTER);
    if (depth == 16 && kLittleEndian) png_set_swap(c->png);
    png_set_interlace_handling(c->png);
    png_read_update_info(c->png, c->info);

    const bool wide = depth == 16;
    const size_t rowBytes = size_t(width) * (wide ? 8 : 4);
    if (png_get_rowbytes(c->png, c->info) != rowBytes) png_error(c->png, "unexpected row size after expansion to RGBA");

    c->image = HostImage::create({int(width), int(height)}, wide ? iGPUImage::eRGBA16 : iGPUImage::eRGBA8);
    if (!c->image) png_error(c->png, "image too large");
    bool allocated = true;
    try {
        c->rows.resize(height);
    } catch (const std::bad_alloc&) {
        allocated = false;
    }
    if (!allocated) png_error(c->png, "out of memory");
    for (png_uint_32 y = 0; y < height; ++y) c->rows[y] = c->image->row(int(y));

    png_read_image(c->png, c->rows.data());
    png_read_end(c->png, nullptr);
    return true;
}

bool runEncoder(Coder* c) {
    if (setjmp(png_jmpbuf(c->png))) return false;

    const HostImage& image = *c->source;
    const bool wide = image.getFormat() == iGPUImage::eRGBA16;
    png_set_write_fn(c->png, c, writeData, flushData);
    png_set_IHDR(c->png, c->info, png_uint_32(image.getWidth()), png_uint_32(image.getHeight()), wide ? 16 : 8,
                 PNG_COLOR_TYPE_RGB_ALPHA, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(c->png, c->info);
    if (wide && kLittleEndian) png_set_swap(c->png);
    for (int y = 0; y < image.getHeight(); ++y) png_write_row(c->png, image.row(y));
    png_write_end(c->png, nullptr);
    return true;
}

} // namespace

Ptr<HostImage> PngFile::decode(const void* data, size_t size, std::string& error, const std::string& name, int maxSide) {

    if (size < 8 || png_sig_cmp(static_cast<png_const_bytep>(data), 0, 8) != 0) {
        error = name + ": not a PNG file";
        return nullptr;
    }
    Coder c;
    c.input = static_cast<const uint8_t*>(data);
    c.inputSize = size;
    c.maxSide = maxSide;
    c.png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &c, onError, onWarning);
    if (c.png) c.info = png_create_info_struct(c.png);
    if (!c.png || !c.info) {
        png_destroy_read_struct(c.png ? &c.png : nullptr, nullptr, nullptr);
        error = name + ": out of memory";
        return nullptr;
    }
    const bool ok = runDecoder(&c);
    png_destroy_read_struct(&c.png, &c.info, nullptr);
    if (ok) return std::move(c.image);
    error = name + ": " + c.message;
    return nullptr;
}

Ptr<HostImage> PngFile::read(const LightweightString<wchar_t>& path, std::string& error, int maxSide) {
    std::string bytes;
    if (!Files::readWholeFile(path, Files::kMaxPictureFileBytes, bytes, error)) return nullptr;
    return decode(bytes.data(), bytes.size(), error, toUTF8(path).str(), maxSide);
}

bool PngFile::encode(const HostImage& image, std::vector<uint8_t>& out, std::string& error) {

    Ptr<HostImage> converted;
    const HostImage* source = &image;
    if (image.getFormat() != iGPUImage::eRGBA8 && image.getFormat() != iGPUImage::eRGBA16) {
        converted = image.convertedTo(iGPUImage::eRGBA16);
        if (!converted) {
            error = "out of memory";
            return false;
        }
        source = converted.get();
    }
    out.clear();
    Coder c;
    c.source = source;
    c.output = &out;
    c.png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &c, onError, onWarning);
    if (c.png) c.info = png_create_info_struct(c.png);
    if (!c.png || !c.info) {
        png_destroy_write_struct(c.png ? &c.png : nullptr, nullptr);
        error = "out of memory";
        return false;
    }
    const bool ok = runEncoder(&c);
    png_destroy_write_struct(&c.png, &c.info);
    if (!ok) {
        error = c.message;
        out.clear();
    }
    return ok;
}

bool PngFile::write(const LightweightString<wchar_t>& path, const HostImage& image, std::string& error) {
    std::vector<uint8_t> bytes;
    if (!encode(image, bytes, error)) {
        error = toUTF8(path).str() + ": " + error;
        return false;
    }
    return Files::writeWholeFile(path, bytes.data(), bytes.size(), error);
}
