#include <syslog.h>

#include "platform/AppServices.h"

namespace VDIFrameworkCommon::platform {

void writeSystemLog(const std::string& line) noexcept {
    ::syslog(LOG_NOTICE, "%s", line.c_str());
}

}  // namespace VDIFrameworkCommon::platform
