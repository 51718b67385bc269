// Any bytes in any object end in a listing, in findings and in changes, none of which does anything to a terminal.

#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "survey/ArbitraryFiles.h"
#include "survey/SurveyJson.h"
#include "survey/SurveyText.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace vdictl;
    static const auto known = arbitrary::knownNames(0);
    arbitrary::Source source(data, size);
    const Survey survey = arbitrary::survey(source, known);
    const auto json = surveyJson(survey, Owner{});
    std::size_t listed = json["others"].size();
    for (const auto& product : json["products"]) {
        listed += product["objects"].size();
    }
    const std::string text = surveyText(survey, Owner{}, Terminal(80, false));
    const Survey after = arbitrary::survey(source, known);
    const bool isWhole = listed == survey.objects.size() && !text.empty() && !json.dump().empty();
    if (!isWhole || !arbitrary::isPrintable(text) || !arbitrary::isPrintable(arbitrary::findingsText(survey)) ||
        !arbitrary::isPrintable(arbitrary::changesText(survey, after))) {
        std::abort();
    }
    return 0;
}
