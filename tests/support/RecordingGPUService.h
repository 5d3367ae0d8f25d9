// RecordingGPUService: a GPU service for tests that must observe exact calls.
//
// It compiles nothing. Each compile is recorded (text or file path, and the
// definitions) and answered from a queue of scripted results; with the queue
// empty a compile succeeds with an effect that has no parameters. The
// compiled effects and their parameters write every call they receive into
// one shared journal, as text lines such as
//   "setSamplerState Input Point Wrap"   "setTechnique T2"   "setTechnique #1"
//   "set Amount float 0.5"   "setRenderContext 0.5 25 10 250"
//   "draw 64x32 Input,Mask flags 0"
// and draws are also kept whole (target, bindings with corners, flags).
// Images keep their texels: what is uploaded reads back unchanged.
//
// ScopedRecordingGPU installs one through installOS() for a scope and puts the
// previous services object back when it ends.
//
// Threads: every call may come from any thread; one mutex guards the journal.
// Doubles hold the journal by shared_ptr, so effects may outlive the service.
#pragma once

#include "host/OS.h"

#include <atomic>
#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace QfTest {

// One parameter of a scripted compiled effect.
struct ParamSpec {
    std::string name;
    iShaderParam::eType type = iShaderParam::eFloat;
    std::map<std::string, int> intAnnotations;
    std::map<std::string, std::string> stringAnnotations;
};

// One compile that the service received. `path` is set for compileEffectFile,
// `text` for compileEffectText.
struct CompileRecord {
    LightweightString<wchar_t> path;
    LightweightString<char> text;
    ShaderDefinitions definitions;
};

struct DrawRecord {
    Ptr<iGPUImage> target;
    std::vector<ShaderInputBinding> inputs;
    int flags = 0;
};

// What the doubles share: the call journal and the recorded draws.
struct Journal {
    mutable std::mutex mutex;
    std::vector<std::string> calls;
    std::vector<DrawRecord> draws;

    void add(std::string call);
};

class RecordingGPUService final : public iGPUService {
public:
    explicit RecordingGPUService(int shadingLanguage = 0) : language_(shadingLanguage) {}

    void setShadingLanguage(int language) { language_ = language; }
    // Scripts the result of the next compile not yet scripted.
    void succeedNextCompile(std::vector<ParamSpec> params = {});
    void failNextCompile(std::vector<ShaderError> errors);
    // Each compile takes at least this long, so that overlapping callers overlap.
    void setCompileDelay(std::chrono::milliseconds delay) { compileDelay_ = delay; }

    std::vector<CompileRecord> compiles() const;
    std::vector<std::string> calls() const;
    std::vector<DrawRecord> draws() const;
    void clearCalls();

    int getShadingLanguage() const override { return language_; }
    ShaderCompilationOutput compileEffectFile(const LightweightString<wchar_t>& path, const ShaderDefinitions& definitions) override;
    ShaderCompilationOutput compileEffectText(const LightweightString<char>& text, const ShaderDefinitions& definitions) override;
    Ptr<iGPUImage> createImage(XY<int> size, iGPUImage::eFormat format) override;
    Ptr<iGPUImage> create3DImage(int width, int height, int depth, iGPUImage::eFormat format) override;
    void releaseGPUResources() override;
    void finish() override;

private:
    struct Result {
        bool success = true;
        std::vector<ParamSpec> params;
        std::vector<ShaderError> errors;
    };
    ShaderCompilationOutput answer(CompileRecord record);

    std::atomic<int> language_;
    std::atomic<std::chrono::milliseconds> compileDelay_{std::chrono::milliseconds(0)};
    std::shared_ptr<Journal> journal_ = std::make_shared<Journal>();
    std::vector<Result> scripted_;     // guarded by journal_->mutex
    std::vector<CompileRecord> compiles_; // guarded by journal_->mutex
};

// Installs a recording service as OS() for the lifetime of the object.
class ScopedRecordingGPU {
public:
    explicit ScopedRecordingGPU(int shadingLanguage = 0);
    ~ScopedRecordingGPU();
    ScopedRecordingGPU(const ScopedRecordingGPU&) = delete;
    ScopedRecordingGPU& operator=(const ScopedRecordingGPU&) = delete;

    RecordingGPUService& service() { return service_; }
    RecordingGPUService* operator->() { return &service_; }

private:
    class OSServices final : public iOS {
    public:
        explicit OSServices(iGPUService* gpu) : gpu_(gpu) {}
        iGPUService* gpu() override { return gpu_; }

    private:
        iGPUService* gpu_;
    };

    RecordingGPUService service_;
    OSServices os_;
    iOS* previous_;
};

} // namespace QfTest
