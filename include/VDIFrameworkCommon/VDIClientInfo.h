#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>

#include "VDIFrameworkCommon/Export.h"

namespace VDIFrameworkCommon {

/// The client products that can host an agent. Immutable.
struct VDIClientType {
    /// A product's number. Any other number counts as `Unknown`.
    enum VDIClientTypeEnum : std::int32_t {
        Unknown = 0,      ///< not set yet, or none of the others
        Parlet = 1,       ///< chat
        OrvexCrews = 2,   ///< team messaging
        OrvexHuddles = 3  ///< meetings
    };
};

/// The products' names, by client type, 0 to 3.
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

    /// The type as it was set; `Unknown` at first.
    VDIClientType::VDIClientTypeEnum getClientType() const;

    /// The type's number for a known product; 0 for everything else.
    std::int32_t getClientTypeId() const;

    /// The product's name; "Unknown" for a type that has none.
    std::string getClientName() const;

    /// Stores the version text of the client, of any form.
    void setClientVersion(const std::string& version);

    /// The client's version text; empty until it is set.
    std::string getClientVersion() const;

    /// Stores the version text of the client at the other end of the virtual channel, of any form.
    void setPeerClientVersion(const std::string& version);

    /// The version text of the other end's client; empty until it is set.
    std::string getPeerClientVersion() const;

    /// Stores where the host keeps its logs. Only kept for others to ask: the log itself goes where
    /// `VirtualChannelLogger_init` says.
    void setLogDirectory(const std::string& directory);

    /// Where the host keeps its logs; empty until it is set.
    std::string getLogDirectory() const;

    /// Stores the protocol version of the other end, any number. Thread-safe.
    void setPeerInternalVersion(int version);

    /// The protocol version of the other end; 0 until it is set. Thread-safe.
    int getPeerInternalVersion();

    /// The protocol version of this library: 1. Thread-safe.
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
