#include <VDIFrameworkCommon/FileUtils.h>
#include <benchmark/benchmark.h>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#ifdef VDI_BENCH_BOOST_FILESYSTEM
#include <boost/filesystem.hpp>
#endif
#ifdef VDI_BENCH_GLIB
#include <glib.h>
#endif
#ifdef VDI_BENCH_POCO
#include <Poco/DirectoryIterator.h>
#include <Poco/File.h>
#include <Poco/FileStream.h>
#include <Poco/Path.h>
#endif
#ifdef VDI_BENCH_QT
#include <QByteArray>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#endif

/// Operations on files beside the system calls that they cannot do without ("floor") and what other libraries offer. A
/// peer with a "~" does less than ours must.

namespace {

using VDIFrameworkCommon::FileUtils;

template <typename Operation>
void row(const std::string& name, Operation operation) {
    benchmark::RegisterBenchmark(name.c_str(), [operation](benchmark::State& state) {
        for (auto _ : state) {
            benchmark::DoNotOptimize(operation());
        }
    });
}

// Made once, removed when the program ends. In memory: a disk's own time would hide all differences.
class Directory {
public:
    Directory() : path_("/dev/shm/vdi-bench-XXXXXX") {
        if (mkdtemp(path_.data()) == nullptr) {
            std::abort();
        }
    }
    ~Directory() { std::filesystem::remove_all(path_); }
    Directory(const Directory&) = delete;
    Directory& operator=(const Directory&) = delete;

    std::string operator/(const std::string& name) const { return path_ + '/' + name; }

private:
    std::string path_;
};

const Directory& directory() {
    static const Directory instance;
    return instance;
}

// The floors: nothing but the calls, on files that are known to be fine.

std::size_t floorRead(const std::string& path) {
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat status {};
    fstat(fd, &status);
    std::vector<unsigned char> data(static_cast<std::size_t>(status.st_size));
    const ssize_t got = read(fd, data.data(), data.size());
    close(fd);
    benchmark::DoNotOptimize(data.data());
    return static_cast<std::size_t>(got);
}

bool floorWrite(const std::string& path, int flags, const std::string& text) {
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | flags, 0666);
    const ssize_t written = write(fd, text.data(), text.size());
    close(fd);
    return written == static_cast<ssize_t>(text.size());
}

