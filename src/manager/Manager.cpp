// Manager: start-up, shut-down, discovery and the name table.
#include "manager/Manager.h"

#include "host/BackgroundTasks.h"
#include "host/Log.h"
#include "host/OS.h"
#include "host/Paths.h"
#include "host/ResourceShutdown.h"
#include "host/Strings.h"
#include "manager/ShaderCompilationTask.h"

#include <mutex>

namespace Qf::FxResources {

namespace {
std::atomic<Manager*> g_instance{nullptr};
std::mutex g_startupMutex;
std::atomic<bool> g_startupFlag{false}; // recorded for the host; not read here
constexpr unsigned kExitPriority = 450;
} // namespace

// getShader() of an uncompiled effect comes here, through the hook that
// effects/ offers to the layer above it.
struct OnDemandCompilerInstaller {
    OnDemandCompilerInstaller() { ShaderEffectInfo::setOnDemandCompiler(&Manager::compileOnDemand); }
};
static const OnDemandCompilerInstaller g_installer;

Ptr<iShaderEffect> Manager::compileOnDemand(const ShaderEffectInfo& effect) { return instance().compile(effect); }

Manager::Manager() = default;

Manager::~Manager() { fini(); }

void Manager::startup(bool flag) {
    if (g_instance.load(std::memory_order_acquire)) return;
    std::lock_guard<std::mutex> hold(g_startupMutex);
    if (g_instance.load(std::memory_order_acquire)) return;
    Manager* manager = new Manager();
    g_instance.store(manager, std::memory_order_release);
    manager->init(flag);
    Shutdown::addCallback(&Manager::shutdown, kExitPriority);
}

Manager& Manager::instance() {
    startup(false);
    return *g_instance.load(std::memory_order_acquire);
}

bool Manager::isStarted() { return g_instance.load(std::memory_order_acquire) != nullptr; }

void Manager::shutdown(Shutdown::eExitType) {
    Manager* manager = g_instance.load(std::memory_order_acquire);
    if (manager) {
        manager->fini();
        delete manager;
        g_instance.store(nullptr, std::memory_order_release);
    }
    // The font cache is cleared (when a manager existed), then the LUT manager shuts down last.
    ResourceShutdown::runAll(manager != nullptr);
}

void Manager::getFXFiles(std::vector<Ptr<ShaderEffectInfo>>& out) {
    iFileService* files = OS()->files();
    if (!files) return;
    const LightweightString<wchar_t> dirs[] = {getShadersDir(), getFXTemplatesDirectory(iSettings::eFactory)};
    std::vector<DirectoryEntry> lists[2];
    for (int i = 0; i < 2; ++i) files->listDirectory(dirs[i] + L"*.fx", lists[i], 1, 0);
    for (int i = 0; i < 2; ++i)
        for (const DirectoryEntry& entry : lists[i]) {
            if (entry.name.startsWith(L"_")) continue; // an include file, not an effect
            out.push_back(makePtr<ShaderEffectInfo>(joinPaths(dirs[i], entry.name), entry.modified));
        }
}

void Manager::init(bool flag) {
    g_startupFlag.store(flag);
    std::vector<Ptr<ShaderEffectInfo>> found;
    getFXFiles(found);
    if (found.empty()) {
        const LightweightString<wchar_t> message =
            LightweightString<wchar_t>(L"No .fx files found in") + getShadersDir() + L"Shaders";
        iEnvironmentService* env = OS()->environment();
        const LightweightString<wchar_t> caption = env ? env->applicationCaption() : LightweightString<wchar_t>(L"QfFxResources");
        if (iUIService* ui = OS()->ui())
            ui->showMessage(caption, message, 1, 2);
        else
            Log("%s : %s\n", toUTF8(caption).c_str(), toUTF8(message).c_str());
        return;
    }
    {
        CriticalSectionLock hold(m_shaderUsageLock);
        m_effects = std::move(found);
        for (const Ptr<ShaderEffectInfo>& effect : m_effects)
            m_effectsByName.emplace(registryName(*effect), effect); // first found stays
    }
    m_task = makePtr<ShaderCompilationTask>(*this);
    UIBackgroundTasksQueue::instance().queue(Ptr<iBackgroundTask>(m_task.get()), false);
}

void Manager::fini() {
    m_active.store(false, std::memory_order_release);
    if (m_task) m_task->detachAndWait();
    waitForEffectsToCompile();
    std::vector<Ptr<ShaderEffectInfo>> released;
    {
        CriticalSectionLock hold(m_shaderUsageLock);
        released.swap(m_effects);
    }
    released.clear();
    if (iGPUService* gpu = OS()->runningGPU()) gpu->releaseGPUResources(); // none to release in a service never started
    CriticalSectionLock hold(m_shaderUsageLock);
    m_computeContextReady.store(false, std::memory_order_release);
    m_computeContext = nullptr;
}

LightweightString<char> Manager::registryName(const ShaderEffectInfo& effect) {
    return toUTF8(stripPathAndExt(effect.getFullPath()));
}

std::vector<Ptr<ShaderEffectInfo>> Manager::getEffects() const {
    CriticalSectionLock hold(m_shaderUsageLock);
    return m_effects;
}

Ptr<ShaderEffectInfo> Manager::effectAt(size_t index, size_t& count) const {
    CriticalSectionLock hold(m_shaderUsageLock);
    count = m_effects.size();
    return index < count ? m_effects[index] : Ptr<ShaderEffectInfo>();
}

void Manager::addEffect(const Ptr<ShaderEffectInfo>& effect) {
    if (!effect) return;
    CriticalSectionLock hold(m_shaderUsageLock);
    const LightweightString<char> name = registryName(*effect);
    const auto existing = m_effectsByName.find(name);
    if (existing != m_effectsByName.end()) {
        // Paths compare exactly; the effect list keeps its order.
        for (Ptr<ShaderEffectInfo>& e : m_effects)
            if (e->getFullPath() == effect->getFullPath()) {
                e = effect;
                break;
            }
        m_effectsByName.erase(existing);
    } else {
        m_effects.push_back(effect);
    }
    m_effectsByName.emplace(name, effect);
}

Ptr<ShaderEffectInfo> Manager::findEffect(const LightweightString<char>& name, bool compileIfNeeded) const {
    Ptr<ShaderEffectInfo> effect;
    {
        CriticalSectionLock hold(m_shaderUsageLock);
        const auto it = m_effectsByName.find(name);
        if (it == m_effectsByName.end()) return {};
        effect = it->second;
    }
    if (compileIfNeeded && !effect->getCompiledShader() && !effect->getFullPath().empty()) compile(*effect);
    return effect;
}

Ptr<iShaderEffect> Manager::findShader(const LightweightString<char>& name) const {
    const Ptr<ShaderEffectInfo> effect = findEffect(name, false);
    if (!effect) return {};
    if (Ptr<iShaderEffect> shader = effect->getCompiledShader()) return shader;
    return effect->getFullPath().empty() ? Ptr<iShaderEffect>() : compile(*effect);
}

} // namespace Qf::FxResources
