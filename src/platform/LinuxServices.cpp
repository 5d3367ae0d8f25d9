#include "platform/LinuxServices.h"

#include "host/Log.h"
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
    if (tried_.load(std::memory_order_acquire)) return gpu_.get();
    std::lock_guard<std::mutex> hold(mutex_);
    if (!tried_.load(std::memory_order_relaxed)) {
        std::string error;
        gpu_ = GLService::create(error);
        if (!gpu_) Log("LinuxServices : no OpenGL 4.5 GPU service (%s)\n", error.c_str());
        tried_.store(true, std::memory_order_release);
    }
    return gpu_.get();
}

std::string LinuxServices::gpuDescription() {
    gpu();
    return gpu_ ? gpu_->description() : std::string();
}
