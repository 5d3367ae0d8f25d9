#include "Version.h"

#include <qffxresources/Version.h>

namespace Qf::FxResources {

const char* libraryVersion() { return QFFXRESOURCES_VERSION_STRING; }

} // namespace Qf::FxResources
