#pragma once

#include <memory>

namespace agent {

/// Tells the agents of one user and one client product that the active role may have changed.
///
/// What is shared is a named event. Whoever waits on it or sets it may be held up for good when another process dies at
/// the wrong moment; threads of its own do that, which nobody waits for. Thread-safe; nothing here blocks for longer
/// than it says.
class RoleEvent {
public:
    /// Opens the event of this process's user and product.
    RoleEvent();
    ~RoleEvent();
    RoleEvent(const RoleEvent&) = delete;
    RoleEvent& operator=(const RoleEvent&) = delete;

    /// Whether the event could be opened.
    bool isOpen() const;

    /// Frees the event's lock, which an agent that died may have held.
    void heal();

    /// Lets this agent's `wait` return, and wakes every other agent.
    void set();

    /// As `set`, and gives the others' wake-up a moment to be sent.
    void setAndSend();

    /// Waits until this agent or another one says that there was a change.
    void wait();

private:
    struct Bridge;
    const std::shared_ptr<Bridge> bridge_;
};

}  // namespace agent
