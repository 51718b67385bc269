#include "VDIFrameworkCommon/VDIClientInfo.h"

#include <cstddef>

namespace VDIFrameworkCommon {

std::atomic<VDIClientInfo*> VDIClientInfo::instance{nullptr};

VDIClientInfo::VDIClientInfo() = default;
VDIClientInfo::~VDIClientInfo() = default;

VDIClientInfo* VDIClientInfo::getInstance() {
    VDIClientInfo* existing = instance.load(std::memory_order_acquire);
    if (existing == nullptr) {
        static std::mutex creation;
        const std::lock_guard lock(creation);
        existing = instance.load(std::memory_order_relaxed);
        if (existing == nullptr) {
            existing = new VDIClientInfo;
            instance.store(existing, std::memory_order_release);
        }
    }
    return existing;
}

void VDIClientInfo::setClientType(VDIClientType::VDIClientTypeEnum type) {
    clientType_ = type;
}

VDIClientType::VDIClientTypeEnum VDIClientInfo::getClientType() const {
    return clientType_;
}

std::int32_t VDIClientInfo::getClientTypeId() const {
    switch (clientType_) {
        case VDIClientType::Parlet:
        case VDIClientType::OrvexCrews:
        case VDIClientType::OrvexHuddles:
            return clientType_;
        case VDIClientType::Unknown:
            break;
    }
    return VDIClientType::Unknown;
}

std::string VDIClientInfo::getClientName() const {
    return std::string(VDIClientTypeNames[static_cast<std::size_t>(getClientTypeId())]);
}

void VDIClientInfo::setClientVersion(const std::string& version) {
    clientVersion_ = version;
}

std::string VDIClientInfo::getClientVersion() const {
    return clientVersion_;
}

void VDIClientInfo::setPeerClientVersion(const std::string& version) {
    peerClientVersion_ = version;
}

std::string VDIClientInfo::getPeerClientVersion() const {
    return peerClientVersion_;
}

void VDIClientInfo::setLogDirectory(const std::string& directory) {
    logDirectory_ = directory;
}

std::string VDIClientInfo::getLogDirectory() const {
    return logDirectory_;
}

void VDIClientInfo::setPeerInternalVersion(int version) {
    const std::lock_guard lock(mutex_);
    peerInternalVersion_ = version;
}

int VDIClientInfo::getPeerInternalVersion() {
    const std::lock_guard lock(mutex_);
    return peerInternalVersion_;
}

int VDIClientInfo::getMyInternalVersion() {
    const std::lock_guard lock(mutex_);
    return myInternalVersion_;
}

}  // namespace VDIFrameworkCommon
