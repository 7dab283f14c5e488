// Processes tasks on several threads and finishes them in their order.
#pragma once
#ifndef __wasi__
#include <condition_variable>
#include <cstddef>
#include <exception>
#include <mutex>
#include <new>
#include <system_error>
#include <thread>
#include <vector>
#endif

namespace tramo::cli {

/// Calls for each task:
///
///     take(task)     prepares the task; in order, one call at a time; returns false if there are no more tasks
///     work(task)     on any thread, several at a time
///     finish(task)   in order, on the calling thread
///
/// Reuses a few more task objects than there are threads: `take` must clear them. An exception reaches the caller after all
/// previous tasks are finished, as with one thread.
template <class Task> void inOrder(unsigned threadCount, auto take, auto work, auto finish);

/// The same without threads.
template <class Task> void inOrderAlone(auto& take, auto& work, auto& finish) {
    Task task;
    while (take(task)) {
        work(task);
        finish(task);
    }
}

#ifdef __wasi__

template <class Task> void inOrder(unsigned, auto take, auto work, auto finish) { inOrderAlone<Task>(take, work, finish); }

#else

template <class Task, class Take, class Work, class Finish> class InOrder {
public:
    InOrder(unsigned threadCount, Take& takeTask, Work& workOn, Finish& finishTask)
        : slots(4 * static_cast<std::size_t>(threadCount)), take(takeTask), work(workOn), finish(finishTask) {}

    void run(unsigned threadCount) {
        if (threadCount < 2 || !start(threadCount)) return runAlone();
        try {
            for (std::size_t turn = 0; finishTurn(slots[turn % slots.size()]); ++turn) {}
        } catch (...) {
            stop();
            throw;
        }
        stop();
    }

private:
    enum class State : char { Free, Taken, Done, End };
    struct Slot {
        Task task;
        std::exception_ptr failure;
        State state = State::Free;
    };

    void runAlone() { inOrderAlone<Task>(take, work, finish); }

    // Returns false if no thread can be started. Fewer than wanted are enough.
    bool start(unsigned threadCount) {
        try {
            threads.reserve(threadCount);
            while (threads.size() < threadCount) threads.emplace_back([this] { runWorker(); });
        } catch (const std::system_error&) {
        } catch (const std::bad_alloc&) {}
        return !threads.empty();
    }

    void stop() {
        {
            const std::lock_guard lock(mutex);
            stopped = true;
        }
        slotFreed.notify_all();
    }

    void runWorker() {
        while (Slot* slot = takeTurn()) {
            try {
                if (!slot->failure) work(slot->task);
            } catch (...) { slot->failure = std::current_exception(); }
            publish(*slot, State::Done);
        }
    }

    // Returns the next task, prepared; nullptr after the last one.
    Slot* takeTurn() {
        const std::lock_guard order(taking);
        Slot& slot = slots[nextTurn % slots.size()];
        {
            std::unique_lock lock(mutex);
            slotFreed.wait(lock, [&] { return stopped || slot.state == State::Free; });
            if (stopped || ended) return nullptr;
            slot.state = State::Taken;
        }
        ++nextTurn;
        try {
            ended = !take(slot.task);
        } catch (...) {
            slot.failure = std::current_exception();
            ended = true;
            return &slot;
        }
        if (!ended) return &slot;
        publish(slot, State::End);
        return nullptr;
    }

    void publish(Slot& slot, State state) {
        {
            const std::lock_guard lock(mutex);
            slot.state = state;
        }
        slotDone.notify_one();
    }

    bool finishTurn(Slot& slot) {
        {
            std::unique_lock lock(mutex);
            slotDone.wait(lock, [&] { return slot.state >= State::Done; });
        }
        if (slot.state == State::End) return false;
        if (slot.failure) std::rethrow_exception(slot.failure);
        finish(slot.task);
        {
            const std::lock_guard lock(mutex);
            slot.state = State::Free;
        }
        slotFreed.notify_one();
        return true;
    }

    std::vector<Slot> slots;
    Take& take;
    Work& work;
    Finish& finish;

    std::mutex taking;  ///< guards `nextTurn` and `ended`, and the calls of `take`
    std::size_t nextTurn = 0;
    bool ended = false;

    std::mutex mutex;  ///< guards `stopped` and the slots' states
    std::condition_variable slotFreed, slotDone;
    bool stopped = false;

    std::vector<std::jthread> threads;  ///< last, so that they end before the objects that they use
};

template <class Task> void inOrder(unsigned threadCount, auto take, auto work, auto finish) {
    InOrder<Task, decltype(take), decltype(work), decltype(finish)>(threadCount, take, work, finish).run(threadCount);
}

#endif

}  // namespace tramo::cli
