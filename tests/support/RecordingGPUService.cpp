#include "support/RecordingGPUService.h"

#include "host/Strings.h"

#include <algorithm>
#include <cstring>
#include <thread>

namespace QfTest {

namespace {

std::string number(double v) { return StringFromFloat(v).str(); }

std::string numbers(const float* values, int count) {
    std::string s;
    for (int i = 0; i < count; ++i) s += (i ? "," : "") + number(values[i]);
    return s;
}

const char* scalingWord(iShaderEffectBase::eScalingMethod s) { return s == iShaderEffectBase::Point ? "Point" : "Linear"; }

const char* edgeWord(iShaderEffectBase::eEdgeReadMode e) {
    switch (e) {
        case iShaderEffectBase::Border: return "Border";
        case iShaderEffectBase::ClampToEdge: return "ClampToEdge";
        case iShaderEffectBase::Mirror: return "Mirror";
        case iShaderEffectBase::Wrap: return "Wrap";
    }
    return "?";
}

class RecordingImage final : public iGPUImage {
public:
    RecordingImage(XY<int> size, int depth, bool is3D, eFormat format)
        : size_(std::max(size.x, 0), std::max(size.y, 0)), depth_(std::max(depth, 0)), is3D_(is3D), format_(format),
          texels_(size_t(size_.x) * size_.y * depth_ * bitsPerTexel(format) / 8) {}

    XY<int> getSize() const override { return size_; }
    int getDepth() const override { return depth_; }
    bool is3D() const override { return is3D_; }
    eFormat getFormat() const override { return format_; }
    unsigned getBitsPerTexel() const override { return bitsPerTexel(format_); }

    // Rows of width x texelBytes(), slices one after another.
    bool upload(const void* texels, size_t rowStride) override {
        copyRows(static_cast<const char*>(texels), rowStride, texels_.data(), 0);
        return true;
    }
    bool readBack(void* texels, size_t rowStride) const override {
        copyRows(texels_.data(), 0, static_cast<char*>(texels), rowStride);
        return true;
    }

private:
    void copyRows(const char* from, size_t fromStride, char* to, size_t toStride) const {
        const size_t row = size_t(size_.x) * texelBytes();
        for (size_t r = 0, rows = size_t(size_.y) * depth_; r < rows; ++r)
            std::memcpy(to + r * (toStride ? toStride : row), from + r * (fromStride ? fromStride : row), row);
    }

    XY<int> size_;
    int depth_;
    bool is3D_;
    eFormat format_;
    std::vector<char> texels_;
};

class RecordingParam final : public iShaderParam {
public:
    RecordingParam(ParamSpec spec, std::shared_ptr<Journal> journal) : spec_(std::move(spec)), journal_(std::move(journal)) {}

    LightweightString<char> getName() const override { return spec_.name; }
    eType getType() const override { return spec_.type; }
    bool getAnnotation(const LightweightString<char>& name, int& value) const override {
        const auto it = spec_.intAnnotations.find(name.str());
        if (it == spec_.intAnnotations.end()) return false;
        value = it->second;
        return true;
    }
    bool getAnnotation(const LightweightString<char>& name, LightweightString<char>& value) const override {
        const auto it = spec_.stringAnnotations.find(name.str());
        if (it == spec_.stringAnnotations.end()) return false;
        value = it->second;
        return true;
    }

    // Every write is journalled; it succeeds when the type fits.
    bool setFloat(float v) override { return write(eFloat, "float", number(v)); }
    bool setBool(bool v) override { return write(eBool, "bool", v ? "true" : "false"); }
    bool setInt(int v) override { return write(eInt, "int", std::to_string(v)); }
    bool setFloat3(const float* v) override { return write(eFloat3, "float3", numbers(v, 3)); }
    bool setFloat4(const float* v) override { return write(eFloat4, "float4", numbers(v, 4)); }
    bool setMatrix3x3(const float* v) override { return write(eFloat3x3, "float3x3", numbers(v, 9)); }

private:
    bool write(eType type, const char* typeWord, const std::string& value) {
        journal_->add("set " + spec_.name + " " + typeWord + " " + value);
        return type == spec_.type;
    }

    ParamSpec spec_;
    std::shared_ptr<Journal> journal_;
};

class RecordingEffect final : public iShaderEffect {
public:
    RecordingEffect(const std::vector<ParamSpec>& specs, const std::shared_ptr<Journal>& journal) : journal_(journal) {
        for (const ParamSpec& spec : specs) params_.emplace_back(new RecordingParam(spec, journal));
    }

