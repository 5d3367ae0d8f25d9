// Scopes.cl: the video scopes of an RGBA frame (Qf::Image::Scopes runs them).
//
// Every pixel is first reduced to 8-bit codes, as an 8-bit scope reads a
// frame, and everything after that is integer arithmetic, so that every
// device and a CPU reference agree exactly:
//
//   component code  c  = v * 255 rounded to nearest (ties to even), clamped
//                        to 0..255, v the component normalised to 0..1 for
//                        the unsigned formats (a NaN counts as 0)
//   luma            Y' = floor((2126 R + 7152 G + 722 B + 5000) / 10000)
//   blue difference Cb = 128 + floor((5000 B - 1146 R - 3854 G + 5000) / 10000), at most 255
//   red difference  Cr = 128 + floor((5000 R - 4542 G - 458 B + 5000) / 10000), at most 255
//
// with the BT.709 weights (0.2126, 0.7152, 0.0722) and the colour-difference
// rows they give (Cb = (B' - Y') / 1.8556, Cr = (R' - Y') / 1.5748) to four
// decimals, on the full-range 8-bit scale where a grey has Cb = Cr = 128.
//
// scopes_columns_* runs one work-item per column. It walks the column from top
// to bottom and counts into counters that belong to that column alone, so it
// needs no atomics there and zeroes them itself first:
//   waveform[x * 256 + Y']                the waveform: luma levels per column
//   columns[(x * 3 + c) * 256 + code]     component c (0 R, 1 G, 2 B) per column
// Only the vectorscope, where all columns meet, counts atomically (the host
// clears it before the run):
//   vectorscope[Cr * 256 + Cb]
// scopes_histograms then runs one work-item per histogram level and sums it
// over the columns: histograms[h * 256 + level], h = 0 luma, 1 R, 2 G, 3 B.

#define LEVELS 256

// The frame is a buffer of RGBA texels, rows one after another without
// padding, in one of four formats; each has its kernel, so that the choice
// is made once and not at every pixel:
//   scopes_columns_rgba8    8-bit unsigned normalised: the code is the byte
//   scopes_columns_rgba16   16-bit unsigned normalised: round(v / 257), i.e. (v + 128) / 257
//                           (257 is odd, so no value lies halfway)
//   scopes_columns_rgba16f  half float
//   scopes_columns_rgba32f  float
// A buffer rather than an image: PoCL reads images through a general
// sampler, which made the whole kernel three times slower.
enum { kRGBA8, kRGBA16, kRGBA16F, kRGBA32F };

// Float components: clamped as floats first (fmax gives 0 for a NaN, and an
// infinity converted even with _sat is not to be trusted on every device),
// then rounded to nearest with ties to even.
inline int4 float_codes(float4 v) { return convert_int4(rint(fmin(fmax(v * 255.0f, 0.0f), 255.0f))); }

inline int4 codes_at(global const void* frame, const int format, size_t i) {
    switch (format) {
    case kRGBA8: return convert_int4(vload4(i, (global const uchar*)frame));
    case kRGBA16: return (convert_int4(vload4(i, (global const ushort*)frame)) + 128) / 257;
    case kRGBA16F: return float_codes(vload_half4(i, (global const half*)frame));
    default: return float_codes(vload4(i, (global const float*)frame));
    }
}

// The body of the four kernels; `format` is a constant in each, so the
// compiler drops the other cases.
inline void count_columns(global const void* frame, const int format, int width, int height, global uint* waveform,
                          global uint* columns, global uint* vectorscope) {
    const int x = get_global_id(0);
    if (x >= width) return;
    global uint* wave = waveform + (size_t)x * LEVELS;
    global uint* reds = columns + (size_t)x * 3 * LEVELS;
    global uint* greens = reds + LEVELS;
    global uint* blues = greens + LEVELS;
    for (int i = 0; i < LEVELS; ++i) {
        wave[i] = 0;
        reds[i] = 0;
        greens[i] = 0;
        blues[i] = 0;
    }
    for (int y = 0; y < height; ++y) {
        const int4 code = codes_at(frame, format, (size_t)y * width + x);
        const int r = code.x, g = code.y, b = code.z;
        const int luma = (2126 * r + 7152 * g + 722 * b + 5000) / 10000;
        // Biased by 128 levels (1,280,000) so that the division floors.
        const int cb = min((5000 * b - 1146 * r - 3854 * g + 1285000) / 10000, LEVELS - 1);
        const int cr = min((5000 * r - 4542 * g - 458 * b + 1285000) / 10000, LEVELS - 1);
        ++wave[luma];
        ++reds[r];
        ++greens[g];
        ++blues[b];
        atomic_inc(&vectorscope[cr * LEVELS + cb]);
    }
}

#define SCOPES_COLUMNS(name, format)                                                                                  \
    kernel void name(global const void* frame, int width, int height, global uint* waveform, global uint* columns,   \
                     global uint* vectorscope) {                                                                      \
        count_columns(frame, format, width, height, waveform, columns, vectorscope);                                  \
    }
SCOPES_COLUMNS(scopes_columns_rgba8, kRGBA8)
SCOPES_COLUMNS(scopes_columns_rgba16, kRGBA16)
SCOPES_COLUMNS(scopes_columns_rgba16f, kRGBA16F)
SCOPES_COLUMNS(scopes_columns_rgba32f, kRGBA32F)

kernel void scopes_histograms(global const uint* waveform, global const uint* columns, int width, global uint* histograms) {
    const int id = get_global_id(0);
    if (id >= 4 * LEVELS) return;
    const int h = id / LEVELS, level = id % LEVELS;
    uint sum = 0;
    if (h == 0) {
        for (int x = 0; x < width; ++x) sum += waveform[(size_t)x * LEVELS + level];
    } else {
        global const uint* column = columns + (h - 1) * LEVELS + level;
        for (int x = 0; x < width; ++x) sum += column[(size_t)x * 3 * LEVELS];
    }
    histograms[id] = sum;
}
