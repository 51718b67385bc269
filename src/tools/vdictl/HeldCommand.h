#pragma once

#include <string>
#include <vector>

#include "SignalQueue.h"

namespace vdictl {

/// The signals that a program which runs a command for somebody passes on to it.
inline constexpr std::initializer_list<int> forwardedSignals{SIGHUP,  SIGINT,  SIGQUIT, SIGTERM,
                                                             SIGUSR1, SIGUSR2, SIGALRM};

/// Runs a command to its end and passes on the signals that come meanwhile.
///
/// \param signals  takes the signals above, SIGCHLD and SIGPIPE
/// \return what the command ended with, 128 and the number of a signal, or what shells have for a command that cannot
/// be run: 127 when there is none, 126 otherwise, with a complaint
int runCommand(std::vector<std::string> words, SignalQueue& signals);

}  // namespace vdictl
