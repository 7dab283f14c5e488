// Work on many threads with results in the order of the tasks.
#include "cli/io/inorder.h"
#include <algorithm>
#include <atomic>
#include <chrono>
#include <gtest/gtest.h>
#include <random>
#include <stdexcept>
#include <string>

namespace {

using tramo::cli::inOrder;

struct Task {
    int number = -1, result = -1;
};

// Takes long enough for tasks to overtake each other.
void loiter(int number) {
    std::minstd_rand random(static_cast<unsigned>(number) + 1);
    random.discard(3);
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 200));
}

// The finished tasks, and the exception after them.
struct Outcome {
    std::vector<int> finished;
    std::string thrown;
    bool operator==(const Outcome&) const = default;
};

// Squares numbers and throws for some.
Outcome run(unsigned threads, int count, int takeFails = -1, int workFails = -1, int finishFails = -1) {
    Outcome outcome;
    int taken = 0;
    try {
        inOrder<Task>(
            threads,
            [&](Task& task) {
                if (taken == takeFails) throw std::runtime_error("take");
                task = {taken, -1};
                return taken++ < count;
            },
            [&](Task& task) {
                if (threads > 1) loiter(task.number);
                if (task.number == workFails) throw std::runtime_error("work");
                task.result = task.number * task.number;
            },
            [&](const Task& task) {
                if (task.number == finishFails) throw std::runtime_error("finish");
                outcome.finished.push_back(task.result);
            });
    } catch (const std::runtime_error& error) { outcome.thrown = error.what(); }
    return outcome;
}

Outcome squares(int count, const std::string& thrown = "") {
    Outcome expected{{}, thrown};
    for (int i = 0; i < count; ++i) expected.finished.push_back(i * i);
    return expected;
}

class InOrder : public testing::TestWithParam<unsigned> {};
INSTANTIATE_TEST_SUITE_P(Threads, InOrder, testing::Values(1U, 2U, 3U, 8U, 32U), testing::PrintToStringParamName());

TEST_P(InOrder, FinishesTasksInOrder) {
    for (const int count : {0, 1, 2, 7, 1000}) EXPECT_EQ(run(GetParam(), count), squares(count)) << count;
}

TEST_P(InOrder, ThrowsEveryExceptionInOrder) {
    for (const int at : {0, 1, 6, 100, 499}) {
        EXPECT_EQ(run(GetParam(), 500, at), squares(at, "take")) << at;
        EXPECT_EQ(run(GetParam(), 500, -1, at), squares(at, "work")) << at;
        EXPECT_EQ(run(GetParam(), 500, -1, -1, at), squares(at, "finish")) << at;
    }
}

TEST_P(InOrder, ThrowsTheFirstOfSeveralExceptions) {
    EXPECT_EQ(run(GetParam(), 500, 102, 101, 100), squares(100, "finish"));
    EXPECT_EQ(run(GetParam(), 500, 102, 101, 103), squares(101, "work"));
    EXPECT_EQ(run(GetParam(), 500, 102, 104, 103), squares(102, "take"));
}

// Even if the last step is slow, the number of waiting tasks is bounded, and so is memory.
TEST_P(InOrder, TakesFewTasksInAdvance) {
    std::atomic<int> waiting = 0, most = 0;
    int taken = 0;
    inOrder<Task>(
        GetParam(),
        [&](Task&) {
            most = std::max<int>(most, ++waiting);
            return taken++ < 300;
        },
        [](Task&) {},
        [&](Task&) {
            std::this_thread::sleep_for(std::chrono::microseconds(100));
            --waiting;
        });
    EXPECT_LE(most, 4 * static_cast<int>(GetParam()));
}

TEST_P(InOrder, UsesAllAllowedThreads) {
    std::atomic<int> working = 0;
    std::atomic<bool> allAtOnce = false;
    const int threads = static_cast<int>(GetParam());
    int taken = 0;
    inOrder<Task>(
        GetParam(), [&](Task&) { return taken++ < 10 * threads; },
        [&](Task&) {
            if (++working == threads) allAtOnce = true;
            for (int i = 0; i < 200 && !allAtOnce; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(1));
            --working;
        },
        [](Task&) {});
    EXPECT_TRUE(allAtOnce);
}

}  // namespace
