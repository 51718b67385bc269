#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <locale>
#include <string>

/// Locales that a machine rarely has installed, made for a test.
namespace testlocale {

/// Compiles locales with `localedef` into a folder of its own, removed again at the end. Made before any other locale
/// is looked up: the C library reads the folder's place, `LOCPATH`, when it does that.
class Folder {
public:
    Folder() : path_(std::filesystem::temp_directory_path() / "vdi-locales-XXXXXX") {
        std::string name = path_.string();
        path_ = ::mkdtemp(name.data()) != nullptr ? name : std::string();
        ::setenv("LOCPATH", path_.c_str(), 1);
    }
    ~Folder() { std::filesystem::remove_all(path_); }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    /// Adds a locale such as ("de_DE", "ISO-8859-1"), whose name is then "de_DE.ISO-8859-1". False if that cannot be
    /// done: `localedef` and the sources of locales come with the package "locales".
    bool add(const std::string& language, const std::string& charset) const {
        const std::string target = path_ / (language + "." + charset);
        const std::string command = "localedef -i " + language + " -f " + charset + " " + target + " 2>/dev/null";
        // NOLINTNEXTLINE(cert-env33-c): the command is the test's own
        return !path_.empty() && std::system(command.c_str()) == 0;
    }

    /// Adds a locale in ISO-8859-1 with the character classes of a source of locales, whose name is then "own". All of
    /// its other categories are missing. False if that cannot be done.
    bool addOwn(const std::string& classes) const {
        std::ofstream(path_ / "source") << "LC_CTYPE\n" << classes << "\nEND LC_CTYPE\n";
        // Forced, in spite of what is missing.
        const std::string command = "localedef -c -i " + (path_ / "source").string() + " -f ISO-8859-1 " +
                                    (path_ / "own").string() + " 2>/dev/null";
        // NOLINTNEXTLINE(cert-env33-c): the command is the test's own
        return !path_.empty() && std::system(command.c_str()) != -1 && std::filesystem::exists(path_ / "own");
    }

private:
    std::filesystem::path path_;
};

/// Punctuation that no conversion may pick up.
template <typename Character>
class OddPunctuation : public std::numpunct<Character> {
protected:
    Character do_decimal_point() const override { return ','; }
    Character do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
    std::basic_string<Character> do_truename() const override { return {'j', 'a'}; }
    std::basic_string<Character> do_falsename() const override { return {'n', 'o'}; }
};

inline std::locale odd() {
    const std::locale narrow(std::locale::classic(), new OddPunctuation<char>);
    return {narrow, new OddPunctuation<wchar_t>};
}

}  // namespace testlocale
