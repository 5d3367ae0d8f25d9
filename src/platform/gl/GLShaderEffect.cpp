#include "platform/gl/GLShaderEffect.h"

#include "platform/gl/GLImage.h"

#include <map>

namespace {

constexpr const char* kSpecialNames[] = {"_OUTPUTWIDTH", "_OUTPUTHEIGHT", "_OUTPUTASPECTRATIO", "_PROGRESS",
                                         "_OUTPUTFPS", "_LENGTH", "_LENGTHFRAMES"};

// Reads "_T<t>_P<p>"; false for any other text.
bool parsePassId(std::string_view s, int& technique, int& pass) {
    auto digits = [&](size_t& at, int& out) {
        const size_t start = at;
        long value = 0;
        while (at < s.size() && s[at] >= '0' && s[at] <= '9' && value <= 65535) value = value * 10 + (s[at++] - '0');
        out = int(value);
        return at > start && value <= 65535;
    };
    if (!s.starts_with("_T")) return false;
    size_t at = 2;
    if (!digits(at, technique) || s.substr(at, 2) != "_P") return false;
    at += 2;
    return digits(at, pass) && at == s.size();
}

} // namespace

Ptr<GLShaderEffect> GLShaderEffect::create(const Ptr<GLDevice>& device, GLProgramBuild&& build,
                                           const ShaderDefinitions& definitions, std::vector<ShaderError>& errors) {
    Ptr<GLShaderEffect> effect(new GLShaderEffect);
    GLShaderEffect& e = *effect;
    e.device_ = device;
    e.program_ = std::exchange(build.program, 0);
    if (!e.readPassMap(definitions, errors)) return nullptr;

    std::map<std::string, int> passByName;
    for (size_t i = 0; i < e.passes_.size(); ++i) passByName[e.passes_[i].name.str()] = int(i);
    e.special_.fill(-1);
    for (const GLUniformInfo& u : build.uniforms) {
        if (isSamplerType(u.type)) {
            const GLint unit = GLint(e.samplers_.size());
            glProgramUniform1i(e.program_, u.location, unit);
            const auto pass = passByName.find(u.name);
            e.samplers_.push_back({LightweightString<char>(u.name), unit, is3DSamplerType(u.type),
                                   pass == passByName.end() ? -1 : pass->second});
            continue;
        }
        e.params_.push_back(makePtr<GLParam>(LightweightString<char>(u.name), u.type, u.location));
        if (u.name == "_entryPoint") e.entryPoint_ = u.location;
        for (int s = 0; s < eSpecialCount; ++s) {
            if (u.name != kSpecialNames[s]) continue;
            for (const ShaderDefinition& d : definitions)
                if (d.name == kSpecialNames[s]) e.special_[size_t(s)] = u.location;
        }
    }
    e.corners_ = glGetUniformLocation(e.program_, "_qfCorners");
    return effect;
}

// The pass map is every definition whose value is a pass identifier; the
// other definitions are the special parameters.
bool GLShaderEffect::readPassMap(const ShaderDefinitions& definitions, std::vector<ShaderError>& errors) {
    std::vector<std::vector<const ShaderDefinition*>> byTechnique;
    for (const ShaderDefinition& d : definitions) {
        int t = 0, p = 0;
        if (!parsePassId(d.value.view(), t, p)) continue;
        if (size_t(t) >= byTechnique.size()) byTechnique.resize(size_t(t) + 1);
        auto& passes = byTechnique[size_t(t)];
        if (size_t(p) >= passes.size()) passes.resize(size_t(p) + 1, nullptr);
        if (passes[size_t(p)]) {
            errors.push_back({"The pass map names pass " + d.value + " twice", 0});
            return false;
        }
        passes[size_t(p)] = &d;
    }
    if (byTechnique.empty()) {
        passes_.push_back({"", 0, 0});
        techniques_.push_back({0});
        return true;
    }
    for (size_t t = 0; t < byTechnique.size(); ++t) {
        const auto& passes = byTechnique[t];
        if (passes.empty()) {
            errors.push_back({"The pass map has no pass for technique T" + std::to_string(t + 1), 0});
            return false;
        }
        std::vector<int> technique;
        for (size_t p = 0; p < passes.size(); ++p) {
            if (!passes[p]) {
                errors.push_back({"The pass map lacks pass _T" + std::to_string(t) + "_P" + std::to_string(p), 0});
                return false;
            }
            technique.push_back(int(passes_.size()));
            passes_.push_back({passes[p]->name, int(passes_.size()), int(p)});
        }
        techniques_.push_back(std::move(technique));
    }
    return true;
}

