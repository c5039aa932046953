#include "service/NoConfiguration.h"

#include "files/XMLTools.h"

// The linker hands every call of XMLTools::LoadConfig from outside its own source to the first of
// these, and gives the operation itself the name of the second; see --wrap in CMakeLists.txt.
extern "C" {
CConfigInfo* __wrap__ZN8XMLTools10LoadConfigEv(XMLTools* self);
CConfigInfo* __real__ZN8XMLTools10LoadConfigEv(XMLTools* self);
}

namespace {

bool withoutConfiguration = false;

} // namespace

NoConfiguration::NoConfiguration() {
    withoutConfiguration = true;
}

NoConfiguration::~NoConfiguration() {
    withoutConfiguration = false;
}

CConfigInfo* __wrap__ZN8XMLTools10LoadConfigEv(XMLTools* self) {
    return withoutConfiguration ? nullptr : __real__ZN8XMLTools10LoadConfigEv(self);
}
