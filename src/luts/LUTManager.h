// LUTManager: the catalogue of LUT files, their cache, and the choice of
// ACES transforms.
//
// The catalogue lists the supported files of the factory LUT directory and,
// when it is another directory, of the user LUT directory, in listing order
// (byte order of the names), each as a FileLUT whose identifier is its path.
// The manufacturer list starts with resource string 10005 and then names each
// distinct manufacturer in order of first appearance.
//
// `load` gives a LUT's GPU 3D image through a cache of at most ten LUTs. The
// cache keeps no use order: the eleventh distinct LUT empties it and starts it
// again. `preLoad` reads a LUT's data ahead of use; its GPU image is made by
// the next `load`. A LUT that is unknown or cannot be read is not cached.
//
// The ACES operations only build paths under the LUT root; they neither test
// that the files exist nor load them.
//
// Ownership and threads: one instance per process through instance(), made
// on first use and kept until exit (tests may make their own). The effect
// manager's shut-down ends with shutdown() in every case (a ResourceShutdown
// registration made when the library loads), which makes the instance if
// nothing had. `m_lutLock`
// guards the cache; it is released while files are read and GPU images made,
// so two threads may load the same LUT at once (the first to finish is kept).
// `m_catalogueLock` guards the catalogue while it is rebuilt or searched;
// getAvailableLUTs and getManufacturers hand out references, which the caller
// must not hold across a refresh, installLUTs or shutdown on another thread.
#pragma once

#include "host/base/CriticalSection.h"
#include "host/image/Colorimetry.h"
#include "host/image/HostImage.h"
#include "host/misc/LUTPaths.h"
#include "host/misc/Notifier.h"
#include "host/os/GPUImage.h"
#include "host/os/iReclaimable.h"
#include "luts/iLUT.h"

#include <map>
#include <utility>
#include <vector>

class LUTManager : public iReclaimable, public Notifier {
public:
    using Wide = LightweightString<wchar_t>;
    static constexpr size_t kMaxCachedLUTs = 10;
    // What listeners hear after installLUTs added files.
    static constexpr const char* kLUTsInstalled = "LUTsInstalled";

    static LUTManager& instance();
    // Lists the LUT directories. The process uses instance().
    LUTManager();
    ~LUTManager() override;
    LUTManager(const LUTManager&) = delete;
    LUTManager& operator=(const LUTManager&) = delete;

    // --- catalogue ---
    void addManufacturer(const Wide& name);
    const std::vector<Ptr<iLUT>>& getAvailableLUTs() const { return m_availableLUTs; }
    const std::vector<Wide>& getManufacturers() const { return m_manufacturers; }
    const std::vector<Wide>& getSupportedFileTypes() const { return m_supportedFileTypes; }
    // The first LUT whose identifier equals `id` exactly; null if none.
    Ptr<iLUT> getLUTByID(const Wide& id) const;
    // Lists the directories again (after they changed, or were set anew).
    void refresh() { buildLUTList(); }
    // Copies LUT files into the user LUT directory and returns their new
    // catalogue entries. Files of an unsupported type or that do not read as
    // LUTs are skipped with a log line; an existing file is never replaced:
    // the copy takes the next free name "Name (2).cube", "Name (3).cube", ...
    // Listeners hear kLUTsInstalled when anything was installed.
    std::vector<Ptr<iLUT>> installLUTs(const std::vector<Wide>& files);

    // --- cache ---
    // The GPU 3D image of a LUT; null when it is unknown, unreadable, or
    // there is no GPU service.
    Ptr<iGPUImage> load(const Wide& id);
    // The same, with the LUT's mapping (domain and range tags), which
    // Qf::Image::GPU::applyLUT needs beside the image.
    struct LoadedLUT {
        Ptr<iGPUImage> image;
        LUTMapping mapping;
    };
    LoadedLUT loadWithMapping(const Wide& id);
    void preLoad(const Wide& id);
    size_t getCachedCount() const;
    bool isCached(const Wide& id) const;

    // --- iReclaimable ---
    void purge() override;
    void limitUsage() override { purge(); }
    // Logs "LUTManager : %d luts cached\n".
    void reportUsage() override;

    // Releases the catalogue of instance() (making it when there is none).
    static void shutdown();

    // --- ACES transforms (paths under getLUTRoot()) ---
    // The LUT from `colorimetry` into the ACES working space.
    static Wide getACESInputLUT(Qf::Image::Colorimetry colorimetry);
    // The LUT from the ACES working space into `colorimetry`.
    static Wide getACESOutputLUT(Qf::Image::Colorimetry colorimetry);
    // The direct LUT from `from` to `to`; the bare LUT root when none exists.
    static Wide getInputLUT(Qf::Image::Colorimetry from, Qf::Image::Colorimetry to);
    // True when the conversion goes through ACES, false when a direct LUT exists.
    static bool preferACES(Qf::Image::Colorimetry from, Qf::Image::Colorimetry to);

private:
    struct CacheEntry {
        Ptr<HostImage3D> host;
        Ptr<iGPUImage> gpu;
    };

    void buildLUTList();
    void addLUTs(iSettings::eType type, std::vector<Ptr<iLUT>>& into) const;
    bool isSupportedFormat(const Wide& path) const;
    // Inserts under m_lutLock (held by the caller), emptying a full cache
    // first; an entry that another thread inserted meanwhile is kept (and
    // given the images it lacks).
    CacheEntry& insert(const Wide& id, CacheEntry entry) QF_REQUIRES(m_lutLock);
    static Ptr<iGPUImage> createImage3D(const Ptr<HostImage3D>& host);

    mutable CriticalSection m_lutLock;
    mutable CriticalSection m_catalogueLock;
    std::vector<Ptr<iLUT>> m_availableLUTs;
    std::vector<Wide> m_supportedFileTypes;
    std::map<Wide, CacheEntry> m_lutCache QF_GUARDED_BY(m_lutLock);
    size_t m_cachedCount QF_GUARDED_BY(m_lutLock) = 0;
    std::vector<Wide> m_manufacturers;
};
