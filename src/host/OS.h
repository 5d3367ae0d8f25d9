// OS(): the services object through which the library reaches the machine.
//
// The library is written against these interfaces only; src/platform/ holds
// the Linux implementation and tests may install recording doubles. Every
// service is safe to call from any thread.
#pragma once

#include "GPUImage.h"
#include "LightweightString.h"
#include "ShaderContract.h"
#include "ShaderEffect.h"

// The GPU service: shader compilation and GPU images.
class iGPUService : public iVirtual {
public:
    virtual eShadingLanguage getShadingLanguage() const = 0;
    // Compiles an effect file whose text is ready for the compiler.
    virtual ShaderCompilationOutput compileEffectFile(const LightweightString<wchar_t>& path,
                                                      const ShaderDefinitions& definitions) = 0;
    // Compiles generated effect text.
    virtual ShaderCompilationOutput compileEffectText(const LightweightString<char>& text,
                                                      const ShaderDefinitions& definitions) = 0;

    virtual Ptr<iGPUImage> createImage(XY<int> size, iGPUImage::eFormat format) = 0;
    virtual Ptr<iGPUImage> create3DImage(int width, int height, int depth, iGPUImage::eFormat format) = 0;
    // Drops cached GPU objects that nothing references any more.
    virtual void releaseGPUResources() = 0;
    // Waits until the GPU has completed every draw and transfer issued so
    // far; timings (diagnostics, benchmarks) call it after each measured step.
    virtual void finish() {}
};

class iOS : public iVirtual {
public:
    // Null when this process has no GPU service.
    virtual iGPUService* gpu() = 0;
};

// The installed services object; a stand-in without services until one is installed.
iOS* OS();
// Installs the services object (not owned) and returns the previous one; null restores the stand-in.
iOS* installOS(iOS* os);
