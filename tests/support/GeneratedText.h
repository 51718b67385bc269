#pragma once

#include <cstddef>
#include <random>
#include <string>
#include <string_view>

/// Texts for comparisons of a function with the mechanism that defines its result. The same ones in every run.
namespace generated {

class Source {
public:
    explicit Source(unsigned seed) : engine_(seed) {}

    std::size_t below(std::size_t limit) { return engine_() % limit; }

    /// Elements of the alphabet; short more often than not.
    template <typename Char>
    std::basic_string<Char> text(std::basic_string_view<Char> alphabet, std::size_t longest) {
        std::basic_string<Char> result(below(1 + below(longest + 1)), Char());
        for (Char& element : result) {
            element = alphabet[below(alphabet.size())];
        }
        return result;
    }

    /// Pieces of the list, one after the other.
    template <typename Char, std::size_t Count>
    std::basic_string<Char> joined(const std::basic_string_view<Char> (&pieces)[Count], std::size_t most) {
        std::basic_string<Char> result;
        for (std::size_t left = below(most + 1); left != 0; --left) {
            result += pieces[below(Count)];
        }
        return result;
    }

    /// The text with up to two elements replaced, put in or taken out.
    template <typename Char>
    std::basic_string<Char> disturbed(std::basic_string<Char> text, std::basic_string_view<Char> alphabet) {
        for (std::size_t left = below(3); left != 0; --left) {
            const std::size_t at = below(text.size() + 1);
            const Char element = alphabet[below(alphabet.size())];
            switch (below(3)) {
                case 0:
                    text.insert(at, 1, element);
                    break;
                case 1:
                    text.replace(at, 1, 1, element);
                    break;
                default:
                    text.erase(at, 1);
                    break;
            }
        }
        return text;
    }

private:
    std::mt19937 engine_;
};

}  // namespace generated
