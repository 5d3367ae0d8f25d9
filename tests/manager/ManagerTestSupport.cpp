#include "ManagerTestSupport.h"

#include "host/base/Shutdown.h"
#include "host/base/Strings.h"
#include "host/misc/BackgroundTasks.h"
#include "host/misc/EditorPreferences.h"
#include "host/misc/Log.h"
#include "host/misc/Paths.h"
#include "host/misc/StartEnv.h"
#include "platform/LinuxServices.h"

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <unistd.h>

namespace fs = std::filesystem;

namespace QfManagerTest {

std::string effectText(const std::string& param) {
    std::string text = "DeclareQuillframeEffect( \"E\", \"Cat\", \"Sub\", kNoNotes, kNoFlags )\nDeclareInput( Input, Point )\n";
    if (!param.empty()) text += "DeclareFloatParam( " + param + ", \"" + param + "\", kNoGroup, kNoFlags, 0.5, 0, 1 )\n";
    text += "DeclareEntryPoint( Main )\n{\n   float4 c = tex2D( Input, uv1 );\n";
    text += param.empty() ? "   return c;\n}\n" : "   return float4( c.rgb * " + param + ", c.a );\n}\n";
    return text;
}

std::string brokenEffectText() {
    return "DeclareQuillframeEffect( \"B\", \"Cat\", \"Sub\", kNoNotes, kNoFlags )\nDeclareInput( Input )\n"
           "DeclareEntryPoint( Main )\n{\n   return tex2D( Input, uv1 ) * nothingHere;\n}\n";
}

TestOS::TestOS(iGPUService* gpu) : m_gpu(gpu), m_host(&LinuxServices::instance()), m_previous(installOS(this)) {}
TestOS::~TestOS() { installOS(m_previous); }

void ManagerFixture::SetUp() {
    m_root = fs::temp_directory_path() /
             ("qffx-manager-" + std::to_string(getpid()) + "-" + ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::remove_all(m_root);
    m_shaders = m_root / "shaders";
    m_templates = m_root / "templates";
    fs::create_directories(m_shaders);
    fs::create_directories(m_templates);
    // The GLSL compile needs the shaders directory's helper files.
    for (const char* helper : {"_utils.glsl", "_utils.fx"})
        fs::copy_file(fs::path(QFFX_SHADERS_SOURCE_DIR) / helper, m_shaders / helper);
    // Preferences (the compute table writes one) go to the test's own directory.
    if (const char* config = std::getenv("XDG_CONFIG_HOME")) m_previousConfig = config;
    setenv("XDG_CONFIG_HOME", (m_root / "config").c_str(), 1);
    prefs().reload();
    setShadersDir(fromUTF8(m_shaders.string().c_str()));
    setFXTemplatesDir(fromUTF8(m_templates.string().c_str()));
    StartEnv::programEnv().setArgs({});
    Shutdown::reset();
    UIBackgroundTasksQueue::instance().setPaused(false);
    setLogSink([this](std::string_view text) {
        std::lock_guard<std::mutex> hold(m_logMutex);
        m_log += text;
    });
}

void ManagerFixture::TearDown() {
    shutdownNow();
    m_previousConfig ? setenv("XDG_CONFIG_HOME", m_previousConfig->c_str(), 1) : unsetenv("XDG_CONFIG_HOME");
    prefs().reload();
    UIBackgroundTasksQueue::instance().setPaused(false);
    setLogSink({});
    StartEnv::programEnv().setArgs({});
    setShadersDir({});
    setFXTemplatesDir({});
    std::error_code ec;
    fs::remove_all(m_root, ec);
}

static std::string writeFile(const fs::path& path, const std::string& text) {
    std::ofstream(path) << text;
    return path.string();
}
std::string ManagerFixture::writeShader(const std::string& name, const std::string& text) {
    return writeFile(m_shaders / name, text);
}
std::string ManagerFixture::writeTemplate(const std::string& name, const std::string& text) {
    return writeFile(m_templates / name, text);
}

void ManagerFixture::setStamp(const std::string& path, int seconds) {
    const auto base = fs::file_time_type::clock::now() - std::chrono::hours(24 * 365);
    fs::last_write_time(path, base + std::chrono::seconds(seconds));
}

Qf::FxResources::Manager& ManagerFixture::start() { return Qf::FxResources::Manager::instance(); }

void ManagerFixture::waitForBackground() { UIBackgroundTasksQueue::instance().waitUntilIdle(); }

void ManagerFixture::shutdownNow() {
    UIBackgroundTasksQueue::instance().setPaused(false);
    Shutdown::runCallbacks(Shutdown::eNormalExit);
    Shutdown::reset();
    waitForBackground();
}

std::vector<std::string> ManagerFixture::logLines(bool withTimings) const {
    std::lock_guard<std::mutex> hold(m_logMutex);
    std::vector<std::string> lines;
    size_t start = 0;
    for (size_t nl; (nl = m_log.find('\n', start)) != std::string::npos; start = nl + 1) {
        std::string line = m_log.substr(start, nl - start + 1);
        if (withTimings || !line.starts_with("Manager::compile() : ")) lines.push_back(std::move(line));
    }
    return lines;
}

void ManagerFixture::clearLog() {
    std::lock_guard<std::mutex> hold(m_logMutex);
    m_log.clear();
}

void ManagerTest::SetUp() {
    m_gpu = std::make_unique<QfTest::RecordingGPUService>();
    m_os = std::make_unique<TestOS>(m_gpu.get());
    ManagerFixture::SetUp();
}

void ManagerTest::TearDown() {
    ManagerFixture::TearDown();
    m_os.reset();
    m_gpu.reset();
}

void ManagerGLTest::SetUp() {
    iGPUService* gl = LinuxServices::instance().gpu();
    if (!gl) GTEST_SKIP() << "EGL cannot start an OpenGL 4.5 core context here";
    m_os = std::make_unique<TestOS>(gl);
    ManagerFixture::SetUp();
}

void ManagerGLTest::TearDown() {
    if (!m_os) return;
    ManagerFixture::TearDown();
    m_os.reset();
}

} // namespace QfManagerTest

// llvmpipe's own threads synchronise in ways ThreadSanitizer cannot see; see
// tests/platform/SanitizerSuppressions.cpp. Our code stays fully checked.
extern "C" const char* __tsan_default_suppressions() { return "race:swrast_dri.so\n"; }