    Ptr<iShaderParam> getParam(uint16_t index) const override {
        return index < params_.size() ? params_[index] : Ptr<iShaderParam>();
    }
    Ptr<iShaderParam> getParam(const LightweightString<char>& name) const override {
        for (const auto& p : params_)
            if (p->getName() == name) return p;
        return {};
    }
    bool setSamplerState(const LightweightString<char>& input, eScalingMethod scaling, eEdgeReadMode edge) override {
        journal_->add("setSamplerState " + input.str() + " " + scalingWord(scaling) + " " + edgeWord(edge));
        return true;
    }
    bool setTechnique(const LightweightString<char>& name) override {
        journal_->add("setTechnique " + name.str());
        return true;
    }
    bool setTechnique(uint16_t index) override {
        journal_->add("setTechnique #" + std::to_string(index));
        return true;
    }
    void setRenderContext(const RenderContext& c) override {
        journal_->add("setRenderContext " + number(c.progress) + " " + number(c.fps) + " " + number(c.length) + " " +
                      number(c.lengthFrames));
    }
    bool draw(const Ptr<iGPUImage>& target, const std::vector<ShaderInputBinding>& inputs, int flags) override {
        std::string call = "draw ";
        call += target ? std::to_string(target->getSize().x) + "x" + std::to_string(target->getSize().y) : "null";
        for (size_t i = 0; i < inputs.size(); ++i) call += (i ? "," : " ") + inputs[i].name.str();
        call += " flags " + std::to_string(flags);
        std::lock_guard<std::mutex> hold(journal_->mutex);
        journal_->calls.push_back(std::move(call));
        journal_->draws.push_back({target, inputs, flags});
        return true;
    }

private:
    std::shared_ptr<Journal> journal_;
    std::vector<Ptr<iShaderParam>> params_;
};

} // namespace

void Journal::add(std::string call) {
    std::lock_guard<std::mutex> hold(mutex);
    calls.push_back(std::move(call));
}

void RecordingGPUService::succeedNextCompile(std::vector<ParamSpec> params) {
    std::lock_guard<std::mutex> hold(journal_->mutex);
    scripted_.push_back({true, std::move(params), {}});
}

void RecordingGPUService::failNextCompile(std::vector<ShaderError> errors) {
    std::lock_guard<std::mutex> hold(journal_->mutex);
    scripted_.push_back({false, {}, std::move(errors)});
}

std::vector<CompileRecord> RecordingGPUService::compiles() const {
    std::lock_guard<std::mutex> hold(journal_->mutex);
    return compiles_;
}

std::vector<std::string> RecordingGPUService::calls() const {
    std::lock_guard<std::mutex> hold(journal_->mutex);
    return journal_->calls;
}

std::vector<DrawRecord> RecordingGPUService::draws() const {
    std::lock_guard<std::mutex> hold(journal_->mutex);
    return journal_->draws;
}

void RecordingGPUService::clearCalls() {
    std::lock_guard<std::mutex> hold(journal_->mutex);
    journal_->calls.clear();
    journal_->draws.clear();
}

ShaderCompilationOutput RecordingGPUService::compileEffectFile(const LightweightString<wchar_t>& path,
                                                               const ShaderDefinitions& definitions) {
    return answer({path, {}, definitions});
}

ShaderCompilationOutput RecordingGPUService::compileEffectText(const LightweightString<char>& text,
                                                               const ShaderDefinitions& definitions) {
    return answer({{}, text, definitions});
}

ShaderCompilationOutput RecordingGPUService::answer(CompileRecord record) {
    std::this_thread::sleep_for(compileDelay_.load());
    Result result;
    {
        std::lock_guard<std::mutex> hold(journal_->mutex);
        compiles_.push_back(std::move(record));
        if (!scripted_.empty()) {
            result = std::move(scripted_.front());
            scripted_.erase(scripted_.begin());
        }
    }
    ShaderCompilationOutput out;
    if (result.success) out.shader = Ptr<iShaderEffect>(new RecordingEffect(result.params, journal_));
    out.errors = std::move(result.errors);
    return out;
}

Ptr<iGPUImage> RecordingGPUService::createImage(XY<int> size, iGPUImage::eFormat format) {
    return Ptr<iGPUImage>(new RecordingImage(size, 1, false, format));
}

Ptr<iGPUImage> RecordingGPUService::create3DImage(int width, int height, int depth, iGPUImage::eFormat format) {
    return Ptr<iGPUImage>(new RecordingImage({width, height}, depth, true, format));
}

void RecordingGPUService::releaseGPUResources() { journal_->add("releaseGPUResources"); }
void RecordingGPUService::finish() { journal_->add("finish"); }

ScopedRecordingGPU::ScopedRecordingGPU(int shadingLanguage)
    : service_(shadingLanguage), os_(&service_), previous_(installOS(&os_)) {}

ScopedRecordingGPU::~ScopedRecordingGPU() { installOS(previous_); }

} // namespace QfTest
