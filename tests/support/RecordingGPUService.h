// RecordingGPUService: a GPU service for tests that observe exact calls; it is
// OS() for its lifetime. Compiles are recorded and answered from a queue of
// scripted results (none scripted: an effect without parameters). Compiled
// effects and their parameters journal every call ("setSamplerState Input Point Wrap",
// "setTechnique T2", "setTechnique #1", "set Amount float 0.5", "setRenderContext 0.5 25 10 250",
// "draw 64x32 Input,Mask flags 0"); draws are also kept whole. Images keep no texels;
// their read-backs fail unless setReadBacksSucceed(true). setFailImageCreation(true)
// makes createImage fail from then on, setFailDraws(true) makes draws fail (they are still journalled),
// createFont makes RecordingFonts, createTimer makes timers that journal "timer begin" and "timer end"
// and give 2.5 ms per interval, and setSystemInfo gives it a system-information service.
// Any thread may call; one mutex guards all recorded state.
#pragma once

#include "host/base/Strings.h"
#include "host/os/OS.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace QfTest {

struct ParamInfo { // one parameter of a scripted compiled effect
    std::string name;
    iShaderParam::eType type = iShaderParam::eFloat;
    std::map<std::string, int> ints;
    std::map<std::string, std::string> texts;
};
struct CompileRecord {
    LightweightString<wchar_t> path; // compileEffectFile
    LightweightString<char> text;    // compileEffectText
    ShaderDefinitions definitions;
};
struct DrawRecord {
    Ptr<iGPUImage> target;
    std::vector<ShaderInputBinding> inputs;
    int flags = 0;
};
struct Journal {
    std::mutex mutex;
    std::vector<std::string> calls;
    std::vector<DrawRecord> draws;
    bool failDraws = false;
    void add(std::string call) {
        std::lock_guard hold(mutex);
        calls.push_back(std::move(call));
    }
};

inline std::string numbers(const float* values, int count) {
    std::string s;
    for (int i = 0; i < count; ++i) s += (i ? "," : "") + StringFromFloat(values[i]).str();
    return s;
}

class RecordingParam final : public iShaderParam {
public:
    RecordingParam(ParamInfo info, std::shared_ptr<Journal> journal) : m_info(std::move(info)), m_journal(std::move(journal)) {}
    LightweightString<char> getName() const override { return m_info.name; }
    eType getType() const override { return m_info.type; }
    bool getAnnotation(const LightweightString<char>& name, int& value) const override { return find(m_info.ints, name, value); }
    bool getAnnotation(const LightweightString<char>& name, LightweightString<char>& value) const override {
        return find(m_info.texts, name, value);
    }
    // Every write is journalled; it succeeds when the type fits.
    bool setFloat(float v) override { return write(eFloat, "float " + numbers(&v, 1)); }
    bool setBool(bool v) override { return write(eBool, v ? "bool true" : "bool false"); }
    bool setInt(int v) override { return write(eInt, "int " + std::to_string(v)); }
    bool setFloat3(const float* v) override { return write(eFloat3, "float3 " + numbers(v, 3)); }
    bool setFloat4(const float* v) override { return write(eFloat4, "float4 " + numbers(v, 4)); }
    bool setMatrix3x3(const float* v) override { return write(eFloat3x3, "float3x3 " + numbers(v, 9)); }

private:
    template <typename Map, typename T>
    static bool find(const Map& map, const LightweightString<char>& name, T& value) {
        const auto it = map.find(name.str());
        return it != map.end() && (value = it->second, true);
    }
    bool write(eType type, const std::string& what) {
        return m_journal->add("set " + m_info.name + " " + what), type == m_info.type;
    }
    ParamInfo m_info;
    std::shared_ptr<Journal> m_journal;
};

