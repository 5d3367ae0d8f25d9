// Fixtures of the effect-manager tests: temporary shaders, templates and
// preferences directories, a captured log, and a clean manager per test (shut down through
// the exit callbacks at the end). The Linux host's file, thread, message and
// environment services are real; the GPU is either the recording service or
// the real OpenGL one (ManagerGLTest, skipped when EGL cannot start).
#pragma once

#include "host/misc/BackgroundTasks.h"
#include "host/os/OS.h"
#include "host/own/ResourceShutdown.h"
#include "manager/Manager.h"
#include "support/RecordingGPUService.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace QfManagerTest {

// A minimal valid effect; `param` adds a float parameter of that name.
std::string effectText(const std::string& param = "");
// An effect whose GLSL does not compile (an undeclared identifier).
std::string brokenEffectText();

// The iOS of the tests: the Linux host's services with a chosen GPU service.
class TestOS final : public iOS {
public:
    explicit TestOS(iGPUService* gpu);
    ~TestOS() override;
    iGPUService* gpu() override { return m_gpu; }
    iFileService* files() override { return m_host->files(); }
    iThreadService* threads() override { return m_host->threads(); }
    iUIService* ui() override { return m_host->ui(); }
    iEnvironmentService* environment() override { return m_host->environment(); }
    // None until a test chooses one (a double, or the Linux host's OpenCL service).
    iGPUComputeService* compute() override { return m_compute; }
    void setCompute(iGPUComputeService* compute) { m_compute = compute; }

private:
    iGPUService* m_gpu;
    iGPUComputeService* m_compute = nullptr;
    iOS* m_host;
    iOS* m_previous;
};

class ManagerFixture : public ::testing::Test {
public:
    // Sets a file's modification time to `seconds` after 2020-01-01 (stamps differ by whole seconds).
    static void setStamp(const std::string& path, int seconds);
    static void shutdownNow(); // the process's exit callbacks, then back to normal

protected:
    void SetUp() override;
    void TearDown() override;

    // Writes a file in the shaders (or templates) directory; returns its path.
    std::string writeShader(const std::string& name, const std::string& text);
    std::string writeTemplate(const std::string& name, const std::string& text);
    Qf::FxResources::Manager& start();
    static void waitForBackground();
    // The log lines so far, without the on-demand timing lines.
    std::vector<std::string> logLines(bool withTimings = false) const;
    void clearLog();

    std::filesystem::path m_root, m_shaders, m_templates;

private:
    mutable std::mutex m_logMutex;
    std::string m_log;
    std::optional<std::string> m_previousConfig; // XDG_CONFIG_HOME before the test
};

class ManagerTest : public ManagerFixture {
protected:
    void SetUp() override;
    void TearDown() override;
    std::unique_ptr<QfTest::RecordingGPUService> m_gpu;
    std::unique_ptr<TestOS> m_os;
};

class ManagerGLTest : public ManagerFixture {
protected:
    void SetUp() override;
    void TearDown() override;
    std::unique_ptr<TestOS> m_os;
};

} // namespace QfManagerTest