GLShaderEffect::~GLShaderEffect() {
    if (const GLuint program = program_) device_->post([program] { glDeleteProgram(program); });
}

Ptr<iShaderParam> GLShaderEffect::getParam(uint16_t index) const {
    if (index >= params_.size()) return nullptr;
    return params_[index];
}

Ptr<iShaderParam> GLShaderEffect::getParam(const LightweightString<char>& name) const {
    for (const Ptr<GLParam>& p : params_)
        if (p->getName() == name) return p;
    return nullptr;
}

bool GLShaderEffect::setSamplerState(const LightweightString<char>& inputName, eScalingMethod scaling, eEdgeReadMode edge) {
    std::lock_guard<std::mutex> hold(mutex_);
    for (Sampler& s : samplers_) {
        if (s.name != inputName) continue;
        s.scaling = scaling == Point ? Point : Linear;
        s.edge = int(edge) >= 0 && int(edge) <= 3 ? edge : ClampToEdge;
        return true;
    }
    return false;
}

bool GLShaderEffect::setTechnique(const LightweightString<char>& name) {
    const std::string_view n = name.view();
    if (n.size() < 2 || n[0] != 'T' || n.size() > 6) return false;
    unsigned number = 0;
    for (char c : n.substr(1)) {
        if (c < '0' || c > '9') return false;
        number = number * 10 + unsigned(c - '0');
    }
    if (number < 1 || number > 65536) return false;
    return setTechnique(uint16_t(number - 1));
}

bool GLShaderEffect::setTechnique(uint16_t index) {
    if (index >= techniques_.size()) return false;
    std::lock_guard<std::mutex> hold(mutex_);
    technique_ = index;
    return true;
}

void GLShaderEffect::setRenderContext(const RenderContext& context) {
    std::lock_guard<std::mutex> hold(mutex_);
    context_ = context;
}

bool GLShaderEffect::draw(const Ptr<iGPUImage>& target, const std::vector<ShaderInputBinding>& inputs, int) {
    GLImage* image = dynamic_cast<GLImage*>(target.get());
    if (!image || image->is3D() || image->device() != device_) return false;
    return device_->run([&] { return drawOnThread(*image, inputs); });
}

void GLShaderEffect::writeSpecialParameters(int width, int height, const RenderContext& context) {
    const float values[eSpecialCount] = {float(width), float(height), float(width) / float(height), context.progress,
                                         context.fps, context.length, context.lengthFrames};
    for (int s = 0; s < eSpecialCount; ++s)
        if (special_[size_t(s)] >= 0) glProgramUniform1f(program_, special_[size_t(s)], values[s]);
}

// Corner u values arrive in texels of the bound image; the fragment stage
// sees them divided by that image's width, so 0..1 spans the image.
void GLShaderEffect::writeCorners(const std::vector<ShaderInputBinding>& inputs) {
    if (corners_ < 0) return;
    float corners[64] = {};
    for (size_t i = 0; i < inputs.size() && i < 8; ++i) {
        const ShaderInputBinding& b = inputs[i];
        const float width = b.image && b.image->getSize().x > 0 ? float(b.image->getSize().x) : 1.0f;
        for (size_t k = 0; k < 4; ++k) {
            corners[(i * 4 + k) * 2] = b.corners[k].u / width;
            corners[(i * 4 + k) * 2 + 1] = b.corners[k].v;
        }
    }
    glProgramUniform2fv(program_, corners_, 32, corners);
}

