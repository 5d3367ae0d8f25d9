#include "EffectFiles.h"

#include "host/Paths.h"
#include "host/Strings.h"
#include "host/TextFile.h"

#include <filesystem>

namespace fs = std::filesystem;

std::string resolveEffectPath(const std::string& effect, std::string& error) {
    std::error_code ec;
    if (fs::is_regular_file(effect, ec)) return effect;
    if (effect.find('/') == std::string::npos) {
        const std::string dir = toUTF8(getShadersDir()).str();
        std::string wanted = toLower(LightweightString<char>(effect)).str();
        if (!wanted.ends_with(".fx")) wanted += ".fx";
        for (const auto& entry : fs::directory_iterator(dir, ec)) {
            const std::string name = entry.path().filename().string();
            if (entry.is_regular_file(ec) && toLower(LightweightString<char>(name)).str() == wanted) return entry.path().string();
        }
        error = "no effect named '" + effect + "' in " + dir;
        return {};
    }
    error = "cannot read '" + effect + "'";
    return {};
}

Ptr<ShaderEffectInfo> loadEffect(const std::string& path, std::string& error) {
    const LightweightString<wchar_t> widePath = fromUTF8(path.c_str());
    TextFile text;
    if (!text.load(widePath)) {
        error = "cannot read '" + path + "'";
        return {};
    }
    Ptr<ShaderEffectInfo> effect(new ShaderEffectInfo(text));
    effect->setFileName(widePath);
    return effect;
}