class RecordingEffect final : public iShaderEffect {
public:
    RecordingEffect(const std::vector<ParamInfo>& params, const std::shared_ptr<Journal>& journal) : m_journal(journal) {
        for (const ParamInfo& p : params) m_params.emplace_back(new RecordingParam(p, journal));
    }
    Ptr<iShaderParam> getParam(uint16_t index) const override { return index < m_params.size() ? m_params[index] : nullptr; }
    Ptr<iShaderParam> getParam(const LightweightString<char>& name) const override {
        const auto it = std::find_if(m_params.begin(), m_params.end(), [&](const auto& p) { return p->getName() == name; });
        return it == m_params.end() ? nullptr : *it;
    }
    bool setSamplerState(const LightweightString<char>& input, eScalingMethod scaling, eEdgeReadMode edge) override {
        static const char* const edges[] = {"Border", "ClampToEdge", "Mirror", "Wrap"};
        return m_journal->add("setSamplerState " + input.str() + (scaling == Point ? " Point " : " Linear ") + edges[edge & 3]),
               true;
    }
    bool setTechnique(const LightweightString<char>& name) override { return m_journal->add("setTechnique " + name.str()), true; }
    bool setTechnique(uint16_t index) override { return m_journal->add("setTechnique #" + std::to_string(index)), true; }
    void setRenderContext(const RenderContext& c) override {
        const float values[] = {c.progress, c.fps, c.length, c.lengthFrames};
        m_journal->add("setRenderContext " + numbers(values, 4));
    }
    bool draw(const Ptr<iGPUImage>& target, const std::vector<ShaderInputBinding>& inputs, int flags) override {
        const XY<int> size = target ? target->getSize() : XY<int>{};
        std::string call = "draw " + std::to_string(size.x) + "x" + std::to_string(size.y);
        for (size_t i = 0; i < inputs.size(); ++i) call += (i ? "," : " ") + inputs[i].name.str();
        std::lock_guard hold(m_journal->mutex);
        m_journal->calls.push_back(call + " flags " + std::to_string(flags));
        m_journal->draws.push_back({target, inputs, flags});
        return !m_journal->failDraws;
    }

private:
    std::shared_ptr<Journal> m_journal;
    std::vector<Ptr<iShaderParam>> m_params;
};

struct RecordingImage final : iGPUImage {
    RecordingImage(XY<int> size, int depth, bool threeD, eFormat format, bool readable = false)
        : size(size), depth(depth), threeD(threeD), format(format), readable(readable) {}
    XY<int> getSize() const override { return size; }
    int getDepth() const override { return depth; }
    bool is3D() const override { return threeD; }
    eFormat getFormat() const override { return format; }
    unsigned getBitsPerTexel() const override { return bitsPerTexel(format); }
    bool upload(const void*, size_t) override { return true; }
    bool readBack(void*, size_t) const override { return readable; }
    XY<int> size;
    int depth;
    bool threeD;
    eFormat format;
    bool readable;
};

// A timer whose every closed interval took 2.5 ms.
class RecordingTimer final : public iGPUTimer {
public:
    static constexpr double kMilliseconds = 2.5;
    explicit RecordingTimer(const std::shared_ptr<Journal>& journal) : m_journal(journal) {}
    void begin() override { m_journal->add("timer begin"); }
    void end() override { m_journal->add("timer end"), ++m_closed; }
    std::vector<double> collectMilliseconds() override { return std::vector<double>(std::exchange(m_closed, 0), kMilliseconds); }

private:
    std::shared_ptr<Journal> m_journal;
    size_t m_closed = 0;
};

// A font that remembers what it was made from and has no glyphs.
struct RecordingFont final : iFont {
    RecordingFont(const LightweightString<wchar_t>& face, int size, int style) : face(face), size(size), style(style) {}
    LightweightString<wchar_t> getFaceName() const override { return face; }
    int getSize() const override { return size; }
    int getStyle() const override { return style; }
    FontMetrics getMetrics() const override { return {}; }
    bool getGlyph(char32_t, FontGlyph&) override { return false; }
    int32_t getKerning(char32_t, char32_t) override { return 0; }
    Ptr<iGPUImage> getAtlas() override { return nullptr; }
    LightweightString<wchar_t> face;
    int size, style;
};

class RecordingGPUService final : public iGPUService, public iOS {
public:
    explicit RecordingGPUService(int language = 0) : m_language(language), m_previous(installOS(this)) {}
    ~RecordingGPUService() override { installOS(m_previous); }
    iGPUService* gpu() override { return this; }
    iSystemInfoService* systemInfo() override { return m_systemInfo; }
    void setSystemInfo(iSystemInfoService* info) { m_systemInfo = info; }
    void setFailImageCreation(bool fail) { m_failImages = fail; }
    void setReadBacksSucceed(bool succeed) { m_readable = succeed; }