bool GLShaderEffect::drawOnThread(GLImage& target, const std::vector<ShaderInputBinding>& inputs) {
    const GLuint framebuffer = target.framebuffer();
    if (!framebuffer) return false;
    const int width = target.getSize().x, height = target.getSize().y;

    // The texture of each input sampler, from the first binding of its name.
    std::vector<GLuint> inputTextures(samplers_.size(), 0);
    for (size_t s = 0; s < samplers_.size(); ++s) {
        if (samplers_[s].pass >= 0) continue;
        for (const ShaderInputBinding& b : inputs) {
            if (b.name != samplers_[s].name) continue;
            const GLImage* in = dynamic_cast<const GLImage*>(b.image.get());
            if (in && in->device() == device_ && in->is3D() == samplers_[s].is3D) {
                if (in->texture() && in->texture() == target.texture()) return false; // would read what it writes
                inputTextures[s] = in->texture();
            }
            break;
        }
    }

    std::lock_guard<std::mutex> hold(mutex_);
    for (const Ptr<GLParam>& p : params_) p->apply(program_);
    writeSpecialParameters(width, height, context_);
    writeCorners(inputs);
    glUseProgram(program_);

    const std::vector<int>& technique = techniques_[technique_];
    std::vector<GLTarget> rendered(passes_.size());
    bool ok = true;
    for (size_t k = 0; k < technique.size() && ok; ++k) {
        const Pass& pass = passes_[size_t(technique[k])];
        GLuint into = framebuffer;
        if (k + 1 < technique.size()) {
            rendered[size_t(technique[k])] = device_->acquirePassTarget(width, height, target.getFormat());
            into = rendered[size_t(technique[k])].framebuffer;
            if (!into) {
                ok = false;
                break;
            }
        }
        if (entryPoint_ >= 0) glProgramUniform1i(program_, entryPoint_, pass.caseNumber);
        for (size_t s = 0; s < samplers_.size(); ++s) {
            const Sampler& sampler = samplers_[s];
            // A pass's result is readable once that pass has been drawn in this technique.
            const GLuint texture = sampler.pass >= 0 ? rendered[size_t(sampler.pass)].texture : inputTextures[s];
            glBindTextureUnit(GLuint(sampler.unit), texture);
            glBindSampler(GLuint(sampler.unit), texture ? device_->sampler(sampler.scaling, sampler.edge) : 0);
        }
        glBindFramebuffer(GL_DRAW_FRAMEBUFFER, into);
        glViewport(0, 0, width, height);
        glDrawArrays(GL_TRIANGLE_STRIP, 0, 4);
    }
    // Hand the work to the driver now: several full-target draws that are
    // not flushed are partly skipped by some drivers (llvmpipe), and the
    // caller will read the result or draw on it next anyway.
    glFlush();
    for (const GLTarget& t : rendered)
        if (t.texture) device_->releasePassTarget(t.texture);
    return ok;
}

void GLShaderEffect::prime() {
    const GLuint framebuffer = device_->primeFramebuffer();
    if (!framebuffer) return;
    glUseProgram(program_);
    for (const Sampler& s : samplers_) {
        glBindTextureUnit(GLuint(s.unit), device_->dummyTexture(s.is3D));
        glBindSampler(GLuint(s.unit), device_->sampler(Linear, ClampToEdge));
    }
    glBindFramebuffer(GL_DRAW_FRAMEBUFFER, framebuffer);
    glViewport(0, 0, 4, 4);
    glDrawArrays(GL_TRIANGLE_STRIP, 0, 4);
    glFinish();
}
