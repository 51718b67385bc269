#pragma once

#include <dpllogger/DPLLogger.h>

#include <iosfwd>
#include <string>
#include <vector>

/// A logging library that keeps what it is given, so that tests can look at it. It takes the place of the real one.
///
/// A record must come from where it says: it is looked for in the sources, on the line that it names, and a process
/// with a record that is not there ends at once.
namespace recording {

struct Record {
    std::string logger;
    DPLLogLevel level;
    std::string path;
    int line;
    std::string function;
    std::string message;
};

/// Two records are the same when all but their lines are, which tests need not know.
bool operator==(const Record& a, const Record& b);
std::ostream& operator<<(std::ostream& stream, const Record& record);

/// The records since the last call, in the order of arrival.
std::vector<Record> takeRecords();

/// Every call of the controller but `log` since the last call, as text: "setLogLevel 5".
std::vector<std::string> takeCalls();

/// The names that handles were asked for, in order, since the process began. A name that is listed, separated by
/// commas, in the environment variable RECORDING_NULL_LOGGERS gets a null handle.
std::vector<std::string> requestedLoggers();

/// What `isFileWritingAllowed` answers.
void setFileWritingAllowedAnswer(bool allowed);

/// Called for every record before it is kept, on the thread that logs it; null to stop.
void setObserver(void (*observer)(const Record&));

/// Called for every other call of the controller with its text, as `takeCalls` gives it; null to stop.
void setCallObserver(void (*observer)(const std::string& call));

/// How many controllers exist now.
int liveControllers();

/// Called when this library is unloaded, which is after the runtime library's own end; null for nothing.
void atUnload(void (*function)());

/// Stops keeping records, for measurements.
void setKeeping(bool keep);

}  // namespace recording
