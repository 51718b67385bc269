#include "ObjectNames.h"

#include <unistd.h>

#include <charconv>
#include <iterator>

#include "CityHash64.h"
#include "VDIFrameworkCommon/VDIClientInfo.h"

namespace VDIFrameworkCommon {

namespace {

std::string_view clientPrefix(VDIClientType::VDIClientTypeEnum type) noexcept {
    switch (type) {
        case VDIClientType::OrvexCrews:
            return "CRVDI_";
        case VDIClientType::OrvexHuddles:
            return "HDVDI_";
        default:
            return "DEFVDI_";
    }
}

}  // namespace

std::string clientObjectName(std::string_view name) {
    std::string result = std::to_string(geteuid());
    result += clientPrefix(VDIClientInfo::getInstance()->getClientType());
    result += name;
    return result;
}

SystemName::SystemName(std::string_view logicalName) noexcept {
    text_[0] = '/';
    *std::to_chars(text_ + 1, std::end(text_) - 1, cityHash64(logicalName)).ptr = '\0';
}

}  // namespace VDIFrameworkCommon
