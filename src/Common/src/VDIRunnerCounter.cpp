#include "VDIFrameworkCommon/VDIRunnerCounter.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <mutex>

#include "Log.h"
#include "SharedRecords.h"
#include "UnloadGate.h"
#include "VDIFrameworkCommon/SHMStorageMacosx.h"
#include "VDIFrameworkCommon/VDIClientInfo.h"

namespace VDIFrameworkCommon {

namespace {

const log::Source logSource("VDIRunnerCounter", __FILE__);

using records::RunnerList;

const char* storageName() {
    switch (VDIClientInfo::getInstance()->getClientType()) {
        case VDIClientType::OrvexCrews:
            return "TavixCrewsVDIRunnerCounter";
        case VDIClientType::OrvexHuddles:
            return "TavixHuddleVDIRunnerCounter";
        default:
            return "TavixUniversalVDIRunnerCounter";
    }
}

enum class InstanceState { NotMade, Reachable, Released };
std::atomic<InstanceState> instanceState{InstanceState::NotMade};

}  // namespace

std::shared_ptr<VDIRunnerCounter> VDIRunnerCounter::instance;

/// Releases the instance at unload.
class VDIRunnerCounter::InstanceRelease {
public:
    InstanceRelease() = default;
    InstanceRelease(const InstanceRelease&) = delete;
    InstanceRelease& operator=(const InstanceRelease&) = delete;
    ~InstanceRelease() {
        instanceState.store(InstanceState::Released);
        if (unload::waitForUsers()) {
            instance.reset();
        }
    }
};

std::shared_ptr<VDIRunnerCounter> VDIRunnerCounter::getInstance() {
    const unload::Use use;
    if (instanceState.load() == InstanceState::Reachable) {
        return instance;
    }
    static std::mutex creation;
    const std::lock_guard lock(creation);
    if (instanceState.load() == InstanceState::Released) {
        return std::make_shared<VDIRunnerCounter>();
    }
    if (instance == nullptr) {
        static const InstanceRelease release;
        instance = std::make_shared<VDIRunnerCounter>();
        auto expected = InstanceState::NotMade;
        instanceState.compare_exchange_strong(expected, InstanceState::Reachable);
    }
    return instance;
}

VDIRunnerCounter::VDIRunnerCounter() : storage_(std::make_unique<SHMStorageMacosx>(storageName())) {
}

VDIRunnerCounter::~VDIRunnerCounter() = default;

void VDIRunnerCounter::addRunner(unsigned int pid) {
    if (pid == 0) {
        VDI_LOG(DPL_ERROR, "Invalid pid: 0");
        return;
    }
    RunnerList list{};
    if (!storage_->readData(&list, sizeof list)) {
        return;
    }
    for (std::uint32_t& slot : list.pids) {
        if (slot == pid) {
            VDI_LOG(DPL_DEBUG, "pid already exist: ", pid);
            return;
        }
        if (slot == 0) {
            VDI_LOG(DPL_DEBUG, "Add pid: ", pid);
            slot = pid;
            break;
        }
    }
    // A full list is written back as it was read.
    storage_->writeData(&list, sizeof list);
}

void VDIRunnerCounter::removeRunner(unsigned int pid) {
    if (pid == 0) {
        return;
    }
    RunnerList list{};
    if (!storage_->readData(&list, sizeof list)) {
        return;
    }
    VDI_LOG(DPL_DEBUG, "Remove pid: ", pid);
    // Every slot is looked at, also behind a 0: a gap that a damaged list has is closed here.
    RunnerList remaining{};
    std::size_t count = 0;
    for (const std::uint32_t slot : list.pids) {
        if (slot != 0 && slot != pid) {
            remaining.pids[count++] = slot;
        }
    }
    storage_->writeData(&remaining, sizeof remaining);
}

bool VDIRunnerCounter::hasRunner() {
    RunnerList list{};
    // Callers rely on a failed read counting as a running agent: they would rather wait for nobody than collide.
    return !storage_->readData(&list, sizeof list) || list.pids[0] != 0;
}

std::vector<unsigned int> VDIRunnerCounter::getAllRunners() {
    RunnerList list{};
    if (!storage_->readData(&list, sizeof list)) {
        return {};
    }
    return {std::begin(list.pids), std::find(std::begin(list.pids), std::end(list.pids), 0U)};
}

}  // namespace VDIFrameworkCommon
