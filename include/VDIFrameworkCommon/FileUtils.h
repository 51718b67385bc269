#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "VDIFrameworkCommon/Export.h"

namespace VDIFrameworkCommon {

/// The directories of the client and of the running application, and operations on files and directories.
///
/// Paths are UTF-8 with "/" as separator. A path with a zero byte in it names no file. A relative path is relative to
/// the working directory. No operation throws, except as said below and when memory runs out.
///
/// Thread-safe. Operations that work on the same file at the same time are not coordinated.
class VDIFRAMEWORKCOMMON_EXPORT FileUtils {
public:
    FileUtils() = delete;

    // Settings of the process. The accessor replaces the value by a non-empty argument and returns the current one; an
    // empty argument only reads, so no setting can be set back to empty. Meant to be set once, at start-up.

    /// Sets, with a text that is not empty, and returns the identifier of the application in the per-user tree: at
    /// first "Parlet".
    static std::string AppIdentifier(const std::string& value);

    /// The identifier of the application.
    static std::string getAppIdentifier();

    /// Sets the identifier of the application. An empty text changes nothing.
    static void setAppIdentifier(const std::string& value);

    /// Sets, with a text that is not empty, and returns the company's name in the per-user tree: at first "Tavix".
    static std::string CompanyName(const std::string& value);

    /// The company's name.
    static std::string getCompanyName();

    /// Sets the company's name. An empty text changes nothing.
    static void setCompanyName(const std::string& value);

    /// Sets, with a text that is not empty, and returns where the application is installed.
    ///
    /// At first this is what the environment variable "PARLET_INSTALL_DIR" says, or the path of the running executable
    /// when it is not set, up to its last "/". The variable is cut too: it names a file inside the directory, or the
    /// directory with a "/" at the end.
    static std::string InstallationDirPath(const std::string& value);

    /// Where the application is installed.
    static std::string getInstallationDirectory();

    /// Sets where the application is installed. An empty text changes nothing.
    static void setInstallationDirectory(const std::string& value);

    /// Sets, with a text that is not empty, and returns where the application's resources are: at first as the platform
    /// has it for the running program.
    static std::string ResourcesDirPath(const std::string& value);

    /// Where the application's resources are.
    static std::string getResourcesDirectory();

    /// Sets where the application's resources are. An empty text changes nothing.
    static void setResourcesDirectory(const std::string& value);

    /// Sets, with a text that is not empty, and returns a prefix that is kept for tests of the host: at first empty. No
    /// path of this library uses it.
    static std::string FilePrefixForTests(const std::string& value);

    /// The prefix for tests of the host.
    static std::string getFilePrefixForTests();

    /// Sets the prefix for tests of the host. An empty text changes nothing.
    static void setFilePrefixForTests(const std::string& value);

    // The layout. These functions only compute paths, nothing is created.

    /// "/"
    static std::string FileSeparator();
    /// L"/"
    static std::wstring FileSeparatorW();
    /// "DPL"
    static std::string DPLDir();
    /// "PVDI"
    static std::string PVDIDir();
    /// "Logs"
    static std::string LogsDir();

    /// L"/tmp", whatever the environment says.
    static std::wstring getUserTempDirectory();

    /// The home directory (not a documents folder): "HOME", or when that is not set what the user database has for the
    /// real user. Kept from the first time that it is not empty.
    static std::string getUserDocumentsDir();

    /// The home directory of the first call, followed by "/Library/Application Support".
    static std::string getUserLocalAppDir();

    /// The same, with the home directory of its own first call.
    static std::string getUserRoamingDir();

    /// company name/Unified Communications
    static std::string UCDirPath();

    /// getUserLocalAppDir()/company name/Unified Communications/application identifier/DPL
    static std::string getLocalAppBaseDirectory();

    /// getUserRoamingDir()/company name/Unified Communications/application identifier/DPL
    static std::string getRoamingBaseDirectory();

    /// local base/History
    static std::string getHistoryDirectory();

    /// local base/History/name.db: the history file of a name, which is escaped.
    static std::string getHistoryFileName(const std::string& name);

    /// local base/Logs
    static std::string getTraceDir();

    /// local base/Logs/MurmurkitCpp
    static std::string getMurmurkitCppTraceDir();

    /// roaming base/Config
    static std::string getConfigDirectory();

    /// roaming base/Config/name: the configuration of a name, which is escaped.
    static std::string getConfigDirectory(const std::string& name);

    /// roaming base/Credentials
    static std::string getCredentialsDirectory();

    /// roaming base/Security
    static std::string getSecurityDirectory();

    /// The installation directory as it was at the first call.
    static std::string getBootstrapDirectory();

    /// getBootstrapDirectory()/parlet-bootstrap.properties
    static std::string getBootstrapFilePath();

    /// Makes a name fit to be a file's: each backslash, colon, asterisk, question mark, bar, double quote, slash, "less
    /// than" and "greater than" becomes "%" and its number in hexadecimal ("%5C"). "%" itself stays, so escaped names
    /// cannot be told apart from names that look like them.
    static std::string escapeFileName(const std::string& name);

    // Reading and writing. Failures are logged.

    /// Reads a whole file. An empty file leaves `data` as it was. A failure is a record.
    ///
    /// \return false if the file cannot be opened, is a directory, or could not be read to its end; `data` then holds
    ///     what was read, at its full size
    static bool getAllBytesFromFile(const std::string& path, std::vector<unsigned char>& data);

