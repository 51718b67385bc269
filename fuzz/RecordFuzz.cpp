// A record of any bytes becomes one line, which parses back to it and which the log knows by every beginning.

#include <fuzzer/FuzzedDataProvider.h>

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "RecordForm.h"
#include "dpllogger/LineParser.h"

namespace {

using namespace DPL::dpllogger;

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

std::string anyText(FuzzedDataProvider& source) {
    return source.ConsumeRandomLengthString();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider source(data, size);
    const std::string logger = anyText(source);
    const std::string path = anyText(source);
    const std::string function = anyText(source);
    const auto line = source.ConsumeIntegral<int>();
    const auto level = source.ConsumeIntegralInRange(-1, 8);
    const std::string message = source.ConsumeRemainingBytesAsString();

    static RecordForm form;
    spdlog::memory_buf_t out;
    form.append(out, {logger, level, path, line, function, message});
    std::string_view text(out.data(), out.size());

    require(text.find('\n') == text.size() - 1);
    text.remove_suffix(1);
    const auto parsed = logreader::parse(text);
    require(parsed && parsed->logger == logger && parsed->level == level && parsed->path == path &&
            parsed->line == line && parsed->function == function && parsed->message == message);
    require(text.substr(text.size() - tailOf(text).text.size()) == tailOf(text).text);
    require(beginsLikeALine(text) && beginsLikeALine(text.substr(0, text.size() / 2)));
    return 0;
}
