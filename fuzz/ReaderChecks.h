// What every fuzz target that reads effects checks of the reader's errors.
#pragma once

#include "effects/ShaderEffectInfo.h"

// Traps unless every error the reader recorded carries one of its prefixes.
inline void checkErrorPrefixes(const ShaderEffectInfo& effect) {
    for (const ShaderError& e : effect.getErrors()) {
        bool known = false;
        for (int kind = 0; kind <= ShaderEffectInfo::eTooManyLines; ++kind)
            known |= e.message.startsWith(ShaderEffectInfo::errorPrefix(ShaderEffectInfo::eErrorType(kind)));
        if (!known) __builtin_trap();
    }
}
