// host FILE: the worked example of the README, with its log in a file of the caller's choice.
#include <VDIFrameworkCommon/VDIFrameworkCommon.h>

#include <cstdio>

int main(int /*argc*/, char** argv) {
    using namespace VDIFrameworkCommon;

    VirtualChannelLogger_init(argv[1]);
    VDIClientInfo::getInstance()->setClientType(VDIClientType::OrvexHuddles);

    const auto self = static_cast<unsigned int>(ProcessUtils::getCurrentProcessId());
    VDIRunnerCounter::getInstance()->addRunner(self);

    ActiveVirtualChannelAgentRecorder recorder;
    if (!recorder.hasOtherActiveVirtualChannelAgent()) {
        recorder.markCurrentVirtualChannelAgentAsActive();
    }
    std::printf("active: %u, I am %u\n", recorder.getActiveVirtualChannelAgentPid(), self);

    VDIRunnerCounter::getInstance()->removeRunner(self);
    VirtualChannelLogger_flush();
}
