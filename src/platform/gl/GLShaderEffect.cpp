#include "platform/gl/GLShaderEffect.h"

#include "host/own/ShaderContract.h"
#include "platform/gl/GLImage.h"

#include <map>

Ptr<GLShaderEffect> GLShaderEffect::create(const Ptr<GLDevice>& device, GLProgramBuild&& build,
                                           const ShaderDefinitions& definitions, std::vector<ShaderError>& errors) {
    Ptr<GLShaderEffect> effect(new GLShaderEffect);
    GLShaderEffect& e = *effect;
    e.m_device = device;
    e.m_program = std::exchange(build.program, 0);
    if (!e.readPassMap(definitions, errors)) return nullptr;

    std::map<std::string, int> passByName;
    for (size_t i = 0; i < e.m_passes.size(); ++i) passByName[e.m_passes[i].name.str()] = int(i);
    e.m_special.fill(-1);
    for (const GLUniformInfo& u : build.uniforms) {
        if (isSamplerType(u.type)) {
            const GLint unit = GLint(e.m_samplers.size());
            glProgramUniform1i(e.m_program, u.location, unit);
            const auto pass = passByName.find(u.name);
            e.m_samplers.push_back(
                {LightweightString<char>(u.name), unit, is3DSamplerType(u.type), pass == passByName.end() ? -1 : pass->second});
            continue;
        }
        e.m_params.push_back(makePtr<GLParam>(LightweightString<char>(u.name), u.type, u.location));
        if (u.name == ShaderContract::kEntryPointUniform) e.m_entryPoint = u.location;
        for (int s = 0; s < eSpecialCount; ++s) {
            const char* special = ShaderContract::kSpecialParameters[s];
            if (u.name != special) continue;
            for (const ShaderDefinition& d : definitions)
                if (d.name == special) e.m_special[size_t(s)] = u.location;
        }
    }
    e.m_corners = glGetUniformLocation(e.m_program, "_qfCorners");
    return effect;
}

// The pass map is every definition whose value is a pass identifier; the
// other definitions are the special parameters.
bool GLShaderEffect::readPassMap(const ShaderDefinitions& definitions, std::vector<ShaderError>& errors) {
    std::vector<std::vector<const ShaderDefinition*>> byTechnique;
    for (const ShaderDefinition& d : definitions) {
        uint16_t t = 0, p = 0;
        if (!ShaderContract::parsePassIdentifier(d.value.view(), t, p)) continue;
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
        m_passes.push_back({"", 0, 0});
        m_techniques.push_back({0});
        return true;
    }
    for (size_t t = 0; t < byTechnique.size(); ++t) {
        const auto& passes = byTechnique[t];
        if (passes.empty()) {
            errors.push_back({"The pass map has no pass for technique " + ShaderContract::techniqueName(uint16_t(t)), 0});
            return false;
        }
        std::vector<int> technique;
        for (size_t p = 0; p < passes.size(); ++p) {
            if (!passes[p]) {
                errors.push_back({"The pass map lacks pass " + ShaderContract::passIdentifier(uint16_t(t), uint16_t(p)), 0});
                return false;
            }
            technique.push_back(int(m_passes.size()));
            m_passes.push_back({passes[p]->name, int(m_passes.size()), int(p)});
        }
        m_techniques.push_back(std::move(technique));
    }
    return true;
}

GLShaderEffect::~GLShaderEffect() {
    if (const GLuint program = m_program) m_device->post([program] { glDeleteProgram(program); });
}

Ptr<iShaderParam> GLShaderEffect::getParam(uint16_t index) const {
    if (index >= m_params.size()) return nullptr;
    return m_params[index];
}

Ptr<iShaderParam> GLShaderEffect::getParam(const LightweightString<char>& name) const {
    for (const Ptr<GLParam>& p : m_params)
        if (p->getName() == name) return p;
    return nullptr;
}

bool GLShaderEffect::setSamplerState(const LightweightString<char>& inputName, eScalingMethod scaling, eEdgeReadMode edge) {
    std::lock_guard<std::mutex> hold(m_mutex);
    for (Sampler& s : m_samplers) {
        if (s.name != inputName) continue;
        s.scaling = scaling == Point ? Point : Linear;
        s.edge = int(edge) >= 0 && int(edge) <= 3 ? edge : ClampToEdge;
        return true;
    }
    return false;
}

bool GLShaderEffect::setTechnique(const LightweightString<char>& name) {
    uint16_t index = 0;
    return ShaderContract::parseTechniqueName(name.view(), index) && setTechnique(index);
}

bool GLShaderEffect::setTechnique(uint16_t index) {
    if (index >= m_techniques.size()) return false;
    std::lock_guard<std::mutex> hold(m_mutex);
    m_technique = index;
    return true;
}

void GLShaderEffect::setRenderContext(const RenderContext& context) {
    std::lock_guard<std::mutex> hold(m_mutex);
    m_context = context;
}

