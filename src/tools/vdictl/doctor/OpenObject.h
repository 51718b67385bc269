#pragma once

#include <sys/stat.h>

#include <cstddef>

#include "survey/Descriptor.h"
#include "survey/Objects.h"

namespace vdictl {

/// An object that is about to be repaired: the very one that was surveyed. Throws `Failure` when it cannot be opened.
class OpenObject {
public:
    explicit OpenObject(const Object& object);
    ~OpenObject();
    OpenObject(const OpenObject&) = delete;
    OpenObject& operator=(const OpenObject&) = delete;

    /// There is no object of the name any more, or another one.
    bool isGone() const { return !fd_.isOpen(); }

    int fd() const { return fd_.get(); }

    /// Its state now.
    struct stat status() const;

    /// Maps the record, which must not be larger than the object.
    void* map(std::size_t size);

    /// The object's path.
    const std::string& path() const { return path_; }

private:
    std::string path_;
    Descriptor fd_;
    void* mapping_ = nullptr;
    std::size_t size_ = 0;
};

/// Keeps everybody else from an object, where nobody has it open or in memory, whoever and wherever they are. Who opens
/// it meanwhile waits.
class Exclusion {
public:
    enum class State {
        Held,
        InUse,       ///< somebody has the object open or in memory
        Unavailable  ///< the system does not tell, or not to this user
    };

    explicit Exclusion(int fd);
    ~Exclusion();
    Exclusion(const Exclusion&) = delete;
    Exclusion& operator=(const Exclusion&) = delete;

    State state() const { return state_; }

    /// Whether somebody waits for the object.
    bool isWanted() const;

private:
    int fd_;
    State state_ = State::Unavailable;
};

}  // namespace vdictl
