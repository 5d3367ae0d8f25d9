// qffx luts: the LUT catalogue, installing LUTs, applying one to a picture,
// and the ACES transform choice.
#include "ColourNames.h"
#include "Commands.h"
#include "ToolEffects.h"
#include "ToolFiles.h"
#include "ToolJson.h"

#include "host/base/Strings.h"
#include "host/image/CubeLUT.h"
#include "host/misc/LUTPaths.h"
#include "luts/LUTManager.h"

#ifdef QFFX_HAVE_PLATFORM
#include "host/os/OS.h"
#include "image/GPU.h"
#include "platform/png/PngFile.h"
#endif

#include <cstdio>
#include <filesystem>
#include <string>
#include <unistd.h>

namespace {

using Wide = LightweightString<wchar_t>;

std::string utf8(const Wide& s) { return toUTF8(s).str(); }

// Why the reader refuses a catalogue entry's file, or empty when it reads.
// The file is read here, not through LUTManager::load, so that listing
// leaves the manager's cache as it was.
std::string refusal(const iLUT& lut) {
    const CubeLUT::Result r = CubeLUT::readFile(lut.getID());
    if (r.image) return {};
    return r.line ? "line " + std::to_string(r.line) + ": " + r.error : r.error;
}

int list(bool asJson) {
    const std::vector<Ptr<iLUT>>& luts = LUTManager::instance().getAvailableLUTs();
    if (asJson) {
        Json list = Json::array();
        for (const Ptr<iLUT>& l : luts) {
            Json entry = {{"id", utf8(l->getID())},
                          {"name", utf8(l->getName())},
                          {"category", utf8(l->getCategory())},
                          {"manufacturer", utf8(l->getManufacturer())},
                          {"detail", utf8(l->getDetail())},
                          {"selectable", l->isSelectable()}};
            if (const std::string why = refusal(*l); !why.empty()) entry["unreadable"] = why;
            list.push_back(std::move(entry));
        }
        std::fputs(jsonText(list, 1).c_str(), stdout);
        return eExitSuccess;
    }
    for (const Ptr<iLUT>& l : luts) {
        std::string where = utf8(l->getCategory());
        if (!l->getManufacturer().empty() && l->getManufacturer() != l->getCategory()) where += ", " + utf8(l->getManufacturer());
        if (!l->getDetail().empty()) where += ", " + utf8(l->getDetail());
        const std::string why = refusal(*l);
        std::printf("%s (%s)%s%s\n    %s\n", utf8(l->getName()).c_str(), where.c_str(),
                    l->isSelectable() ? "" : " [not selectable]", why.empty() ? "" : (" [unreadable: " + why + "]").c_str(),
                    utf8(l->getID()).c_str());
    }
    return eExitSuccess;
}

int install(const Reporter& report, const std::vector<std::string>& files) {
    if (files.empty()) return report.usage("install needs at least one FILE");
    std::vector<Wide> paths;
    for (const std::string& f : files) {
        if (!std::filesystem::is_regular_file(f)) return report.bad("cannot read " + f);
        paths.push_back(fromUTF8(f.c_str()));
    }
    const bool progress = isatty(STDERR_FILENO) && paths.size() > 1;
    std::vector<Ptr<iLUT>> installed;
    for (size_t i = 0; i < paths.size(); ++i) {
        if (progress) std::fprintf(stderr, "\rinstalling %zu of %zu", i + 1, paths.size());
        const std::vector<Ptr<iLUT>> added = LUTManager::instance().installLUTs({paths[i]});
        installed.insert(installed.end(), added.begin(), added.end());
    }
    if (progress) std::fputs("\n", stderr);
    for (const Ptr<iLUT>& l : installed) std::printf("installed %s\n", utf8(l->getID()).c_str());
    if (installed.size() == paths.size()) return eExitSuccess;
    return report.failed(std::to_string(paths.size() - installed.size()) + " of " + std::to_string(paths.size()) +
                         " files not installed");
}

#ifdef QFFX_HAVE_PLATFORM
// The LUT a user names: a catalogue identifier, a catalogue name, or a file.
bool findLUT(const std::string& name, iGPUService& gpu, LUTManager::LoadedLUT& lut, std::string& error) {
    LUTManager& manager = LUTManager::instance();
    Wide id = fromUTF8(name.c_str());
    if (!manager.getLUTByID(id))
        for (const Ptr<iLUT>& l : manager.getAvailableLUTs())
            if (utf8(l->getName()) == name) {
                id = l->getID();
                break;
            }
    if (manager.getLUTByID(id)) {
        lut = manager.loadWithMapping(id);
        if (!lut.image) error = "cannot load the LUT " + utf8(id);
        return bool(lut.image);
    }
    if (!std::filesystem::is_regular_file(name)) {
        error = "no LUT '" + name + "' in the catalogue, and no such file";
        return false;
    }
    const Ptr<HostImage3D> host = CubeLUT::load(id); // logs what is wrong
    if (!host) {
        error = "cannot read the LUT " + name;
        return false;
    }
    lut = {host->createGPUImage(gpu), host->getLUTMapping()};
    if (!lut.image) error = "cannot make a GPU image of the LUT";
    return bool(lut.image);
}

int apply(const Invocation& call) {
    const ParsedArgs& parsed = call.args;
    const Reporter& report = call.report;
    if (parsed.positional.size() != 2) return report.usage("apply takes one LUT");
    if (!parsed.has("--in") || !parsed.has("--out")) return report.usage("apply needs --in and --out");
    const std::string method = parsed.value("--interpolation", "trilinear");
    if (method != "trilinear" && method != "tetrahedral")
        return report.usage("--interpolation is trilinear or tetrahedral, not '" + method + "'");

    std::string error;
    if (!checkOutputName(parsed.value("--out"), "png", error)) return report.usage("--out " + error);
    iGPUService* gpu = startGPU(report);
    if (!gpu) return eExitUsage;
    const Ptr<HostImage> in = readPngInput(parsed.value("--in"), error, gpu->maxImageSide());
    if (!in) return report.bad(error);

    LUTManager::LoadedLUT lut;
    if (!findLUT(parsed.positional[1], *gpu, lut, error)) return report.bad(error);

    const Surface source = Surface::forGPUImage(in->createGPUImage(*gpu));
    Surface destination;
    const auto interpolation = method == "tetrahedral" ? Qf::Image::GPU::eTetrahedral : Qf::Image::GPU::eTrilinear;
    if (!Qf::Image::GPU::applyLUT(source, destination, lut.image, lut.mapping, interpolation))
        return report.failed("applying the LUT failed");
    const Ptr<HostImage> result = HostImage::fromGPUImage(*destination.getGPUSurface());
    if (!result) return report.failed("cannot read the result back from the GPU");
    // Written beside the destination and renamed when complete: a failure
    // never leaves a partial picture under the destination's name.
    if (!writePngOutput(parsed.value("--out"), *result, error)) return report.failed(error);
    return eExitSuccess;
}
#endif

} // namespace

