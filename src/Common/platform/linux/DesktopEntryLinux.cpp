#include <mutex>
#include <utility>

#include "DesktopEntry.h"
#include "Gio.h"
#include "Signals.h"
#include "Utf8Text.h"
#include "platform/AppServices.h"

namespace VDIFrameworkCommon::platform {

namespace {

std::string textOrEmpty(const char* text) {
    return text != nullptr ? text : "";
}

void prepareLaunchedProcess(gpointer /*unused*/) {
    resetSignals();
}

/// Where the answers to what GIO tells the session bus end up while an object of this class lives. Without it they
/// would wait for ever for a loop that hosts do not run, and the end of the bus would end the host.
class GioMessages {
public:
    GioMessages() : lock_(mutex()) {
        gio()->mainContextPushThreadDefault(context());
        if (GDBusConnection* const bus = gio()->busGetSync(G_BUS_TYPE_SESSION, nullptr, nullptr)) {
            gio()->dbusConnectionSetExitOnClose(bus, FALSE);
            gio()->objectUnref(bus);
        }
    }
    ~GioMessages() {
        while (gio()->mainContextIteration(context(), FALSE) != FALSE) {
        }
        gio()->mainContextPopThreadDefault(context());
    }
    GioMessages(const GioMessages&) = delete;
    GioMessages& operator=(const GioMessages&) = delete;

private:
    static std::mutex& mutex() {
        static auto& instance = *new std::mutex;
        return instance;
    }
    // Never freed: answers may be under way.
    static GMainContext* context() {
        static GMainContext* const instance = gio()->mainContextNew();
        return instance;
    }

    const std::lock_guard<std::mutex> lock_;
};

}  // namespace

std::optional<DesktopEntry> DesktopEntry::find(const std::string& bundleId) {
    // An identifier is no path: it must not lead out of the folders of applications.
    if (bundleId.empty() || bundleId.find('/') != std::string::npos || !isUtf8Text(bundleId) || gio() == nullptr) {
        return std::nullopt;
    }
    GDesktopAppInfo* const info = gio()->desktopAppInfoNew((bundleId + ".desktop").c_str());
    if (info == nullptr) {
        return std::nullopt;
    }
    return DesktopEntry(info);
}

DesktopEntry::DesktopEntry(DesktopEntry&& other) noexcept : info_(std::exchange(other.info_, nullptr)) {
}

DesktopEntry::~DesktopEntry() {
    if (info_ != nullptr) {
        gio()->objectUnref(info_);
    }
}

std::string DesktopEntry::file() const {
    return textOrEmpty(gio()->desktopAppInfoGetFilename(static_cast<GDesktopAppInfo*>(info_)));
}

std::string DesktopEntry::program() const {
    const char* const command = gio()->appInfoGetExecutable(static_cast<GAppInfo*>(info_));
    if (command == nullptr) {
        return {};
    }
    char* const path = gio()->findProgramInPath(command);
    std::string program = textOrEmpty(path);
    gio()->free(path);
    return program;
}

bool DesktopEntry::launch() const {
    const GioMessages messages;
    // Until it is prepared the child would run signal handlers of the host.
    const SignalBlock block;
    // The launch that lets the child be prepared; it is in all else the ordinary one. The launched process is not a
    // child of this one.
    return gio()->desktopAppInfoLaunchUrisAsManager(static_cast<GDesktopAppInfo*>(info_), nullptr, nullptr,
                                                    G_SPAWN_SEARCH_PATH, prepareLaunchedProcess, nullptr, nullptr,
                                                    nullptr, nullptr) != FALSE;
}

bool launchApplication(const std::string& bundleId) noexcept {
    const auto entry = DesktopEntry::find(bundleId);
    return entry && entry->launch();
}

}  // namespace VDIFrameworkCommon::platform
