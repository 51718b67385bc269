#pragma once

#include <dpllogger/DPLLogger.h>

#include <charconv>
#include <concepts>
#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>

/// How every function of the library emits a record.
///
/// A source file that logs defines, in its unnamed namespace, `const log::Source logSource("<logger name>", __FILE__);`
/// and writes records with `VDI_LOG(DPL_DEBUG, "Add pid: ", pid);`. Text and integers are the pieces a message is made
/// of; an integer is printed in plain decimal, whatever the locale.

namespace VDIFrameworkCommon::log {

/// One piece of a message; formats a number in place, so composing allocates nothing.
class Piece {
public:
    Piece(std::string_view text) noexcept : text_(text) {}    // NOLINT(google-explicit-constructor)
    Piece(const std::string& text) noexcept : text_(text) {}  // NOLINT(google-explicit-constructor)
    Piece(const char* text) noexcept : text_(text) {}         // NOLINT(google-explicit-constructor)
    template <std::integral Integer>
    requires(!std::same_as<Integer, bool> && !std::same_as<Integer, char>) Piece(Integer value)
    noexcept  // NOLINT(google-explicit-constructor)
        : text_(digits_,
                static_cast<std::size_t>(std::to_chars(digits_, digits_ + sizeof digits_, value).ptr - digits_)) {}
    Piece(const Piece&) = delete;
    Piece& operator=(const Piece&) = delete;

    std::string_view text() const noexcept { return text_; }

private:
    char digits_[20];  // of any 64-bit number, with its sign
    std::string_view text_;
};

/// The logger handle, name and path of one source file. The strings are made once, at load, and never freed, because
/// records are written from static destructors too.
///
/// Thread-safe: immutable.
class Source {
public:
    Source(const char* loggerName, const char* path);

    /// Whether there is a logger to write to: false means that every record is dropped.
    bool present() const noexcept { return name_ != nullptr; }

    /// Hands the record to the controller, or drops it when there is no controller or no handle. Never throws.
    void write(DPLLogLevel level, int line, const std::string& function,
               std::initializer_list<Piece> message) const noexcept;

    /// The same with a message that is composed already.
    void writeKept(DPLLogLevel level, int line, const std::string& function, const std::string& message) const noexcept;

private:
    const std::string* name_ = nullptr;  // null: no handle, every record is dropped
    const std::string* path_;
};

/// Makes a string that is never freed.
const std::string& neverDestroyed(const char* text);

}  // namespace VDIFrameworkCommon::log

/// Emits a record in the name of the function that contains it.
#define VDI_LOG(level, ...) VDI_LOG_AS(__func__, level, __VA_ARGS__)

/// Emits a record whose message is kept: for those that are written again and again.
#define VDI_LOG_KEPT(level, message)                                                                    \
    do {                                                                                                \
        static const std::string& vdiLogFunction = ::VDIFrameworkCommon::log::neverDestroyed(__func__); \
        logSource.writeKept(level, __LINE__, vdiLogFunction, message);                                  \
    } while (false)

/// Emits a record in the name of another function: for lambdas, whose own name says nothing.
#define VDI_LOG_AS(function, level, ...)                                                                \
    do {                                                                                                \
        static const std::string& vdiLogFunction = ::VDIFrameworkCommon::log::neverDestroyed(function); \
        logSource.write(level, __LINE__, vdiLogFunction, {__VA_ARGS__});                                \
    } while (false)
