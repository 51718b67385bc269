#pragma once

namespace agent {

/// Answers the messages on standard input, one after the other, until one of them asks to quit or `stop` becomes
/// readable. The end of the input is not the end: the agent then only waits for `stop`. A terminal is read from only
/// while it is this program's.
void answerInput(int stop);

}  // namespace agent
