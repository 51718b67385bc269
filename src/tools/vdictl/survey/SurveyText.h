#pragma once

#include <string>

#include "Terminal.h"
#include "survey/Survey.h"

namespace vdictl {

/// The owner's part of a survey as tables.
std::string surveyText(const Survey& survey, const Owner& owner, const Terminal& terminal);

}  // namespace vdictl
