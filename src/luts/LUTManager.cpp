#include "luts/LUTManager.h"

#include "host/base/Strings.h"
#include "host/image/CubeLUT.h"
#include "host/misc/Directories.h"
#include "host/misc/Log.h"
#include "host/misc/Paths.h"
#include "host/misc/ResourceStrings.h"
#include "host/os/OS.h"
#include "host/own/ResourceShutdown.h"
#include "luts/FileLUT.h"

#include <algorithm>
#include <string>

namespace {

// The listing of a LUT directory: every file, full paths, in name order.
constexpr unsigned kListingFlags = eListFiles | eListFullPaths | eListSorted; // 70

// "dir/Name.cube" -> "dir/Name (n).cube"
LightweightString<wchar_t> numberedName(const LightweightString<wchar_t>& path, int n) {
    const LightweightString<wchar_t> ext = getExtension(path);
    const LightweightString<wchar_t> stem = ext.empty() ? path : path.substr(0, path.size() - ext.size() - 1);
    const LightweightString<wchar_t> suffix = L" (" + Qf::WStringFromInteger(n) + L")";
    return ext.empty() ? stem + suffix : stem + suffix + L"." + ext;
}

} // namespace

// The effect manager's shut-down ends with the LUT manager's in every case,
// whether or not the process has used LUTs: registered when the library loads.
struct LUTManagerShutdownRegistration {
    LUTManagerShutdownRegistration() {
        ResourceShutdown::add("LUTManager", ResourceShutdown::kLUTManagerOrder, [](bool) { LUTManager::shutdown(); });
    }
};
static const LUTManagerShutdownRegistration g_shutdownRegistration;

LUTManager& LUTManager::instance() {
    static LUTManager manager;
    return manager;
}

LUTManager::LUTManager() : m_supportedFileTypes(CubeLUT::getSupportedFileTypes()) { buildLUTList(); }

LUTManager::~LUTManager() = default;

bool LUTManager::isSupportedFormat(const Wide& path) const {
    const Wide ext = toLower(getExtension(path));
    return std::find(m_supportedFileTypes.begin(), m_supportedFileTypes.end(), ext) != m_supportedFileTypes.end();
}

void LUTManager::addLUTs(iSettings::eType type, std::vector<Ptr<iLUT>>& into) const {
    std::vector<Wide> files;
    getDirectoryContents(getLUTDirectory(type), L"*.*", files, kListingFlags);
    for (const Wide& file : files)
        if (isSupportedFormat(file)) into.push_back(Ptr<iLUT>(new FileLUT(file)));
}

void LUTManager::addManufacturer(const Wide& name) {
    CriticalSectionLock hold(m_catalogueLock);
    if (std::find(m_manufacturers.begin(), m_manufacturers.end(), name) == m_manufacturers.end()) m_manufacturers.push_back(name);
}

void LUTManager::buildLUTList() {
    // The catalogue is made aside and swapped in, so that a search on another
    // thread sees the old or the new one, never half of one.
    std::vector<Ptr<iLUT>> luts;
    addLUTs(iSettings::eFactory, luts);
    if (getLUTDirectory(iSettings::eFactory) != getLUTDirectory(iSettings::eUser)) addLUTs(iSettings::eUser, luts);
    CriticalSectionLock hold(m_catalogueLock);
    m_availableLUTs.swap(luts);
    addManufacturer(resourceStrW(ResourceIds::kAllManufacturers));
    for (const Ptr<iLUT>& lut : m_availableLUTs)
        if (!lut->getManufacturer().empty()) addManufacturer(lut->getManufacturer());
}

Ptr<iLUT> LUTManager::getLUTByID(const Wide& id) const {
    CriticalSectionLock hold(m_catalogueLock);
    for (const Ptr<iLUT>& lut : m_availableLUTs)
        if (lut->getID() == id) return lut;
    return nullptr;
}

