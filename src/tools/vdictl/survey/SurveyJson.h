#pragma once

#include <nlohmann/json.hpp>

#include "survey/Survey.h"

namespace vdictl {

/// The owner's part of a survey in the documented form.
nlohmann::ordered_json surveyJson(const Survey& survey, const Owner& owner);

/// A text, or null for an empty one.
nlohmann::ordered_json textOrNull(const std::string& text);

}  // namespace vdictl
