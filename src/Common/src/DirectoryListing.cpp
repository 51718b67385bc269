#include <sys/stat.h>

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <string_view>
#include <utility>
#include <vector>

#include "DirectoryReader.h"
#include "VDIFrameworkCommon/FileUtils.h"

namespace VDIFrameworkCommon {

namespace {

// No system refuses a path below this length for its length alone.
constexpr std::size_t lengthLimit = 1024;

// How often a listing goes into a directory that it is in already. A single link back to a directory above is followed
// until the system refuses the path; several of them would multiply beyond every limit.
constexpr int reentryLimit = 100;

struct Identity {
    dev_t device;
    ino_t file;

    bool operator==(const Identity& other) const noexcept { return device == other.device && file == other.file; }
};

Identity identityOf(const DirectoryReader& directory) noexcept {
    struct stat status {};
    ::fstat(directory.descriptor(), &status);
    return {status.st_dev, status.st_ino};
}

// False if it is none, also when links are followed.
bool mayBeDirectory(const dirent& entry) noexcept {
    return entry.d_type == DT_DIR || entry.d_type == DT_LNK || entry.d_type == DT_UNKNOWN;
}

bool containsAny(std::string_view name, const std::vector<std::string>& patterns) noexcept {
    return std::any_of(patterns.begin(), patterns.end(),
                       [name](const std::string& pattern) { return name.find(pattern) != std::string_view::npos; });
}

}  // namespace

void FileUtils::getFilesFromDirectory(std::string dir, const std::vector<std::string>& patterns,
                                      std::vector<std::string>& files, bool descend) {
    DirectoryReader reader(dir);
    std::string& path = dir += '/';
    const std::size_t prefix = path.size();
    bool canSearch = false;
    while (const dirent* const entry = reader.next()) {
        const bool matches = containsAny(entry->d_name, patterns);
        if (!matches && !(descend && mayBeDirectory(*entry))) {
            continue;
        }
        path.resize(prefix);
        path += entry->d_name;
        // In a directory that can be searched, a file that is listed has a status: it need not be asked for.
        bool isSubdirectory = false;
        if (entry->d_type != DT_REG || !canSearch || path.size() >= lengthLimit) {
            struct stat status;
            if (::stat(path.c_str(), &status) != 0) {
                continue;
            }
            canSearch = true;
            isSubdirectory = S_ISDIR(status.st_mode);
        }
        if (isSubdirectory && descend) {
            // One level only: callers that keep deeper trees rely on not seeing them.
            getFilesFromDirectory(path, patterns, files, false);
        } else if (matches) {
            files.push_back(path);
        }
    }
}

// One open directory at a time and no recursion, whatever the depth.
void FileUtils::getSubDirectories(const std::string& dir, bool recursive, std::vector<std::string>& dirs) {
    struct Directory {
        std::string path;
        std::size_t depth;
    };
    std::vector<Directory> waiting{{dir, 0}};  // the next one is the last
    std::vector<Identity> above;
    int reentries = 0;
    while (!waiting.empty()) {
        const Directory current = std::move(waiting.back());
        waiting.pop_back();
        if (current.depth > 0) {
            dirs.push_back(current.path);
            if (!recursive) {
                continue;
            }
        }
        DirectoryReader reader(current.path);
        if (!reader.isOpen()) {
            continue;
        }
        const Identity identity = identityOf(reader);
        above.erase(above.begin() + static_cast<std::ptrdiff_t>(current.depth), above.end());
        if (std::find(above.begin(), above.end(), identity) != above.end() && ++reentries > reentryLimit) {
            continue;
        }
        above.push_back(identity);
        const auto firstNew = static_cast<std::ptrdiff_t>(waiting.size());
        while (const dirent* const entry = reader.next()) {
            if (mayBeDirectory(*entry)) {
                std::string path = current.path + '/' + entry->d_name;
                if (isDirectory(path)) {
                    waiting.push_back({std::move(path), current.depth + 1});
                }
            }
        }
        std::reverse(waiting.begin() + firstNew, waiting.end());
    }
}

}  // namespace VDIFrameworkCommon
