// A counting double of the compute service for the manager's tests: one
// context whose builds succeed unless the source is empty or a line says
// "fail", and that records what each build saw. A build may be made slow
// (buildDelay), to hold the manager's program table for a while.
#pragma once

#include "host/misc/EditorPreferences.h"
#include "host/os/GPUCompute.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>
#include <vector>

namespace QfManagerTest {

inline const char* const kScopesPreference = "HardwareAdvancedScopesEnabled";

class FakeProgram final : public iGPUProgram {
public:
    LightweightString<char> getBuildLog() const override { return {}; }
    std::vector<LightweightString<char>> getKernelNames() const override { return {"k"}; }
    bool run(const LightweightString<char>&, const std::vector<GPUKernelArg>&, const GPUWorkSize&, std::string&) override {
        return true;
    }
};

class FakeContext final : public iGPUComputeContext {
public:
    using Lines = std::vector<LightweightString<char>>;
    std::atomic<int> builds{0};   // counted when a build starts
    std::atomic<int> finished{0}; // and when it ends
    std::atomic<std::chrono::milliseconds> buildDelay{std::chrono::milliseconds(0)};
    std::mutex mutex;
    Lines lastLines;                     // guarded by mutex
    std::vector<bool> preferenceAtBuild; // guarded by mutex

    Ptr<iGPUProgram> createProgram(const Lines& lines) override {
        ++builds;
        std::this_thread::sleep_for(buildDelay.load());
        std::lock_guard<std::mutex> hold(mutex);
        lastLines = lines;
        preferenceAtBuild.push_back(prefs().getPreference(kScopesPreference, true));
        ++finished;
        if (lines.empty() || std::find(lines.begin(), lines.end(), "fail") != lines.end()) return {};
        return makePtr<FakeProgram>();
    }
    LightweightString<char> getLastBuildLog() const override { return {}; }
    LightweightString<char> getDeviceDescription() const override { return "fake"; }
    bool sharesGPUImages() const override { return false; }
    Ptr<iGPUBuffer> createBuffer(size_t, std::string&) override { return {}; }
    Ptr<iGPUComputeImage> createImage(XY<int>, iGPUImage::eFormat, const void*, size_t, std::string&) override { return {}; }
    Ptr<iGPUComputeImage> importImage(const iGPUImage&, std::string&) override { return {}; }
    void finish() override {}
};

class FakeComputeService final : public iGPUComputeService {
public:
    Ptr<FakeContext> context = makePtr<FakeContext>();
    bool hasDevice = true;
    std::chrono::milliseconds delay{0}; // widens the window of a creation race
    std::atomic<int> creations{0};
    std::atomic<int> flagsSeen{-1};

    Ptr<iGPUComputeContext> createComputeContext(int flags) override {
        ++creations;
        flagsSeen = flags;
        std::this_thread::sleep_for(delay);
        return hasDevice ? Ptr<iGPUComputeContext>(context) : Ptr<iGPUComputeContext>();
    }
};

} // namespace QfManagerTest
