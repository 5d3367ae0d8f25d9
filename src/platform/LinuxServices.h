// LinuxServices: the services object (iOS) of the Linux host.
//
// Tests and the tool install it with installOS(&LinuxServices::instance()).
// Files, sleeping, messages and the environment are the POSIX services of
// posix/. The GPU service (OpenGL 4.5 core through EGL) is created on the first call
// of gpu(); when EGL or OpenGL cannot start, gpu() logs one line saying why
// and returns null from then on; runningGPU() never starts it. The compute service is OpenCL (cl/); it makes
// no OpenCL call before a context is asked for.
//
// Lifetime: one instance per process, destroyed at exit; it uninstalls
// itself first if it is the installed services object. Threads: gpu() may be
// called from any thread; creation happens once, under `m_mutex`.
#pragma once

#include "host/os/OS.h"
#include "platform/cl/CLComputeService.h"
#include "platform/posix/PosixServices.h"
#include "platform/posix/PosixSystemInfo.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <string>

class GLService;

class LinuxServices : public iOS {
public:
    static LinuxServices& instance();

    iGPUService* gpu() override;
    iGPUService* runningGPU() override;
    iFileService* files() override { return &m_files; }
    iThreadService* threads() override { return &m_threads; }
    iUIService* ui() override { return &m_ui; }
    iEnvironmentService* environment() override { return &m_environment; }
    iSystemInfoService* systemInfo() override { return &m_systemInfo; }
    iGPUComputeService* compute() override { return &m_compute; }
    // The display and renderer of the GPU service; empty without one.
    std::string gpuDescription();

private:
    LinuxServices();
    ~LinuxServices() override;

    std::mutex m_mutex;
    std::atomic<bool> m_tried{false};
    std::unique_ptr<GLService> m_gpu; // written once under m_mutex, before m_tried is set
    PosixFileService m_files;
    PosixThreadService m_threads;
    LogUIService m_ui;
    PosixEnvironmentService m_environment;
    PosixSystemInfoService m_systemInfo;
    CLComputeService m_compute;
};
