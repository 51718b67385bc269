#pragma once

#include <memory>
#include <string>

/// \file
/// The interface between libVDIFrameworkCommon and the library that writes its logs.
///
/// A host may put a logging library of its own in place of libtavixhuddleslogger: whatever defines these names under
/// the same shared-object name is used, because the runtime library reaches its logs through dynamic linking alone.
///
/// Thread-safe: any thread may call any function here, also `LogController::log`, from several threads at once.

#pragma GCC visibility push(default)

/// How severe a record is; a smaller number is more severe. The runtime library emits the levels 2 to 6 only.
///
/// As a threshold (`LogController::setLogLevel`) every record whose level is not above it passes.
enum DPLLogLevel : int {
    DPL_OFF = 0,    ///< as a threshold: nothing passes
    DPL_FATAL = 1,  ///< the process cannot go on
    DPL_ERROR = 2,  ///< a failed operation
    DPL_WARN = 3,   ///< suspicious, but tolerated
    DPL_INFO = 4,   ///< milestones of set-up and process control
    DPL_DEBUG = 5,  ///< detail of each operation
    DPL_TRACE = 6,  ///< each access to shared storage
    DPL_ALL = 7     ///< as a threshold: everything passes
};

/// A named logger. Opaque; owned by the logging library and valid until the process ends.
struct DPLLogger;

/// Returns the logger called `name`, a zero-terminated text, made on the first call with that name, or null when there
/// can be none. The logger stays the logging library's.
extern "C" DPLLogger* DPLLogger_getLogger(const char* name);

/// Returns the name that `logger` was made with; null for a null logger. The text belongs to the logger.
extern "C" const char* DPLLogger_getName(const DPLLogger* logger);

namespace DPL::dpllogger {

/// Where records are written.
enum class LogAppenderType : int {
    None = 0,           ///< nowhere: records are discarded
    Console = 1,        ///< standard error
    File = 2,           ///< the log file
    SystemLog = 3,      ///< the system's log
    FileAndConsole = 4  ///< the log file and standard error
};

/// Receives every record of the process and writes it out.
///
/// Thread-safe, except for construction and destruction; its owner is whoever made it. The order of the virtual
/// operations is part of the interface. None of them throws, is cut short when its thread is
/// cancelled or lets the signal of a failed write through.
class LogController {
public:
    /// Makes a controller without a log file. Reads the settings for support (DPL_LOG_LEVEL and others).
    LogController();

    /// Writes what waits and can be written.
    virtual ~LogController();

    /// Sets where the log file lies: the file itself, or a folder, in which it is "parlet.log". Missing folders are
    /// made. Where nothing exists yet, a location is a folder if it ends in a slash or its last part has no extension.
    /// An empty one is ignored.
    ///
    /// Records taken before are written now. If the location cannot be used, that is reported on standard error once
    /// and the log goes there.
    virtual void init(std::string location);

    /// Sets the threshold: a record passes when its level is not above `level`, which may be any number. At first it is
    /// `DPL_INFO`. The environment variable DPL_LOG_LEVEL is stronger.
    virtual void setLogLevel(DPLLogLevel level);

    /// Sets where records go from now on; at first to the file. An unknown value changes nothing. The environment
    /// variable DPL_LOG_APPENDER is stronger.
    virtual void setAppenderType(LogAppenderType type);

    /// Tells whether records may be written to the file now; at first they may.
    virtual bool isFileWritingAllowed();

    /// While file writing is not allowed, records for the file wait in memory; when there are too many, the oldest are
    /// dropped and counted. What waited is written by the next `flush` after writing is allowed, or within a second.
    virtual void setFileWritingAllowed(bool allowed);

    /// Keeps its place in the order of operations; does nothing.
    virtual void reserved();

    /// Takes one record. One of level `DPL_ERROR` or more severe is in the file when this returns, after every record
    /// that was taken before it; others may wait for a second.
    ///
    /// What cannot be written is counted, and the count is written as a record of its own when writing works again.
    ///
    /// Works in a forked child, and from exit handlers and static destructors as long as the controller exists.
    ///
    /// \param loggerName  name of the logger that the record belongs to
    /// \param level       its severity
    /// \param sourceFile  path of the emitting source file, relative to its source tree
    /// \param line        source line
    /// \param function    unqualified name of the emitting function
    /// \param message     text, any bytes
    virtual void log(const std::string& loggerName, DPLLogLevel level, const std::string& sourceFile, int line,
                     const std::string& function, const std::string& message);

    /// Writes out every record taken so far, unless file writing is not allowed.
    virtual void flush();

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace DPL::dpllogger

#pragma GCC visibility pop
