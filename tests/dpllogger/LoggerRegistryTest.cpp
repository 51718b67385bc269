#include <dpllogger/DPLLogger.h>
#include <gtest/gtest.h>

#include <array>
#include <string>
#include <thread>
#include <vector>

namespace {

TEST(LoggerRegistry, ALoggerKeepsTheNameItWasMadeWith) {
    std::string name = "SharedMemory";
    DPLLogger* const logger = DPLLogger_getLogger(name.c_str());
    name.assign("overwritten");
    ASSERT_NE(logger, nullptr);
    EXPECT_STREQ(DPLLogger_getName(logger), "SharedMemory");
    EXPECT_STREQ(DPLLogger_getName(DPLLogger_getLogger("")), "");
}

TEST(LoggerRegistry, TheSameNameIsTheSameLogger) {
    DPLLogger* const first = DPLLogger_getLogger("one");
    for (int i = 0; i < 1000; ++i) {
        DPLLogger_getLogger(("other " + std::to_string(i)).c_str());
    }
    EXPECT_EQ(DPLLogger_getLogger("one"), first);
    EXPECT_NE(DPLLogger_getLogger("two"), first);
    EXPECT_STREQ(DPLLogger_getName(first), "one");
}

TEST(LoggerRegistry, NullHasNoLoggerAndNoName) {
    EXPECT_EQ(DPLLogger_getLogger(nullptr), nullptr);
    EXPECT_EQ(DPLLogger_getName(nullptr), nullptr);
}

TEST(LoggerRegistry, ThreadsThatAskAtOnceGetTheSameLogger) {
    std::array<DPLLogger*, 4> found{};
    std::vector<std::thread> threads;
    for (DPLLogger*& slot : found) {
        threads.emplace_back([&slot] {
            for (int i = 0; i < 200; ++i) {
                slot = DPLLogger_getLogger(std::to_string(i).c_str());
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (DPLLogger* const logger : found) {
        EXPECT_EQ(logger, DPLLogger_getLogger("199"));
    }
}

}  // namespace
