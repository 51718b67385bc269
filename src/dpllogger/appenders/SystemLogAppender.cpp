#include "appenders/SystemLogAppender.h"

#include <syslog.h>

#include <algorithm>
#include <string>

#include "RecordForm.h"

namespace DPL::dpllogger {

// An empty identification stands for the program's name.
SystemLogAppender::SystemLogAppender() : sink_("", LOG_PID, LOG_USER, false) {
}

void SystemLogAppender::write(std::string_view lines) {
    while (!lines.empty()) {
        const std::size_t length = std::min(lines.find('\n'), lines.size());
        const LineTail tail = tailOf(lines.substr(0, length));
        sink_.log({{}, tail.level, {tail.text.data(), tail.text.size()}});
        lines.remove_prefix(std::min(lines.size(), length + 1));
    }
}

}  // namespace DPL::dpllogger
