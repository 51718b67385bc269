#include <algorithm>
#include <array>
#include <functional>
#include <string_view>
#include <vector>

#include "CharacterClass.h"
#include "VDIFrameworkCommon/StringUtils.h"

namespace VDIFrameworkCommon {

namespace {

// A set of delimiter characters: a table for the elements up to 0xFF, a sorted list for those above.
template <typename Char>
class Delimiters {
public:
    explicit Delimiters(const std::basic_string<Char>& elements) {
        for (const Char element : elements) {
            if constexpr (sizeof(Char) == 1) {  // NOLINT(bugprone-branch-clone)
                table_[static_cast<unsigned char>(element)] = true;
            } else if (isByte(element)) {
                table_[static_cast<unsigned char>(element)] = true;
            } else {
                others_.push_back(element);
            }
        }
        std::sort(others_.begin(), others_.end());
    }

    bool contains(Char element) const {
        if constexpr (sizeof(Char) == 1) {  // NOLINT(bugprone-branch-clone)
            return table_[static_cast<unsigned char>(element)];
        } else if (isByte(element)) {
            return table_[static_cast<unsigned char>(element)];
        } else {
            return std::binary_search(others_.begin(), others_.end(), element);
        }
    }

private:
    std::array<bool, 256> table_{};
    std::basic_string<Char> others_;
};

// Appends tokens in batches, so that the vector grows seldom.
template <typename Char>
class TokenSink {
public:
    using String = std::basic_string<Char>;
    using View = std::basic_string_view<Char>;

    explicit TokenSink(std::vector<String>& tokens) : tokens_(tokens) {}

    void add(View token) {
        if (count_ == batch_.size()) {
            flush();
        }
        batch_[count_++] = token;
    }

    void flush() {
        const std::size_t needed = tokens_.size() + count_;
        if (needed > tokens_.capacity()) {
            tokens_.reserve(std::max(needed, 2 * tokens_.capacity()));
        }
        for (std::size_t i = 0; i != count_; ++i) {
            tokens_.emplace_back(batch_[i]);
        }
        count_ = 0;
    }

private:
    std::vector<String>& tokens_;
    std::array<View, 32> batch_;
    std::size_t count_ = 0;
};

template <typename Char>
void splitInto(std::basic_string_view<Char> s, std::vector<std::basic_string<Char>>& tokens,
               const std::basic_string<Char>& delimiters) {
    const Delimiters<Char> set(delimiters);
    TokenSink<Char> sink(tokens);
    const std::size_t size = s.size();
    std::size_t at = 0;
    while (at != size) {
        if (set.contains(s[at])) {
            ++at;
            continue;
        }
        const std::size_t start = at;
        while (at != size && !set.contains(s[at])) {
            ++at;
        }
        sink.add(s.substr(start, at - start));
    }
    sink.flush();
}

template <typename String>
void splitSafely(const String& s, std::vector<String>& tokens, const String& delimiters) {
    const std::less<const String*> before;
    const bool isToken = !before(&s, tokens.data()) && before(&s, tokens.data() + tokens.size());
    if (isToken) {
        // Appending would move the text away.
        const String copy = s;  // NOLINT(performance-unnecessary-copy-initialization)
        splitInto<typename String::value_type>(copy, tokens, delimiters);
    } else {
        splitInto<typename String::value_type>(s, tokens, delimiters);
    }
}

}  // namespace

void split(const std::string& s, std::vector<std::string>& tokens, const std::string& delimiters) {
    splitSafely(s, tokens, delimiters);
}

void split(const std::wstring& s, std::vector<std::wstring>& tokens, const std::wstring& delimiters) {
    splitSafely(s, tokens, delimiters);
}

}  // namespace VDIFrameworkCommon
