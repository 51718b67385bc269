#pragma once

/// Taking the address of an overload picks it by its exact type, and linking it shows that the library has it.
namespace overloads {

template <typename Result, typename... Arguments>
bool has(Result (*function)(Arguments...)) {
    return function != nullptr;
}

}  // namespace overloads
