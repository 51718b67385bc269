#pragma once

#include <poll.h>

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "survey/Descriptor.h"
#include "survey/Survey.h"

namespace vdictl {

/// Waits until what is shared changes.
///
/// The system tells when an object is made, removed or written through a descriptor, and when a process ends. It does
/// not tell when a process writes to an object in its memory, which is what agents do: for that the bytes of records
/// and events are compared, twenty times a second, while there are any. Processes that the system gives no descriptor
/// of are looked at as often. Without any of these nothing is polled.
class Watcher {
public:
    enum class Reason { Changed, Stopped };

    /// Takes SIGINT, SIGTERM, SIGHUP, SIGPIPE and SIGWINCH for itself. Throws `Failure`.
    Watcher();
    Watcher(const Watcher&) = delete;
    Watcher& operator=(const Watcher&) = delete;

    /// What to watch from now on: the records, events and processes that were surveyed.
    void watch(const Survey& survey);

    /// Waits until something is otherwise than it was surveyed, or the terminal's size is, or until the program is to
    /// end: by a signal, or as its reader is gone. At the latest after `seconds`, with `Changed`.
    Reason wait(int seconds);

private:
    struct Record {
        std::string path;
        std::string bytes;
    };

    void watchProcess(std::uint32_t pid);
    bool anyRecordChanged() const;
    bool anyProcessEnded() const;
    void forgetEnded(const std::vector<pollfd>& sources);
    int nextLookMs(int leftMs) const;
    bool isAskedToStop() const;

    Descriptor folder_;
    Descriptor signals_;
    std::vector<Record> records_;
    std::map<std::uint32_t, Descriptor> processes_;
    std::set<std::uint32_t> withoutDescriptor_;  ///< processes of which the system gives none
};

}  // namespace vdictl
