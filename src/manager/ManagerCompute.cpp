// Manager: the compute context and the table of GPU programs.
#include "manager/Manager.h"

#include "host/base/Strings.h"
#include "host/misc/EditorPreferences.h"
#include "host/misc/Log.h"
#include "host/misc/Paths.h"
#include "host/misc/TextFile.h"
#include "host/os/OS.h"

#include <cstdint>

namespace Qf::FxResources {

namespace {
// The editor hides its hardware scopes while their kernels build.
const char* const kScopesPreference = "HardwareAdvancedScopesEnabled";
} // namespace

Ptr<iGPUComputeContext> Manager::getGPUComputeContext() {
    const Call call;
    // First test without the lock; a thread that sees no context yet takes
    // the lock, where the second test decides whether to create it.
    if (!m_computeContextReady.load(std::memory_order_acquire)) {
        CriticalSectionLock hold(m_shaderUsageLock);
        if (!m_computeContext) {
            iGPUComputeService* service = OS()->compute();
            m_computeContext = service ? service->createComputeContext(0) : Ptr<iGPUComputeContext>();
            if (m_computeContext) m_computeContextReady.store(true, std::memory_order_release);
        }
        return m_computeContext;
    }
    // Set once and released only by fini, when no call is in progress.
    return readyComputeContext();
}

Ptr<iGPUProgram> Manager::getGPUProgram(const LightweightString<wchar_t>& fileName, bool rebuild) {
    const Call call;
    CriticalSectionLock hold(m_shaderUsageLock);
    if (rebuild || m_gpuPrograms.find(fileName) == m_gpuPrograms.end()) buildCLKernels(fileName);
    return m_gpuPrograms[fileName];
}

void Manager::buildCLKernels(const LightweightString<wchar_t>& fileName) {
    prefs().setPreference(kScopesPreference, false);
    Ptr<iGPUProgram> program;
    if (const Ptr<iGPUComputeContext> context = getGPUComputeContext()) {
        // The shaders directory ends with a separator: the name is appended as it is.
        const LightweightString<wchar_t> path = getShadersDir() + fileName;
        const TextFile file(path);
        if (!file.loaded()) Log("Manager : %s\n", file.loadError().c_str()); // the service sees an empty source
        if (file.numLines() > kMaxKernelFileLines) {
            // The line index is 16 bits wide: it would wrap and never reach the end.
            Log("Manager : kernel file %s has %zu lines; kernel files must stay below 65,536 lines\n", toUTF8(path).c_str(),
                file.numLines());
        } else {
            std::vector<LightweightString<char>> lines;
            lines.reserve(file.numLines());
            for (uint16_t i = 0; i < file.numLines(); ++i) lines.push_back(file[i]);
            program = context->createProgram(lines);
        }
    }
    prefs().setPreference(kScopesPreference, true);
    m_gpuPrograms[fileName] = program;
}

} // namespace Qf::FxResources
