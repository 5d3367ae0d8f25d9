#include "platform/LinuxServices.h"

#include "host/misc/Log.h"
#include "platform/gl/GLService.h"

LinuxServices& LinuxServices::instance() {
    static LinuxServices services;
    return services;
}

LinuxServices::LinuxServices() = default;

LinuxServices::~LinuxServices() {
    if (OS() == this) installOS(nullptr);
}

iGPUService* LinuxServices::gpu() {
    if (m_tried.load(std::memory_order_acquire)) return m_gpu.get();
    std::lock_guard<std::mutex> hold(m_mutex);
    if (!m_tried.load(std::memory_order_relaxed)) {
        std::string error;
        m_gpu = GLService::create(error);
        if (!m_gpu) Log("LinuxServices : no OpenGL 4.5 GPU service (%s)\n", error.c_str());
        m_tried.store(true, std::memory_order_release);
    }
    return m_gpu.get();
}

iGPUService* LinuxServices::runningGPU() { return m_tried.load(std::memory_order_acquire) ? m_gpu.get() : nullptr; }

std::string LinuxServices::gpuDescription() {
    gpu();
    return m_gpu ? m_gpu->description() : std::string();
}