bool GLShaderEffect::draw(const Ptr<iGPUImage>& target, const std::vector<ShaderInputBinding>& inputs, int) {
    GLImage* image = dynamic_cast<GLImage*>(target.get());
    if (!image || image->is3D() || image->device() != m_device) return false;
    return m_device->run([&] { return drawLocked(*image, inputs); });
}

void GLShaderEffect::writeSpecialParameters(int width, int height, const RenderContext& context) {
    const float values[eSpecialCount] = {float(width), float(height),  float(width) / float(height), context.progress,
                                         context.fps,  context.length, context.lengthFrames};
    for (int s = 0; s < eSpecialCount; ++s)
        if (m_special[size_t(s)] >= 0) glProgramUniform1f(m_program, m_special[size_t(s)], values[s]);
}

// Corner u values arrive in texels of the bound image; the fragment stage
// sees them divided by that image's width, so 0..1 spans the image.
void GLShaderEffect::writeCorners(const std::vector<ShaderInputBinding>& inputs) {
    if (m_corners < 0) return;
    float corners[64] = {};
    for (size_t i = 0; i < inputs.size() && i < 8; ++i) {
        const ShaderInputBinding& b = inputs[i];
        const float width = b.image && b.image->getSize().x > 0 ? float(b.image->getSize().x) : 1.0f;
        for (size_t k = 0; k < 4; ++k) {
            corners[(i * 4 + k) * 2] = b.corners[k].u / width;
            corners[(i * 4 + k) * 2 + 1] = b.corners[k].v;
        }
    }
    glProgramUniform2fv(m_program, m_corners, 32, corners);
}

bool GLShaderEffect::drawLocked(GLImage& target, const std::vector<ShaderInputBinding>& inputs) {
    const GLuint framebuffer = target.framebuffer();
    if (!framebuffer) return false;
    const int width = target.getSize().x, height = target.getSize().y;

    // The texture of each input sampler, from the first binding of its name.
    std::vector<GLuint> inputTextures(m_samplers.size(), 0);
    for (size_t s = 0; s < m_samplers.size(); ++s) {
        if (m_samplers[s].pass >= 0) continue;
        for (const ShaderInputBinding& b : inputs) {
            if (b.name != m_samplers[s].name) continue;
            const GLImage* in = dynamic_cast<const GLImage*>(b.image.get());
            if (in && in->device() == m_device && in->is3D() == m_samplers[s].is3D) {
                if (in->texture() && in->texture() == target.texture()) return false; // would read what it writes
                inputTextures[s] = in->texture();
            }
            break;
        }
    }

    std::lock_guard<std::mutex> hold(m_mutex);
    for (const Ptr<GLParam>& p : m_params) p->apply(m_program);
    writeSpecialParameters(width, height, m_context);
    writeCorners(inputs);
    glUseProgram(m_program);

    const std::vector<int>& technique = m_techniques[m_technique];
    std::vector<GLTarget> rendered(m_passes.size());
    bool ok = true;
    for (size_t k = 0; k < technique.size() && ok; ++k) {
        const Pass& pass = m_passes[size_t(technique[k])];
        GLuint into = framebuffer;
        if (k + 1 < technique.size()) {
            rendered[size_t(technique[k])] = m_device->acquirePassTarget(width, height, target.getFormat());
            into = rendered[size_t(technique[k])].framebuffer;
            if (!into) {
                ok = false;
                break;
            }
        }
        if (m_entryPoint >= 0) glProgramUniform1i(m_program, m_entryPoint, pass.caseNumber);
        for (size_t s = 0; s < m_samplers.size(); ++s) {
            const Sampler& sampler = m_samplers[s];
            // A pass's result is readable once that pass has been drawn in this technique.
            const GLuint texture = sampler.pass >= 0 ? rendered[size_t(sampler.pass)].texture : inputTextures[s];
            glBindTextureUnit(GLuint(sampler.unit), texture);
            glBindSampler(GLuint(sampler.unit), texture ? m_device->sampler(sampler.scaling, sampler.edge) : 0);
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
        if (t.texture) m_device->releasePassTarget(t.texture);
    return ok;
}

void GLShaderEffect::prime() {
    const GLuint framebuffer = m_device->primeFramebuffer();
    if (!framebuffer) return;
    glUseProgram(m_program);
    for (const Sampler& s : m_samplers) {
        glBindTextureUnit(GLuint(s.unit), m_device->dummyTexture(s.is3D));
        glBindSampler(GLuint(s.unit), m_device->sampler(Linear, ClampToEdge));
    }
    glBindFramebuffer(GL_DRAW_FRAMEBUFFER, framebuffer);
    glViewport(0, 0, 4, 4);
    glDrawArrays(GL_TRIANGLE_STRIP, 0, 4);
    glFinish();
}
