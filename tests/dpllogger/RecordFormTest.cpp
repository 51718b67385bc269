#include <dpllogger/DPLLogger.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <random>
#include <string>
#include <thread>

#include "dpllogger/LogReader.h"

namespace {

using DPL::dpllogger::LogController;
using logreader::Line;
using testing::HasSubstr;
using testing::MatchesRegex;

class RecordForm : public testing::Test {
protected:
    RecordForm() { controller_.init(folder_.path()); }

    // The text that the record became in the file.
    std::string written(const std::string& logger, DPLLogLevel level, const std::string& path, int line,
                        const std::string& function, const std::string& message) {
        const std::size_t before = logreader::contents(log_).size();
        controller_.setLogLevel(DPLLogLevel(100));
        controller_.log(logger, level, path, line, function, message);
        controller_.flush();
        return logreader::contents(log_).substr(before);
    }
    std::string writtenMessage(const std::string& message) {
        const std::string line = written("Test", DPL_INFO, "a.cpp", 1, "f", message);
        return line.substr(line.find(" f: ") + 4);
    }

    const logreader::TemporaryFolder folder_;
    const std::filesystem::path log_ = folder_ / "parlet.log";
    LogController controller_;
};

TEST_F(RecordForm, IsOneLineWithEveryPartInItsPlace) {
    setenv("TZ", "Asia/Kolkata", 1);
    tzset();
    const std::string line =
        written("SharedMemory", DPL_ERROR, "src/Common/src/Macosx/NamedMutexMacosx.cpp", 42, "create", "it failed: 13");
    EXPECT_THAT(line,
                MatchesRegex("[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{6}\\+05:30 [0-9]+ [0-9]+ "
                             "ERROR SharedMemory src/Common/src/Macosx/NamedMutexMacosx.cpp:42 create: "
                             "it failed: 13\n"));
}

TEST_F(RecordForm, TimeIsTheTimeOfTheRecord) {
    const auto now = std::time(nullptr);
    written("a", DPL_INFO, "b", 1, "c", "d");
    const auto lines = logreader::readLog(log_);
    ASSERT_EQ(lines.size(), 1U);
    std::tm local{};
    ASSERT_NE(strptime(lines[0].time.c_str(), "%Y-%m-%dT%H:%M:%S", &local), nullptr);
    local.tm_isdst = -1;
    const std::time_t time = std::mktime(&local);
    EXPECT_GE(time, now);
    EXPECT_LE(time, std::time(nullptr));
}

TEST_F(RecordForm, ZonesWestOfGreenwichHaveAMinus) {
    setenv("TZ", "XXX3:30", 1);
    tzset();
    EXPECT_THAT(written("a", DPL_INFO, "b", 1, "c", "d"), HasSubstr("-03:30 "));
}

TEST_F(RecordForm, CarriesProcessAndThread) {
    long otherThread = 0;
    logreader::write(controller_, DPL_ERROR, "from here");
    std::thread([&] {
        otherThread = syscall(SYS_gettid);
        logreader::write(controller_, DPL_ERROR, "from there");
    }).join();
    const auto lines = logreader::readLog(log_);
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0].pid, getpid());
    EXPECT_EQ(lines[0].tid, syscall(SYS_gettid));
    EXPECT_EQ(lines[1].pid, getpid());
    EXPECT_EQ(lines[1].tid, otherThread);
}

TEST_F(RecordForm, LevelsHaveTheirNamesOrTheirNumber) {
    const auto level = [&](int number) {
        const std::string line = written("LOGGER", DPLLogLevel(number), "p", 1, "f", "");
        const std::size_t end = line.find(" LOGGER");
        const std::size_t start = line.rfind(' ', end - 1) + 1;
        return line.substr(start, end - start);
    };
    EXPECT_EQ(level(DPL_FATAL), "FATAL");
    EXPECT_EQ(level(DPL_ERROR), "ERROR");
    EXPECT_EQ(level(DPL_WARN), "WARN");
    EXPECT_EQ(level(DPL_INFO), "INFO");
    EXPECT_EQ(level(DPL_DEBUG), "DEBUG");
    EXPECT_EQ(level(DPL_TRACE), "TRACE");
    EXPECT_EQ(level(0), "0");
    EXPECT_EQ(level(7), "7");
    EXPECT_EQ(level(-2147483647 - 1), "-2147483648");
}

