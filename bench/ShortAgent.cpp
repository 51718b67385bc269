// A whole agent's life, as short as it can be: registers, looks who is active, becomes active, leaves.

#include <VDIFrameworkCommon/ActiveVirtualChannelAgentRecorder.h>
#include <VDIFrameworkCommon/ProcessUtils.h>
#include <VDIFrameworkCommon/VDIRunnerCounter.h>

int main() {
    using namespace VDIFrameworkCommon;
    const auto self = static_cast<unsigned int>(ProcessUtils::getCurrentProcessId());
    VDIRunnerCounter::getInstance()->addRunner(self);
    ActiveVirtualChannelAgentRecorder recorder;
    if (!recorder.hasOtherActiveVirtualChannelAgent()) {
        recorder.setActiveVirtualChannelAgentPid(self);
    }
    recorder.clearActiveVirtualChannelAgent();
    VDIRunnerCounter::getInstance()->removeRunner(self);
}
