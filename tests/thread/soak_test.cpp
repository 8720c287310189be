// One manager in the hands of eight threads that do whatever can be done with it, in any order.
//
// A few rounds by themselves; for as many seconds as the environment variable KTWT_SOAK_SECONDS says otherwise. Every thread
// has tables of its own, of which it knows the rows, and all append to one table that they share. A sweep runs beside them and
// may find nothing, since everything is in use or finished.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <map>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "ktwt/sweep.h"
#include "support/released.h"
#include "support/temp_directory.h"

namespace {

constexpr int threadCount = 8;
constexpr int roundsUnlessTold = 12;
constexpr long elementBytes = 2000;

// What a table holds: how many rows, and the sum of their numbers.
struct Content {
    long rows = 0;
    long sum = 0;

    bool operator==(const Content& other) const { return rows == other.rows && sum == other.sum; }
};

using Clock = std::chrono::steady_clock;

class SoakTest : public testing::Test {
protected:
    SoakTest() : manager(ktwtCreateManager("key", directories.c_str(), &creationError)) {
        manager->setSortSize(1UL << 20);
        manager->setSortProcessors(2);
        shared = write(0, 1, nullptr);
    }

    // Writes a table of numbers, in the order of their texts when it is sorted; gives its name, or "" when anything fails.
    std::string write(int sortColumns, long rows, Content* content) {
        KtbString error;
        const Table table(manager->create(2, sortColumns, elementBytes, &error));
        if (!table || !table->defineColumnInfo(0, "number", ktbTypeInteger, 0) ||
            !table->defineColumnInfo(1, "text", ktbTypeString, 0)) {
            return "";
        }
        if (sortColumns != 0) table->setSort(0, 1, false, nullptr);
        for (long i = 0; i < rows; ++i) {
            KtbDatavar values[2];
            const long number = i * 7919 % 1009;
            values[0].assign(number);
            values[1].assign(std::to_string(number).c_str());
            if (!table->writeRow(values)) return "";
            if (content != nullptr) *content = {content->rows + 1, content->sum + number};
        }
        return table->close() ? table->getName().asCstr() : "";
    }

    // What a table or URI holds; -1 rows when it cannot be read, or its texts are not those of its numbers.
    Content read(const std::string& name, bool reversed = false) {
        KtbString error;
        const Table table(manager->open(name.c_str(), reversed, &error));
        if (!table) return {-1, 0};
        Content content;
        KtbDatavar values[2];
        bool end = false;
        while (table->readRow(values, &end)) {
            const long number = values[0].asInt64(nullptr);
            if (values[1].asString().compare(std::to_string(number).c_str(), true) != 0) return {-1, 0};
            content = {content.rows + 1, content.sum + number};
        }
        return end ? content : Content{-1, 0};
    }

    // The table in as many parts as there are threads, read one after the other.
    Content readParts(const std::string& name) {
        long ranges[2 * threadCount];
        int parts = threadCount;
        KtbString error;
        Content content;
        if (!manager->partition(name.c_str(), &parts, ranges, &error)) return {-1, 0};
        for (int i = 0; i < parts; ++i) {
            const std::string rows = std::to_string(ranges[2 * i]) + "," + std::to_string(ranges[2 * i + 1]);
            const Content part = read("ktwt:" + name + "?rows=" + rows + "&col=number&col=text");
            content = {content.rows + part.rows, content.sum + part.sum};
        }
        return content;
    }

    bool copy(const std::string& source, std::string* name) {
        KtbString error;
        const Table table(manager->copy(elementBytes, "", source.c_str(), &error));
        if (!table || !table->close()) return false;
        *name = table->getName().asCstr();
        return true;
    }

    void sweep() {
        KtbString error;
        EXPECT_TRUE(ktwtSweepOrphans(directories.c_str(), true, nullptr, nullptr, &error)) << error.asCstr();
    }

    // One thing or another with the tables of one thread.
    void step(std::mt19937& random, std::map<std::string, Content>& tables) {
        const long rows = static_cast<long>(random() % 300);
        Content content;
        std::string name = write(static_cast<int>(random() % 2), rows, &content);
        ASSERT_NE(name, "");
        tables[name] = content;
        auto chosen = tables.begin();
        std::advance(chosen, random() % tables.size());
        KtbString error;
        switch (random() % 6) {
            case 0:
                ASSERT_TRUE(copy(chosen->first, &name));
                tables[name] = chosen->second;
                break;
            case 1:
                ASSERT_TRUE(manager->append(name.c_str(), chosen->first.c_str(), &error)) << error.asCstr();
                tables[name] = {content.rows + chosen->second.rows, content.sum + chosen->second.sum};
                break;
            case 2:
                ASSERT_TRUE(manager->append(shared.c_str(), chosen->first.c_str(), &error)) << error.asCstr();
                sharedRows += chosen->second.rows;
                sharedSum += chosen->second.sum;
                break;
            case 3: EXPECT_TRUE(readParts(chosen->first) == chosen->second) << chosen->first; break;
            case 4: sweep(); break;
            default: ASSERT_TRUE(manager->remove(chosen->first.c_str(), &error)) << error.asCstr(); tables.erase(chosen);
        }
        if (tables.size() > 20) removeAll(tables);
    }

    void removeAll(std::map<std::string, Content>& tables) {
        KtbString error;
        for (const auto& [name, content] : tables) {
            EXPECT_TRUE(read(name, content.rows % 2 != 0) == content) << name;
            EXPECT_TRUE(manager->remove(name.c_str(), &error)) << error.asCstr();
        }
        tables.clear();
    }

    void work(int thread) {
        std::mt19937 random(static_cast<unsigned>(thread));
        std::map<std::string, Content> tables;
        for (int round = 0; goesOn(round) && !HasFatalFailure(); ++round) {
            step(random, tables);
            ++steps;
        }
        removeAll(tables);
    }

    bool goesOn(int round) const {
        return seconds == 0 ? round < roundsUnlessTold : Clock::now() < start + std::chrono::seconds(seconds);
    }

    const TempDirectory directory;
    const std::string directories = directory.directory("first") + ":" + directory.directory("second");
    KtbString creationError;
    const Manager manager;
    std::string shared;
    std::atomic<long> sharedRows = 1;
    std::atomic<long> sharedSum = 0;
    std::atomic<long> steps = 0;
    const long seconds = std::getenv("KTWT_SOAK_SECONDS") != nullptr ? std::atol(std::getenv("KTWT_SOAK_SECONDS")) : 0;
    const Clock::time_point start = Clock::now();
};

TEST_F(SoakTest, ThreadsThatDoAnythingWithOneManagerLoseNothing) {
    ASSERT_NE(shared, "");
    std::vector<std::thread> threads;
    for (int t = 0; t < threadCount; ++t) threads.emplace_back([this, t] { work(t); });
    for (std::thread& thread : threads) thread.join();
    EXPECT_TRUE((read(shared) == Content{sharedRows.load(), sharedSum.load()}));
    KtbString error;
    EXPECT_TRUE(manager->remove(shared.c_str(), &error)) << error.asCstr();
    EXPECT_TRUE(std::filesystem::is_empty(directory.file("first")) && std::filesystem::is_empty(directory.file("second")));
    RecordProperty("steps", std::to_string(steps.load()));
    if (seconds != 0) std::printf("%ld steps in %ld seconds by %d threads\n", steps.load(), seconds, threadCount);
}

}  // namespace