TEST_F(RecordForm, ControlCharactersAreEscaped) {
    EXPECT_EQ(writtenMessage("a\nb\rc\td\\e"), "a\\nb\\rc\\td\\\\e\n");
    EXPECT_EQ(writtenMessage(std::string("\0\x01\x1B[31m\x7F", 8)), "\\x00\\x01\\x1B[31m\\x7F\n");
}

TEST_F(RecordForm, ValidTextStaysReadable) {
    const std::string text =
        "Gr\xC3\xBC\xC3\x9F"
        "e, \xE2\x82\xAC 5, \xF0\x9F\x99\x82";
    EXPECT_EQ(writtenMessage(text), text + "\n");
    EXPECT_EQ(writtenMessage("\xEF\xBF\xBF \xED\x9F\xBF \xEE\x80\x80 \xF4\x8F\xBF\xBF \xC2\xA0"),
              "\xEF\xBF\xBF \xED\x9F\xBF \xEE\x80\x80 \xF4\x8F\xBF\xBF \xC2\xA0\n");
}

TEST_F(RecordForm, BrokenUtf8IsEscapedByteByByte) {
    EXPECT_EQ(writtenMessage("\xC3"), "\\xC3\n") << "cut short";
    EXPECT_EQ(writtenMessage("\xE2\x82"), "\\xE2\\x82\n") << "cut short";
    EXPECT_EQ(writtenMessage("\x80"), "\\x80\n") << "continuation without a start";
    EXPECT_EQ(writtenMessage("\xC0\xAF"), "\\xC0\\xAF\n") << "longer than needed";
    EXPECT_EQ(writtenMessage("\xE0\x9F\xBF"), "\\xE0\\x9F\\xBF\n") << "longer than needed";
    EXPECT_EQ(writtenMessage("\xF0\x8F\xBF\xBF"), "\\xF0\\x8F\\xBF\\xBF\n") << "longer than needed";
    EXPECT_EQ(writtenMessage("\xED\xA0\x80"), "\\xED\\xA0\\x80\n") << "a surrogate";
    EXPECT_EQ(writtenMessage("\xF4\x90\x80\x80"), "\\xF4\\x90\\x80\\x80\n") << "above the last code point";
    EXPECT_EQ(writtenMessage("\xFF\xFE"), "\\xFF\\xFE\n");
    EXPECT_EQ(writtenMessage("\xE2\x82(\xC3\xBC"), "\\xE2\\x82(\xC3\xBC\n");
}

TEST_F(RecordForm, InvisibleLineBreaksAndReorderingMarksAreEscaped) {
    EXPECT_EQ(writtenMessage("\xC2\x85"), "\\xC2\\x85\n") << "next line";
    EXPECT_EQ(writtenMessage("\xC2\x9B"), "\\xC2\\x9B\n") << "control sequence introducer";
    EXPECT_EQ(writtenMessage("\xE2\x80\xA8\xE2\x80\xA9"), "\\xE2\\x80\\xA8\\xE2\\x80\\xA9\n") << "separators";
    EXPECT_EQ(writtenMessage("\xE2\x80\xAE\xE2\x81\xA6"), "\\xE2\\x80\\xAE\\xE2\\x81\\xA6\n") << "reordering";
    EXPECT_EQ(writtenMessage("\xE2\x80\xA7\xE2\x80\xAF\xE2\x81\xA5\xE2\x81\xAA"),
              "\xE2\x80\xA7\xE2\x80\xAF\xE2\x81\xA5\xE2\x81\xAA\n")
        << "their neighbours";
}

