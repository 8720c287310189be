// Random calls on a handle, compared after each with a text in memory that does what a file does.
#include <algorithm>
#include <random>

#include "file/file.h"
#include "file_fixture.h"
#include "os_faults.h"

namespace {

struct Model {
    std::string bytes;
    std::size_t position = 0;

    void put(const std::string& text) {
        if (text.empty()) return;
        if (bytes.size() < position + text.size()) bytes.resize(position + text.size(), '\0');
        bytes.replace(position, text.size(), text);
        position += text.size();
    }
    std::string get(std::size_t size) {
        if (position >= bytes.size()) return "";
        std::string text = bytes.substr(position, size);
        position += text.size();
        return text;
    }
    void truncate() { bytes.resize(position, '\0'); }
};

struct Setting {
    const char* name;
    unsigned long smallest;
    unsigned long largest;
    unsigned long transferMax;
    bool interrupted;
    unsigned runs;
};

class FileModelTest : public FileTest, public testing::WithParamInterface<Setting> {
protected:
    void TearDown() override {
        if (file_) {
            EXPECT_EQ(np_fio_close(file_), np_ok);
        }
        FileTest::TearDown();
    }

    void reopen() {
        if (file_) {
            ASSERT_EQ(np_fio_close(file_), np_ok);
        }
        file_ = open(path_, np_mode_update);
        ASSERT_NE(file_, nullptr);
        file_->setBufferSizes(GetParam().smallest, GetParam().largest);
        model_.position = 0;
    }

    unsigned long random(unsigned long below) { return std::uniform_int_distribution<unsigned long>(0, below - 1)(engine_); }

    // Mostly small, now and then more than the largest buffer.
    unsigned long randomSize() {
        switch (random(8)) {
            case 0: return random(3 * GetParam().largest);
            case 1: return random(GetParam().largest);
            case 2: return 0;
            default: return random(GetParam().smallest + 4);
        }
    }

    void putSome() {
        std::string text(randomSize(), '\0');
        for (char& byte : text) byte = static_cast<char>(random(256));
        ASSERT_EQ(put(file_, text), text.size());
        model_.put(text);
    }

    void getSome() {
        const unsigned long size = randomSize();
        ASSERT_EQ(get(file_, size), model_.get(size));
    }

    void takeFromView() {
        unsigned long size = 0;
        const unsigned char* bytes = np_fio_view(file_, &size);
        const std::string lent(bytes, bytes + size);
        ASSERT_EQ(lent, model_.bytes.substr(std::min(model_.position, model_.bytes.size()), size));
        const unsigned long used = random(size + 1);
        model_.position += used;
        ASSERT_EQ(np_fio_seek64(file_, static_cast<long>(used), np_from_current), static_cast<long>(model_.position));
    }

    void fillRoom() {
        unsigned long size = 0;
        unsigned char* room = np_fio_room(file_, &size);
        std::string text(random(size + 1), '\0');
        for (char& byte : text) byte = static_cast<char>(random(256));
        std::copy(text.begin(), text.end(), room);
        np_fio_fill(file_, text.size());
        model_.put(text);
    }

    void seekTo(long offset, int origin) {
        const std::size_t from = origin == np_from_start     ? 0
                                 : origin == np_from_current ? model_.position
                                                             : model_.bytes.size();
        const long target = static_cast<long>(from) + offset;
        ASSERT_EQ(np_fio_seek64(file_, offset, origin), target < 0 ? -1 : target);
        if (target >= 0) model_.position = static_cast<std::size_t>(target);
    }

    void seekSome() {
        const auto size = static_cast<long>(model_.bytes.size());
        const auto near = static_cast<long>(random(2 * GetParam().smallest));
        switch (random(6)) {
            case 0: return seekTo(static_cast<long>(random(model_.bytes.size() + 10)), np_from_start);
            case 1: return seekTo(near, np_from_current);
            case 2: return seekTo(-near, np_from_current);
            case 3: return seekTo(0, np_from_current);
            case 4: return seekTo(-static_cast<long>(random(static_cast<unsigned long>(size) + 3)), np_from_end);
            default: return seekTo(static_cast<long>(random(GetParam().largest)), np_from_end);
        }
    }

    void flushAndCompare() {
        ASSERT_EQ(np_fio_bufmode(file_, 0), np_ok);
        ASSERT_EQ(bytesOf(path_), model_.bytes);
    }

    void truncateSome() {
        // Files that only grow would soon be too long for the windows to meet their ends.
        if (model_.bytes.size() > 20 * GetParam().largest) seekTo(static_cast<long>(random(GetParam().largest)), np_from_start);
        ASSERT_EQ(np_fio_trunc(file_), np_ok);
        model_.truncate();
    }

    void step() {
        const unsigned long choice = random(100);
        if (choice < 30) return putSome();
        if (choice < 40) return fillRoom();
        if (choice < 60) return getSome();
        if (choice < 70) return takeFromView();
        if (choice < 92) return seekSome();
        if (choice < 95) return flushAndCompare();
        if (choice < 99) return truncateSome();
        reopen();
    }

    void run(unsigned seed, int steps) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        engine_.seed(seed);
        path_ = makeFile("file");
        model_ = Model();
        reopen();
        for (int i = 0; i < steps && !HasFatalFailure(); ++i) {
            SCOPED_TRACE("step " + std::to_string(i));
            step();
            EXPECT_EQ(np_fio_seek64(file_, 0, np_from_current), static_cast<long>(model_.position));
        }
        if (!HasFatalFailure()) flushAndCompare();
    }

    std::string path_;
    np_file* file_ = nullptr;
    Model model_;
    std::mt19937 engine_;
};

TEST_P(FileModelTest, DoesWhatATextInMemoryDoes) {
    OsFaults faults;
    if (GetParam().interrupted) faults.interrupt();
    faults.transferAtMost(GetParam().transferMax);
    for (unsigned seed = 1; seed <= GetParam().runs && !HasFailure(); ++seed) run(seed, 300);
}

INSTANTIATE_TEST_SUITE_P(Settings, FileModelTest,
                         testing::Values(Setting{"OneByteWindow", 1, 1, ULONG_MAX, false, 150},
                                         Setting{"WindowsThatGrowFrom2To7", 2, 7, ULONG_MAX, false, 150},
                                         Setting{"WindowsThatGrowFrom8To64", 8, 64, ULONG_MAX, false, 150},
                                         Setting{"FullSize", 4096, 124UL * 1024, ULONG_MAX, false, 4},
                                         Setting{"OneByteAtATime", 8, 64, 1, false, 150},
                                         Setting{"ThreeBytesAtATimeAndInterrupted", 16, 100, 3, true, 150}),
                         [](const auto& setting) { return std::string(setting.param.name); });

}  // namespace
