// What the threads of a sort mean to the process that has them.
#include <gtest/gtest.h>

#include <pthread.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <system_error>
#include <thread>

#include "sort_model.h"
#include "sort_random.h"
#include "support/temp_directory.h"

namespace {

using namespace sorting;

const Description description = {.columns = {ktbTypeInteger, ktbTypeString}, .keys = {{.column = 0}}};

Rows rowsOf(long count) {
    Random random(21);
    Rows rows;
    for (long i = 0; i < count; ++i) {
        rows.push_back({valueOf(static_cast<long>(random.below(1000))), valueOf(std::string(50, 't'))});
    }
    return rows;
}

class SortThreadsTest : public testing::Test {
protected:
    Sort filledSort() {
        Sort sort = makeSort(description, smallSetup(16384, 4096, 3), directory.path());
        EXPECT_EQ(addRows(sort.get(), rows), ktSortRow);
        return sort;
    }

    // Whether a child of this process can release the sort that it inherits.
    static bool childCanRelease(Sort* sort) {
        const pid_t child = fork();
        if (child == 0) {
            alarm(20);  // one that waits for threads that it does not have would wait for ever
            sort->reset();
            _exit(0);
        }
        int status = -1;
        return waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
    }

    TempDirectory directory;
    const Rows rows = rowsOf(3000);
};

TEST_F(SortThreadsTest, AChildCanEndASortWhileItIsFilled) {
    for (int i = 0; i < 20; ++i) {
        Sort sort = filledSort();
        ASSERT_TRUE(childCanRelease(&sort));
        EXPECT_EQ(sort->finish(), ktSortRow) << "the parent's sort goes on";
    }
}

TEST_F(SortThreadsTest, AChildCanEndASortWhileRowsAreDelivered) {
    Sort sort = filledSort();
    ASSERT_EQ(sort->finish(), ktSortRow);
    ASSERT_EQ(sort->firstRow(), ktSortRow);
    std::size_t delivered = 1;
    for (; sort->nextRow() == ktSortRow; ++delivered) {
        if (delivered % 100 == 0) {
            ASSERT_TRUE(childCanRelease(&sort));
        }
    }
    EXPECT_EQ(delivered, rows.size()) << "the parent's sort goes on";
}

// While it lives, no thread finds room for its stack.
class NoThreads {
public:
    NoThreads() {
        pthread_attr_init(&before_);
        pthread_getattr_default_np(&before_);
        pthread_attr_t endless;
        pthread_attr_init(&endless);
        inForce_ = pthread_attr_setstacksize(&endless, 1UL << 48) == 0 && pthread_setattr_default_np(&endless) == 0;
        pthread_attr_destroy(&endless);
    }
    NoThreads(const NoThreads&) = delete;
    NoThreads& operator=(const NoThreads&) = delete;
    ~NoThreads() {
        pthread_setattr_default_np(&before_);
        pthread_attr_destroy(&before_);
    }

    bool inForce() const { return inForce_; }

private:
    pthread_attr_t before_;
    bool inForce_ = false;
};

TEST_F(SortThreadsTest, ASortThatIsGivenNoThreadSortsByItself) {
    const Model model = modelOf(description, rows, false);
    const NoThreads limit;
    ASSERT_TRUE(limit.inForce());
    EXPECT_THROW(std::thread([] {}).join(), std::system_error);
    const Sort sort = makeSort(description, smallSetup(16384, 4096, 3), directory.path());
    const Sorted result = run(sort.get(), rows, 2);
    ASSERT_EQ(result.status, ktSortEnd) << result.error;
    expectSame(result.rows, model.rows);
}

volatile sig_atomic_t handled = 0;

extern "C" void countSignal(int) { handled = handled + 1; }

TEST_F(SortThreadsTest, ThreadsTakeNoSignalOfTheCaller) {
    struct sigaction before;
    struct sigaction counting = {};
    counting.sa_handler = countSignal;
    ASSERT_EQ(sigaction(SIGUSR1, &counting, &before), 0);
    const Sort sort = filledSort();
    sigset_t signals;
    sigset_t maskBefore;
    sigemptyset(&signals);
    sigaddset(&signals, SIGUSR1);
    ASSERT_EQ(pthread_sigmask(SIG_BLOCK, &signals, &maskBefore), 0);
    ASSERT_EQ(kill(getpid(), SIGUSR1), 0);
    EXPECT_EQ(sort->finish(), ktSortRow);
    EXPECT_EQ(sort->firstRow(), ktSortRow);
    EXPECT_EQ(handled, 0) << "a thread of the sort has run the caller's handler";
    sigset_t waiting;
    ASSERT_EQ(sigpending(&waiting), 0);
    EXPECT_EQ(sigismember(&waiting, SIGUSR1), 1);
    int taken = 0;
    EXPECT_EQ(sigwait(&signals, &taken), 0);
    pthread_sigmask(SIG_SETMASK, &maskBefore, nullptr);
    sigaction(SIGUSR1, &before, nullptr);
}

}  // namespace
