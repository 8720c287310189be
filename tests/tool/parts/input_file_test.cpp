// Reading a file several times.
#include "input_file.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>
#include <string>

#include "support/temp_directory.h"

namespace {

class InputFileTest : public testing::Test {
protected:
    void SetUp() override {
        write("12345678");
        ASSERT_TRUE(input.open(path, "").ok());
    }

    void write(const std::string& bytes) const { std::ofstream(path, std::ios::binary | std::ios::app) << bytes; }

    // What there is from the beginning to the end, or what is wrong.
    std::string readAll() {
        char buffer[100];
        std::size_t size = 0;
        if (const Outcome rewound = input.rewind(); !rewound.ok()) return rewound.text();
        const Outcome read = input.read(buffer, sizeof buffer, &size);
        EXPECT_TRUE(read.ok() || read.status() == Status::damaged);
        return read.ok() ? std::string(buffer, size) : read.text();
    }

    TempDirectory directory;
    const std::string path = directory.file("a");
    InputFile input;
};

TEST_F(InputFileTest, ReadsAFileAgainAndAgain) {
    EXPECT_EQ(readAll(), "12345678");
    EXPECT_EQ(readAll(), "12345678");
    EXPECT_EQ(input.size(), 8);
}

TEST_F(InputFileTest, RefusesAFileThatHasBecomeShorter) {
    EXPECT_EQ(readAll(), "12345678");
    ASSERT_EQ(truncate(path.c_str(), 5), 0);
    EXPECT_EQ(readAll(), path + ": the file changes: it had 8 bytes, and now it has 5");
}

TEST_F(InputFileTest, RefusesAFileThatBecomesShorterBeforeItIsRead) {
    ASSERT_EQ(truncate(path.c_str(), 7), 0);
    EXPECT_EQ(readAll(), path + ": the file changes: it had 8 bytes, and now it has 7");
}

TEST_F(InputFileTest, TakesAFileThatGrowsButDoesNotLoseThatAgain) {
    write("9");
    EXPECT_EQ(readAll(), "123456789");
    ASSERT_EQ(truncate(path.c_str(), 8), 0);
    EXPECT_EQ(readAll(), path + ": the file changes: it had 9 bytes, and now it has 8");
}

}  // namespace
