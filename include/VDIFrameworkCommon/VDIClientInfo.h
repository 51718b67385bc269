#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>

#include "VDIFrameworkCommon/Export.h"

namespace VDIFrameworkCommon {

/// The client products that can host an agent.
struct VDIClientType {
    enum VDIClientTypeEnum : std::int32_t {
        Unknown = 0,
        Parlet = 1,       ///< chat
        OrvexCrews = 2,   ///< team messaging
        OrvexHuddles = 3  ///< meetings
    };
};

/// The products' names, by client type.
inline constexpr std::string_view VDIClientTypeNames[4] = {"Unknown", "Parlet", "OrvexCrews", "OrvexHuddles"};

/// Who hosts the library in this process.
///
/// The client type selects the names of all shared objects, so agents of different products never share state. The host
/// sets type, versions and log directory once, before it uses anything shared: these accessors take no lock. Only the
/// internal versions may be set and read by several threads at once.
class VDIFRAMEWORKCOMMON_EXPORT VDIClientInfo {
public:
    VDIClientInfo();
    virtual ~VDIClientInfo();
    VDIClientInfo(const VDIClientInfo&) = delete;
    VDIClientInfo& operator=(const VDIClientInfo&) = delete;

    /// The one object of this process: made on the first call, never destroyed, owned by the library. Thread-safe.
    static VDIClientInfo* getInstance();

    /// Stores the type as given, in range or not. Names of objects that are open already do not change.
    void setClientType(VDIClientType::VDIClientTypeEnum type);
    VDIClientType::VDIClientTypeEnum getClientType() const;

    /// The type's number for a known product; 0 for everything else.
    std::int32_t getClientTypeId() const;

    /// The product's name; "Unknown" for a type that has none.
    std::string getClientName() const;

    void setClientVersion(const std::string& version);
    std::string getClientVersion() const;

    /// The version text of the client at the other end of the virtual channel.
    void setPeerClientVersion(const std::string& version);
    std::string getPeerClientVersion() const;

    /// Where the host keeps its logs.
    void setLogDirectory(const std::string& directory);
    std::string getLogDirectory() const;

    /// The protocol version of the other end; 0 until it is set. Thread-safe.
    void setPeerInternalVersion(int version);
    int getPeerInternalVersion();

    /// The protocol version of this library. Thread-safe.
    int getMyInternalVersion();

private:
    static std::atomic<VDIClientInfo*> instance;

    VDIClientType::VDIClientTypeEnum clientType_ = VDIClientType::Unknown;
    std::string clientVersion_;
    std::string peerClientVersion_;
    std::string logDirectory_;
    std::mutex mutex_;  // guards the two below
    std::int32_t peerInternalVersion_ = 0;
    std::int32_t myInternalVersion_ = 1;
};

}  // namespace VDIFrameworkCommon
