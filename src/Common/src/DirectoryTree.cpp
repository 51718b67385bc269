#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <utility>
#include <vector>

#include "DirectoryReader.h"
#include "PathStrings.h"
#include "VDIFrameworkCommon/FileUtils.h"

namespace VDIFrameworkCommon {

namespace {

// As `remove`: a file or link is unlinked, an empty directory removed.
bool removeEntry(int directory, const dirent& entry) noexcept {
    return (entry.d_type != DT_DIR && ::unlinkat(directory, entry.d_name, 0) == 0) ||
           ::unlinkat(directory, entry.d_name, AT_REMOVEDIR) == 0;
}

// Removes what can be removed at once and appends the paths of the entries that cannot to `left`.
void removeEntries(DirectoryReader& directory, const std::string& path, std::vector<std::string>& left) {
    while (const dirent* const entry = directory.next()) {
        if (!removeEntry(directory.descriptor(), *entry)) {
            left.push_back(path + '/' + entry->d_name);
        }
    }
}

}  // namespace

// No recursion: a path may have any number of levels.
bool FileUtils::createDirectoryStructure(const std::string& path) {
    if (path.find('\0') != std::string::npos) {
        return false;
    }
    std::string level = path;
    std::vector<std::size_t> missing;  // the lengths of the paths to create, the deepest first
    struct stat status;
    while (!level.empty() && ::stat(level.c_str(), &status) != 0) {
        if (missing.empty()) {
            paths::requireUtf8(path);
        }
        missing.push_back(level.size());
        const std::size_t parent = paths::parentLength(level);
        if (parent == level.size()) {
            // "a/" is its own parent.
            break;
        }
        level.resize(parent);
    }
    for (; !missing.empty(); missing.pop_back()) {
        level.append(path, level.size(), missing.back() - level.size());
        constexpr mode_t ownerAllOthersRead = 0744;
        if (::mkdir(level.c_str(), ownerAllOthersRead) != 0) {
            return false;
        }
    }
    return true;
}

void FileUtils::createParentDirectory(const std::string& path) {
    createDirectory(getParentDirectory(path));
}

// One open directory at a time, whatever the depth.
void FileUtils::removeDirectory(const std::string& path) {
    struct Directory {
        std::string path;
        bool isVisited;
    };
    std::vector<Directory> directories{{path, false}};
    std::vector<std::string> left;
    while (!directories.empty()) {
        if (directories.back().isVisited) {
            ::rmdir(paths::systemPath(directories.back().path));
            directories.pop_back();
            continue;
        }
        const bool isRoot = directories.size() == 1;
        DirectoryReader reader(directories.back().path, isRoot ? Links::Follow : Links::Refuse);
        if (!reader.isOpen()) {
            directories.pop_back();
            continue;
        }
        directories.back().isVisited = true;
        removeEntries(reader, directories.back().path, left);
        for (std::string& entry : left) {
            directories.push_back({std::move(entry), false});
        }
        left.clear();
    }
}

}  // namespace VDIFrameworkCommon
