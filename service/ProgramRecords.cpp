// What the executable says of itself to the system's own tools. Text only: no code reads it, and
// the words in capitals are no arguments of the program. Shown by
//   readelf -p QNX_usage Songlatch; readelf -p QNX_info Songlatch
#include "Version.h"

namespace {

[[gnu::section("QNX_usage"), gnu::used, gnu::retain]] char const usageRecord[] =
    "service to handle HD Radio Tag for Purchase\n"
    "Read doc/SonglatchingJSONInterface.doc for further information\n"
    "\n"
    "Supports DEBUG , FILELOGGING, CONFIGFILE as arugments.\n"
    "- DEBUG outputs messages to the screen\n"
    "- FILELOGGING outputs the same messages to /tmp/Songlatching.log\n"
    "- CONFIGFILE takes the next argument as the full path to the config file.\n"
    "  ex: CONFIGFILE /etc/Songlatchingconfig.xml\n";

[[gnu::section("QNX_info"), gnu::used, gnu::retain]] char const infoRecord[] =
    "NAME=Songlatch\n"
    "DESCRIPTION=Service to handle HD Radio Tag for Purchase\n"
    "STATE=Experimental\n"
    "VERSION=" SONGLATCH_VERSION "\n"
    "DATE=" SONGLATCH_DATE "\n";

} // namespace
