// The version of the library as built, asked at run time: a program compares
// it with QFFXRESOURCES_VERSION_STRING (qffxresources/Version.h), the version
// it was compiled against, to tell which library it runs with.
#pragma once

namespace Qf::FxResources {

// "MAJOR.MINOR.PATCH", as QFFXRESOURCES_VERSION_STRING was when the library was built.
const char* libraryVersion();

} // namespace Qf::FxResources