TEST_F(RecordForm, AMessageCannotForgeARecord) {
    const std::string forged = "harmless\n2026-01-01T00:00:00.000000+00:00 1 1 ERROR Fake a.cpp:1 f: forged";
    written("L\n1", DPL_INFO, "p\n2", 3, "f\n3", forged);
    const auto lines = logreader::readLog(log_);
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].message, forged);
    EXPECT_EQ(lines[0].logger, "L\n1");
}

TEST_F(RecordForm, WordsWithSpacesAndColonsParseBack) {
    written("my logger", DPL_INFO, "C:\\my files\\a b.cpp:9", -5, "operator() (int): x", " : ");
    const auto lines = logreader::readLog(log_);
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].logger, "my logger");
    EXPECT_EQ(lines[0].path, "C:\\my files\\a b.cpp:9");
    EXPECT_EQ(lines[0].line, -5);
    EXPECT_EQ(lines[0].function, "operator() (int): x");
    EXPECT_EQ(lines[0].message, " : ");
}

TEST_F(RecordForm, EmptyPartsParseBack) {
    written("", DPL_INFO, "", 0, "", "");
    const auto lines = logreader::readLog(log_);
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].logger + lines[0].path + lines[0].function + lines[0].message, "");
}

TEST_F(RecordForm, AHugeMessageIsOneRecord) {
    const std::string message(5U << 20, '\n');
    EXPECT_GT(written("a", DPL_INFO, "b", 1, "c", message).size(), 2 * message.size());
    const auto lines = logreader::readLog(log_);
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_TRUE(lines[0].message == message);
}

// Any bytes, drawn so that plain text, escapes and multi-byte sequences meet at every alignment. The same ones in each
// run, others with --gtest_shuffle.
class RandomText {
public:
    explicit RandomText(int seed) : engine_(20261121U + static_cast<unsigned>(seed)) {}

    std::string next() {
        static const std::string pieces[] = {"\n",           "\\",           " ",    ":",         "\\x4", "\xC3\xBC",
                                             "\xE2\x80\xA8", "\xF0\x9F\x99", "\x7F", "plain text"};
        std::string text;
        const auto length = draw(40);
        for (unsigned i = 0; i < length; ++i) {
            switch (draw(3)) {
                case 0:
                    text += static_cast<char>(draw(256));
                    break;
                case 1:
                    text += pieces[draw(std::size(pieces))];
                    break;
                default:
                    text.append(draw(12), 'x');
            }
        }
        return text;
    }

private:
    unsigned draw(std::size_t choices) { return static_cast<unsigned>(engine_() % choices); }
    std::mt19937 engine_;
};

TEST_F(RecordForm, AnyBytesParseBackToTheRecord) {
    constexpr int count = 20000;
    const int seed = testing::UnitTest::GetInstance()->random_seed();
    SCOPED_TRACE("--gtest_shuffle --gtest_random_seed=" + std::to_string(seed));
    RandomText text(seed);
    std::vector<Line> records;
    controller_.setLogLevel(DPL_ALL);
    for (int i = 0; i < count; ++i) {
        const Line record{"", 0, 0, i % 8, text.next(), text.next(), i - count / 2, text.next(), text.next()};
        controller_.log(record.logger, DPLLogLevel(record.level), record.path, record.line, record.function,
                        record.message);
        records.push_back(record);
    }
    controller_.flush();
    const auto lines = logreader::readLog(log_);
    ASSERT_EQ(lines.size(), records.size());
    for (std::size_t i = 0; i < records.size(); ++i) {
        ASSERT_EQ(lines[i].level, records[i].level) << i;
        ASSERT_EQ(lines[i].logger, records[i].logger) << i;
        ASSERT_EQ(lines[i].path, records[i].path) << i;
        ASSERT_EQ(lines[i].line, records[i].line) << i;
        ASSERT_EQ(lines[i].function, records[i].function) << i;
        ASSERT_EQ(lines[i].message, records[i].message) << i;
    }
}

}  // namespace
