#include "Log.h"

#include <algorithm>

#include "ControllerLease.h"

namespace VDIFrameworkCommon::log {

namespace {

void join(std::string& message, std::initializer_list<Piece> pieces) {
    std::size_t size = 0;
    for (const Piece& piece : pieces) {
        size += piece.text().size();
    }
    // Records of one size follow each other, so this mostly does nothing.
    message.resize(size);
    char* end = message.data();
    for (const Piece& piece : pieces) {
        end = std::copy_n(piece.text().data(), piece.text().size(), end);
    }
}

}  // namespace

const std::string& neverDestroyed(const char* text) {
    return *new std::string(text);
}

Source::Source(const char* loggerName, const char* path) : path_(&neverDestroyed(path)) {
    if (const DPLLogger* const handle = DPLLogger_getLogger(loggerName)) {
        if (const char* const name = DPLLogger_getName(handle)) {
            name_ = &neverDestroyed(name);
        }
    }
}

void Source::write(DPLLogLevel level, int line, const std::string& function,
                   std::initializer_list<Piece> message) const noexcept {
    const ControllerLease lease;
    if (lease.controller() == nullptr || name_ == nullptr) {
        return;
    }
    try {
        std::string own;
        std::string* const kept = lease.buffer();
        std::string& text = kept != nullptr ? *kept : own;
        join(text, message);
        lease.controller()->log(*name_, level, *path_, line, function, text);
    } catch (...) {  // NOLINT(bugprone-empty-catch)
        // A record that cannot be written is lost; the operation that it reports goes on.
    }
}

void Source::writeKept(DPLLogLevel level, int line, const std::string& function,
                       const std::string& message) const noexcept {
    const ControllerLease lease;
    if (lease.controller() == nullptr || name_ == nullptr) {
        return;
    }
    try {
        lease.controller()->log(*name_, level, *path_, line, function, message);
    } catch (...) {  // NOLINT(bugprone-empty-catch)
        // As above.
    }
}

}  // namespace VDIFrameworkCommon::log
