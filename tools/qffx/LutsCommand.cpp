// qffx luts: the LUT catalogue, installing LUTs, applying one to a picture,
// and the ACES transform choice.
#include "Commands.h"
#include "Options.h"
#include "ToolEffects.h"

#include "host/Colorimetry.h"
#include "host/CubeLUT.h"
#include "host/LUTPaths.h"
#include "host/Strings.h"
#include "luts/LUTManager.h"

#ifdef QFFX_HAVE_PLATFORM
#include "host/OS.h"
#include "image/GPU.h"
#include "platform/png/PngFile.h"
#endif

#include <charconv>
#include <cstdio>
#include <filesystem>
#include <string>
#include <unistd.h>

namespace {

using Wide = LightweightString<wchar_t>;

const char* const kHelp = "usage: qffx luts SUBCOMMAND [--factory DIR] [--user DIR] [--root DIR]\n"
                          "\n"
                          "  list [--json]          the LUT catalogue: factory LUTs, then the user's\n"
                          "                         (--json: objects with id, name, category,\n"
                          "                         manufacturer, detail, selectable)\n"
                          "  manufacturers          the manufacturer list, one a line\n"
                          "  install FILE...        copy LUT files into the user LUT directory (an\n"
                          "                         existing file is never replaced: 'Name (2).cube')\n"
#ifdef QFFX_HAVE_PLATFORM
                          "  apply LUT --in IN.png --out OUT.png [--interpolation trilinear|tetrahedral]\n"
                          "                         map a picture through a LUT on the GPU; LUT is a\n"
                          "                         catalogue identifier or name, or a .cube file\n"
#endif
                          "  aces-input N           the LUT from colorimetry N into ACES\n"
                          "  aces-output N          the LUT from ACES into colorimetry N\n"
                          "  direct FROM TO         the direct LUT between two colorimetries (the bare\n"
                          "                         LUT root when there is none)\n"
                          "  prefer-aces FROM TO    true when the conversion goes through ACES\n"
                          "\n"
                          "Colorimetry: 1 Rec.601, 2 Rec.709, 3 Rec.2020 (Rec.709 transfer), 4 Rec.2020\n"
                          "HLG, 5 Rec.2020 ST2084, 6 P3 DCI, 7 P3 Display, 8 ACES.\n"
                          "\n"
                          "  --factory DIR   the factory LUT directory (default: the embedded resources/luts/)\n"
                          "  --user DIR      the user LUT directory (default: $XDG_DATA_HOME/qffx/luts/)\n"
                          "  --root DIR      where the ACES transforms are (default: the factory directory)\n"
                          "\n"
                          "Exit status: 0 success, 1 the work failed (a file not installed, a draw\n"
                          "that failed), 2 bad usage, a bad value, or an unreadable file.\n";

int fail(int status, const std::string& message) {
    std::fprintf(stderr, "qffx luts: %s\n", message.c_str());
    return status;
}

std::string utf8(const Wide& s) { return toUTF8(s).str(); }

int list(bool asJson) {
    const std::vector<Ptr<iLUT>>& luts = LUTManager::instance().getAvailableLUTs();
    if (asJson) {
        std::string out = "[";
        for (size_t i = 0; i < luts.size(); ++i) {
            const iLUT& l = *luts[i];
            out += std::string(i ? ",\n " : "\n ") + "{\"id\": " + jsonString(utf8(l.getID())) +
                   ", \"name\": " + jsonString(utf8(l.getName())) + ", \"category\": " + jsonString(utf8(l.getCategory())) +
                   ", \"manufacturer\": " + jsonString(utf8(l.getManufacturer())) +
                   ", \"detail\": " + jsonString(utf8(l.getDetail())) +
                   ", \"selectable\": " + (l.isSelectable() ? "true" : "false") + "}";
        }
        std::printf("%s%s]\n", out.c_str(), luts.empty() ? "" : "\n");
        return 0;
    }
    for (const Ptr<iLUT>& l : luts) {
        std::string where = utf8(l->getCategory());
        if (!l->getManufacturer().empty() && l->getManufacturer() != l->getCategory()) where += ", " + utf8(l->getManufacturer());
        if (!l->getDetail().empty()) where += ", " + utf8(l->getDetail());
        std::printf("%s (%s)%s\n    %s\n", utf8(l->getName()).c_str(), where.c_str(),
                    l->isSelectable() ? "" : " [not selectable]", utf8(l->getID()).c_str());
    }
    return 0;
}

int install(const std::vector<std::string>& files) {
    if (files.empty()) return usageError("luts", "install needs at least one FILE");
    std::vector<Wide> paths;
    for (const std::string& f : files) {
        if (!std::filesystem::is_regular_file(f)) return fail(2, "cannot read " + f);
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
    return installed.size() == paths.size() ? 0
                                            : fail(1, std::to_string(paths.size() - installed.size()) + " of " +
                                                          std::to_string(paths.size()) + " files not installed");
}

bool colorimetry(const std::string& text, Qf::Image::Colorimetry& out) {
    int value = 0;
    const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (ec != std::errc() || end != text.data() + text.size()) return false;
    out = Qf::Image::Colorimetry(value);
    return true;
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

int apply(const ParsedArgs& parsed) {
    if (parsed.positional.size() != 2) return usageError("luts", "apply takes one LUT");
    if (!parsed.has("--in") || !parsed.has("--out")) return usageError("luts", "apply needs --in and --out");
    const std::string method = parsed.value("--interpolation", "trilinear");
    if (method != "trilinear" && method != "tetrahedral")
        return usageError("luts", "--interpolation is trilinear or tetrahedral, not '" + method + "'");

    iGPUService* gpu = startGPU("luts");
    if (!gpu) return 2;
    std::string error;
    const Ptr<HostImage> in = PngFile::read(fromUTF8(parsed.value("--in").c_str()), error, gpu->maxImageSide());
    if (!in) return fail(2, error);

    LUTManager::LoadedLUT lut;
    if (!findLUT(parsed.positional[1], *gpu, lut, error)) return fail(2, error);

    const Surface source = Surface::forGPUImage(in->createGPUImage(*gpu));
    Surface destination;
    const auto interpolation = method == "tetrahedral" ? Qf::Image::GPU::eTetrahedral : Qf::Image::GPU::eTrilinear;
    if (!Qf::Image::GPU::applyLUT(source, destination, lut.image, lut.mapping, interpolation))
        return fail(1, "applying the LUT failed");
    const Ptr<HostImage> result = HostImage::fromGPUImage(*destination.getGPUSurface());
    if (!result) return fail(1, "cannot read the result back from the GPU");
    // Written beside the destination and renamed when complete: a failure
    // never leaves a partial picture under the destination's name.
    if (!PngFile::write(fromUTF8(parsed.value("--out").c_str()), *result, error)) return fail(1, error);
    return 0;
}
#endif

} // namespace

int runLuts(const CommandArgs& args) {
    const ParsedArgs parsed = parseArgs(args, {{"--json", false},
                                               {"--in", true},
                                               {"--out", true},
                                               {"--interpolation", true},
                                               {"--factory", true},
                                               {"--user", true},
                                               {"--root", true}});
    if (parsed.help) {
        std::fputs(kHelp, stdout);
        return 0;
    }
    if (!parsed.error.empty()) return usageError("luts", parsed.error);
    if (parsed.positional.empty()) return usageError("luts", "give a subcommand");
    if (parsed.has("--factory")) setLUTDirectory(iSettings::eFactory, fromUTF8(parsed.value("--factory").c_str()));
    if (parsed.has("--user")) setLUTDirectory(iSettings::eUser, fromUTF8(parsed.value("--user").c_str()));
    if (parsed.has("--root")) setLUTRoot(fromUTF8(parsed.value("--root").c_str()));

    const std::string& sub = parsed.positional[0];
    const std::vector<std::string> rest(parsed.positional.begin() + 1, parsed.positional.end());
    if (parsed.has("--json") && sub != "list") return usageError("luts", "--json goes with list");
    if ((parsed.has("--in") || parsed.has("--out") || parsed.has("--interpolation")) && sub != "apply")
        return usageError("luts", "--in, --out and --interpolation go with apply");

    if (sub == "list" || sub == "manufacturers") {
        if (!rest.empty()) return usageError("luts", sub + " takes no arguments");
        if (sub == "list") return list(parsed.has("--json"));
        for (const Wide& m : LUTManager::instance().getManufacturers()) std::printf("%s\n", utf8(m).c_str());
        return 0;
    }
    if (sub == "install") return install(rest);
#ifdef QFFX_HAVE_PLATFORM
    if (sub == "apply") return apply(parsed);
#endif
    if (sub == "aces-input" || sub == "aces-output") {
        Qf::Image::Colorimetry c;
        if (rest.size() != 1 || !colorimetry(rest[0], c)) return usageError("luts", sub + " takes one colorimetry number");
        std::printf("%s\n", utf8(sub == "aces-input" ? LUTManager::getACESInputLUT(c) : LUTManager::getACESOutputLUT(c)).c_str());
        return 0;
    }
    if (sub == "direct" || sub == "prefer-aces") {
        Qf::Image::Colorimetry from, to;
        if (rest.size() != 2 || !colorimetry(rest[0], from) || !colorimetry(rest[1], to))
            return usageError("luts", sub + " takes two colorimetry numbers, FROM and TO");
        if (sub == "direct")
            std::printf("%s\n", utf8(LUTManager::getInputLUT(from, to)).c_str());
        else
            std::printf("%s\n", LUTManager::preferACES(from, to) ? "true" : "false");
        return 0;
    }
    return usageError("luts", "unknown subcommand '" + sub + "'");
}
