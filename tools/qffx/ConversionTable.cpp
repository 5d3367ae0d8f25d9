#include "ConversionTable.h"

#include "ColourNames.h"

namespace {

using CC = Qf::Image::ColourConversion;
using Video = Data::Video;

class RecordedParam final : public iShaderParam {
public:
    RecordedParam(std::string name, std::vector<float>& slot) : m_name(std::move(name)), m_slot(slot) {}
    LightweightString<char> getName() const override { return LightweightString<char>(m_name.c_str()); }
    eType getType() const override { return eUnused; }
    bool getAnnotation(const LightweightString<char>&, int&) const override { return false; }
    bool getAnnotation(const LightweightString<char>&, LightweightString<char>&) const override { return false; }
    bool setFloat(float v) override { return keep(&v, 1); }
    bool setBool(bool v) override { return setFloat(v ? 1.f : 0.f); }
    bool setInt(int v) override { return setFloat(float(v)); }
    bool setFloat3(const float* v) override { return keep(v, 3); }
    bool setFloat4(const float* v) override { return keep(v, 4); }
    bool setMatrix3x3(const float* v) override { return keep(v, 9); }

private:
    bool keep(const float* v, int n) {
        m_slot.assign(v, v + n);
        return true;
    }
    std::string m_name;
    std::vector<float>& m_slot;
};

// An effect that takes every parameter name and records what is written to it.
class RecordingEffect final : public iShaderEffect {
public:
    Ptr<iShaderParam> getParam(uint16_t) const override { return {}; }
    Ptr<iShaderParam> getParam(const LightweightString<char>& name) const override {
        const std::string n = name.c_str();
        return Ptr<iShaderParam>(new RecordedParam(n, m_written[n]));
    }
    bool setSamplerState(const LightweightString<char>&, eScalingMethod, eEdgeReadMode) override { return false; }
    bool setTechnique(const LightweightString<char>&) override { return false; }
    bool setTechnique(uint16_t) override { return false; }
    void setRenderContext(const RenderContext&) override {}
    bool draw(const Ptr<iGPUImage>&, const std::vector<ShaderInputBinding>&, int) override { return false; }

    // What was written, without the names looked up but never set.
    WrittenCoefficients written() const {
        WrittenCoefficients out;
        for (const auto& [name, values] : m_written)
            if (!values.empty()) out[name] = values;
        return out;
    }

private:
    mutable std::map<std::string, std::vector<float>> m_written;
};

std::string listOf(const std::vector<std::string>& names) {
    std::string out;
    for (size_t i = 0; i < names.size(); ++i) out += (i == 0 ? "" : i + 1 == names.size() ? " or " : ", ") + names[i];
    return out;
}

template <typename Has>
std::string choices(const char* extra, Has has) {
    std::string out;
    for (const char* range : {"legal", "full"}) {
        std::vector<std::string> names;
        for (const ColourName& c : colourNames())
            if (c.video != Video::eColourimetryUnknown && has(*videoRange(range), c.video)) names.emplace_back(c.name);
        if (names.empty()) continue;
        out += std::string(out.empty() ? "" : "; ") + "--range " + range + extra + " with " + listOf(names);
    }
    return out.empty() ? "nothing" : out;
}

} // namespace

WrittenCoefficients forwardCoefficients(Video::eRange range, Video::eColourimetry colourimetry) {
    const Ptr<RecordingEffect> effect(new RecordingEffect);
    CC::setForwardCoefficients(*effect, Video::eFullRange, range, colourimetry);
    return effect->written();
}

WrittenCoefficients inverseCoefficients(Video::eColourimetry colourimetry, Video::eRange range, CC::GamutScaling gamut) {
    const Ptr<RecordingEffect> effect(new RecordingEffect);
    CC::setInverseCoefficients(*effect, colourimetry, range, gamut);
    return effect->written();
}

std::string forwardChoices() {
    return choices("", [](Video::eRange r, Video::eColourimetry c) { return !forwardCoefficients(r, c).empty(); });
}

std::string inverseChoices() {
    std::string full = choices(" --gamut-scaling full", [](Video::eRange r, Video::eColourimetry c) {
        return !inverseCoefficients(c, r, CC::eGamutFull).empty();
    });
    std::string legal = choices(" --gamut-scaling legal", [](Video::eRange r, Video::eColourimetry c) {
        return !inverseCoefficients(c, r, CC::eGamutLegal).empty();
    });
    return full + "; " + legal;
}