std::vector<Ptr<iLUT>> LUTManager::installLUTs(const std::vector<Wide>& files) {
    const Wide userDir = getLUTDirectory(iSettings::eUser);
    if (!makeDirectories(userDir)) {
        Log("LUTManager : cannot make the user LUT directory %s\n", toUTF8(userDir).c_str());
        return {};
    }
    std::vector<Wide> installed;
    for (const Wide& file : files) {
        const LightweightString<char> name = toUTF8(file);
        if (!isSupportedFormat(file)) {
            Log("LUTManager : %s is not a supported LUT file, skipped\n", name.c_str());
            continue;
        }
        if (!CubeLUT::load(file)) { // the reader has logged why
            Log("LUTManager : %s is not a readable LUT, skipped\n", name.c_str());
            continue;
        }
        const Wide target = joinPaths(userDir, stripPath(file));
        bool copied = false;
        for (int n = 1; n <= 1000 && !copied; ++n) {
            const Wide candidate = n == 1 ? target : numberedName(target, n);
            if (!fileExists(candidate) && copyFileNoReplace(file, candidate)) {
                installed.push_back(candidate);
                copied = true;
            }
        }
        if (!copied) Log("LUTManager : cannot copy %s into %s\n", name.c_str(), toUTF8(userDir).c_str());
    }
    if (installed.empty()) return {};

    buildLUTList();
    std::vector<Ptr<iLUT>> entries;
    for (const Wide& path : installed)
        if (Ptr<iLUT> lut = getLUTByID(path)) entries.push_back(lut);
    notify(kLUTsInstalled);
    return entries;
}

Ptr<iGPUImage> LUTManager::createImage3D(const Ptr<HostImage3D>& host) {
    iGPUService* gpu = OS()->gpu();
    return host && gpu ? host->createGPUImage(*gpu) : nullptr;
}

LUTManager::CacheEntry& LUTManager::insert(const Wide& id, CacheEntry entry) {
    if (const auto it = m_lutCache.find(id); it != m_lutCache.end()) {
        // Made meanwhile on another thread: it is kept, completed with what this one made.
        if (!it->second.host) it->second.host = entry.host;
        if (!it->second.gpu) it->second.gpu = entry.gpu;
        return it->second;
    }
    if (m_cachedCount >= kMaxCachedLUTs) purge();
    ++m_cachedCount;
    return m_lutCache.emplace(id, std::move(entry)).first->second;
}

// An identifier that names no LUT, or a file that does not read, is cached
// too, as an entry without images: it gives nothing until the cache is emptied.
LUTManager::LoadedLUT LUTManager::loadWithMapping(const Wide& id) {
    {
        CriticalSectionLock hold(m_lutLock);
        if (const auto it = m_lutCache.find(id); it != m_lutCache.end()) {
            CacheEntry& entry = it->second;
            if (!entry.gpu && entry.host) entry.gpu = createImage3D(entry.host);
            return {entry.gpu, entry.host ? entry.host->getLUTMapping() : LUTMapping()};
        }
    }
    const Ptr<iLUT> lut = getLUTByID(id);
    const Ptr<HostImage3D> host = lut ? lut->load() : nullptr;
    CacheEntry made{host, createImage3D(host)};
    CriticalSectionLock hold(m_lutLock);
    const CacheEntry& entry = insert(id, std::move(made));
    return {entry.gpu, entry.host ? entry.host->getLUTMapping() : LUTMapping()};
}

Ptr<iGPUImage> LUTManager::load(const Wide& id) { return loadWithMapping(id).image; }

void LUTManager::preLoad(const Wide& id) {
    {
        CriticalSectionLock hold(m_lutLock);
        if (m_lutCache.count(id)) return;
    }
    const Ptr<iLUT> lut = getLUTByID(id);
    const Ptr<HostImage3D> host = lut ? lut->load() : nullptr;
    CriticalSectionLock hold(m_lutLock);
    insert(id, CacheEntry{host, nullptr});
}

size_t LUTManager::getCachedCount() const {
    CriticalSectionLock hold(m_lutLock);
    return m_cachedCount;
}

bool LUTManager::isCached(const Wide& id) const {
    CriticalSectionLock hold(m_lutLock);
    return m_lutCache.count(id) != 0;
}

void LUTManager::purge() {
    CriticalSectionLock hold(m_lutLock);
    m_lutCache.clear();
    m_cachedCount = 0;
}

void LUTManager::reportUsage() {
    CriticalSectionLock hold(m_lutLock);
    Log("LUTManager : %d luts cached\n", int(m_cachedCount));
}

void LUTManager::shutdown() {
    LUTManager& manager = instance();
    CriticalSectionLock hold(manager.m_catalogueLock);
    manager.m_availableLUTs.clear();
}
