#include "Json.h"

#include <nlohmann/json.hpp>

#include "Terminal.h"

namespace vdictl {

namespace {

constexpr int indentation = 2;
constexpr int onOneLine = -1;

void printIndented(const nlohmann::ordered_json& value, int spaces) {
    print(value.dump(spaces, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + '\n');
}

}  // namespace

void printJson(const nlohmann::ordered_json& value) {
    printIndented(value, indentation);
}

void printJsonLine(const nlohmann::ordered_json& value) {
    printIndented(value, onOneLine);
}

}  // namespace vdictl
