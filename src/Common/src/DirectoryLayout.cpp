#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <mutex>
#include <utility>
#include <vector>

#include "VDIFrameworkCommon/FileUtils.h"
#include "VDIFrameworkCommon/StringUtils.h"
#include "platform/Paths.h"

namespace VDIFrameworkCommon {

// What the functions below keep is never destroyed: threads that outlive `main` still ask for paths.

namespace {

/// A text of the process that has a value of its own until it is set.
///
/// Thread-safe: one lock, held while the first value is found out.
class Setting {
public:
    explicit Setting(std::string (*initial)()) : initial_(initial) {}

    /// Replaces the value by a non-empty one. Returns the value.
    std::string access(const std::string& value) {
        const std::lock_guard lock(mutex_);
        if (!value.empty()) {
            value_ = value;
            isKnown_ = true;
        } else if (!isKnown_) {
            // Found out once, even if it is empty.
            value_ = initial_();
            isKnown_ = true;
        }
        return value_;
    }

private:
    std::mutex mutex_;
    std::string (*const initial_)();
    std::string value_;
    bool isKnown_ = false;
};

// The home directory of the real user; empty if the user database has none.
std::string homeFromUserDatabase() {
    std::vector<char> buffer(1024);
    passwd entry{};
    passwd* found = nullptr;
    int error = 0;
    while ((error = getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found)) == ERANGE || error == EINTR) {
        if (error == ERANGE) {
            buffer.resize(2 * buffer.size());
        }
    }
    return found == nullptr || found->pw_dir == nullptr ? std::string() : std::string(found->pw_dir);
}

std::string findHome() {
    const char* const home = std::getenv("HOME");
    return home == nullptr ? homeFromUserDatabase() : std::string(home);
}

std::string findInstallationDirectory() {
    const char* const variable = std::getenv("PARLET_INSTALL_DIR");
    std::string path = variable == nullptr ? platform::executablePath() : std::string(variable);
    // The variable is cut like the executable's path: installations set it to a file, or end it with "/".
    const std::size_t separator = path.rfind('/');
    if (separator != std::string::npos) {
        path.resize(separator);
    }
    return path;
}

std::string join(std::string path, const std::string& name) {
    path += FileUtils::FileSeparator();
    path += name;
    return path;
}

std::string baseDirectory(std::string applicationData) {
    return join(join(join(std::move(applicationData), FileUtils::UCDirPath()), FileUtils::getAppIdentifier()),
                FileUtils::DPLDir());
}

}  // namespace

std::string FileUtils::AppIdentifier(const std::string& value) {
    static auto& setting = *new Setting([] { return std::string("Parlet"); });
    return setting.access(value);
}

std::string FileUtils::getAppIdentifier() {
    return AppIdentifier({});
}

void FileUtils::setAppIdentifier(const std::string& value) {
    AppIdentifier(value);
}

std::string FileUtils::CompanyName(const std::string& value) {
    static auto& setting = *new Setting([] { return std::string("Tavix"); });
    return setting.access(value);
}

std::string FileUtils::getCompanyName() {
    return CompanyName({});
}

void FileUtils::setCompanyName(const std::string& value) {
    CompanyName(value);
}

std::string FileUtils::InstallationDirPath(const std::string& value) {
    static auto& setting = *new Setting(findInstallationDirectory);
    return setting.access(value);
}

std::string FileUtils::getInstallationDirectory() {
    return InstallationDirPath({});
}

void FileUtils::setInstallationDirectory(const std::string& value) {
    InstallationDirPath(value);
}

std::string FileUtils::ResourcesDirPath(const std::string& value) {
    static auto& setting = *new Setting(platform::resourcesDirectory);
    return setting.access(value);
}

std::string FileUtils::getResourcesDirectory() {
    return ResourcesDirPath({});
}

void FileUtils::setResourcesDirectory(const std::string& value) {
    ResourcesDirPath(value);
}

std::string FileUtils::FilePrefixForTests(const std::string& value) {
    static auto& setting = *new Setting([] { return std::string(); });
    return setting.access(value);
}

std::string FileUtils::getFilePrefixForTests() {
    return FilePrefixForTests({});
}

void FileUtils::setFilePrefixForTests(const std::string& value) {
    FilePrefixForTests(value);
}

std::string FileUtils::FileSeparator() {
    return "/";
}

std::wstring FileUtils::FileSeparatorW() {
    return L"/";
}

std::string FileUtils::DPLDir() {
    return "DPL";
}

std::string FileUtils::PVDIDir() {
    return "PVDI";
}

std::string FileUtils::LogsDir() {
    return "Logs";
}

std::wstring FileUtils::getUserTempDirectory() {
    return L"/tmp";
}

std::string FileUtils::getUserDocumentsDir() {
    static auto& mutex = *new std::mutex;
    static auto& home = *new std::string;
    const std::lock_guard lock(mutex);
    if (home.empty()) {
        home = findHome();
    }
    return home;
}

// The same on this platform, but each is found out at its own first call and kept.
std::string FileUtils::getUserLocalAppDir() {
    static const auto& directory = *new std::string(getUserDocumentsDir() + "/Library/Application Support");
    return directory;
}

std::string FileUtils::getUserRoamingDir() {
    static const auto& directory = *new std::string(getUserDocumentsDir() + "/Library/Application Support");
    return directory;
}

std::string FileUtils::UCDirPath() {
    return join(getCompanyName(), "Unified Communications");
}

std::string FileUtils::getLocalAppBaseDirectory() {
    return baseDirectory(getUserLocalAppDir());
}

std::string FileUtils::getRoamingBaseDirectory() {
    return baseDirectory(getUserRoamingDir());
}

std::string FileUtils::getHistoryDirectory() {
    return join(getLocalAppBaseDirectory(), "History");
}

std::string FileUtils::getHistoryFileName(const std::string& name) {
    return join(getHistoryDirectory(), escapeFileName(name)) + ".db";
}

std::string FileUtils::getTraceDir() {
    return join(getLocalAppBaseDirectory(), LogsDir());
}

std::string FileUtils::getMurmurkitCppTraceDir() {
    return join(getTraceDir(), "MurmurkitCpp");
}

std::string FileUtils::getConfigDirectory() {
    return join(getRoamingBaseDirectory(), "Config");
}

std::string FileUtils::getConfigDirectory(const std::string& name) {
    return join(getConfigDirectory(), escapeFileName(name));
}

std::string FileUtils::getCredentialsDirectory() {
    return join(getRoamingBaseDirectory(), "Credentials");
}

std::string FileUtils::getSecurityDirectory() {
    return join(getRoamingBaseDirectory(), "Security");
}

std::string FileUtils::getBootstrapDirectory() {
    static const auto& directory = *new std::string(getInstallationDirectory());
    return directory;
}

std::string FileUtils::getBootstrapFilePath() {
    return join(getBootstrapDirectory(), "parlet-bootstrap.properties");
}

std::string FileUtils::escapeFileName(const std::string& name) {
    // Without "%": escaped names are only ever made, never taken apart, and files of users have such names already.
    constexpr const char* escapes[][2] = {{"\\", "%5C"}, {":", "%3A"}, {"*", "%2A"},  {"<", "%3C"}, {">", "%3E"},
                                          {"|", "%7C"},  {"?", "%3F"}, {"\"", "%22"}, {"/", "%2F"}};
    std::string escaped = name;
    for (const auto& [character, code] : escapes) {
        replaceAll(escaped, character, code);
    }
    return escaped;
}

}  // namespace VDIFrameworkCommon
