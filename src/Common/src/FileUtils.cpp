#include "VDIFrameworkCommon/FileUtils.h"

#include <fcntl.h>

#include <exception>

#include "Log.h"
#include "OpenFile.h"
#include "VDIFrameworkCommon/VirtualChannelLogger.h"

namespace VDIFrameworkCommon {

namespace {

const log::Source logSource("VDIFrameworkCommon", __FILE__);

// The state of an output stream as records print it, on every standard library.
using StreamState = unsigned;
constexpr StreamState goodState = 0;
constexpr StreamState badState = 1;
constexpr StreamState failedState = 4;

// Texts from this length on go to the file as they are; shorter ones wait in a stream's buffer until it is closed. So
// a full disk makes the stream bad in the one case and its closing fail in the other, which readers of records know.
constexpr int unbufferedSize = 1024;

// Makes `data` hold `size` bytes of the file from the place `offset`. Returns how many could be read, none from a
// negative place; the elements behind them are what they were, or zero. A size that is beyond the memory reads nothing
// and leaves `data` as it was.
std::size_t readInto(std::vector<unsigned char>& data, const OpenFile& file, std::size_t size, std::int64_t offset) {
    try {
        data.resize(size);
    } catch (const std::exception&) {
        return 0;
    }
    return offset < 0 ? 0 : file.readAt(data.data(), size, offset);
}

// Opens the file for writing and writes all of `data`. Returns the state that a stream would have after its closing.
StreamState writeFile(const std::string& path, int flags, const char* data, int size) {
    const bool canWrite = size >= 0 && (data != nullptr || size == 0);
    // What cannot be written costs an existing file nothing: it is opened, for the record to tell whether that is
    // possible, but keeps its contents.
    OpenFile file(path, O_WRONLY | O_CREAT | (canWrite ? flags : flags & ~O_TRUNC));
    if (!file.isOpen()) {
        return failedState;
    }
    if (!canWrite) {
        return badState;
    }
    StreamState state = goodState;
    if (!file.write(data, static_cast<std::size_t>(size))) {
        state |= size < unbufferedSize ? failedState : badState;
    }
    if (!file.close()) {
        state |= failedState;
    }
    return state;
}

// The sum in 32 bits; it wraps around.
int wrappingSum(int a, int b) {
    return static_cast<int>(static_cast<unsigned>(a) + static_cast<unsigned>(b));
}

}  // namespace

bool FileUtils::getAllBytesFromFile(const std::string& path, std::vector<unsigned char>& data) {
    const InputFile file(path);
    if (!file.isOpen()) {
        VDI_LOG(DPL_ERROR, "path: ", path);
        return false;
    }
    const std::int64_t length = file.length();
    if (length < 1) {
        // Not cleared, though the file has no bytes: callers rely on keeping what they had.
        return true;
    }
    const auto size = static_cast<std::size_t>(length);
    const std::size_t count = readInto(data, file, size, 0);
    if (count < size) {
        VDI_LOG(DPL_ERROR, "Only read ", count, " bytes from ", path, ", the total size is ", size);
        return false;
    }
    return true;
}

bool FileUtils::getBytesFromFile(const std::string& path, std::vector<unsigned char>& data, int offset, int size) {
    const InputFile file(path);
    if (!file.isOpen()) {
        VDI_LOG(DPL_ERROR, "path: ", path);
        return false;
    }
    if (file.length() < wrappingSum(offset, size)) {
        VDI_LOG(DPL_ERROR, "read size over file length");
        return false;
    }
    const std::size_t count = size < 0 ? 0 : readInto(data, file, static_cast<std::size_t>(size), offset);
    if (offset < 0 || size < 0 || count < static_cast<std::size_t>(size)) {
        VDI_LOG(DPL_ERROR, "Only read ", count, " bytes from ", path, ", need size is ", size);
        return false;
    }
    return true;
}

bool FileUtils::saveFile(const std::string& path, const char* data, int size) {
    const StreamState state = writeFile(path, O_TRUNC, data, size);
    if (state != goodState) {
        VDI_LOG(DPL_ERROR, "Write ", path, " error: ", state);
    }
    return state == goodState;
}

bool FileUtils::saveFileAppand(const std::string& path, const char* data, int mode, int size) {
    constexpr int replaceContents = 1;
    if (mode == replaceContents) {
        return saveFile(path, data, size);
    }
    const StreamState state = writeFile(path, O_APPEND, data, size);
    if (state != goodState) {
        VDI_LOG(DPL_ERROR, "Write ", path, " error: ", state);
    }
    return state == goodState;
}

bool FileUtils::createDirectory(const std::string& path) {
    const std::string filteredPath = VirtualChannelLogger_filterStrings(path);
    VDI_LOG(DPL_INFO, "Creating directory: ", filteredPath);
    // Only what this call creates counts as created.
    const bool isCreated = !path.empty() && !fileExists(path) && createDirectoryStructure(path);
    VDI_LOG(DPL_DEBUG, "Directory \"", filteredPath, "\" created: ", isCreated ? 1 : 0);
    return isCreated;
}

}  // namespace VDIFrameworkCommon