bool floorCopy(const std::string& from, const std::string& to) {
    const int in = open(from.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat status {};
    fstat(in, &status);
    const int out = open(to.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    static std::vector<char> buffer(2U << 20U);
    const ssize_t got = read(in, buffer.data(), buffer.size());
    const ssize_t written = write(out, buffer.data(), static_cast<std::size_t>(got));
    close(out);
    close(in);
    return written == status.st_size;
}

std::vector<std::string> floorList(const std::string& path, const char* pattern) {
    std::vector<std::string> found;
    DIR* const stream = opendir(path.c_str());
    while (const dirent* const entry = readdir(stream)) {
        if (std::strstr(entry->d_name, pattern) != nullptr) {
            found.push_back(path + '/' + entry->d_name);
        }
    }
    closedir(stream);
    return found;
}

std::size_t plainRead(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    file.seekg(0, std::ios::end);
    std::vector<char> data(static_cast<std::size_t>(file.tellg()));
    file.seekg(0);
    file.read(data.data(), static_cast<std::streamsize>(data.size()));
    return data.size();
}

void addReading(const std::string& size, const std::string& path) {
    const std::string name = "file: read whole, " + size + " / ";
    row(name + "ours", [path] {
        std::vector<unsigned char> data;
        return FileUtils::getAllBytesFromFile(path, data);
    });
    row(name + "floor", [path] { return floorRead(path); });
    row(name + "std::ifstream", [path] { return plainRead(path); });
#ifdef VDI_BENCH_GLIB
    row(name + "~GLib (a buffer that is not zeroed)", [path] {
        gchar* contents = nullptr;
        gsize length = 0;
        g_file_get_contents(path.c_str(), &contents, &length, nullptr);
        g_free(contents);
        return length;
    });
    row(name + "GLib, into a vector", [path] {
        gchar* contents = nullptr;
        gsize length = 0;
        g_file_get_contents(path.c_str(), &contents, &length, nullptr);
        const std::vector<unsigned char> data(contents, contents + length);
        g_free(contents);
        benchmark::DoNotOptimize(data.data());
        return data.size();
    });
#endif
#ifdef VDI_BENCH_POCO
    row(name + "POCO", [path] {
        Poco::FileInputStream file(path);
        std::vector<char> data(static_cast<std::size_t>(Poco::File(path).getSize()));
        file.read(data.data(), static_cast<std::streamsize>(data.size()));
        return data.size();
    });
#endif
#ifdef VDI_BENCH_QT
    row(name + "~Qt (a buffer that is not zeroed)", [path] {
        QFile file(QString::fromStdString(path));
        file.open(QIODevice::ReadOnly);
        return file.readAll().size();
    });
    row(name + "Qt, into a vector", [path] {
        QFile file(QString::fromStdString(path));
        file.open(QIODevice::ReadOnly);
        const QByteArray contents = file.readAll();
        const std::vector<unsigned char> data(contents.begin(), contents.end());
        benchmark::DoNotOptimize(data.data());
        return data.size();
    });
#endif
}

void addSaving(const std::string& size, const std::string& text) {
    const std::string path = directory() / "saved";
    const std::string name = "file: save, " + size + " / ";
    row(name + "ours", [=] { return FileUtils::saveFile(path, text.data(), static_cast<int>(text.size())); });
    row(name + "floor", [=] { return floorWrite(path, O_TRUNC, text); });
    row(name + "std::ofstream", [=] {
        std::ofstream file(path, std::ios::binary);
        file.write(text.data(), static_cast<std::streamsize>(text.size()));
        file.close();
        return file.good();
    });
#ifdef VDI_BENCH_POCO
    row(name + "POCO", [=] {
        Poco::FileOutputStream file(path);
        file.write(text.data(), static_cast<std::streamsize>(text.size()));
        file.close();
        return file.good();
    });
#endif
#ifdef VDI_BENCH_QT
    row(name + "Qt", [=] {
        QFile file(QString::fromStdString(path));
        file.open(QIODevice::WriteOnly | QIODevice::Truncate);
        return file.write(text.data(), static_cast<qint64>(text.size()));
    });
#endif
}

void addCopying(const std::string& size, const std::string& path) {
    const std::string copy = directory() / "copy";
    const std::string name = "file: copy, " + size + " / ";
    row(name + "ours", [=] { return FileUtils::copyFile(path, copy, false); });
    row(name + "floor", [=] { return floorCopy(path, copy); });
    row(name + "std::filesystem",
        [=] { return std::filesystem::copy_file(path, copy, std::filesystem::copy_options::overwrite_existing); });
#ifdef VDI_BENCH_BOOST_FILESYSTEM
    row(name + "boost", [=] {
        boost::filesystem::copy_file(path, copy, boost::filesystem::copy_option::overwrite_if_exists);
        return true;
    });
#endif
#ifdef VDI_BENCH_POCO
    row(name + "POCO", [=] {
        Poco::File(path).copyTo(copy);
        return true;
    });
#endif
#ifdef VDI_BENCH_QT
    row(name + "Qt (removes first)", [=] {
        QFile::remove(QString::fromStdString(copy));
        return QFile::copy(QString::fromStdString(path), QString::fromStdString(copy));
    });
#endif
}

void addAppending() {
    const std::string path = directory() / "appended";
    const std::string text(100, 'x');
    const std::string name = "file: append 100 bytes / ";
    row(name + "ours", [=] { return FileUtils::saveFileAppand(path, text.data(), 0, static_cast<int>(text.size())); });
    row(name + "floor", [=] { return floorWrite(path, O_APPEND, text); });
    row(name + "std::ofstream", [=] {
        std::ofstream file(path, std::ios::binary | std::ios::app);
        file.write(text.data(), static_cast<std::streamsize>(text.size()));
        file.close();
        return file.good();
    });
#ifdef VDI_BENCH_POCO
    row(name + "POCO", [=] {
        Poco::FileOutputStream file(path, std::ios::app);
        file.write(text.data(), static_cast<std::streamsize>(text.size()));
        file.close();
        return file.good();
    });
#endif
}

void addListing() {
    const std::string path = directory() / "listed";
    std::filesystem::create_directory(path);
    for (int i = 0; i < 1000; ++i) {
        std::ofstream(path + "/file" + std::to_string(i) + (i % 2 == 0 ? ".log" : ".txt"));
    }
    const std::string name = "directory: list 1000 files by pattern / ";
    row(name + "ours", [=] {
        std::vector<std::string> files;
        FileUtils::getFilesFromDirectory(path, {".log"}, files, false);
        return files.size();
    });
    row(name + "floor", [=] { return floorList(path, ".log").size(); });
    row(name + "std::filesystem", [=] {
        std::vector<std::string> files;
        for (const auto& entry : std::filesystem::directory_iterator(path)) {
            if (entry.path().filename().native().find(".log") != std::string::npos) {
                files.push_back(entry.path().native());
            }
        }
        return files.size();
    });
#ifdef VDI_BENCH_POCO
    row(name + "POCO", [=] {
        std::vector<std::string> files;
        for (Poco::DirectoryIterator entry(path), end; entry != end; ++entry) {
            if (entry.name().find(".log") != std::string::npos) {
                files.push_back(entry->path());
            }
        }
        return files.size();
    });
#endif
#ifdef VDI_BENCH_QT
    row(name + "Qt", [=] {
        std::vector<QString> files;
        for (QDirIterator entries(QString::fromStdString(path), {"*.log*"}, QDir::Files); entries.hasNext();) {
            files.push_back(entries.next());
        }
        return files.size();
    });
#endif
}

void addQueries(const std::string& path) {
    row("file: exists / ours", [path] { return FileUtils::fileExists(path); });
    row("file: exists / floor", [path] {
        struct stat status {};
        return stat(path.c_str(), &status);
    });
    row("file: exists / std::filesystem", [path] { return std::filesystem::exists(path); });
#ifdef VDI_BENCH_POCO
    row("file: exists / POCO", [path] { return Poco::File(path).exists(); });
#endif
#ifdef VDI_BENCH_QT
    const QString qtPath = QString::fromStdString(path);
    row("file: exists / Qt", [qtPath] { return QFile::exists(qtPath); });
#endif

    const std::string longer = "/home/user/Library/Application Support/a/file.db";
    row("path: parent directory of a narrow path / ours", [longer] { return FileUtils::getParentDirectory(longer); });
    row("path: parent directory of a narrow path / floor", [longer] { return longer.substr(0, longer.rfind('/')); });
    row("path: parent directory of a narrow path / std::filesystem",
        [longer] { return std::filesystem::path(longer).parent_path().string(); });
#ifdef VDI_BENCH_POCO
    row("path: parent directory of a narrow path / POCO", [longer] { return Poco::Path(longer).parent().toString(); });
#endif
}

void addTrees() {
    const std::string top = directory() / "a";
    const std::string deepest = top + "/b/c/d";
    const std::string name = "directory: create 4 levels, remove the tree / ";
    row(name + "ours", [=] {
        const bool isCreated = FileUtils::createDirectoryStructure(deepest);
        FileUtils::removeDirectory(top);
        return isCreated;
    });
    row(name + "floor", [=] {
        const std::string levels[] = {top, top + "/b", top + "/b/c", deepest};
        int result = 0;
        for (const std::string& level : levels) {
            result += mkdir(level.c_str(), 0744);
        }
        for (auto level = std::rbegin(levels); level != std::rend(levels); ++level) {
            closedir(opendir(level->c_str()));
            result += rmdir(level->c_str());
        }
        return result;
    });
    row(name + "std::filesystem", [=] {
        std::filesystem::create_directories(deepest);
        return std::filesystem::remove_all(top);
    });
#ifdef VDI_BENCH_POCO
    row(name + "POCO", [=] {
        Poco::File(deepest).createDirectories();
        Poco::File(top).remove(true);
        return true;
    });
#endif
#ifdef VDI_BENCH_QT
    row(name + "Qt", [=] {
        QDir().mkpath(QString::fromStdString(deepest));
        return QDir(QString::fromStdString(top)).removeRecursively();
    });
#endif
}

const bool areRegistered = [] {
    for (const auto& [name, size] : {std::pair("4 KiB", 4096), std::pair("1 MiB", 1 << 20)}) {
        const std::string text(static_cast<std::size_t>(size), 'x');
        const std::string path = directory() / std::to_string(size);
        std::ofstream(path, std::ios::binary) << text;
        addReading(name, path);
        addSaving(name, text);
        addCopying(name, path);
    }
    addAppending();
    addListing();
    addQueries(directory() / "4096");
    addTrees();
    return true;
}();

}  // namespace
