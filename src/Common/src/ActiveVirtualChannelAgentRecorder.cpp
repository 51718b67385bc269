#include "VDIFrameworkCommon/ActiveVirtualChannelAgentRecorder.h"

#include <chrono>
#include <thread>

#include "Log.h"
#include "SharedRecords.h"
#include "VDIFrameworkCommon/ProcessUtils.h"
#include "VDIFrameworkCommon/SHMStorageMacosx.h"
#include "VDIFrameworkCommon/VDIClientInfo.h"
#include "VDIFrameworkCommon/VDIRunnerCounter.h"

namespace VDIFrameworkCommon {

namespace {

const log::Source logSource("ActiveAgentRecorder", __FILE__);

using records::ActiveAgent;

constexpr std::chrono::milliseconds settlingTime{1000};

const char* storageName() {
    switch (VDIClientInfo::getInstance()->getClientType()) {
        case VDIClientType::OrvexCrews:
            return "TavixCrewsActiveVirtualChannelAgentRecorder";
        case VDIClientType::OrvexHuddles:
            return "TavixHuddleActiveVirtualChannelAgentRecorder";
        default:
            return "TavixUniversalActiveVirtualChannelAgentRecorder";
    }
}

unsigned int currentPid() {
    return static_cast<unsigned int>(ProcessUtils::getCurrentProcessId());
}

}  // namespace

ActiveVirtualChannelAgentRecorder::ActiveVirtualChannelAgentRecorder()
    : storage_(std::make_unique<SHMStorageMacosx>(storageName())) {
}

ActiveVirtualChannelAgentRecorder::~ActiveVirtualChannelAgentRecorder() {
    const std::lock_guard lock(mutex_);
    storage_.reset();
}

unsigned int ActiveVirtualChannelAgentRecorder::getActiveVirtualChannelAgentPid() {
    const std::lock_guard lock(mutex_);
    ActiveAgent agent{};
    if (storage_ == nullptr || !storage_->readData(&agent, sizeof agent)) {
        VDI_LOG(DPL_ERROR, "Failed to read active virtual channel agent pid from shared storage.");
        return 0;
    }
    if (agent.pid != lastReadPid_) {
        lastReadPid_ = agent.pid;
        VDI_LOG(DPL_DEBUG, "Active virtual channel agent pid: ", agent.pid);
    }
    return agent.pid;
}

void ActiveVirtualChannelAgentRecorder::setActiveVirtualChannelAgentPid(unsigned int pid) {
    VDI_LOG(DPL_DEBUG, "Set active virtual channel agent pid: ", pid);
    const std::lock_guard lock(mutex_);
    if (storage_ != nullptr) {
        const ActiveAgent agent{pid};
        storage_->writeData(&agent, sizeof agent);
    }
}

void ActiveVirtualChannelAgentRecorder::clearActiveVirtualChannelAgent() {
    setActiveVirtualChannelAgentPid(0);
}

bool ActiveVirtualChannelAgentRecorder::hasOtherActiveVirtualChannelAgent() {
    const unsigned int pid = getActiveVirtualChannelAgentPid();
    if (pid == 0) {
        return false;
    }
    if (!ProcessUtils::isProcessRunning(pid)) {
        // Wording relied on by log readers.
        VDI_LOG(DPL_WARN, "current acrive virtual channel agent is not running: ", pid);
        setActiveVirtualChannelAgentPid(0);
        return false;
    }
    return pid != currentPid();
}

void ActiveVirtualChannelAgentRecorder::markCurrentVirtualChannelAgentAsActive() {
    setActiveVirtualChannelAgentPid(currentPid());
    const auto runners = VDIRunnerCounter::getInstance()->getAllRunners();
    VDI_LOG(DPL_DEBUG, "virtual channel agent size: ", runners.size());
    if (runners.size() >= 2) {
        VDI_LOG(DPL_DEBUG, "Wait for ", settlingTime.count(), " ms");
        std::this_thread::sleep_for(settlingTime);
    }
}

}  // namespace VDIFrameworkCommon
