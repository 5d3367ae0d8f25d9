// OS(): the services object through which the library reaches the machine.
//
// The library is written against these interfaces only; src/platform/ holds
// the Linux implementation and tests may install recording doubles. Every
// service is safe to call from any thread.
#pragma once

#include "host/base/LightweightString.h"
#include "host/misc/Directories.h"
#include "host/os/Font.h"
#include "host/os/GPUCompute.h"
#include "host/os/GPUImage.h"
#include "host/os/GPUTimer.h"
#include "host/os/ShaderEffect.h"
#include "host/os/SystemInfo.h"
#include "host/own/ImageLimits.h"
#include "host/own/ShaderContract.h"

#include <cstdint>
#include <vector>

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
    // The largest width or height of a 2D image this service can make;
    // pictures are checked against it before their pixels are read.
    virtual int maxImageSide() const { return ImageLimits::kMaxDimension; }
    // A font of `faceName` (the best match when the family is missing) at
    // `pixelSize` pixels, bold and italic as `style` says (iFont::eStyle
    // bits); null when no font can be made.
    virtual Ptr<iFont> createFont(const LightweightString<wchar_t>& faceName, int pixelSize, int style) {
        (void)faceName, (void)pixelSize, (void)style;
        return nullptr;
    }
    // A timer of GPU work (timer queries); null where the GPU cannot time.
    virtual Ptr<iGPUTimer> createTimer() { return nullptr; }
};

// The file service.
class iFileService : public iVirtual {
public:
    // Lists the directory of `pattern` ("/dir/" followed by a wildcard such as
    // "*.fx"; "*" and "?" match, letters without regard to case) into `out`,
    // sorted by the bytes of the UTF-8 file name so that every machine gives
    // the same order. With `filesOnly` non-zero only regular files are listed;
    // `recursive` is reserved (0). False when the directory cannot be read.
    virtual bool listDirectory(const LightweightString<wchar_t>& pattern, std::vector<DirectoryEntry>& out, int filesOnly,
                               int recursive) = 0;
};

// The thread service.
class iThreadService : public iVirtual {
public:
    virtual void sleep(unsigned milliseconds) = 0;
};

// The user-interface service. Without a user interface, messages go to the log.
class iUIService : public iVirtual {
public:
    // `buttons` and `severity` are the host's codes (1: OK only; 2: warning). Returns the button chosen.
    virtual int showMessage(const LightweightString<wchar_t>& caption, const LightweightString<wchar_t>& text, int buttons,
                            int severity) = 0;
};

// The environment service.
class iEnvironmentService : public iVirtual {
public:
    // The application's name as its windows show it.
    virtual LightweightString<wchar_t> applicationCaption() = 0;
    // The directory that optional components are loaded from (with a trailing separator).
    virtual LightweightString<wchar_t> componentDirectory() = 0;
};

class iOS : public iVirtual {
public:
    // Null when this process has no GPU service.
    virtual iGPUService* gpu() = 0;
    // The GPU service if it is running already, without starting one: for
    // work that only concerns a service in use (releasing its resources).
    virtual iGPUService* runningGPU() { return gpu(); }
    // The other services; null where the services object has none (callers
    // then do without: no files are found, messages go to the log).
    virtual iFileService* files() { return nullptr; }
    virtual iThreadService* threads() { return nullptr; }
    virtual iUIService* ui() { return nullptr; }
    virtual iEnvironmentService* environment() { return nullptr; }
    virtual iSystemInfoService* systemInfo() { return nullptr; }
    // The GPU compute service (kernels); null where the host has none.
    virtual iGPUComputeService* compute() { return nullptr; }
};

// The installed services object; a stand-in without services until one is installed.
iOS* OS();
// Installs the services object (not owned) and returns the previous one; null restores the stand-in.
iOS* installOS(iOS* os);
