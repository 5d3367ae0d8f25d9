// GPUFontCache: the process's GPU fonts, made once per FontDefinition and
// kept in a cache of at most ten (more only while more are in use).
//
// getFont hands out a counted handle; while it lives, its font counts as in
// use and is not evicted. The font is made by the GPU service's createFont
// with the definition's face name, its size truncated toward zero and its
// style byte masked to the bold and italic bits.
//
// Lifetime: the one instance is made on the first instance() call and lives
// until exit; the effect manager's shut-down clears it (ResourceShutdown,
// kFontCacheOrder), after which live handles still hold their fonts.
// Threads: getFont and handles may be used from any thread; the cache's
// lock guards the table, and fonts are made outside it.
#pragma once

#include "fonts/FontDefinition.h"
#include "host/os/Font.h"
#include "host/own/Cache.h"

class GPUFontCache {
public:
    using FontCache = Cache<FontDefinition, Ptr<iFont>, SizeLimit<10>>;
    using Result = FontCache::Result;

    static GPUFontCache& instance();

    // A handle to the font (getValue()), made on first request. A font that
    // could not be made (no GPU service, a size no int holds, createFont
    // failed) is cached too: the handle's value is then null, and later
    // requests get that entry without trying again until it is evicted or cleared.
    Ptr<Result> getFont(const FontDefinition& definition) const;
    // Drops every entry (shut-down).
    void clear();

    size_t size() const { return m_cache.size(); }
    // Live handles to the entry of `definition`; -1 when it is not cached.
    int32_t useCount(const FontDefinition& definition) const { return m_cache.useCount(definition); }
    bool contains(const FontDefinition& definition) const { return m_cache.contains(definition); }

private:
    GPUFontCache() = default;
    FontCache m_cache;
};
