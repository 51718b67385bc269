#include <VDIFrameworkCommon/FileUtils.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

namespace {

using VDIFrameworkCommon::FileUtils;

// Runs `body` in a thread that somebody cancels first, and waits for its end. A cancellation that took effect within a
// function that must not throw would end the whole process.
void runCancelled(const std::function<void()>& body) {
    pthread_t id{};
    const auto run = [](void* function) -> void* {
        pthread_cancel(pthread_self());
        (*static_cast<const std::function<void()>*>(function))();
        pthread_testcancel();
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&id, nullptr, run, const_cast<std::function<void()>*>(&body)), 0);
    void* result = nullptr;
    ASSERT_EQ(pthread_join(id, &result), 0);
    EXPECT_EQ(result, PTHREAD_CANCELED);
}

class Cancellation : public testing::Test {
protected:
    Cancellation() {
        std::filesystem::create_directory(folder_);
        std::ofstream(file_) << "contents";
    }
    ~Cancellation() override { std::filesystem::remove_all(folder_); }

    const std::string folder_ = testing::TempDir() + "cancellation-" + std::to_string(getpid());
    const std::string file_ = folder_ + "/file.txt";
};

TEST_F(Cancellation, WaitsForTheEndOfAReadingOrWritingOfAFile) {
    std::vector<unsigned char> data;
    bool isSaved = false;
    runCancelled([&] {
        FileUtils::getAllBytesFromFile(file_, data);
        isSaved = FileUtils::saveFile(folder_ + "/saved.txt", "abc", 3);
    });
    EXPECT_EQ(std::string(data.begin(), data.end()), "contents");
    EXPECT_TRUE(isSaved);
}

TEST_F(Cancellation, WaitsForTheEndOfAListing) {
    std::vector<std::string> found;
    runCancelled([&] { FileUtils::getFilesFromDirectory(folder_, {".txt"}, found, true); });
    EXPECT_EQ(found.size(), 1U);
}

}  // namespace
