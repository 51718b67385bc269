#include "Report.h"

#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <utility>

namespace vdictl {

namespace {

std::string joined(std::string object, const std::string& call, const std::string& reason, const std::string& advice) {
    for (const std::string& part : {call, reason}) {
        if (!part.empty()) {
            object += ": " + part;
        }
    }
    return advice.empty() ? object : object + "; " + advice;
}

}  // namespace

Failure::Failure(std::string object, const std::string& call, int error, const std::string& advice)
    : Failure(std::move(object), call, error == 0 ? std::string() : errorText(error), advice) {
}

Failure::Failure(std::string object, const std::string& call, const std::string& reason, const std::string& advice)
    : text_(joined(std::move(object), call, reason, advice)) {
}

std::string errorText(int error) {
    const char* const description = strerrordesc_np(error);
    const char* const name = strerrorname_np(error);
    if (description == nullptr || name == nullptr) {
        return "error " + std::to_string(error);
    }
    return std::string(description) + " (" + name + ")";
}

void complain(const std::string& text) {
    const std::string line = "vdictl: " + text + '\n';
    std::fwrite(line.data(), 1, line.size(), stderr);
}

}  // namespace vdictl
