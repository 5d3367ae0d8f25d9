// Manager: start-up, shut-down, discovery and the name table.
#include "manager/Manager.h"

#include "host/base/Strings.h"
#include "host/misc/BackgroundTasks.h"
#include "host/misc/Log.h"
#include "host/misc/Paths.h"
#include "host/os/OS.h"
#include "host/own/ResourceShutdown.h"
#include "manager/ShaderCompilationTask.h"

#include <memory>
#include <mutex>

namespace Qf::FxResources {

namespace {
std::atomic<Manager*> g_instance{nullptr};
std::mutex g_startupMutex;
std::mutex g_shutdownMutex;             // one shut-down at a time
std::atomic<bool> g_startupFlag{false}; // recorded for the host; not read here
constexpr unsigned kExitPriority = 450;

// Calls in progress inside managers, counted in two halves. A call counts
// itself in the half of the current epoch before it looks the manager up; a
// shut-down unpublishes its manager, moves the epoch on and waits for the
// previous half to empty. A call counted in that half either is waited for
// or looked the manager up after it was unpublished (and so never reached
// it); calls that begin meanwhile count in the other half, so a steady stream
// of them cannot hold a shut-down up.
std::atomic<unsigned> g_callEpoch{0};
std::atomic<int> g_calls[2];

void waitForCallsOf(unsigned half) {
    for (int n; (n = g_calls[half].load()) != 0;) g_calls[half].wait(n);
}

} // namespace

Manager::Call::Call() : m_half(g_callEpoch.load() & 1u) { g_calls[m_half].fetch_add(1); }

Manager::Call::~Call() {
    if (g_calls[m_half].fetch_sub(1) == 1) g_calls[m_half].notify_all();
}

// getShader() of an uncompiled effect comes here, through the hook that
// effects/ offers to the layer above it. The call is counted before the
// manager is looked up, so this is safe at any time, a shut-down included.
struct OnDemandCompilerInstaller {
    OnDemandCompilerInstaller() { ShaderEffectInfo::setOnDemandCompiler(&Manager::compileOnDemand); }
};
static const OnDemandCompilerInstaller g_installer;

Ptr<iShaderEffect> Manager::compileOnDemand(const ShaderEffectInfo& effect) {
    const Call call;
    return instance().compile(effect);
}

Manager::Manager() = default;

Manager::~Manager() {
    fini();
    delete m_registry.load(std::memory_order_acquire);
}

// The chain of replaced registries is freed one by one, not by recursion.
Manager::Registry::~Registry() {
    const Registry* older = replaced;
    while (older) {
        const Registry* next = older->replaced;
        const_cast<Registry*>(older)->replaced = nullptr;
        delete older;
        older = next;
    }
}

void Manager::startup(bool flag) {
    if (g_instance.load(std::memory_order_acquire)) return;
    std::lock_guard<std::mutex> hold(g_startupMutex);
    if (g_instance.load(std::memory_order_acquire)) return;
    Manager* manager = new Manager();
    // Published once its effects are filed: another thread's instance()
    // waits on the mutex meanwhile rather than find an empty table.
    manager->init(flag);
    g_instance.store(manager, std::memory_order_release);
    Shutdown::addCallback(&Manager::shutdown, kExitPriority);
}

Manager& Manager::instance() {
    for (;;) {
        startup(false);
        // A shut-down on another thread may unpublish it in between: start again.
        if (Manager* manager = g_instance.load(std::memory_order_acquire)) return *manager;
    }
}

bool Manager::isStarted() { return g_instance.load(std::memory_order_acquire) != nullptr; }

void Manager::shutdown(Shutdown::eExitType) {
    std::lock_guard<std::mutex> serial(g_shutdownMutex);
    Manager* manager;
    {
        // Unpublished first: calls that begin from now on start a new manager.
        std::lock_guard<std::mutex> hold(g_startupMutex);
        manager = g_instance.exchange(nullptr, std::memory_order_acq_rel);
    }
    if (manager) {
        const unsigned previous = g_callEpoch.fetch_add(1) & 1u;
        // The background run stops after the effect in hand, which lets a
        // recompileAll in progress go on; then every call already inside ends.
        manager->m_active.store(false, std::memory_order_release);
        waitForCallsOf(previous);
        manager->fini();
        delete manager;
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
        publish([&](Registry& r) {
            r.effects = found;
            for (const Ptr<ShaderEffectInfo>& effect : r.effects)
                r.effectsByName.emplace(registryName(*effect), effect); // first found stays
            return true;
        });
    }
    m_task = makePtr<ShaderCompilationTask>(*this);
    UIBackgroundTasksQueue::instance().queue(Ptr<iBackgroundTask>(m_task.get()), false);
}

void Manager::fini() {
    m_active.store(false, std::memory_order_release);
    if (m_task) m_task->detachAndWait();
    waitForEffectsToCompile();
    {
        // Readers still holding the previous registry keep its effects alive.
        CriticalSectionLock hold(m_shaderUsageLock);
        publish([](Registry& r) {
            r.effects.clear();
            return true;
        });
    }
    if (iGPUService* gpu = OS()->runningGPU()) gpu->releaseGPUResources(); // none to release in a service never started
    CriticalSectionLock hold(m_shaderUsageLock);
    m_computeContextReady.store(false, std::memory_order_release);
    m_computeContext = nullptr;
}

void Manager::publish(const std::function<bool(Registry&)>& change) {
    RegistryPtr current = registry();
    for (;;) {
        auto next = std::make_unique<Registry>(*current);
        if (!change(*next)) return;
        next->replaced = current;
        if (m_registry.compare_exchange_weak(current, next.get(), std::memory_order_acq_rel, std::memory_order_acquire)) {
            next.release(); // published; it owns `current` from now on
            return;
        }
        next->replaced = nullptr; // `current` now belongs to the table that replaced it
    }
}

LightweightString<char> Manager::registryName(const ShaderEffectInfo& effect) {
    return toUTF8(stripPathAndExt(effect.getFullPath()));
}

std::vector<Ptr<ShaderEffectInfo>> Manager::getEffects() const {
    const Call call;
    return registry()->effects;
}

void Manager::addEffect(const Ptr<ShaderEffectInfo>& effect) {
    if (!effect) return;
    const Call call;
    const LightweightString<wchar_t> path = effect->getFileIdentity().path;
    const LightweightString<char> name = toUTF8(stripPathAndExt(path));
    CriticalSectionLock hold(m_shaderUsageLock);
    publish([&](Registry& r) {
        const auto existing = r.effectsByName.find(name);
        if (existing != r.effectsByName.end()) {
            // Paths compare exactly (read under each effect's lock: one may
            // be replaced in place meanwhile); the effect list keeps its order.
            for (Ptr<ShaderEffectInfo>& e : r.effects)
                if (e->getFileIdentity().path == path) {
                    e = effect;
                    break;
                }
            r.effectsByName.erase(existing);
        } else {
            r.effects.push_back(effect);
        }
        r.effectsByName.emplace(name, effect);
        return true;
    });
}

Ptr<ShaderEffectInfo> Manager::findEffect(const LightweightString<char>& name, bool compileIfNeeded) const {
    const Call call;
    Ptr<ShaderEffectInfo> effect;
    {
        const RegistryPtr r = registry();
        const auto it = r->effectsByName.find(name);
        if (it == r->effectsByName.end()) return {};
        effect = it->second;
    }
    if (compileIfNeeded && !effect->getCompiledShader() && effect->hasFilePath()) compile(*effect);
    return effect;
}

Ptr<iShaderEffect> Manager::findShader(const LightweightString<char>& name) const {
    const Call call;
    const Ptr<ShaderEffectInfo> effect = findEffect(name, false);
    if (!effect) return {};
    if (Ptr<iShaderEffect> shader = effect->getCompiledShader()) return shader;
    return effect->hasFilePath() ? compile(*effect) : Ptr<iShaderEffect>();
}

} // namespace Qf::FxResources