    void setShadingLanguage(int language) { m_language = language; }
    // Each compile takes at least this long, so that overlapping callers overlap.
    void setCompileDelay(std::chrono::milliseconds delay) { m_delay = delay; }
    // Script the result of the next compile not yet scripted.
    void succeedNextCompile(const std::vector<ParamInfo>& params = {}) { script({makeEffect(params), {}}); }
    void failNextCompile(std::vector<ShaderError> errors) { script({nullptr, std::move(errors)}); }

    std::vector<CompileRecord> compiles() const {
        return locked([&] { return m_compiles; });
    }
    std::vector<std::string> calls() const {
        return locked([&] { return m_journal->calls; });
    }
    std::vector<DrawRecord> draws() const {
        return locked([&] { return m_journal->draws; });
    }
    void clearCalls() {
        locked([&] { m_journal->calls.clear(), m_journal->draws.clear(); });
    }

    eShadingLanguage getShadingLanguage() const override { return eShadingLanguage(m_language.load()); }
    ShaderCompilationOutput compileEffectFile(const LightweightString<wchar_t>& path, const ShaderDefinitions& defs) override {
        return answer({path, {}, defs});
    }
    ShaderCompilationOutput compileEffectText(const LightweightString<char>& text, const ShaderDefinitions& defs) override {
        return answer({{}, text, defs});
    }
    Ptr<iGPUImage> createImage(XY<int> size, iGPUImage::eFormat format) override {
        if (m_failImages) return nullptr;
        return Ptr<iGPUImage>(new RecordingImage(size, 1, false, format, m_readable));
    }
    Ptr<iGPUImage> create3DImage(int width, int height, int depth, iGPUImage::eFormat format) override {
        return Ptr<iGPUImage>(new RecordingImage({width, height}, depth, true, format));
    }
    void releaseGPUResources() override { m_journal->add("releaseGPUResources"); }
    // Journalled as "createFont FACE SIZE STYLE"; fails while setFailFontCreation(true).
    Ptr<iFont> createFont(const LightweightString<wchar_t>& face, int size, int style) override {
        m_journal->add("createFont " + toUTF8(face).str() + " " + std::to_string(size) + " " + std::to_string(style));
        return m_failFonts ? nullptr : Ptr<iFont>(new RecordingFont(face, size, style));
    }
    void setFailFontCreation(bool fail) { m_failFonts = fail; }
    void setFailDraws(bool fail) {
        locked([&] { m_journal->failDraws = fail; });
    }
    Ptr<iGPUTimer> createTimer() override { return Ptr<iGPUTimer>(new RecordingTimer(m_journal)); }

private:
    template <typename F>
    auto locked(F f) const -> decltype(f()) {
        std::lock_guard hold(m_journal->mutex);
        return f();
    }
    Ptr<iShaderEffect> makeEffect(const std::vector<ParamInfo>& params) {
        return Ptr<iShaderEffect>(new RecordingEffect(params, m_journal));
    }
    void script(ShaderCompilationOutput out) {
        locked([&] { m_scripted.push_back(std::move(out)); });
    }
    ShaderCompilationOutput answer(CompileRecord record) {
        std::this_thread::sleep_for(m_delay.load());
        return locked([&] {
            m_compiles.push_back(std::move(record));
            if (m_scripted.empty()) return ShaderCompilationOutput{makeEffect({}), {}};
            ShaderCompilationOutput next = std::move(m_scripted.front());
            m_scripted.pop_front();
            return next;
        });
    }

    std::atomic<int> m_language;
    std::atomic<bool> m_failImages{false};
    std::atomic<bool> m_readable{false};
    std::atomic<bool> m_failFonts{false};
    iSystemInfoService* m_systemInfo = nullptr;
    std::atomic<std::chrono::milliseconds> m_delay{std::chrono::milliseconds(0)};
    std::shared_ptr<Journal> m_journal = std::make_shared<Journal>();
    std::deque<ShaderCompilationOutput> m_scripted; // guarded by m_journal->mutex
    std::vector<CompileRecord> m_compiles;          // guarded by m_journal->mutex
    iOS* m_previous;
};

} // namespace QfTest
