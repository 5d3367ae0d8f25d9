// Path helpers and the configured directories.
//
// Paths are wide strings with "/" separators. The shaders directory is chosen,
// in order, by setShadersDir (the tool's --shaders option), the environment
// variable QFFX_SHADERS_DIR, and the embedded resources/shaders/ directory.
#pragma once

#include "host/base/LightweightString.h"
#include "host/misc/Settings.h"

// The effects directory: absolute, always ending in a separator.
LightweightString<wchar_t> getShadersDir();
// Overrides the shaders directory; an empty path restores the default choice.
void setShadersDir(const LightweightString<wchar_t>& dir);

// The effect-templates directory, chosen like the shaders directory: by
// setFXTemplatesDir (the tool's --templates option), the environment variable
// QFFX_TEMPLATES_DIR, then the embedded resources/effect-templates/.
// Both scopes give the same directory.
LightweightString<wchar_t> getFXTemplatesDirectory(iSettings::eType scope);
void setFXTemplatesDir(const LightweightString<wchar_t>& dir);

// "a" + "b" -> "a/b"; no doubled separator; an empty part gives the other.
LightweightString<wchar_t> joinPaths(const LightweightString<wchar_t>& dir, const LightweightString<wchar_t>& name);
// "/x/y/name.fx" -> "name.fx"
LightweightString<wchar_t> stripPath(const LightweightString<wchar_t>& path);
// "/x/y/name.fx" -> "name"
LightweightString<wchar_t> stripPathAndExt(const LightweightString<wchar_t>& path);
// "/x/y/name.fx" -> "fx"; "" when the file name has no extension.
LightweightString<wchar_t> getExtension(const LightweightString<wchar_t>& path);
// An absolute form of `dir` (against the working directory), with a trailing separator.
LightweightString<wchar_t> absoluteDirectory(const LightweightString<wchar_t>& dir);
// Adds a trailing separator unless there is one (or the path is empty).
LightweightString<wchar_t> withTrailingSeparator(const LightweightString<wchar_t>& dir);
