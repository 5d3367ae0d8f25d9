#include "fonts/GPUFontCache.h"

#include "host/os/OS.h"
#include "host/own/ResourceShutdown.h"

GPUFontCache& GPUFontCache::instance() {
    static GPUFontCache cache;
    // The effect manager's shut-down clears the cache when a manager existed;
    // registered once, when the process first uses fonts.
    static const bool registered = (ResourceShutdown::add("GPUFontCache", ResourceShutdown::kFontCacheOrder,
                                                          [](bool managerExisted) {
                                                              if (managerExisted) GPUFontCache::instance().clear();
                                                          }),
                                    true);
    (void)registered;
    return cache;
}

Ptr<GPUFontCache::Result> GPUFontCache::getFont(const FontDefinition& definition) const {
    return m_cache.get(definition, [&]() -> Ptr<iFont> {
        iGPUService* gpu = OS()->gpu();
        if (!gpu) return nullptr;
        // Sizes are whole pixels (11.9 makes 11); only bold and italic change
        // the face. A size no int holds (or NaN) makes no font.
        const double pixels = definition.getSize();
        if (!(pixels > -2147483648.0 && pixels < 2147483648.0)) return nullptr;
        const int size = int(pixels);
        const int style = definition.getStyle() & (FontDefinition::eBold | FontDefinition::eItalic);
        return gpu->createFont(definition.getFaceName(), size, style);
    });
}

void GPUFontCache::clear() { m_cache.clear(); }