    /// Reads `size` bytes from the place `offset`, which the file must have: their sum, in 32-bit arithmetic, may not
    /// be above its length. A failure is a record.
    ///
    /// \param path  the file
    /// \param data  gets the bytes in the place of what it holds
    /// \param offset  in bytes from the start, 0 or more
    /// \param size  in bytes, 0 or more
    /// \return false also for a negative place or size. `data` is as it was if the file is too short or the size
    ///     negative; otherwise it has the size, and the elements that were not read are what they were, or zero
    static bool getBytesFromFile(const std::string& path, std::vector<unsigned char>& data, int offset, int size);

    /// Replaces the contents of a file, making it if there is none. A failure is a record.
    ///
    /// \param path  the folder must exist
    /// \param data  the caller's; null only with a size of 0
    /// \param size  in bytes, 0 or more
    /// \return false if not all could be written; with a negative size, or without data, a file keeps its contents
    static bool saveFile(const std::string& path, const char* data, int size);

    /// Appends to a file, making it if there is none; with the mode 1 it is `saveFile`.
    ///
    /// \param path  as for `saveFile`
    /// \param data  as for `saveFile`
    /// \param mode  1: replace; any other number: append
    /// \param size  as for `saveFile`
    /// \return as for `saveFile`
    static bool saveFileAppand(const std::string& path, const char* data, int mode, int size);

    // Queries. Symbolic links are followed.

    /// Whether there is a file or directory.
    static bool fileExists(const std::string& path);

    /// Whether there is a file or directory.
    ///
    /// \throw std::range_error if the path cannot be converted to UTF-8
    static bool fileExists(const std::wstring& path);

    /// The size in bytes; 0 if there is no such file.
    static std::uint64_t getFileSize(const std::string& path);

    /// Whether there is a directory.
    static bool isDirectory(const std::string& path);

    // Directories.

    /// Creates a directory and those above it that are missing. Logs what it does.
    ///
    /// \return whether this call created it: false when it existed
    /// \throw std::range_error if it does not exist and the path is not valid UTF-8
    static bool createDirectory(const std::string& path);

    /// Creates a directory and those above it that are missing, with permissions 0744 less the file mode creation mask.
    ///
    /// \return whether it exists now; true for an empty path
    /// \throw std::range_error if it does not exist and the path is not valid UTF-8
    static bool createDirectoryStructure(const std::string& path);

    /// `createDirectory` of the directory above the path.
    ///
    /// \throw std::range_error if the path is not valid UTF-8
    static void createParentDirectory(const std::string& path);

    /// Removes a directory with all that is in it, as far as possible. Links in it are removed, not followed.
    static void removeDirectory(const std::string& path);

    /// Appends to `files` the path of every file in `dir` whose name contains one of the patterns. With `descend` the
    /// directories in `dir` are searched in its place of listing, theirs are not; without it, directories count as
    /// files. The order is that of the file system.
    static void getFilesFromDirectory(std::string dir, const std::vector<std::string>& patterns,
                                      std::vector<std::string>& files, bool descend);

    /// Appends to `dirs` the path of every directory in `dir`; with `recursive` of those below too, each one followed
    /// by what it contains. Links to directories are directories here.
    static void getSubDirectories(const std::string& dir, bool recursive, std::vector<std::string>& dirs);

    // Files.

    /// Removes a file, link or empty directory. 0, or -1 on failure.
    static int removeFile(const std::string& path);

    /// Renames, replacing what has the new name. 0, or -1 on failure.
    static int renameFile(const std::string& from, const std::string& to);

    /// Copies the contents of a file. A file copied onto itself stays as it is.
    ///
    /// \param from  the file to copy
    /// \param to  the copy, made or replaced
    /// \param failIfExists  leave `to` alone
    /// \return false if `from` is missing or a directory, if either cannot be opened, or if `to` exists and
    ///     `failIfExists`; a failure to write is not reported
    static bool copyFile(const std::string& from, const std::string& to, bool failIfExists);

    /// Renames `from`, if there is no `to`. Otherwise only removes `to`, unless `failIfExists`: the next call moves.
    ///
    /// \param from  a file or directory
    /// \param to  its new path
    /// \param failIfExists  leave `to` alone
    /// \return 0, or -1 on failure and if `to` exists and `failIfExists`
    static int moveFile(const std::string& from, const std::string& to, bool failIfExists);

    // Path strings; no file is looked at. The narrow forms throw std::range_error if the path is not valid UTF-8.

    /// \{

    /// The text before the last "/", a "/" at the end not counted: empty for "/a" and "a", but "a/" for "a/".
    static std::wstring getParentDirectory(const std::wstring& path);
    static std::string getParentDirectory(const std::string& path);
    /// \}

    /// \{

    /// The text after the last "/"; all of it without one.
    static std::wstring getFileName(const std::wstring& path);
    static std::string getFileName(const std::string& path);
    /// \}

    /// \{

    /// The text after the last ".", be it in the name or before: "x/file" for "dir.x/file". Empty if there is none.
    static std::wstring getFileExtension(const std::wstring& path);
    static std::string getFileExtension(const std::string& path);
    /// \}

    /// A path that does not begin with "/" is taken below the installation directory; an empty one is that directory.
    static std::string getAbsolutePath(const std::string& path);
};

}  // namespace VDIFrameworkCommon
