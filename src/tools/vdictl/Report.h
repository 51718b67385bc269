#pragma once

#include <exception>
#include <string>

namespace vdictl {

/// Why something could not be done, as the user is told: which object, which call, what the system said, what to do.
///
///     throw Failure{"event 'x' (/dev/shm/123)", "shm_open", EACCES, "run as its owner, user 1000, or as root"};
///
/// prints "vdictl: event 'x' (/dev/shm/123): shm_open: Permission denied (EACCES); run as its owner, user 1000, or as
/// root".
class Failure : public std::exception {
public:
    /// \param object  what it is about, with its name; printable
    /// \param call    the call that failed; may be empty
    /// \param error   the error number that it gave; 0 without one
    /// \param advice  what the user can do; may be empty
    Failure(std::string object, const std::string& call, int error, const std::string& advice = {});

    /// With words in the place of an error number.
    Failure(std::string object, const std::string& call, const std::string& reason, const std::string& advice = {});

    const char* what() const noexcept override { return text_.c_str(); }

private:
    std::string text_;
};

/// "Permission denied (EACCES)"
std::string errorText(int error);

/// Writes "vdictl: …" and the text as a line to standard error.
void complain(const std::string& text);

}  // namespace vdictl
