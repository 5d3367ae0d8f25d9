// Readable gtest output for the host's strings and compile records.
#pragma once

#include "host/base/Strings.h"
#include "host/os/ShaderEffect.h"

#include <ostream>

inline void PrintTo(const LightweightString<char>& s, std::ostream* os) { *os << '"' << s.view() << '"'; }
inline void PrintTo(const LightweightString<wchar_t>& s, std::ostream* os) { *os << "L\"" << toUTF8(s).view() << '"'; }
inline void PrintTo(const ShaderError& e, std::ostream* os) { *os << "{\"" << e.message.view() << "\", line " << e.line << "}"; }
inline void PrintTo(const ShaderDefinition& d, std::ostream* os) { *os << d.name.view() << "=" << d.value.view(); }
