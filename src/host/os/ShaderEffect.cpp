#include "host/os/ShaderEffect.h"

ShaderInputBinding ShaderInputBinding::whole(const LightweightString<char>& name, const Ptr<iGPUImage>& image) {
    ShaderInputBinding b;
    b.name = name;
    b.image = image;
    const float w = image ? float(image->getSize().x) : 0.0f;
    b.corners[0] = {0, 0};
    b.corners[1] = {w, 0};
    b.corners[2] = {0, 1};
    b.corners[3] = {w, 1};
    return b;
}