int runLuts(const Invocation& call) {
    const ParsedArgs& parsed = call.args;
    const Reporter& report = call.report;
    if (parsed.has("--factory")) setLUTDirectory(iSettings::eFactory, fromUTF8(parsed.value("--factory").c_str()));
    if (parsed.has("--user")) setLUTDirectory(iSettings::eUser, fromUTF8(parsed.value("--user").c_str()));
    if (parsed.has("--root")) setLUTRoot(fromUTF8(parsed.value("--root").c_str()));

    const std::string& sub = parsed.positional[0];
    const std::vector<std::string> rest(parsed.positional.begin() + 1, parsed.positional.end());
    if (parsed.has("--json") && sub != "list") return report.usage("--json goes with list");
    if ((parsed.has("--in") || parsed.has("--out") || parsed.has("--interpolation")) && sub != "apply")
        return report.usage("--in, --out and --interpolation go with apply");

    if (sub == "list" || sub == "manufacturers") {
        if (!rest.empty()) return report.usage(sub + " takes no arguments");
        if (sub == "list") return list(parsed.has("--json"));
        for (const Wide& m : LUTManager::instance().getManufacturers()) std::printf("%s\n", utf8(m).c_str());
        return eExitSuccess;
    }
    if (sub == "install") return install(report, rest);
#ifdef QFFX_HAVE_PLATFORM
    if (sub == "apply") return apply(call);
#endif
    // A code the table does not name still gets the library's choice (its
    // fallback), but not in silence.
    const auto warnUnknown = [&](const std::string& text, Qf::Image::Colorimetry c) {
        for (const ColourName& name : colourNames())
            if (name.lut == c) return;
        report.say("warning: colorimetry " + text + " is unknown (known: 1 to 8, or a name); the LUT printed is the fallback");
    };
    if (sub == "aces-input" || sub == "aces-output") {
        const auto c = rest.size() == 1 ? lutColorimetry(rest[0]) : std::nullopt;
        if (!c) return report.usage(sub + " takes one colorimetry (a number or a name)");
        warnUnknown(rest[0], *c);
        std::printf("%s\n",
                    utf8(sub == "aces-input" ? LUTManager::getACESInputLUT(*c) : LUTManager::getACESOutputLUT(*c)).c_str());
        return eExitSuccess;
    }
    if (sub == "direct" || sub == "prefer-aces") {
        const auto from = rest.size() == 2 ? lutColorimetry(rest[0]) : std::nullopt;
        const auto to = rest.size() == 2 ? lutColorimetry(rest[1]) : std::nullopt;
        if (!from || !to) return report.usage(sub + " takes two colorimetries (numbers or names), FROM and TO");
        warnUnknown(rest[0], *from);
        warnUnknown(rest[1], *to);
        if (sub == "direct")
            std::printf("%s\n", utf8(LUTManager::getInputLUT(*from, *to)).c_str());
        else
            std::printf("%s\n", LUTManager::preferACES(*from, *to) ? "true" : "false");
        return eExitSuccess;
    }
    return report.usage("unknown subcommand '" + sub + "'");
}
