// SPDX-License-Identifier: Apache-2.0

#include "bench/paced/Floor.h"

#include "bench/paced/Clock.h"

#include <deque>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

namespace {

/** One queue, one thread, and the nodes that it writes. */
class FloorWorker {
public:
    FloorWorker(char const* const* paths, unsigned int count)
    {
        pthread_condattr_t attributes;
        pthread_condattr_init(&attributes);
        pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
        pthread_cond_init(&condition, &attributes);
        pthread_condattr_destroy(&attributes);
        for (unsigned int i = 0; i < count; ++i) {
            nodes.push_back(open(paths[i], O_WRONLY));
        }
        thread = std::thread(&FloorWorker::Work, this);
    }
    FloorWorker(FloorWorker const&) = delete;
    FloorWorker& operator=(FloorWorker const&) = delete;

    ~FloorWorker()
    {
        Push({true, 0});
        thread.join();
        for (int const node : nodes) {
            close(node);
        }
        pthread_cond_destroy(&condition);
    }

    void Push(Clock::Nanoseconds end) { Push({false, end}); }

private:
    struct Element {
        bool isLast;
        Clock::Nanoseconds end; ///< 0: none
    };

    void Push(Element element)
    {
        {
            std::lock_guard<std::mutex> const lock(mutex);
            elements.push_back(element);
        }
        pthread_cond_signal(&condition);
    }

    Element Take()
    {
        std::unique_lock<std::mutex> lock(mutex);
        while (elements.empty()) {
            pthread_cond_wait(&condition, mutex.native_handle());
        }
        Element const element = elements.front();
        elements.pop_front();
        return element;
    }

    void WaitUntil(Clock::Nanoseconds end)
    {
        timespec const deadline = Clock::ToTimespec(end);
        std::lock_guard<std::mutex> const lock(mutex);
        while (Clock::Now() < end) {
            pthread_cond_timedwait(&condition, mutex.native_handle(), &deadline);
        }
    }

    void Write() const
    {
        for (std::size_t i = nodes.size(); i-- > 0;) {
            pwrite(nodes[i], "1500000", 7, 0);
        }
        if (nodes.size() > 1) {
            pwrite(nodes.back(), "1500000", 7, 0);
        }
    }

    void Work()
    {
        for (Element element = Take(); !element.isLast; element = Take()) {
            Write();
            if (element.end != 0) {
                WaitUntil(element.end);
                Write();
            }
        }
    }

    std::vector<int> nodes; // constant after construction
    std::mutex mutex;
    pthread_cond_t condition;
    std::deque<Element> elements; // guarded by the mutex
    std::thread thread;
};

class Floor : public Contender {
public:
    explicit Floor(Setup const& setup)
    {
        for (unsigned int i = 0; i < setup.resources; ++i) {
            workers.push_back(std::make_unique<FloorWorker>(setup.nodes + i * setup.nodesEach, setup.nodesEach));
        }
    }

    unsigned long long Request(unsigned int resource, Level, int, unsigned int duration) override
    {
        workers[resource]->Push(duration == 0 ? 0 : Clock::Now() + duration * Clock::MILLISECOND);
        return resource;
    }

    void Release(int, unsigned long long handle) override
    {
        if (handle < workers.size()) {
            workers[handle]->Push(0);
        } else {
            PushToAll();
        }
    }

    void ReleaseAll(int) override {}

    unsigned long long RaiseMode(int) override
    {
        PushToAll();
        return workers.size();
    }

private:
    void PushToAll()
    {
        for (auto const& worker : workers) {
            worker->Push(0);
        }
    }

    std::vector<std::unique_ptr<FloorWorker>> workers;
};

} // namespace

Contender* MakeFloor(Contender::Setup const& setup)
{
    return new Floor(setup);
}
